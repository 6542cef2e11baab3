#include "configstore.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "address.h"
#include "directories.h"
#include "logmsg.h"
#include "names.h"
#include "settings.h"

namespace AppConfig {

namespace {

/// A cascade that is longer than this has a fault in its rules: they chase each other.
constexpr int kMaxNotifications = 1024;

/// A record with more in it is not kept for the next change: a flood would leave its memory behind.
bool isLong(const Committed& committed) {
    constexpr int kMaxKept = 32;
    return committed.change.assignment_size() + committed.change.effect_size() > kMaxKept;
}

Verdict refusal(eErrorT code, const char* tag) { return {.code = code, .tags = {tag}}; }

bool isOffered(const Cell& cell, std::string_view sValue) {
    return cell.row->kind() != pbcommon::ENUMERATION ||
           std::find(cell.offered.begin(), cell.offered.end(), sValue) != cell.offered.end();
}

std::string printableAddress(const AddressView& address) {
    constexpr std::size_t kMaxLoggedBytes = 200;
    return pbcommon::printable(
        pbcommon::formatAddress({std::string(address.sNode), address.nNodeInstance,
                                 std::string(address.sVariable), address.nVarInstance}),
        kMaxLoggedBytes);
}

void logRefusal(const PbUtility::Requester& requester, const AddressView& address,
                const Verdict& verdict) {
    std::string sReason = pbcommon::describeCode(verdict.code);
    for (const std::string& sTag : verdict.tags) {
        sReason += " " + sTag;
    }
    logwarn("cfgCommon", "refused %s to %s: %s\n", printableAddress(address).c_str(),
            describe(requester).c_str(), sReason.c_str());
}

}  // namespace

ConfigStore::ConfigStore(Schema schema, std::unique_ptr<Database> database)
    : m_schema(std::move(schema)),
      m_state(m_schema),
      m_database(std::move(database)),
      m_handlers(m_schema.rows().size()),
      m_requests(*this) {
    m_manager.m_impl = this;
    restoreState();
}

/// What is not admitted any more stays in the database until the variable is changed: a return to
/// the former schema brings it back.
void ConfigStore::restoreState() {
    m_database->readSettings([this](const Setting& setting) {
        Cell* const cell = find(setting.sVariable);
        if (cell == nullptr) {
            logwarn("cfgCommon", "stored %s of %s is left out: there is no such variable\n",
                    aspectName(setting.aspect), setting.sVariable.c_str());
        } else if (!restore(m_state, *cell, setting)) {
            logerr("cfgCommon", "stored %s of %s is none any more: the default holds\n",
                   aspectName(setting.aspect), setting.sVariable.c_str());
        }
    });
    m_state.commit();
}

std::unique_ptr<ConfigStore>& ConfigStore::processSlot() {
    // the slot is never destroyed: the service's handlers use the store for the life of the process
    static auto* const slot = new std::unique_ptr<ConfigStore>;
    return *slot;
}

ConfigStore& ConfigStore::process() {
    std::unique_ptr<ConfigStore>& store = processSlot();
    if (store == nullptr) {
        store = std::make_unique<ConfigStore>(
            loadSchema(), std::make_unique<Database>(pbcommon::stateDirectory()));
    }
    return *store;
}

void ConfigStore::discardProcess() { processSlot().reset(); }

ConfigStore& ConfigStore::of(AppCfgManager* manager) {
    return manager == nullptr ? process() : *manager->m_impl;
}

/// The row that a handler is registered for. @return kNoError; kBadParameter; kItemNotFound
eErrorT ConfigStore::rowFor(const void* handler, std::string_view sNode, std::string_view sVariable,
                            std::size_t& nRow) const {
    if (handler == nullptr) {
        return kBadParameter;
    }
    return m_state.findRow(sNode, sVariable, nRow) ? kNoError : kItemNotFound;
}

eErrorT ConfigStore::add(std::string_view sNode, std::string_view sVariable,
                         ProviderConfigHandler* handler) {
    std::size_t nRow = 0;
    const eErrorT result = rowFor(handler, sNode, sVariable, nRow);
    if (result != kNoError) {
        return result;
    }
    if (m_handlers[nRow].provider != nullptr) {
        return kAlreadyExists;
    }
    m_handlers[nRow].provider = handler;
    return kNoError;
}

eErrorT ConfigStore::add(std::string_view sNode, std::string_view sVariable,
                         ConsumerConfigHandler* handler) {
    std::size_t nRow = 0;
    const eErrorT result = rowFor(handler, sNode, sVariable, nRow);
    if (result == kNoError) {
        m_handlers[nRow].consumers.push_back(handler);
    }
    return result;
}

Cell* ConfigStore::find(std::string_view sAddress) {
    const auto address = pbcommon::parseAddress(sAddress);
    return !address ? nullptr
                    : m_state.find({address->sNode, address->nNodeInstance, address->sVariable,
                                    address->nVarInstance});
}

Cell* ConfigStore::findVisible(const AddressView& address, SecurityRole role) {
    Cell* const cell = m_state.find(address);
    return cell != nullptr && role >= cell->access.read ? cell : nullptr;
}

const Cell* ConfigStore::read(const PbUtility::Requester& requester, const AddressView& address) {
    const Cell* const cell = findVisible(address, requester.role);
    if (cell == nullptr) {
        logRefusal(requester, address, refusal(kItemNotFound, ERR_UNKNOWN_VARIABLE));
    }
    return cell;
}

Verdict ConfigStore::change(const PbUtility::Requester& requester,
                            std::span<const Proposal> proposals, Mode mode,
                            const std::function<void(const Verdict&)>& whileApplied) {
    if (mode == Mode::kRehearse) {
        loginfo("cfgCommon", "rehearsal begins for %s: nothing of it stays\n",
                describe(requester).c_str());
    }
    if (m_nWaiting == 0) {
        settle();
    }
    const std::size_t mark = m_state.mark();
    Verdict verdict = applyAll(requester, proposals);
    bool bStays = false;
    if (verdict.code != kNoError) {
        logRefusal(requester, proposals[verdict.nFailed].address, verdict);
    } else {
        const std::vector<Effect> effects = m_state.effects(mark);
        Committed& record = nextWaiting();
        fillRecord(record.change, requester, assignmentsOf(proposals), effects);
        verdict.change = &record.change;
        bStays = mode == Mode::kCommit && !effects.empty();
        if (bStays) {
            enqueue(record, effects);
        }
        whileApplied(verdict);
    }
    if (!bStays) {
        takeBack(mark);
    }
    if (mode == Mode::kRehearse) {
        loginfo("cfgCommon", "rehearsal ends for %s\n", describe(requester).c_str());
    }
    return verdict;
}

std::vector<Assignment> ConfigStore::assignmentsOf(std::span<const Proposal> proposals) {
    std::vector<Assignment> assignments;
    for (const Proposal& proposal : proposals) {
        assignments.push_back(
            {.cell = m_state.find(proposal.address), .sValue = std::string(proposal.sValue)});
    }
    return assignments;
}

Committed& ConfigStore::nextWaiting() {
    if (m_nWaiting == m_waiting.size()) {
        m_waiting.emplace_back();
    }
    return m_waiting[m_nWaiting];
}

/// Gives a change its revision and lets it wait for commit().
void ConfigStore::enqueue(Committed& next, std::span<const Effect> effects) {
    next.change.set_revision(m_database->newest() + ++m_nWaiting);
    next.settings.clear();
    for (const Effect& effect : effects) {
        next.settings.push_back(
            settingOf(*effect.cell, static_cast<pbcommon::Aspect>(effect.before.index())));
    }
}

eErrorT ConfigStore::commit(const std::function<void(const pbcommon::Change&)>& committed) {
    const std::span<const Committed> changes(m_waiting.data(), std::exchange(m_nWaiting, 0));
    const eErrorT result = m_database->commit(changes);
    if (result != kNoError) {
        takeBack(0);
        return result;
    }
    m_state.commit();
    for (const Committed& change : changes) {
        committed(change.change);
    }
    std::erase_if(m_waiting, isLong);
    return kNoError;
}

Verdict ConfigStore::applyAll(const PbUtility::Requester& requester,
                              std::span<const Proposal> proposals) {
    Verdict all;
    for (const Proposal& proposal : proposals) {
        Verdict verdict = apply(requester, proposal);
        if (verdict.code != kNoError) {
            verdict.nFailed = static_cast<std::size_t>(&proposal - proposals.data());
            return verdict;
        }
        all.bRebootNeeded |= verdict.bRebootNeeded;
    }
    return all;
}

void ConfigStore::takeBack(std::size_t mark) {
    m_queue.clear();
    m_state.rollBack(mark);
}

void ConfigStore::settle() {
    if (!deliver()) {
        takeBack(0);
        return;
    }
    const std::vector<Effect> effects = m_state.effects(0);
    if (!effects.empty()) {
        Committed& record = nextWaiting();
        fillRecord(
            record.change,
            {.role = m_serviceRole, .uid = geteuid(), .pid = getpid(), .sClient = "start-up"}, {},
            effects);
        enqueue(record, effects);
        // after a failure the rules hold all the same: the next start brings the state into line
        // again
        (void)m_database->commit({m_waiting.data(), std::exchange(m_nWaiting, 0)});
    }
    m_state.commit();
}

Verdict ConfigStore::apply(const PbUtility::Requester& requester, const Proposal& proposal) {
    Cell* const cell = findVisible(proposal.address, requester.role);
    if (cell == nullptr) {
        return refusal(kItemNotFound, ERR_UNKNOWN_VARIABLE);
    }
    if (requester.role < cell->access.write) {
        return refusal(kNotAuthorized, ERR_READ_ONLY);
    }
    if (const char* const tag = kindRefusal(*cell->row, proposal.sValue)) {
        return refusal(kBadParameter, tag);
    }
    if (!isOffered(*cell, proposal.sValue)) {
        return refusal(kBadParameter, ERR_NOT_OFFERED);
    }
    ConfigResult result;
    result.setClientName(requester.sClient);
    return carryOut(*cell, {.cell = cell,
                            .sValue = std::string(proposal.sValue),
                            .role = requester.role,
                            .sContext = requester.sClient,
                            .result = result});
}

/// Asks the provider, then stores the value with everything that follows from it.
Verdict ConfigStore::carryOut(Cell& cell, Notification notification) {
    ConfigResult& result = notification.result;
    ProviderConfigHandler* const provider = m_handlers[cell.nRow].provider;
    if (provider != nullptr &&
        !provider->isValid(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                           cell.nVarInstance, {notification.sValue}, notification.role, result)) {
        // a provider that names no reason still refuses
        const eErrorT code = result.getErrorCode() == kNoError ? kRejected : result.getErrorCode();
        return {.code = code, .tags = result.getErrorTags()};
    }
    const bool bRebootNeeded = result.getIsRebootNeeded();
    m_state.setCause({.call = Cause::kRequest});
    m_state.setValue(cell, notification.sValue);
    m_queue.push_back(std::move(notification));
    if (!deliver()) {
        return refusal(kServerError, ERR_CASCADE_TOO_LONG);
    }
    return {.bRebootNeeded = bRebootNeeded};
}

/// Tells the handlers what has been stored, first in first out, and what they store meanwhile.
/// @return false when the cascade does not come to an end
bool ConfigStore::deliver() {
    for (int nDelivered = 0; !m_queue.empty(); ++nDelivered) {
        if (nDelivered == kMaxNotifications) {
            logcrit("cfgCommon", "more than %d notifications in one change, the last for %s\n",
                    kMaxNotifications, m_queue.front().cell->sAddress.c_str());
            return false;
        }
        Notification notification = std::move(m_queue.front());
        m_queue.pop_front();
        notify(notification);
    }
    return true;
}

void ConfigStore::notify(Notification& notification) {
    const Cell& cell = *notification.cell;
    const std::list<std::string> values{notification.sValue};
    const Handlers& handlers = m_handlers[cell.nRow];
    if (handlers.provider != nullptr) {
        m_state.setCause({.call = Cause::kOnSet, .trigger = &cell});
        handlers.provider->onSet(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                                 cell.nVarInstance, values, notification.role, notification.result);
    }
    m_state.setCause({.call = Cause::kChange, .trigger = &cell});
    for (ConsumerConfigHandler* const consumer : handlers.consumers) {
        if (consumer->register_change) {
            consumer->change(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                             cell.nVarInstance, values, notification.sContext);
        }
    }
}

/// Also an unchanged value is told to the handlers: they set right what depends on it.
eErrorT ConfigStore::write(const AddressView& address, const std::string& sValue,
                           ConfigResult* result) {
    Cell* const cell = m_state.find(address);
    const char* const tag =
        cell == nullptr ? ERR_UNKNOWN_VARIABLE : kindRefusal(*cell->row, sValue);
    const eErrorT code = cell == nullptr  ? kItemNotFound
                         : tag != nullptr ? kBadParameter
                                          : kNoError;
    if (result != nullptr) {
        result->fillConfigResult(code == kNoError, code, false);
    }
    if (tag != nullptr) {
        if (result != nullptr) {
            result->addResultMessage(tag);
        }
        logerr("cfgCommon", "refused %s to the service: %s\n", printableAddress(address).c_str(),
               tag);
        return code;
    }
    m_state.setValue(*cell, sValue);
    m_queue.push_back(
        {.cell = cell, .sValue = sValue, .role = m_serviceRole, .sContext = "", .result = {}});
    return code;
}

eErrorT ConfigStore::offer(const AddressView& address, const std::vector<std::string>& options) {
    Cell* const cell = m_state.find(address);
    if (cell == nullptr) {
        return kItemNotFound;
    }
    const auto isDefaultOption = [cell](const std::string& sOption) {
        return kindRefusal(*cell->row, sOption) == nullptr;
    };
    if (cell->row->kind() != pbcommon::ENUMERATION ||
        !std::all_of(options.begin(), options.end(), isDefaultOption)) {
        logerr("cfgCommon", "refused options of %s to the service\n", cell->sAddress.c_str());
        return kBadParameter;
    }
    m_state.setOffered(*cell, options);
    return kNoError;
}

eErrorT ConfigStore::grant(const AddressView& address, const SecurityRole* read,
                           const SecurityRole* write) {
    Cell* const cell = m_state.find(address);
    if (cell == nullptr) {
        return kItemNotFound;
    }
    m_state.setAccess(*cell, {.read = read == nullptr ? cell->access.read : *read,
                              .write = write == nullptr ? cell->access.write : *write});
    return kNoError;
}

}  // namespace AppConfig
