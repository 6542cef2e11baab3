#ifndef CFGCTL_OUTCOME_H
#define CFGCTL_OUTCOME_H

#include <string>

#include "messages.pb.h"
#include "operands.h"
#include "terminal.h"

namespace cfgctl {

// What a request to change something was answered, as lines.

/// @param sOutcome  "accepted", "would be accepted"
[[nodiscard]] std::string acceptedText(const std::string& sOutcome, const pbcommon::SetReply& set,
                                       bool bVerbose, const StreamT& stream);

/// Which assignment was refused, the reasons, what would be taken, and what the refusal rests on.
/// @param assignment  the refused one
[[nodiscard]] std::string refusedText(const AssignmentT& assignment, const pbcommon::Reply& reply,
                                      const StreamT& stream);

/// What would make a refused change acceptable, or what was tried in vain.
[[nodiscard]] std::string remediesText(const pbcommon::ExplainReply& explained, bool bVerbose,
                                       const StreamT& stream);

}  // namespace cfgctl

#endif
