#ifndef CONFIG_STORE_CASCADE_H
#define CONFIG_STORE_CASCADE_H

#include <deque>
#include <string>
#include <utility>

#include "ErrTypes.h"
#include "cfgresult.h"
#include "model/state.h"
#include "store/handlers.h"

namespace AppConfig {

/// A stored value, option list or access level that its handlers have not been notified of yet.
struct Notification {
    const Cell* cell;
    AspectState stored;
    SecurityRole role;       ///< whose change it is
    std::string sContext{};  ///< name of the requesting client; empty for the service's own writes
    ConfigResult result{};   ///< of a value
};

/// What follows from a stored value: the handlers' reactions, and the reactions to what these
/// store. First in, first out, never one within another, up to a bound. Threads as AppCfgManager.
class Cascade {
public:
    /// @param state     borrowed, as `handlers`
    Cascade(State& state, const HandlerTable& handlers) : m_state(state), m_handlers(handlers) {}

    Cascade(const Cascade&) = delete;
    Cascade& operator=(const Cascade&) = delete;

    void add(Notification notification) { m_queue.push_back(std::move(notification)); }
    /// Notifies the handlers of all that is queued, and of what they store meanwhile.
    /// @return kNoError; kServerError (it did not come to an end; logged); the code of a fault
    [[nodiscard]] eErrorT run();
    /// Notifies the consumers of a variable that a requester's change begins or ends to assign it.
    /// What they store is for run().
    void submit(const Cell& cell, AppCfgManager::SubmitNtfyType type, const std::string& sContext);
    /// Whether anybody wants to be notified of a variable's options and access level.
    [[nodiscard]] bool hasConsumers(const Cell& cell) const {
        return !m_handlers.of(cell).consumers.empty();
    }
    /// A handler's read or write has failed, for lack of memory most likely. Handlers do not look
    /// at results, so that what they have done since then is worth nothing: run() says so at its
    /// end.
    void fault(eErrorT code) { m_fault = code; }
    [[nodiscard]] bool empty() const { return m_queue.empty(); }
    /// Forgets what is queued, and a fault.
    void clear() {
        m_queue.clear();
        m_fault = kNoError;
    }

private:
    void notifyHandlers(Notification& notification);
    void notifyOfValue(Notification& notification, const std::string& sValue);
    void notifyOfOptions(const Notification& notification, const std::vector<std::string>& options);
    void notifyOfAccess(const Notification& notification, const AccessLevel& access);
    void notifyOfAttribute(ConsumerConfigHandler& consumer, const Cell& cell, const char* attribute,
                           const std::string& sText);
    [[nodiscard]] const std::vector<ConsumerConfigHandler*>& consumersOf(const Cell& cell) const {
        return m_handlers.of(cell).consumers;
    }

    State& m_state;
    const HandlerTable& m_handlers;
    std::deque<Notification> m_queue;
    eErrorT m_fault = kNoError;
};

}  // namespace AppConfig

#endif
