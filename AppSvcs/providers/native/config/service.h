#ifndef CONFIG_SERVICE_H
#define CONFIG_SERVICE_H

#include <memory>

#include "disk/database.h"
#include "model/schema.h"
#include "requests/requests.h"
#include "store/configstore.h"

namespace AppConfig {

/// The implementation of AppCfgManager: the database, the store that works on it, and the requests
/// that reach it, wired here and nowhere else. Threads as AppCfgManager.
///
/// The first AppCfgManager::getInstance() makes the process's one, and so opens the database: every
/// handler's constructor calls it, before the service starts.
class Service {
public:
    explicit Service(Schema schema,
                     std::unique_ptr<Database> database = std::make_unique<Database>());

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// On the schema that loadSchema() finds and the database of the state directory; made on the
    /// first call.
    static Service& process();
    /// Lets the next call of process() make a new one; for tests, once no handler uses the old one.
    static void discardProcess();

    [[nodiscard]] Database& database() { return *m_database; }
    [[nodiscard]] ConfigStore& store() { return m_store; }
    [[nodiscard]] ConfigRequests& requests() { return m_requests; }
    /// The store as the service's handlers see it.
    [[nodiscard]] AppCfgManager& manager() { return m_store.manager(); }

private:
    const std::unique_ptr<Database> m_database;
    ConfigStore m_store;
    ConfigRequests m_requests;
};

}  // namespace AppConfig

#endif
