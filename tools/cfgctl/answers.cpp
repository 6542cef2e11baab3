#include "answers.h"

#include <unistd.h>

#include <algorithm>
#include <vector>

#include "address.h"
#include "nearmiss.h"
#include "outcome.h"
#include "render.h"
#include "terminal.h"

namespace cfgctl {

namespace {

/// What the role may see. Empty when the service does not say: the refusal before stays the
/// outcome.
std::vector<std::string> knownNames(Session& session) {
    std::vector<std::string> names;
    try {
        const pbcommon::Reply known = listAll(session.asking(), "*");
        for (const pbcommon::Variable& variable : known.list().variable()) {
            names.push_back(variable.name());
        }
    } catch (const Failure&) {
        names.clear();
    }
    return names;
}

void complainUnknown(Session& session, const std::string& sName) {
    const std::string sHint = hintOn(sName, knownNames(session));
    complain("unknown variable " + sName + " (or not visible to this role); " +
             (sHint.empty() ? "see 'cfgctl list'" : sHint));
}

}  // namespace

bool isAccepted(const pbcommon::Reply& reply) { return reply.code() == pbcommon::kNoError; }

void complainRefused(const std::string& what, const pbcommon::Reply& reply) {
    complain(what + " refused: " + outcomeText(reply, " "));
}

ExitStatus answer(const Session& session, const pbcommon::Reply& reply, const std::string& text) {
    if (session.options().bJson) {
        print(jsonText(reply));
    } else if (isAccepted(reply)) {
        print(text);
    }
    return isAccepted(reply) ? kAccepted : kRefused;
}

ExitStatus answerPlain(const Session& session, const std::string& what,
                       const pbcommon::Reply& reply, const std::string& text) {
    if (!isAccepted(reply)) {
        complainRefused(what, reply);
    }
    return answer(session, reply, text);
}

void complainRefusedName(Session& session, const std::string& what, const std::string& sName,
                         const pbcommon::Reply& reply) {
    if (reply.code() == pbcommon::kItemNotFound) {
        complainUnknown(session, sName);
    } else {
        complainRefused(what + " " + sName, reply);
    }
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
    printError(refusedText(assignment, reply, streamOf(STDERR_FILENO)));
}

bool complainUnmatched(Session& session, const std::string& sPattern) {
    const std::vector<std::string> names = knownNames(session);
    if (std::ranges::any_of(names, [&sPattern](const std::string& sName) {
            return pbcommon::matchesPattern(sPattern, sName);
        })) {
        return false;
    }
    const bool bName = sPattern.find('*') == std::string::npos;
    const std::string sHint = bName ? hintOn(sPattern, names) : "";
    complain("no variable matches " + sPattern + " for this role" +
             (sHint.empty() ? "" : "; " + sHint));
    return true;
}

pbcommon::Reply askDescribe(Session& session, const std::string& what, const std::string& sName) {
    pbcommon::Request request;
    request.mutable_describe()->mutable_address()->set_name(sName);
    pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedName(session, what, sName, reply);
    }
    return reply;
}

}  // namespace cfgctl
