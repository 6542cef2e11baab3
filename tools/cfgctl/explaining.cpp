// The commands that explain what would be: explain, deps.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "address.h"
#include "answers.h"
#include "command.h"
#include "dependencies.h"
#include "display.h"
#include "input.h"
#include "outcome.h"
#include "terminal.h"
#include "text.h"

namespace cfgctl {

namespace {

bool isTag(const std::string& operand) { return operand.find_first_of("=.") == std::string::npos; }

/// The name of a variable without its instances.
std::string settingOf(const std::string& sName) {
    const auto address = pbcommon::parseAddress(sName);
    std::string sSetting = std::string(address->sNode).append(".").append(address->sVariable);
    std::ranges::transform(sSetting, sSetting.begin(), pbcommon::lower);
    return sSetting;
}

/// Whether further pages may have remedies that are as short as those that were found.
bool isOpen(const pbcommon::ExplainReply& explained) {
    return explained.has_next() &&
           (explained.remedy().empty() ||
            explained.remedy(0).assignment_size() >= static_cast<int>(explained.next_size()));
}

/// All pages in one reply, as far as it takes to know the remedies with the fewest assignments.
pbcommon::Reply explainAll(Session& session, pbcommon::Request request) {
    constexpr int kMaxAttempts = 10;  // then the room is never still
    int nAttempts = 1;
    pbcommon::Reply all = session.ask(request);
    while (isOpen(all.explain())) {
        request.mutable_explain()->set_start(all.explain().next());
        const pbcommon::Reply page = session.ask(request);
        const bool bChanged = page.explain().revision() != all.explain().revision();
        if (bChanged && nAttempts++ < kMaxAttempts) {  // the pages do not fit together
            request.mutable_explain()->clear_start();
            all = session.ask(request);
            continue;
        }
        pbcommon::ExplainReply& explained = *all.mutable_explain();
        explained.clear_next();
        explained.mutable_remedy()->MergeFrom(page.explain().remedy());
        explained.set_tried(explained.tried() + page.explain().tried());
        if (page.explain().has_next()) {
            explained.set_next(page.explain().next());
            explained.set_next_size(page.explain().next_size());
        }
    }
    all.mutable_explain()->clear_next();
    all.mutable_explain()->clear_next_size();
    return all;
}

/// The answer to the assignments as if they had been made.
pbcommon::Reply outcomeOf(const pbcommon::ExplainReply& explained) {
    pbcommon::Reply reply;
    reply.set_code(explained.code());
    *reply.mutable_tag() = explained.tag();
    *reply.mutable_sentence() = explained.sentence();
    *reply.mutable_set() = explained.set();
    return reply;
}

ExitStatus explainTag(Session& session, const std::string& sTag) {
    pbcommon::Request request;
    request.mutable_explain()->set_tag(sTag);
    const pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complain("nothing refuses with " + sTag);
    }
    const pbcommon::ExplainReply& explained = reply.explain();
    return answer(session, reply,
                  explained.sentence().empty() ? "" : shown(explained.sentence(0)) + "\n");
}

}  // namespace

ExitStatus runExplain(Session& session, const OperandsT& operands) {
    if (operands.size() == 1 && isTag(operands.front())) {
        return explainTag(session, operands.front());
    }
    std::vector<AssignmentT> assignments = parseAssignments(operands, false);
    pbcommon::Request request;
    fillAssignments(assignments, *request.mutable_explain()->mutable_assignment());
    const pbcommon::Reply reply = explainAll(session, request);
    if (!isAccepted(reply)) {
        return answerPlain(session, "explain", reply, "");
    }
    const pbcommon::ExplainReply& explained = reply.explain();
    const pbcommon::Reply outcome = outcomeOf(explained);
    const bool bVerbose = session.options().bVerbose;
    const StreamT stream = streamOf(STDOUT_FILENO);
    if (!explained.set().has_refusal() && !isAccepted(outcome)) {
        complainRefusedSet(session, assignments, outcome);
        (void)answer(session, reply, "");
    } else {
        (void)answer(session, reply,
                     isAccepted(outcome)
                         ? acceptedText(kWouldBeAccepted, explained.set(), bVerbose, stream)
                         : refusedText(assignments[explained.set().failed()], outcome, stream) +
                               remediesText(explained, bVerbose, stream));
    }
    return isAccepted(outcome) ? kAccepted : kRefused;
}

ExitStatus runDeps(Session& session, const OperandsT& operands) {
    if (operands.empty() && !session.options().bDot) {
        throw Failure(kUsage, "deps requires a NAME, or --dot");
    }
    pbcommon::Request request;
    pbcommon::Deps& deps = *request.mutable_deps();
    if (!operands.empty()) {
        deps.mutable_address()->set_name(nameOf(operands.front()));
    }
    const pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedName(session, "deps", operands.front(), reply);
        return answer(session, reply, "");
    }
    if (session.options().bDot) {
        return answer(session, reply, dotText(reply.deps()));
    }
    if (reply.deps().dependency().empty()) {
        complain("nothing that this role may see now has to do with " + operands.front() +
                 " by any rule");
    }
    return answer(
        session, reply,
        dependenciesText(reply.deps(), settingOf(operands.front()), streamOf(STDOUT_FILENO)));
}

}  // namespace cfgctl
