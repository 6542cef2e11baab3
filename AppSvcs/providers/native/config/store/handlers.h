#ifndef CONFIG_STORE_HANDLERS_H
#define CONFIG_STORE_HANDLERS_H

#include <cstddef>
#include <vector>

#include "cfghandler.h"
#include "model/state.h"

namespace AppConfig {

/// The handlers of a variable, whatever its instance. Borrowed.
struct Handlers {
    ProviderConfigHandler* provider = nullptr;
    std::vector<ConsumerConfigHandler*> consumers;  ///< in the order registered
};

/// Who is registered for which row of the schema.
class HandlerTable {
public:
    explicit HandlerTable(std::size_t nRows) : m_handlers(nRows) {}

    /// @return kNoError; kAlreadyExists (the row has a provider)
    [[nodiscard]] eErrorT add(std::size_t nRow, ProviderConfigHandler& handler) {
        ProviderConfigHandler*& provider = m_handlers[nRow].provider;
        if (provider != nullptr) {
            return kAlreadyExists;
        }
        provider = &handler;
        return kNoError;
    }
    [[nodiscard]] eErrorT add(std::size_t nRow, ConsumerConfigHandler& handler) {
        m_handlers[nRow].consumers.push_back(&handler);
        return kNoError;
    }
    [[nodiscard]] const Handlers& of(const Cell& cell) const { return m_handlers[cell.nRow]; }

private:
    std::vector<Handlers> m_handlers;
};

}  // namespace AppConfig

#endif
