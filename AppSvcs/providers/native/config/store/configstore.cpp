#include "store/configstore.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <utility>

#include "address.h"
#include "clientlimits.h"
#include "logmsg.h"
#include "model/aspects.h"
#include "model/value.h"
#include "names.h"

namespace AppConfig {

namespace {

/// A cascade that is longer than this has a fault in its rules: they chase each other.
constexpr int kMaxNotifications = 1024;

/// Large records are freed rather than reused, so that a burst does not pin memory.
bool isLong(const Committed& committed) {
    constexpr int kMaxKeptBytes = 4096;
    return committed.change.GetCachedSize() > kMaxKeptBytes;
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

void logRefusal(const pbcommon::Requester& requester, const AddressView& address,
                const Verdict& verdict) {
    std::string sReason = pbcommon::describeCode(verdict.code);
    for (const std::string& sTag : verdict.tags) {
        sReason += " " + sTag;
    }
    logwarn("cfgCommon", "refused %s to %s: %s\n", printableAddress(address).c_str(),
            describe(requester).c_str(), sReason.c_str());
}

}  // namespace

ConfigStore::ConfigStore(Schema schema, Database& database)
    : m_schema(std::move(schema)),
      m_state(m_schema),
      m_database(database),
      m_handlers(m_schema.rows().size()) {
    m_manager.m_impl = this;
    restoreState();
}

/// What is not admitted any more stays in the database until the variable is changed: a return to
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
            logwarn("cfgCommon", "stored %s of %s is left out: there is no such variable\n",
                    aspectName(setting.aspect), setting.sVariable.c_str());
        } else if (!restore(m_state, *cell, setting)) {
            logerr("cfgCommon", "stored %s of %s is none any more: the default holds\n",
                   aspectName(setting.aspect), setting.sVariable.c_str());
        }
    });
    m_state.commit();
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

const Cell* ConfigStore::read(const pbcommon::Requester& requester, const AddressView& address) {
    const Cell* const cell = findVisible(address, requester.role);
    if (cell == nullptr) {
        logRefusal(requester, address, refusal(kItemNotFound, ERR_UNKNOWN_VARIABLE));
    }
    return cell;
}

/// Takes everything back that has been done since it was made, unless it is told to keep it; also
/// when an exception passes through.
class ConfigStore::Undo {
public:
    /// @param mark  where to go back to
    Undo(ConfigStore& store, std::size_t mark) : m_store(store), m_mark(mark) {}
    ~Undo() {
        if (!m_bKept) {
            m_store.takeBack(m_mark);
        }
    }
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;

    void keep() { m_bKept = true; }
    [[nodiscard]] std::size_t mark() const { return m_mark; }

private:
    ConfigStore& m_store;
    const std::size_t m_mark;
    bool m_bKept = false;
};

Verdict ConfigStore::change(const pbcommon::Requester& requester,
                            std::span<const Proposal> proposals, Mode mode,
                            const std::function<bool(const Verdict&)>& answer) {
    if (mode == Mode::kRehearse) {
        loginfo("cfgCommon", "rehearsal begins for %s: nothing of it stays\n",
                describe(requester).c_str());
    }
    if (m_nWaiting == 0) {
        settle();
    }
    Verdict verdict = propose(requester, proposals, mode, answer);
    if (verdict.code != kNoError) {
        logRefusal(requester, proposals[verdict.failed.value_or(0)].address, verdict);
    }
    if (mode == Mode::kRehearse) {
        loginfo("cfgCommon", "rehearsal ends for %s\n", describe(requester).c_str());
    }
    return verdict;
}

Verdict ConfigStore::propose(const pbcommon::Requester& requester,
                             std::span<const Proposal> proposals, Mode mode,
                             const std::function<bool(const Verdict&)>& answer) {
    Undo undo(*this, m_state.mark());
    Verdict verdict = applyAll(requester, proposals);
    if (verdict.code != kNoError) {
        return verdict;
    }
    const std::vector<Effect> effects = m_state.effects(undo.mark());
    Committed& record = nextWaiting();
    fillRecord(record.change, requester, verdict.assignments, effects);
    verdict.change = &record.change;
    // whoever asks for it later is to get it, too: in an event, in history, in `why`
    if (record.change.ByteSizeLong() > pbcommon::kMaxChangeBytes || !answer(verdict)) {
        m_waiting.resize(m_nWaiting);  // a long one is not kept for the next change
        return refusal(kOutOfRange, ERR_ANSWER_TOO_LONG);
    }
    if (mode == Mode::kCommit && !effects.empty()) {
        enqueue(record, effects);
        undo.keep();
    }
    return verdict;
}

Committed& ConfigStore::nextWaiting() {
    if (m_nWaiting == m_waiting.size()) {
        m_waiting.emplace_back();
    }
    return m_waiting[m_nWaiting];
}

/// Gives a change its revision and lets it wait for commit().
void ConfigStore::enqueue(Committed& next, std::span<const Effect> effects) {
    next.settings.clear();
    for (const Effect& effect : effects) {
        next.settings.push_back(
            settingOf(*effect.cell, static_cast<pbcommon::Aspect>(effect.before.index())));
    }
    next.change.set_revision(m_database.newest() + ++m_nWaiting);
}

eErrorT ConfigStore::commit(const std::function<void(const pbcommon::Change&)>& committed) {
    const std::span<const Committed> changes(m_waiting.data(), std::exchange(m_nWaiting, 0));
    const eErrorT result = m_database.commit(changes);
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

Verdict ConfigStore::applyAll(const pbcommon::Requester& requester,
                              std::span<const Proposal> proposals) {
    Verdict all;
    for (const Proposal& proposal : proposals) {
        Verdict verdict = apply(requester, proposal, all.assignments);
        if (verdict.code != kNoError) {
            verdict.failed = static_cast<std::size_t>(&proposal - proposals.data());
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
    Undo undo(*this, 0);
    if (!deliver()) {
        return;
    }
    const std::vector<Effect> effects = m_state.effects(undo.mark());
    if (!effects.empty()) {
        Committed& record = nextWaiting();
        fillRecord(
            record.change,
            {.role = m_serviceRole, .uid = geteuid(), .pid = getpid(), .sClient = "start-up"}, {},
            effects);
        if (record.change.ByteSizeLong() > pbcommon::kMaxChangeBytes) {
            logcrit("cfgCommon", "what the service writes at its start is too long to be kept\n");
            return;
        }
        enqueue(record, effects);
        // after a failure the rules hold all the same: the next start brings the state into line
        // again
        (void)m_database.commit({m_waiting.data(), std::exchange(m_nWaiting, 0)});
    }
    undo.keep();
    m_state.commit();
}

Verdict ConfigStore::apply(const pbcommon::Requester& requester, const Proposal& proposal,
                           std::vector<Assignment>& assignments) {
    Cell* const cell = findVisible(proposal.address, requester.role);
    if (cell == nullptr) {
        return refusal(kItemNotFound, ERR_UNKNOWN_VARIABLE);
    }
    if (requester.role < cell->access.write) {
        return refusal(kNotAuthorized, ERR_READ_ONLY);
    }
    if (const char* const tag = proposalRefusal(*cell->row, proposal.sValue)) {
        return refusal(kBadParameter, tag);
    }
    ConfigResult result;
    result.setServerContext(describe(requester));
    result.setClientName(requester.sClient);
    Notification notification{.cell = cell,
                              .sValue = std::string(proposal.sValue),
                              .role = requester.role,
                              .sContext = requester.sClient,
                              .result = std::move(result)};
    return carryOut(*cell, std::move(notification), assignments);
}

/// Asks the provider, whose reasons come first, then stores the value with everything that follows
/// from it. A proposal that is not a value of its kind reaches the provider as it came in.
Verdict ConfigStore::carryOut(Cell& cell, Notification notification,
                              std::vector<Assignment>& assignments) {
    ConfigResult& result = notification.result;
    const char* const tag = canonicalise(*cell.row, notification.sValue, notification.sValue);
    ProviderConfigHandler* const provider = m_handlers[cell.nRow].provider;
    if (provider != nullptr &&
        !provider->isValid(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                           cell.nVarInstance, {notification.sValue}, notification.role, result)) {
        // a provider that names no reason still refuses
        const eErrorT code = result.getErrorCode() == kNoError ? kRejected : result.getErrorCode();
        return {.code = code, .tags = result.getErrorTags()};
    }
    if (tag != nullptr) {
        return refusal(kBadParameter, tag);
    }
    if (!isOffered(cell, notification.sValue)) {
        return refusal(kBadParameter, ERR_NOT_OFFERED);
    }
    const bool bRebootNeeded = result.getIsRebootNeeded();
    m_state.setCause({.call = Cause::kRequest});
    m_state.setValue(cell, notification.sValue);
    assignments.push_back({.cell = &cell, .sValue = notification.sValue});
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
    std::string sCanonical;
    const char* const tag =
        cell == nullptr ? ERR_UNKNOWN_VARIABLE : canonicalise(*cell->row, sValue, sCanonical);
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
    m_state.setValue(*cell, sCanonical);
    m_queue.push_back({.cell = cell,
                       .sValue = std::move(sCanonical),
                       .role = m_serviceRole,
                       .sContext = "",
                       .result = {}});
    return code;
}

eErrorT ConfigStore::offer(const AddressView& address, const std::vector<std::string>& options) {
    Cell* const cell = m_state.find(address);
    if (cell == nullptr) {
        return kItemNotFound;
    }
    const auto isOption = [cell](const std::string& sOption) {
        return isDefaultOption(*cell->row, sOption);
    };
    if (cell->row->kind() != pbcommon::ENUMERATION ||
        !std::all_of(options.begin(), options.end(), isOption)) {
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
