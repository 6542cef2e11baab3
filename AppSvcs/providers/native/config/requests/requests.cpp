#include "requests/requests.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>

#include "address.h"
#include "clientlimits.h"
#include "model/aspects.h"
#include "names.h"
#include "requests/audience.h"
#include "requests/page.h"
#include "requests/variables.h"
#include "store/configstore.h"
#include "tags.h"
#include "text.h"

namespace AppConfig {

namespace {

constexpr std::size_t kRevisionBytes = 16;   ///< of a revision in an answer, at most
constexpr std::size_t kMaxShownBytes = 200;  ///< of a refused value

/// Whether a pattern is short enough; else the reply is a refusal.
bool admits(const std::string& sPattern, pbcommon::Reply& reply) {
    const bool bAdmitted = sPattern.size() <= pbcommon::kMaxPatternBytes;
    if (!bAdmitted) {
        refuse(reply, pbcommon::ERR_PATTERN_TOO_LONG);
    }
    return bAdmitted;
}

/// A variable as it is after a change, but for the value, which is the one that was assigned.
void showAssigned(const Assignment& assignment, pbcommon::SetReply& reply) {
    pbcommon::Variable& variable = *reply.add_variable();
    fill(variable, *assignment.cell, Secrets::kMasked);
    variable.set_value(shown(*assignment.cell, assignment.sValue));
}

void showRefused(const Cell& cell, std::string_view sProposed, pbcommon::SetReply& reply) {
    pbcommon::Variable& variable = *reply.add_variable();
    fill(variable, cell, Secrets::kMasked);
    variable.set_value(pbcommon::cleaned(shown(cell, std::string(sProposed)), kMaxShownBytes));
}

}  // namespace

// clang-format off
const ConfigRequests::RequestParamT ConfigRequests::requestTable[] = {
    // body              changes  lowest role  serve
    {Request::kGet,      false,   kUser,       &ConfigRequests::get},
    {Request::kSet,      true,    kUser,       &ConfigRequests::set},
    {Request::kList,     false,   kUser,       &ConfigRequests::list},
    {Request::kDescribe, false,   kUser,       &ConfigRequests::describe},
    {Request::kWatch,    false,   kUser,       &ConfigRequests::watch},
    {Request::kHistory,  false,   kUser,       &ConfigRequests::history},
    {Request::kWhy,      false,   kUser,       &ConfigRequests::why},
};
// clang-format on

/// Null for a request that this version does not know.
const ConfigRequests::RequestParamT* ConfigRequests::rowOf(const Request& request) {
    const auto* const row =
        std::ranges::find(requestTable, request.body_case(), &RequestParamT::body);
    return row == std::end(requestTable) ? nullptr : row;
}

void ConfigRequests::dispatchingBegins() { m_store.commitServiceWrites(); }

bool ConfigRequests::isChange(const Request& request) const {
    const RequestParamT* const row = rowOf(request);
    return row != nullptr && row->bChanges;
}

PbUtility::Answer ConfigRequests::handle(const Requester& requester, const Request& request,
                                         Reply& reply) {
    const RequestParamT* const row = rowOf(request);
    if (row == nullptr) {
        refuse(reply, pbcommon::ERR_UNKNOWN_REQUEST);
        return {};
    }
    if (requester.role < row->lowestRole) {
        refuse(reply, pbcommon::ERR_ROLE_NOT_ALLOWED);
        return {};
    }
    return (this->*row->serve)(requester, request, reply);
}

eErrorT ConfigRequests::commit(PbUtility::Revisions& revisions, Reply& failure) {
    const eErrorT result = m_store.commit();
    if (result != kNoError) {
        refuse(failure, pbcommon::ERR_NOT_STORED);
        return result;
    }
    const auto committed = m_store.committed();
    if (!committed.empty()) {
        revisions = {.nFirst = committed.front().nRevision, .nLast = committed.back().nRevision};
    }
    return result;
}

bool ConfigRequests::tell(std::uint64_t nRevision, const PbUtility::Watcher& watcher,
                          pbcommon::Event& event) {
    const auto committed = m_store.committed();
    const Record& record = committed[nRevision - committed.front().nRevision];
    return Audience(m_store, watcher.role, Audience::Moment::kEvent)
        .tell(record, watcher.sPattern, *event.mutable_change());
}

void ConfigRequests::release() { m_store.release(); }

/// The variable that is asked for, if the requester may see it; else the reply is a refusal.
const Cell* ConfigRequests::find(const Requester& requester, const pbcommon::Address& address,
                                 Reply& reply) {
    const Cell* const cell = m_store.read(requester, pbcommon::viewOf(address));
    if (cell == nullptr) {
        refuse(reply, pbcommon::ERR_UNKNOWN_VARIABLE);
    }
    return cell;
}

PbUtility::Answer ConfigRequests::get(const Requester& requester, const Request& request,
                                      Reply& reply) {
    const pbcommon::Get& get = request.get();
    if (const Cell* const cell = find(requester, get.address(), reply)) {
        const bool bRevealed = get.reveal() && requester.role >= kAdmin;
        fill(*reply.mutable_get()->add_variable(), *cell,
             bRevealed ? Secrets::kShown : Secrets::kMasked);
    }
    return {};
}

void ConfigRequests::fillDescribed(pbcommon::Variable& variable, const Cell& cell) const {
    fill(variable, cell, Secrets::kMasked);
    fill(*variable.mutable_description(), cell, m_store.handlersOf(cell));
}

PbUtility::Answer ConfigRequests::describe(const Requester& requester, const Request& request,
                                           Reply& reply) {
    if (const Cell* const cell = find(requester, request.describe().address(), reply)) {
        fillDescribed(*reply.mutable_describe()->mutable_variable(), *cell);
    }
    return {};
}

PbUtility::Answer ConfigRequests::set(const Requester& requester, const Request& request,
                                      Reply& reply) {
    const pbcommon::Set& set = request.set();
    if (set.assignment_size() > pbcommon::kMaxAssignments) {
        refuse(reply, pbcommon::ERR_TOO_MANY_ASSIGNMENTS);
        return {};
    }
    std::vector<Proposal> proposals;
    for (const pbcommon::Assignment& assignment : set.assignment()) {
        proposals.push_back(
            {.address = pbcommon::viewOf(assignment.address()), .sValue = assignment.value()});
    }
    Transaction change = m_store.begin(requester, set.dry_run() ? Mode::kRehearse : Mode::kCommit);
    const Verdict verdict = change.apply(proposals);
    if (verdict.code != kNoError) {
        refuseSet(requester, proposals, verdict, reply);
        return {};
    }
    pbcommon::SetReply& answer = *reply.mutable_set();
    for (const Assignment& assignment : verdict.assignments) {
        showAssigned(assignment, answer);
    }
    Audience(m_store, requester.role, Audience::Moment::kEvent)
        .tell(change.record(), *answer.mutable_effect());
    answer.set_reboot_needed(verdict.bRebootNeeded);
    if (reply.ByteSizeLong() + kRevisionBytes > pbcommon::kMaxMessageBytes) {
        reply.clear_body();
        refuseSet(requester, proposals, change.refuseAnswer(proposals.front()), reply);
        return {};
    }
    const std::uint64_t nRevision = change.keep();
    if (nRevision != 0) {
        answer.set_revision(nRevision);
    }
    return {.bUncommitted = nRevision != 0};
}

void ConfigRequests::refuseSet(const Requester& requester, std::span<const Proposal> proposals,
                               const Verdict& verdict, Reply& reply) {
    reply.set_code(pbcommon::toMessage(verdict.code));
    reply.mutable_tag()->Assign(verdict.tags.begin(), verdict.tags.end());
    if (!verdict.failed) {
        return;
    }
    pbcommon::SetReply& answer = *reply.mutable_set();
    answer.set_failed(static_cast<std::uint32_t>(*verdict.failed));
    const Proposal& refused = proposals[*verdict.failed];
    const Cell* const cell = m_store.find(refused.address);
    if (cell != nullptr && cell->mayRead(requester.role)) {
        showRefused(*cell, refused.sValue, answer);
    }
}

PbUtility::Answer ConfigRequests::watch(const Requester& requester, const Request& request,
                                        Reply& reply) {
    const pbcommon::Watch& watch = request.watch();
    const Database& database = m_store.database();
    const std::uint64_t nNewest = database.newest();
    const std::uint64_t nSince = watch.has_since() ? watch.since() : nNewest;
    if (!admits(watch.pattern(), reply)) {
        return {};
    }
    if (nSince > nNewest) {
        refuse(reply, pbcommon::ERR_UNKNOWN_REVISION);
        return {};
    }
    pbcommon::WatchReply& answer = *reply.mutable_watch();
    if (nSince == nNewest) {
        answer.set_revision(nNewest);
        return {.watcher = PbUtility::Watcher{.role = requester.role, .sPattern = watch.pattern()}};
    }
    if (nSince + 1 < database.completeFrom()) {
        answer.set_oldest(database.completeFrom());
    }
    const Audience audience(m_store, requester.role, Audience::Moment::kHistory);
    Page page(audience, watch.pattern(), 0, *answer.mutable_change());
    if (readPage(page, nSince + 1, nNewest, Database::Order::kOldestFirst, reply)) {
        answer.set_revision(page.isFull() ? page.revision() : nNewest);
    }
    return {};
}

PbUtility::Answer ConfigRequests::history(const Requester& requester, const Request& request,
                                          Reply& reply) {
    const pbcommon::History& history = request.history();
    const Database& database = m_store.database();
    const std::uint64_t nBefore = history.has_before() ? history.before() : database.newest() + 1;
    if (!admits(history.pattern(), reply)) {
        return {};
    }
    pbcommon::HistoryReply& answer = *reply.mutable_history();
    const Audience audience(m_store, requester.role, Audience::Moment::kHistory);
    Page page(audience, history.pattern(), history.limit(), *answer.mutable_change());
    if (nBefore <= database.oldest() ||
        !readPage(page, database.oldest(), nBefore - 1, Database::Order::kNewestFirst, reply)) {
        return {};
    }
    if (page.isFull() && page.revision() > database.oldest()) {
        answer.set_revision(page.revision());
    }
    if (database.completeFrom() > 1) {
        answer.set_oldest(database.completeFrom());
    }
    return {};
}

/// @return whether history could be read; else the reply is a refusal
bool ConfigRequests::readPage(Page& page, std::uint64_t nFrom, std::uint64_t nTo,
                              Database::Order order, Reply& reply) {
    const bool bRead =
        m_store.database().readHistory(
            nFrom, nTo, order,
            [&page](const std::string& sVariable) { return page.isWanted(sVariable); },
            [&page](const Record& change) { return page.add(change); }) == kNoError;
    if (!bRead) {
        reply.clear_body();
        refuse(reply, pbcommon::ERR_HISTORY_UNREADABLE);
    }
    return bRead;
}

PbUtility::Answer ConfigRequests::why(const Requester& requester, const Request& request,
                                      Reply& reply) {
    const Cell* const cell = find(requester, request.why().address(), reply);
    if (cell == nullptr) {
        return {};
    }
    pbcommon::WhyReply& answer = *reply.mutable_why();
    fillDescribed(*answer.mutable_variable(), *cell);
    explain(requester, *cell, pbcommon::VALUE, *answer.add_reason());
    if (cell->row->kind() == pbcommon::ENUMERATION) {
        explain(requester, *cell, pbcommon::OPTIONS, *answer.add_reason());
    }
    explain(requester, *cell, pbcommon::ACCESS, *answer.add_reason());
    return {};
}

void ConfigRequests::explain(const Requester& requester, const Cell& cell, pbcommon::Aspect aspect,
                             pbcommon::Reason& reason) {
    reason.set_aspect(aspect);
    splitTexts(shown(cell, present(cell, aspect)), aspect, *reason.mutable_now());
    Setting kept{.sVariable = cell.sAddress, .aspect = aspect};
    if (!m_store.database().find(kept) || !holds(cell, kept)) {
        return;
    }
    reason.set_revision(kept.nRevision);
    Record change;
    if (m_store.database().readChange(kept.nRevision, change) == kNoError) {
        (void)Audience(m_store, requester.role, Audience::Moment::kHistory)
            .tell(change, "*", *reason.mutable_change());
    }
}

PbUtility::Answer ConfigRequests::list(const Requester& requester, const Request& request,
                                       Reply& reply) {
    const pbcommon::List& list = request.list();
    if (!admits(list.pattern(), reply)) {
        return {};
    }
    pbcommon::ListReply& answer = *reply.mutable_list();
    std::size_t nBytes = 0;
    std::uint32_t nNext = 0;  // counts what the role may see: the rest leaves no trace in it
    for (const Cell& cell : m_store.cells()) {
        if (!cell.mayRead(requester.role)) {
            continue;
        }
        const std::uint32_t nPlace = nNext++;
        if (nPlace < list.start()) {
            continue;
        }
        if (nBytes > pbcommon::kPageBytes || nPlace - list.start() >= pbcommon::kPageVariables) {
            answer.set_next(nPlace);
            return {};
        }
        if (!pbcommon::matchesPattern(list.pattern(), cell.sAddress)) {
            continue;
        }
        pbcommon::Variable& variable = *answer.add_variable();
        fill(variable, cell, Secrets::kMasked);
        nBytes += variable.ByteSizeLong();
    }
    return {};
}

}  // namespace AppConfig
