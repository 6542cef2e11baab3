#ifndef CONFIG_STORE_CONFIGSTORE_H
#define CONFIG_STORE_CONFIGSTORE_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "appcfgmanager.h"
#include "cfghandler.h"
#include "cfgresult.h"
#include "disk/database.h"
#include "model/schema.h"
#include "model/state.h"
#include "requester.h"
#include "store/cascade.h"
#include "store/handlers.h"
#include "store/pending.h"
#include "store/reads.h"
#include "store/transaction.h"

namespace AppConfig {

/// The implementation of AppCfgManager: the schema's variables and the handlers registered for
/// them; the service's own reads and writes; and where requesters' changes begin and are committed.
/// Threads as AppCfgManager.
///
/// A change is a Transaction. One that is kept holds in memory until commit() makes it durable with
/// all others that wait, or undoes them together.
class ConfigStore {
public:
    /// Starts with what the database keeps, as far as the schema admits it; the rest is logged.
    /// @param database  borrowed
    ConfigStore(Schema schema, Database& database);

    ConfigStore(const ConfigStore&) = delete;
    ConfigStore& operator=(const ConfigStore&) = delete;

    static ConfigStore& of(AppCfgManager& manager) { return *manager.m_impl; }

    /// The store as the service sees it.
    [[nodiscard]] AppCfgManager& manager() { return m_manager; }
    [[nodiscard]] Database& database() { return m_database; }
    [[nodiscard]] const Schema& schema() const { return m_schema; }
    /// Changes that hold in memory and are not durable yet.
    [[nodiscard]] const Pending& pending() const { return m_pending; }
    [[nodiscard]] const Reads& reads() const { return m_reads; }

    // registration
    [[nodiscard]] eErrorT add(std::string_view sNode, std::string_view sVariable,
                              ProviderConfigHandler* handler);
    [[nodiscard]] eErrorT add(std::string_view sNode, std::string_view sVariable,
                              ConsumerConfigHandler* handler);

    // for requesters
    /// The variable, if it exists and the requester may see it; the two cases are not told apart.
    /// A refusal has been logged when this returns null.
    [[nodiscard]] const Cell* read(const pbcommon::Requester& requester,
                                   const AddressView& address);
    [[nodiscard]] const std::vector<Cell>& cells() const { return m_state.cells(); }
    [[nodiscard]] const Handlers& handlersOf(const Cell& cell) const { return m_handlers.of(cell); }

    /// A change begins. @param requester  borrowed
    [[nodiscard]] Transaction begin(const pbcommon::Requester& requester, Mode mode);
    /// Makes all changes that wait durable at once, or undoes them.
    /// @return kNoError; kWriteError (logged)
    [[nodiscard]] eErrorT commit();
    /// Those that commit() has made durable, in order; valid until release().
    [[nodiscard]] std::span<const Record> committed() const { return m_pending.committed(); }
    void release() { m_pending.release(); }
    /// Makes what the service has written outside of any change one of its own, durable at once,
    /// and lets it set in motion what it does: no handler is called back during start-up.
    void commitServiceWrites();

    /// Null when there is none; not logged, as the next one.
    [[nodiscard]] const Cell* find(const AddressView& address) { return m_state.find(address); }
    /// By the address as Cell::sAddress has it.
    [[nodiscard]] Cell* find(std::string_view sAddress);

    // for the service: see AppCfgManager. A variable that does not exist is logged as an error: a
    // rule that names one is without effect.
    void setServiceRole(SecurityRole role) { m_serviceRole = role; }
    [[nodiscard]] const Cell* read(const AddressView& address);
    [[nodiscard]] const Cell* readDefaults(const AddressView& address);
    [[nodiscard]] eErrorT write(const AddressView& address, const std::string& sValue,
                                ConfigResult* result);
    [[nodiscard]] eErrorT offer(const AddressView& address,
                                const std::vector<std::string>& options);
    [[nodiscard]] eErrorT grant(const AddressView& address, const SecurityRole* read,
                                const SecurityRole* write);
    /// One of these has thrown: the change under way is refused.
    void fault(eErrorT code) { m_cascade.fault(code); }

private:
    template <typename Handler>
    [[nodiscard]] eErrorT addTo(std::string_view sNode, std::string_view sVariable,
                                Handler* handler);
    [[nodiscard]] Cell* findForService(const AddressView& address, const char* purpose);
    void restoreState();
    [[nodiscard]] Transaction::Ground ground();
    void logCommitted();

    const Schema m_schema;
    State m_state;
    Database& m_database;
    HandlerTable m_handlers;
    Cascade m_cascade;
    Pending m_pending;
    Reads m_reads;
    pbcommon::Audit m_audit;
    SecurityRole m_serviceRole = kUser;
    AppCfgManager m_manager;
};

}  // namespace AppConfig

#endif
