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

/// A stored value that its handlers have not been notified of yet.
struct Notification {
    const Cell* cell;
    std::string sValue;
    SecurityRole role;     ///< whose change it is
    std::string sContext;  ///< name of the requesting client; empty for the service's own writes
    ConfigResult result;
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

    State& m_state;
    const HandlerTable& m_handlers;
    std::deque<Notification> m_queue;
    eErrorT m_fault = kNoError;
};

}  // namespace AppConfig

#endif
