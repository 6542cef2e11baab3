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
#include "requests/dependencies.h"
#include "requests/explainer.h"
#include "requests/page.h"
#include "requests/remedies.h"
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

using AssignmentsT = google::protobuf::RepeatedPtrField<pbcommon::Assignment>;

/// Whether a change has no more assignments than one may have; else the reply is a refusal.
bool admits(const AssignmentsT& assignments, pbcommon::Reply& reply) {
    const bool bAdmitted = assignments.size() <= pbcommon::kMaxAssignments;
    if (!bAdmitted) {
        refuse(reply, pbcommon::ERR_TOO_MANY_ASSIGNMENTS);
    }
    return bAdmitted;
}

/// Views into the message.
std::vector<Proposal> proposalsOf(const AssignmentsT& assignments) {
    std::vector<Proposal> proposals;
    proposals.reserve(static_cast<std::size_t>(assignments.size()));
    for (const pbcommon::Assignment& assignment : assignments) {
        proposals.push_back(
            {.address = pbcommon::viewOf(assignment.address()), .sValue = assignment.value()});
    }
    return proposals;
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
    {Request::kExplain,  false,   kUser,       &ConfigRequests::explain},
    {Request::kStatus,   false,   kUser,       &ConfigRequests::status},
    {Request::kDeps,     false,   kUser,       &ConfigRequests::deps},
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
    if (!admits(set.assignment(), reply)) {
        return {};
    }
    Transaction change = m_store.begin(requester, set.dry_run() ? Mode::kRehearse : Mode::kCommit);
    if (!rehearse(requester, proposalsOf(set.assignment()), change, reply)) {
        return {};
    }
    const std::uint64_t nRevision = change.keep();
    if (nRevision != 0) {
        reply.mutable_set()->set_revision(nRevision);
    }
    return {.bUncommitted = nRevision != 0};
}

/// Applies the proposals, without keeping the change, and fills the reply.
/// @return whether it is accepted
bool ConfigRequests::rehearse(const Requester& requester, std::span<const Proposal> proposals,
                              Transaction& change, Reply& reply) {
    const Verdict verdict = change.apply(proposals);
    if (verdict.code != kNoError) {
        refuseSet(requester, proposals, verdict, change, reply);
        return false;
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
        refuseSet(requester, proposals, change.refuseAnswer(proposals.front()), change, reply);
        return false;
    }
    return true;
}

void ConfigRequests::refuseSet(const Requester& requester, std::span<const Proposal> proposals,
                               const Verdict& verdict, Transaction& change, Reply& reply) {
    reply.set_code(pbcommon::toMessage(verdict.code));
    for (const std::string& sTag : verdict.tags) {
        reply.add_tag(sTag);
        reply.add_sentence(m_store.schema().sentenceOf(sTag));
    }
    if (!verdict.failed) {
        return;
    }
    pbcommon::SetReply& answer = *reply.mutable_set();
    answer.set_failed(static_cast<std::uint32_t>(*verdict.failed));
    const Proposal& refused = proposals[*verdict.failed];
    const Cell* const cell = m_store.find(refused.address);
    if (cell != nullptr && cell->mayRead(requester.role)) {
        showRefused(*cell, refused.sValue, answer);
        Explainer(m_store, requester.role, m_told)
            .tellRefusal(*cell, verdict, change, *answer.mutable_refusal());
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
    const Explainer explainer(m_store, requester.role, m_told);
    explainer.tellReason(*cell, pbcommon::VALUE, *answer.add_reason());
    if (cell->row->kind() == pbcommon::ENUMERATION) {
        explainer.tellReason(*cell, pbcommon::OPTIONS, *answer.add_reason());
    }
    explainer.tellReason(*cell, pbcommon::ACCESS, *answer.add_reason());
    return {};
}

PbUtility::Answer ConfigRequests::explain(const Requester& requester, const Request& request,
                                          Reply& reply) {
    const pbcommon::Explain& explain = request.explain();
    if (!explain.tag().empty()) {
        explainTag(explain.tag(), reply);
        return {};
    }
    if (!admits(explain.assignment(), reply)) {
        return {};
    }
    const Rehearsal rehearsal(pbcommon::describe(requester));
    const std::vector<Proposal> proposals = proposalsOf(explain.assignment());
    Reply outcome;
    {
        Transaction change = m_store.begin(requester, Mode::kTry);
        (void)rehearse(requester, proposals, change, outcome);
    }
    pbcommon::ExplainReply& answer = *reply.mutable_explain();
    answer.set_code(outcome.code());
    answer.mutable_tag()->Swap(outcome.mutable_tag());
    answer.mutable_sentence()->Swap(outcome.mutable_sentence());
    answer.mutable_set()->Swap(outcome.mutable_set());
    answer.set_revision(m_store.database().newest());
    if (answer.set().has_refusal()) {
        Remedies(m_store, requester, proposals, answer.set().refusal())
            .search(explain.start(), answer);
    }
    return {};
}

void ConfigRequests::explainTag(const std::string& sTag, Reply& reply) const {
    const std::string sSentence = m_store.schema().sentenceOf(sTag);
    if (sSentence.empty()) {
        refuse(reply, pbcommon::ERR_UNKNOWN_TAG);
        return;
    }
    reply.mutable_explain()->add_tag(sTag);
    reply.mutable_explain()->add_sentence(sSentence);
}

PbUtility::Answer ConfigRequests::status(const Requester& requester, const Request& /*request*/,
                                         Reply& reply) {
    pbcommon::StatusReply& answer = *reply.mutable_status();
    const Database& database = m_store.database();
    answer.set_revision(database.newest());
    if (database.completeFrom() > 1) {
        answer.set_oldest(database.completeFrom());
    }
    answer.set_writable(m_store.database().isWritable());
    answer.set_settings(static_cast<std::uint32_t>(std::ranges::count_if(
        m_store.cells(), [&requester](const Cell& cell) { return cell.mayRead(requester.role); })));
    if (requester.role >= kAdmin) {
        answer.set_database(database.path());
        for (const pbcommon::SchemaFile& file : m_store.schema().files()) {
            *answer.add_file() = file;
        }
    }
    return {};
}

PbUtility::Answer ConfigRequests::deps(const Requester& requester, const Request& request,
                                       Reply& reply) {
    std::string sSetting;
    if (request.deps().has_address()) {
        const Cell* const cell = find(requester, request.deps().address(), reply);
        if (cell == nullptr) {
            return {};
        }
        sSetting = cell->row->node() + "." + cell->row->name();
    }
    const Audience audience(m_store, requester.role, Audience::Moment::kHistory);
    tellDependencies(
        sSetting, [&audience](const std::string& sName) { return audience.mayRead(sName); },
        *reply.mutable_deps());
    return {};
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
        if (!pbcommon::matchesPattern(list.pattern(), cell.sAddress) ||
            (list.changed() && cell.sValue == cell.row->default_value())) {
            continue;
        }
        pbcommon::Variable& variable = *answer.add_variable();
        fill(variable, cell, Secrets::kMasked);
        nBytes += variable.ByteSizeLong();
    }
    return {};
}

}  // namespace AppConfig
