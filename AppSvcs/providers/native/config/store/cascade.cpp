#include "store/cascade.h"

#include <list>
#include <utility>

#include "logmsg.h"
#include "model/aspects.h"
#include "names.h"

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
    if (const auto* const sValue = std::get_if<std::string>(&notification.stored)) {
        notifyOfValue(notification, *sValue);
    } else if (const auto* const access = std::get_if<AccessLevel>(&notification.stored)) {
        notifyOfAccess(notification, *access);
    } else {
        notifyOfOptions(notification, std::get<std::vector<std::string>>(notification.stored));
    }
}

void Cascade::notifyOfValue(Notification& notification, const std::string& sValue) {
    const Cell& cell = *notification.cell;
    const std::list<std::string> values{sValue};
    if (ProviderConfigHandler* const provider = m_handlers.of(cell).provider) {
        m_state.setCause({.call = pbcommon::ON_SET, .trigger = &cell});
        provider->onSet(cell.row->node(), cell.nNodeInstance, cell.row->name(), cell.nVarInstance,
                        values, notification.role, notification.result);
    }
    m_state.setCause({.call = pbcommon::ON_CHANGE, .trigger = &cell});
    for (ConsumerConfigHandler* const consumer : consumersOf(cell)) {
        if (consumer->register_change) {
            consumer->change(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                             cell.nVarInstance, values, notification.sContext);
        }
    }
}

void Cascade::notifyOfOptions(const Notification& notification,
                              const std::vector<std::string>& options) {
    const Cell& cell = *notification.cell;
    for (ConsumerConfigHandler* const consumer : consumersOf(cell)) {
        if (consumer->register_options) {
            m_state.setCause({.call = pbcommon::ON_OPTIONS, .trigger = &cell});
            consumer->options(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                              cell.nVarInstance, {options.begin(), options.end()},
                              notification.sContext);
        }
        notifyOfAttribute(*consumer, cell, "options", shown(cell, notification.stored));
    }
}

void Cascade::notifyOfAccess(const Notification& notification, const AccessLevel& access) {
    const Cell& cell = *notification.cell;
    for (ConsumerConfigHandler* const consumer : consumersOf(cell)) {
        if (consumer->register_accessLevel) {
            m_state.setCause({.call = pbcommon::ON_ACCESS_LEVEL, .trigger = &cell});
            consumer->accessLevel(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                                  cell.nVarInstance, access.read, access.write,
                                  notification.sContext);
        }
        notifyOfAttribute(*consumer, cell, "readlevel", pbcommon::roleName(access.read));
        notifyOfAttribute(*consumer, cell, "writelevel", pbcommon::roleName(access.write));
    }
}

void Cascade::notifyOfAttribute(ConsumerConfigHandler& consumer, const Cell& cell,
                                const char* attribute, const std::string& sText) {
    if (consumer.register_attribute) {
        m_state.setCause({.call = pbcommon::ON_ATTRIBUTE, .trigger = &cell});
        consumer.attribute(cell.sAddress, attribute, sText);
    }
}

void Cascade::submit(const Cell& cell, AppCfgManager::SubmitNtfyType type,
                     const std::string& sContext) {
    m_state.setCause({.call = pbcommon::ON_SUBMIT, .trigger = &cell});
    for (ConsumerConfigHandler* const consumer : consumersOf(cell)) {
        if (consumer->register_submit) {
            consumer->submit(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                             cell.nVarInstance, type, sContext);
        }
    }
}

}  // namespace AppConfig
