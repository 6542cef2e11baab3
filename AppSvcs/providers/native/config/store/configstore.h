#ifndef CONFIG_STORE_CONFIGSTORE_H
#define CONFIG_STORE_CONFIGSTORE_H

#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "appcfgmanager.h"
#include "cfghandler.h"
#include "cfgresult.h"
#include "disk/database.h"
#include "messages.pb.h"
#include "model/record.h"
#include "model/schema.h"
#include "model/state.h"
#include "requester.h"

namespace AppConfig {

/// What the store itself answers a requester, each with a tag of its own, besides those of the
/// schema.
inline constexpr const char* ERR_UNKNOWN_VARIABLE = "ERR_UNKNOWN_VARIABLE";
inline constexpr const char* ERR_READ_ONLY = "ERR_READ_ONLY";
inline constexpr const char* ERR_NOT_OFFERED = "ERR_NOT_OFFERED";
inline constexpr const char* ERR_CASCADE_TOO_LONG = "ERR_CASCADE_TOO_LONG";
inline constexpr const char* ERR_NOT_STORED = "ERR_NOT_STORED";
inline constexpr const char* ERR_ANSWER_TOO_LONG = "ERR_ANSWER_TOO_LONG";

/// A proposed value, as it came in.
struct Proposal {
    AddressView address;
    std::string_view sValue;
};

/// Outcome of a request to change variables.
struct Verdict {
    eErrorT code = kNoError;
    std::list<std::string> tags{};
    bool bRebootNeeded = false;
    std::optional<std::size_t> failed{};    ///< the proposal that was refused, when one alone was
    std::vector<Assignment> assignments{};  ///< of an accepted change, in the order proposed
    /// Of an accepted change: with effects when anything is different, and with a revision when it
    /// then waits for commit(). The store's, until the next change or commit().
    const pbcommon::Change* change = nullptr;
};

enum class Mode {
    kCommit,
    kRehearse,  ///< everything runs as for a change, and is taken back
};

/// The handlers of a variable, whatever its instance. Borrowed.
struct Handlers {
    ProviderConfigHandler* provider = nullptr;
    std::vector<ConsumerConfigHandler*> consumers;  ///< in the order registered
};

/// What stands behind AppCfgManager: the schema's variables, the handlers registered for them, and
/// the order in which a change runs. Threads as AppCfgManager.
///
/// A change is a transaction. Each of its proposals is checked (the variable exists and the
/// requester may see it, may change it, the text can be a value at all, the provider finds it
/// valid, it is a value of its kind, it is offered now), stored in canonical form, and told to the
/// provider's `onSet` and the consumers' `change`. What these write takes effect at once; the
/// notifications that follow from it are queued and run one after the other, never within one
/// another. A refusal takes back everything that the request did, so that it is all or nothing. A
/// change that made anything different holds in memory until commit() makes it durable with all
/// others that wait, or undoes them together.
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
    [[nodiscard]] const Handlers& handlersOf(const Cell& cell) const {
        return m_handlers[cell.nRow];
    }
    /// Applies the proposals in order, all or none. A refusal has been logged when this returns.
    /// @param answer  called with the verdict of an accepted change while it holds, also in a
    ///                rehearsal; returns false when it cannot be answered, which refuses it
    Verdict change(const pbcommon::Requester& requester, std::span<const Proposal> proposals,
                   Mode mode, const std::function<bool(const Verdict&)>& answer);
    /// Makes all changes that wait durable at once, or undoes them.
    /// @param committed  called for each, in order, on kNoError only
    /// @return kNoError; kWriteError (logged)
    [[nodiscard]] eErrorT commit(const std::function<void(const pbcommon::Change&)>& committed);
    /// Makes what the service has written outside of any change a transaction of its own, and lets
    /// it set in motion what it does: no handler is called back during start-up.
    void settle();

    // for the service: see AppCfgManager
    void setServiceRole(SecurityRole role) { m_serviceRole = role; }
    [[nodiscard]] const Cell* find(const AddressView& address) { return m_state.find(address); }
    /// By the address as Cell::sAddress has it.
    [[nodiscard]] Cell* find(std::string_view sAddress);
    [[nodiscard]] eErrorT write(const AddressView& address, const std::string& sValue,
                                ConfigResult* result);
    [[nodiscard]] eErrorT offer(const AddressView& address,
                                const std::vector<std::string>& options);
    [[nodiscard]] eErrorT grant(const AddressView& address, const SecurityRole* read,
                                const SecurityRole* write);

private:
    /// A stored value that its handlers have not been told yet.
    struct Notification {
        const Cell* cell;
        std::string sValue;
        SecurityRole role;
        std::string sContext;
        ConfigResult result;
    };

    class Undo;

    [[nodiscard]] eErrorT rowFor(const void* handler, std::string_view sNode,
                                 std::string_view sVariable, std::size_t& nRow) const;
    [[nodiscard]] Verdict propose(const pbcommon::Requester& requester,
                                  std::span<const Proposal> proposals, Mode mode,
                                  const std::function<bool(const Verdict&)>& answer);
    [[nodiscard]] Verdict applyAll(const pbcommon::Requester& requester,
                                   std::span<const Proposal> proposals);
    void restoreState();
    void takeBack(std::size_t mark);
    Committed& nextWaiting();
    void enqueue(Committed& next, std::span<const Effect> effects);
    [[nodiscard]] Cell* findVisible(const AddressView& address, SecurityRole role);
    [[nodiscard]] Verdict apply(const pbcommon::Requester& requester, const Proposal& proposal,
                                std::vector<Assignment>& assignments);
    [[nodiscard]] Verdict carryOut(Cell& cell, Notification notification,
                                   std::vector<Assignment>& assignments);
    [[nodiscard]] bool deliver();
    void notify(Notification& notification);

    const Schema m_schema;
    State m_state;
    Database& m_database;
    std::size_t m_nWaiting = 0;        ///< for commit(), of m_waiting
    std::vector<Committed> m_waiting;  ///< longer than that: what it has is used again
    std::vector<Handlers> m_handlers;  ///< by row of the schema
    std::deque<Notification> m_queue;
    SecurityRole m_serviceRole = kUser;
    AppCfgManager m_manager;
};

}  // namespace AppConfig

#endif
