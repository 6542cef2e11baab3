#ifndef CFGCTL_INPUT_H
#define CFGCTL_INPUT_H

#include <string>
#include <vector>

#include "messages.pb.h"
#include "operands.h"

namespace cfgctl {

/// Whether somebody can be asked: standard input and standard error are a terminal.
[[nodiscard]] bool canAsk();

/// The value of `sName`: all of standard input without one line feed at its end. One too long for
/// any message is cut to a length that is still too long.
/// @throws Failure  kUsage (it is empty, or cannot be read)
[[nodiscard]] std::string pipedValue(const std::string& sName);

/// The value of `sName` as it is typed in a terminal: one line, asked for on standard error.
/// @param sHint    what may be typed
/// @param bHidden  typing is not shown; the terminal is left as it was, also when a signal ends the
///                 program meanwhile
/// @throws Failure  kUsage (nothing was typed, or standard input cannot be read)
[[nodiscard]] std::string typedValue(const std::string& sName, const std::string& sHint,
                                     bool bHidden);

/// Completes the assignments whose values are on standard input, and puts all into a request.
/// @throws Failure  as pipedValue()
void fillAssignments(std::vector<AssignmentT>& assignments,
                     google::protobuf::RepeatedPtrField<pbcommon::Assignment>& request);

/// Asks in a terminal. @return whether the answer is yes
/// @throws Failure  kUsage (standard input cannot be read)
[[nodiscard]] bool isConfirmed(const std::string& sQuestion);

}  // namespace cfgctl

#endif
