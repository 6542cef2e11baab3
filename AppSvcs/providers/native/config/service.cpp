#include "service.h"

#include <utility>

#include "directories.h"

namespace AppConfig {

namespace {

std::unique_ptr<Service>& processSlot() {
    // the slot is never destroyed: handlers use the store for the life of the process
    static auto* const slot = new std::unique_ptr<Service>;
    return *slot;
}

}  // namespace

Service::Service(Schema schema, std::unique_ptr<Database> database)
    : m_database(std::move(database)),
      m_store(std::move(schema), *m_database),
      m_requests(m_store) {}

Service& Service::process() {
    std::unique_ptr<Service>& service = processSlot();
    if (service == nullptr) {
        // the state is locked before the schemas are read
        auto database = std::make_unique<Database>(pbcommon::stateDirectory());
        service = std::make_unique<Service>(loadSchema(), std::move(database));
    }
    return *service;
}

void Service::discardProcess() { processSlot().reset(); }

}  // namespace AppConfig
