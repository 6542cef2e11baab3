#include "requests/requests.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <typeinfo>

#include "address.h"
#include "clientlimits.h"
#include "model/aspects.h"
#include "names.h"
#include "requests/audience.h"
#include "store/configstore.h"
#include "tags.h"

namespace AppConfig {

namespace {

/// A page of a listing ends behind this; the longest variable still fits into the frame.
constexpr std::size_t kPageBytes = pbcommon::kMaxMessageBytes / 4;
constexpr std::size_t kRevisionBytes = 16;   ///< of a revision in an answer, at most
constexpr std::size_t kMaxShownBytes = 200;  ///< of a refused value
/// Changes that one request looks through: the next one continues, and others come in between.
constexpr int kMaxScanned = 500;

enum class Secrets { kShown, kMasked };

AddressView viewOf(const pbcommon::Address& address) {
    return {.sNode = address.node(),
            .nNodeInstance = address.node_instance(),
            .sVariable = address.variable(),
            .nVarInstance = address.instance()};
}

void fill(pbcommon::Variable& variable, const Cell& cell, Secrets secrets) {
    const pbcommon::VariableRow& row = *cell.row;
    variable.set_name(cell.sAddress);
    variable.set_value(secrets == Secrets::kMasked ? shown(cell, cell.sValue) : cell.sValue);
    variable.set_kind(row.kind());
    variable.mutable_offered()->Assign(cell.offered.begin(), cell.offered.end());
    variable.set_minimum(row.minimum());
    variable.set_maximum(row.maximum());
    variable.set_max_length(row.max_length());
    variable.set_read(static_cast<pbcommon::Role>(cell.access.read));
    variable.set_write(static_cast<pbcommon::Role>(cell.access.write));
}

/// A handler's class, as the sources call it, without its namespace.
template <typename Handler>
std::string className(const Handler& handler) {
    const char* const mangled = typeid(handler).name();
    int nStatus = 0;
    char* const demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &nStatus);
    const std::string sName = demangled == nullptr ? mangled : demangled;
    std::free(demangled);
    const std::size_t colon = sName.rfind(':');
    return colon == std::string::npos ? sName : sName.substr(colon + 1);
}

void fill(pbcommon::Description& description, const Cell& cell, const Handlers& handlers) {
    description.set_default_value(shown(cell, cell.row->default_value()));
    *description.mutable_option() = cell.row->option();
    if (handlers.provider != nullptr) {
        description.set_provider(className(*handlers.provider));
    }
    for (const ConsumerConfigHandler* const consumer : handlers.consumers) {
        description.add_consumer(className(*consumer));
    }
}

/// A variable as it is after a change, but for the value, which is the one that was assigned.
void showAssigned(const Assignment& assignment, pbcommon::Reply& reply) {
    pbcommon::Variable& variable = *reply.add_variable();
    fill(variable, *assignment.cell, Secrets::kMasked);
    variable.set_value(shown(*assignment.cell, assignment.sValue));
}

/// Whether a pattern is taken; else the reply is a refusal.
bool admits(const std::string& sPattern, pbcommon::Reply& reply) {
    const bool bAdmitted = sPattern.size() <= pbcommon::kMaxPatternBytes;
    if (!bAdmitted) {
        refuse(reply, pbcommon::ERR_PATTERN_TOO_LONG);
    }
    return bAdmitted;
}

/// Collects a page of history, in the order in which it is visited.
class Page {
public:
    /// @param nLimit  most changes; 0 for as many as there is room for
    Page(const Audience& audience, const std::string& sPattern, std::uint32_t nLimit,
         pbcommon::Reply& reply)
        : m_audience(audience), m_sPattern(sPattern), m_nLimit(nLimit), m_reply(reply) {}

    /// @return whether there is room for more
    bool add(const pbcommon::Change& change) {
        pbcommon::Change told;
        if (m_audience.tell(change, m_sPattern, told)) {
            m_nBytes += told.ByteSizeLong();
            *m_reply.add_history() = std::move(told);
        }
        m_reply.set_revision(change.revision());
        const bool bEnough = static_cast<std::uint32_t>(m_reply.history_size()) == m_nLimit;
        return ++m_nScanned < kMaxScanned && m_nBytes < kPageBytes && (m_nLimit == 0 || !bEnough);
    }

private:
    const Audience& m_audience;
    const std::string& m_sPattern;
    const std::uint32_t m_nLimit;
    pbcommon::Reply& m_reply;
    std::size_t m_nBytes = 0;
    int m_nScanned = 0;
};

}  // namespace

void ConfigRequests::dispatchingBegins() { m_store.commitServiceWrites(); }

PbUtility::Answer ConfigRequests::handle(const pbcommon::Requester& requester,
                                         const pbcommon::Request& request, pbcommon::Reply& reply,
                                         PbUtility::Client& client) {
    switch (request.body_case()) {
        case pbcommon::Request::kGet:
            get(requester, request.get(), reply);
            break;
        case pbcommon::Request::kDescribe:
            describe(requester, request.describe(), reply);
            break;
        case pbcommon::Request::kSet:
            return set(requester, request.set(), reply);
        case pbcommon::Request::kList:
            list(requester, request.list(), reply);
            break;
        case pbcommon::Request::kWatch:
            watch(requester, request.watch(), reply, client);
            break;
        case pbcommon::Request::kHistory:
            history(requester, request.history(), reply);
            break;
        case pbcommon::Request::kWhy:
            why(requester, request.why(), reply);
            break;
        default:
            refuse(reply, pbcommon::ERR_UNKNOWN_REQUEST);
    }
    return PbUtility::Answer::kFinal;
}

eErrorT ConfigRequests::commit(PbUtility::Publisher& publisher, pbcommon::Reply& failure) {
    const eErrorT result = m_store.commit();
    if (result != kNoError) {
        refuse(failure, pbcommon::ERR_NOT_STORED);
    }
    for (const Committed& committed : m_store.committed()) {
        publisher.publish([&](const PbUtility::Watcher& watcher, pbcommon::Reply& message) {
            return Audience(m_store, watcher.role, Audience::Hears::kNews)
                .tell(committed.change, watcher.sPattern, *message.mutable_change());
        });
    }
    m_store.release();
    return result;
}

/// The variable that is asked for, if the requester may see it; else the reply is a refusal.
const Cell* ConfigRequests::find(const pbcommon::Requester& requester,
                                 const pbcommon::Address& address, pbcommon::Reply& reply) {
    const Cell* const cell = m_store.read(requester, viewOf(address));
    if (cell == nullptr) {
        refuse(reply, pbcommon::ERR_UNKNOWN_VARIABLE);
    }
    return cell;
}

void ConfigRequests::get(const pbcommon::Requester& requester, const pbcommon::Get& get,
                         pbcommon::Reply& reply) {
    if (const Cell* const cell = find(requester, get.address(), reply)) {
        const bool bRevealed = get.reveal() && requester.role >= kAdmin;
        fill(*reply.add_variable(), *cell, bRevealed ? Secrets::kShown : Secrets::kMasked);
    }
}

void ConfigRequests::describe(const pbcommon::Requester& requester,
                              const pbcommon::Describe& describe, pbcommon::Reply& reply) {
    if (const Cell* const cell = find(requester, describe.address(), reply)) {
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, *cell, Secrets::kMasked);
        fill(*variable.mutable_description(), *cell, m_store.handlersOf(*cell));
    }
}

PbUtility::Answer ConfigRequests::set(const pbcommon::Requester& requester,
                                      const pbcommon::Set& set, pbcommon::Reply& reply) {
    if (set.assignment_size() > pbcommon::kMaxAssignments) {
        refuse(reply, pbcommon::ERR_TOO_MANY_ASSIGNMENTS);
        return PbUtility::Answer::kFinal;
    }
    std::vector<Proposal> proposals;
    for (const pbcommon::Assignment& assignment : set.assignment()) {
        proposals.push_back(
            {.address = viewOf(assignment.address()), .sValue = assignment.value()});
    }
    Transaction change = m_store.begin(requester, set.dry_run() ? Mode::kRehearse : Mode::kCommit);
    const Verdict verdict = change.apply(proposals);
    if (verdict.code != kNoError) {
        refuseSet(requester, proposals, verdict, reply);
        return PbUtility::Answer::kFinal;
    }
    for (const Assignment& assignment : verdict.assignments) {
        showAssigned(assignment, reply);
    }
    Audience(m_store, requester.role, Audience::Hears::kNews)
        .tell(change.record(), *reply.mutable_effect());
    reply.set_reboot_needed(verdict.bRebootNeeded);
    if (reply.ByteSizeLong() + kRevisionBytes > pbcommon::kMaxMessageBytes) {
        reply.Clear();
        refuseSet(requester, proposals, change.refuseAnswer(proposals.front()), reply);
        return PbUtility::Answer::kFinal;
    }
    const std::uint64_t nRevision = change.keep();
    if (nRevision == 0) {
        return PbUtility::Answer::kFinal;
    }
    reply.set_revision(nRevision);
    return PbUtility::Answer::kUncommitted;
}

void ConfigRequests::refuseSet(const pbcommon::Requester& requester,
                               std::span<const Proposal> proposals, const Verdict& verdict,
                               pbcommon::Reply& reply) {
    reply.set_code(static_cast<pbcommon::ErrorCode>(verdict.code));
    reply.mutable_tag()->Assign(verdict.tags.begin(), verdict.tags.end());
    if (verdict.failed) {
        reply.set_failed(static_cast<std::uint32_t>(*verdict.failed));
        showRefused(requester, proposals[*verdict.failed], reply);
    }
}

void ConfigRequests::showRefused(const pbcommon::Requester& requester, const Proposal& refused,
                                 pbcommon::Reply& reply) {
    const Cell* const cell = m_store.find(refused.address);
    if (cell != nullptr && requester.role >= cell->access.read) {
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, *cell, Secrets::kMasked);
        variable.set_value(
            pbcommon::cleaned(shown(*cell, std::string(refused.sValue)), kMaxShownBytes));
    }
}

void ConfigRequests::watch(const pbcommon::Requester& requester, const pbcommon::Watch& watch,
                           pbcommon::Reply& reply, PbUtility::Client& client) {
    Database& database = m_store.database();
    const std::uint64_t nNewest = database.newest();
    const std::uint64_t nSince = watch.has_since() ? watch.since() : nNewest;
    if (!admits(watch.pattern(), reply)) {
        return;
    }
    if (nSince > nNewest) {
        refuse(reply, pbcommon::ERR_UNKNOWN_REVISION);
    } else if (nSince == nNewest) {
        reply.set_revision(nNewest);
        if (client.watch({.role = requester.role, .sPattern = watch.pattern()}) != kNoError) {
            refuse(reply, pbcommon::ERR_TOO_MANY_WATCHERS);
        }
    } else {
        if (nSince + 1 < database.oldest()) {
            reply.set_oldest(database.oldest());
        }
        readPage(requester, watch.pattern(), 0, nSince + 1, nNewest, Database::Order::kOldestFirst,
                 reply);
    }
}

void ConfigRequests::history(const pbcommon::Requester& requester, const pbcommon::History& history,
                             pbcommon::Reply& reply) {
    Database& database = m_store.database();
    const std::uint64_t nNewest = database.newest();
    const std::uint64_t nBefore = history.has_before() ? history.before() : nNewest + 1;
    if (admits(history.pattern(), reply) && nBefore > database.oldest()) {
        readPage(requester, history.pattern(), history.limit(), database.oldest(), nBefore - 1,
                 Database::Order::kNewestFirst, reply);
    }
    if (reply.revision() == database.oldest()) {
        reply.clear_revision();
    }
}

void ConfigRequests::readPage(const pbcommon::Requester& requester, const std::string& sPattern,
                              std::uint32_t nLimit, std::uint64_t nFrom, std::uint64_t nTo,
                              Database::Order order, pbcommon::Reply& reply) {
    const Audience audience(m_store, requester.role, Audience::Hears::kHistory);
    Page page(audience, sPattern, nLimit, reply);
    const auto add = [&page](const pbcommon::Change& change) { return page.add(change); };
    if (m_store.database().readHistory(nFrom, nTo, order, add) != kNoError) {
        reply.Clear();
        refuse(reply, pbcommon::ERR_HISTORY_UNREADABLE);
    }
}

void ConfigRequests::why(const pbcommon::Requester& requester, const pbcommon::Why& why,
                         pbcommon::Reply& reply) {
    const Cell* const cell = find(requester, why.address(), reply);
    if (cell == nullptr) {
        return;
    }
    fill(*reply.add_variable(), *cell, Secrets::kMasked);
    explain(requester, *cell, pbcommon::VALUE, *reply.add_reason());
    if (cell->row->kind() == pbcommon::ENUMERATION) {
        explain(requester, *cell, pbcommon::OPTIONS, *reply.add_reason());
    }
    explain(requester, *cell, pbcommon::ACCESS, *reply.add_reason());
}

void ConfigRequests::explain(const pbcommon::Requester& requester, const Cell& cell,
                             pbcommon::Aspect aspect, pbcommon::Reason& reason) {
    reason.set_aspect(aspect);
    fillShown(*reason.mutable_now(), cell, present(cell, static_cast<std::size_t>(aspect)));
    Setting kept{.sVariable = cell.sAddress, .aspect = aspect, .content = {}};
    std::uint64_t nRevision = 0;
    if (!m_store.database().find(kept, nRevision) || !holds(cell, kept)) {
        return;
    }
    reason.set_revision(nRevision);
    const Audience audience(m_store, requester.role, Audience::Hears::kHistory);
    (void)m_store.database().readHistory(
        nRevision, nRevision, Database::Order::kOldestFirst, [&](const pbcommon::Change& change) {
            (void)audience.tell(change, "*", *reason.mutable_change());
            return true;
        });
}

void ConfigRequests::list(const pbcommon::Requester& requester, const pbcommon::List& list,
                          pbcommon::Reply& reply) const {
    std::size_t nBytes = 0;
    std::uint32_t nNext = 0;  // counts what the role may see: the rest leaves no trace in it
    if (!admits(list.pattern(), reply)) {
        return;
    }
    for (const Cell& cell : m_store.cells()) {
        if (requester.role < cell.access.read) {
            continue;
        }
        const std::uint32_t nPlace = nNext++;
        if (nPlace < list.start() || !pbcommon::matchesPattern(list.pattern(), cell.sAddress)) {
            continue;
        }
        if (nBytes > kPageBytes) {
            reply.set_next(nPlace);
            return;
        }
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, cell, Secrets::kMasked);
        nBytes += variable.ByteSizeLong();
    }
}

}  // namespace AppConfig
