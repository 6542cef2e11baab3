#ifndef CFGCTL_ANSWERS_H
#define CFGCTL_ANSWERS_H

#include <string>
#include <vector>

#include "failure.h"
#include "messages.pb.h"
#include "operands.h"
#include "session.h"

namespace cfgctl {

// What commands do with the service's replies.

[[nodiscard]] bool isAccepted(const pbcommon::Reply& reply);

/// Says on standard error that no variable matches, where that is so, and what may be meant.
/// @return whether it is so
bool complainUnmatched(Session& session, const std::string& sPattern);
/// Says on standard error that `what` was refused.
void complainRefused(const std::string& what, const pbcommon::Reply& reply);
/// The same for a variable; an unknown one with the name that is nearest.
void complainRefusedName(Session& session, const std::string& what, const std::string& sName,
                         const pbcommon::Reply& reply);

/// The same for a request to change something, with the assignment that is at fault.
void complainRefusedSet(Session& session, const std::vector<AssignmentT>& assignments,
                        const pbcommon::Reply& reply);

/// What is said of a change that was only rehearsed.
inline constexpr const char* kWouldBeAccepted = "would be accepted";

/// Prints a reply, or without --json the text. @param text  what acceptance prints
ExitStatus answer(const Session& session, const pbcommon::Reply& reply, const std::string& text);
/// Says a refusal on standard error, then answers.
ExitStatus answerPlain(const Session& session, const std::string& what,
                       const pbcommon::Reply& reply, const std::string& text);

/// A reply's description of a variable, which is asked for; a refusal has been said.
[[nodiscard]] pbcommon::Reply askDescribe(Session& session, const std::string& what,
                                          const std::string& sName);

}  // namespace cfgctl

#endif
