// The commands that change something: set, shutdown.
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "answers.h"
#include "choices.h"
#include "command.h"
#include "input.h"
#include "outcome.h"
#include "render.h"
#include "terminal.h"

namespace cfgctl {

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
    fillAssignments(assignments, *request.mutable_set()->mutable_assignment());
    const pbcommon::Reply reply = session.ask(request);
    if (session.options().bQuiet) {
        return isAccepted(reply) ? kAccepted : kRefused;
    }
    if (!isAccepted(reply)) {
        complainRefusedSet(session, assignments, reply);
        printError("nothing has been changed\n");
    }
    const char* const outcome = session.options().bDryRun ? kWouldBeAccepted : "accepted";
    return answer(
        session, reply,
        acceptedText(outcome, reply.set(), session.options().bVerbose, streamOf(STDOUT_FILENO)));
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
