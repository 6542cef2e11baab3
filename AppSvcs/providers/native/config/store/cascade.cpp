#include "store/cascade.h"

#include <list>
#include <utility>

#include "logmsg.h"

namespace AppConfig {

namespace {

/// A cascade that is longer than this has a fault in its rules: they chase each other.
constexpr int kMaxNotifications = 1024;

}  // namespace

eErrorT Cascade::run() {
    for (int nNotified = 0; !m_queue.empty(); ++nNotified) {
        if (nNotified == kMaxNotifications) {
            logcrit("cfgCommon", "more than %d notifications in one change, the last for %s\n",
                    kMaxNotifications, m_queue.front().cell->sAddress.c_str());
            return kServerError;
        }
        Notification notification = std::move(m_queue.front());
        m_queue.pop_front();
        notifyHandlers(notification);
    }
    return std::exchange(m_fault, kNoError);
}

void Cascade::notifyHandlers(Notification& notification) {
    const Cell& cell = *notification.cell;
    const std::list<std::string> values{notification.sValue};
    const Handlers& handlers = m_handlers.of(cell);
    if (handlers.provider != nullptr) {
        m_state.setCause({.call = pbcommon::ON_SET, .trigger = &cell});
        handlers.provider->onSet(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                                 cell.nVarInstance, values, notification.role, notification.result);
    }
    m_state.setCause({.call = pbcommon::ON_CHANGE, .trigger = &cell});
    for (ConsumerConfigHandler* const consumer : handlers.consumers) {
        if (consumer->register_change) {
            consumer->change(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                             cell.nVarInstance, values, notification.sContext);
        }
    }
}

}  // namespace AppConfig
