#include "store/configstore.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <utility>

#include "address.h"
#include "logmsg.h"
#include "model/aspects.h"
#include "model/value.h"
#include "tags.h"

namespace AppConfig {

ConfigStore::ConfigStore(Schema schema, Database& database)
    : m_schema(std::move(schema)),
      m_state(m_schema),
      m_database(database),
      m_handlers(m_schema.rows().size()),
      m_cascade(m_state, m_handlers),
      m_pending(m_database) {
    m_manager.m_impl = this;
    restoreState();
}

/// What is no longer admitted stays in the database until the variable is changed: a return to
/// the former schema brings it back.
void ConfigStore::restoreState() {
    std::set<std::string> secrets;
    for (const Cell& cell : m_state.cells()) {
        if (cell.row->kind() == pbcommon::SECRET) {
            secrets.insert(cell.sAddress);
        }
    }
    m_database.maskHistory(secrets);
    m_database.readSettings([this](const Setting& setting) {
        Cell* const cell = find(setting.sVariable);
        if (cell == nullptr) {
            logwarn("cfgCommon", "ignoring stored %s of unknown variable %s\n",
                    aspectName(setting.aspect), setting.sVariable.c_str());
        } else if (!restore(m_state, *cell, setting)) {
            logerr("cfgCommon", "stored %s of %s is no longer valid; using the default\n",
                   aspectName(setting.aspect), setting.sVariable.c_str());
        }
    });
    m_state.commit();
}

template <typename Handler>
eErrorT ConfigStore::addTo(std::string_view sNode, std::string_view sVariable, Handler* handler) {
    std::size_t nRow = 0;
    if (handler == nullptr) {
        return kBadParameter;
    }
    return m_state.findRow(sNode, sVariable, nRow) ? m_handlers.add(nRow, *handler) : kItemNotFound;
}

eErrorT ConfigStore::add(std::string_view sNode, std::string_view sVariable,
                         ProviderConfigHandler* handler) {
    return addTo(sNode, sVariable, handler);
}

eErrorT ConfigStore::add(std::string_view sNode, std::string_view sVariable,
                         ConsumerConfigHandler* handler) {
    return addTo(sNode, sVariable, handler);
}

Cell* ConfigStore::find(std::string_view sAddress) {
    const auto address = pbcommon::parseAddress(sAddress);
    return address ? m_state.find(*address) : nullptr;
}

const Cell* ConfigStore::read(const pbcommon::Requester& requester, const AddressView& address) {
    const Cell* const cell = m_state.find(address);
    if (cell != nullptr && cell->mayRead(requester.role)) {
        return cell;
    }
    logRefusal("read", requester, address,
               {.code = kItemNotFound, .tags = {pbcommon::ERR_UNKNOWN_VARIABLE}}, m_audit);
    return nullptr;
}

Transaction ConfigStore::begin(const pbcommon::Requester& requester, Mode mode) {
    if (m_pending.empty()) {
        commitServiceWrites();
    }
    return {ground(), requester, mode, m_state.mark()};
}

Transaction::Ground ConfigStore::ground() {
    return {m_state, m_handlers, m_cascade, m_pending, m_reads, m_audit};
}

eErrorT ConfigStore::commit() {
    const eErrorT result = m_pending.commit();
    if (result == kNoError) {
        m_state.commit();
        logCommitted();
    } else {
        m_state.rollBack(0);
    }
    return result;
}

/// One line for each change that is on disk now. What it has changed is in the history.
void ConfigStore::logCommitted() {
    constexpr std::size_t kMaxNamesBytes = 1024;
    for (const Record& record : m_pending.committed()) {
        if (!m_audit.admits(record.requester.uid)) {
            continue;
        }
        std::set<std::string_view> names;
        std::string sNames;
        for (const RecordedAssignment& assignment : record.assignments) {
            if (sNames.size() < kMaxNamesBytes && names.insert(assignment.sVariable).second) {
                sNames += " " + assignment.sVariable;
            }
        }
        loginfo("cfgCommon", "revision %llu by %s:%s%s\n",
                static_cast<unsigned long long>(record.nRevision),
                m_audit.describe(record.requester).c_str(), sNames.c_str(),
                sNames.size() < kMaxNamesBytes ? "" : " ...");
    }
}

void ConfigStore::commitServiceWrites() {
    constexpr std::size_t kAll = 0;
    if (m_cascade.empty() && m_state.mark() == kAll) {
        m_cascade.clear();
        return;
    }
    const pbcommon::Requester service{
        .role = m_serviceRole, .uid = geteuid(), .pid = getpid(), .sClient = "start-up"};
    Transaction writes(ground(), service, Mode::kCommit, kAll);
    if (writes.adopt().code == kNoError && writes.keep() != 0) {
        // after a failure the rules hold all the same: the next start brings the state into line
        // again
        if (m_pending.commit() == kNoError) {
            logCommitted();
        }
        m_pending.release();
        m_state.commit();
    }
}

/// @param purpose  what the service wants with it
Cell* ConfigStore::findForService(const AddressView& address, const char* purpose) {
    Cell* const cell = m_state.find(address);
    if (cell == nullptr) {
        logerr("cfgCommon", "the service cannot %s %s: unknown variable\n", purpose,
               printable(address).c_str());
    }
    return cell;
}

const Cell* ConfigStore::read(const AddressView& address) {
    const Cell* const cell = findForService(address, "read");
    if (cell != nullptr) {
        m_reads.add({.cell = cell, .trigger = m_state.cause().trigger});
    }
    return cell;
}

/// Defaults never change: looking at them is not part of what a handler's decision rests on.
const Cell* ConfigStore::readDefaults(const AddressView& address) {
    return findForService(address, "read");
}

/// The handlers are notified of an unchanged value, too: they set right what depends on it.
eErrorT ConfigStore::write(const AddressView& address, const std::string& sValue,
                           ConfigResult* result) {
    Cell* const cell = m_state.find(address);
    std::string sCanonical;
    const char* const tag = cell == nullptr ? pbcommon::ERR_UNKNOWN_VARIABLE
                                            : canonicalise(*cell->row, sValue, sCanonical);
    const eErrorT code = tag == nullptr ? kNoError : pbcommon::codeOf(tag);
    if (result != nullptr) {
        result->fillConfigResult(code == kNoError, code, false);
    }
    if (tag != nullptr) {
        if (result != nullptr) {
            result->addResultMessage(tag);
        }
        logerr("cfgCommon", "refused change of %s by the service: %s\n", printable(address).c_str(),
               tag);
        return code;
    }
    m_state.setValue(*cell, sCanonical);
    m_cascade.add({.cell = cell, .stored = std::move(sCanonical), .role = m_serviceRole});
    return code;
}

eErrorT ConfigStore::offer(const AddressView& address, const std::vector<std::string>& options) {
    Cell* const cell = findForService(address, "offer options of");
    if (cell == nullptr) {
        return kItemNotFound;
    }
    const auto isOption = [cell](const std::string& sOption) {
        return isDefaultOption(*cell->row, sOption);
    };
    if (cell->row->kind() != pbcommon::ENUMERATION ||
        !std::all_of(options.begin(), options.end(), isOption)) {
        logerr("cfgCommon", "refused options of %s by the service\n", cell->sAddress.c_str());
        return kBadParameter;
    }
    if (m_state.setOffered(*cell, options) && m_cascade.hasConsumers(*cell)) {
        m_cascade.add({.cell = cell, .stored = options, .role = m_serviceRole});
    }
    return kNoError;
}

eErrorT ConfigStore::grant(const AddressView& address, const SecurityRole* read,
                           const SecurityRole* write) {
    Cell* const cell = findForService(address, "set the access level of");
    if (cell == nullptr) {
        return kItemNotFound;
    }
    const AccessLevel access{.read = read == nullptr ? cell->access.read : *read,
                             .write = write == nullptr ? cell->access.write : *write};
    if (m_state.setAccess(*cell, access) && m_cascade.hasConsumers(*cell)) {
        m_cascade.add({.cell = cell, .stored = access, .role = m_serviceRole});
    }
    return kNoError;
}

}  // namespace AppConfig
