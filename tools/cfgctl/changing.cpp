// The commands that change something: set, shutdown.
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "answers.h"
#include "choices.h"
#include "command.h"
#include "display.h"
#include "effects.h"
#include "input.h"
#include "render.h"
#include "terminal.h"
#include "text.h"

namespace cfgctl {

namespace {

/// "NAME=VALUE" with the value that was proposed, a secret masked. Without a variable in the reply
/// the name alone: only the service knows which values are secret.
std::string refusedText(const pbcommon::SetReply& set, const AssignmentT& assignment) {
    constexpr std::size_t kMaxShownBytes = 200;
    if (set.variable().empty()) {
        return assignment.sName;
    }
    const pbcommon::Variable& variable = set.variable(0);
    // as it was typed; the reply has no more than can be shown of it
    return shown(variable.name()) + "=" +
           (variable.kind() == pbcommon::SECRET
                ? shown(variable.value())
                : pbcommon::printable(assignment.value, kMaxShownBytes));
}

/// What an accepted request was answered, as the change that it made or would make.
pbcommon::Change changeOf(const pbcommon::SetReply& set) {
    pbcommon::Change change;
    change.set_revision(set.revision());
    for (const pbcommon::Variable& variable : set.variable()) {
        pbcommon::Assigned& assigned = *change.add_assignment();
        assigned.set_name(variable.name());
        assigned.set_value(variable.value());
    }
    *change.mutable_effect() = set.effect();
    return change;
}

std::string acceptedSetText(const OptionsT& options, const pbcommon::SetReply& set) {
    const StreamT stream = streamOf(STDOUT_FILENO);
    const pbcommon::Change change = changeOf(set);
    return setLines(change, options.bDryRun ? "would be accepted" : "accepted", 0, stream) +
           (options.bVerbose ? everyEffectLine(change, 0, stream)
                             : effectLines(change, 0, stream)) +
           (set.reboot_needed() ? "reboot needed\n" : "");
}

void complainRefusedSet(Session& session, const std::vector<AssignmentT>& assignments,
                        const pbcommon::Reply& reply) {
    if (!reply.set().has_failed() || reply.set().failed() >= assignments.size()) {
        complainRefused("set", reply);  // no single assignment is at fault
        return;
    }
    const AssignmentT& assignment = assignments[reply.set().failed()];
    if (reply.code() == pbcommon::kItemNotFound) {
        complainRefusedName(session, "set", assignment.sName, reply);
        return;
    }
    const std::string text = "set " + refusedText(reply.set(), assignment) + "  " +
                             painted("refused", Colour::kRed, streamOf(STDERR_FILENO)) + "  " +
                             shown(outcomeText(reply, "  ")) + "\n";
    printError(text);
}

}  // namespace

ExitStatus runSet(Session& session, const OperandsT& operands) {
    std::vector<AssignmentT> assignments = parseAssignments(operands, canAsk());
    if (assignments.front().from == AssignmentT::From::kTerminal) {
        const pbcommon::Reply reply = askDescribe(session, "set", assignments.front().sName);
        if (!isAccepted(reply)) {
            return answer(session, reply, "");
        }
        const pbcommon::Variable& variable = reply.describe().variable();
        const TextsT accepted = acceptedOf(choicesOf(session.asking(), variable));
        assignments.front().value =
            typedValue(variable.name(), accepted.empty() ? offersText(variable) : joined(accepted),
                       variable.kind() == pbcommon::SECRET);
    }
    pbcommon::Request request;
    request.mutable_set()->set_dry_run(session.options().bDryRun);
    for (AssignmentT& assignment : assignments) {
        if (assignment.from == AssignmentT::From::kStandardInput) {
            assignment.value = pipedValue(assignment.sName);
        }
        pbcommon::Assignment& added = *request.mutable_set()->add_assignment();
        added.mutable_address()->set_name(assignment.sName);
        added.set_value(assignment.value);
    }
    const pbcommon::Reply reply = session.ask(request);
    if (session.options().bQuiet) {
        return isAccepted(reply) ? kAccepted : kRefused;
    }
    if (!isAccepted(reply)) {
        complainRefusedSet(session, assignments, reply);
        printError("nothing has been changed\n");
    }
    return answer(session, reply, acceptedSetText(session.options(), reply.set()));
}

ExitStatus runShutdown(Session& session, const OperandsT& /*operands*/) {
    if (!session.options().bYes && canAsk() && !isConfirmed("Shut down the service?")) {
        throw Failure(kUsage, "not confirmed; nothing was sent");
    }
    pbcommon::Request request;
    request.set_role(pbcommon::kSystem);  // unless --role says otherwise
    request.mutable_shutdown();
    return answerPlain(session, "shutdown", session.ask(request), "shutdown accepted\n");
}

}  // namespace cfgctl
