#ifndef CFGCTL_CHOICES_H
#define CFGCTL_CHOICES_H

#include <string>
#include <vector>

#include "messages.pb.h"
#include "render.h"
#include "session.h"

namespace cfgctl {

/// A value of a switch or an enumeration, and what the service would answer to it now.
struct ChoiceT {
    std::string sValue;
    pbcommon::Reply answer;  ///< to a rehearsal
};
using ChoicesT = std::vector<ChoiceT>;

/// The values of a described variable one by one, each rehearsed: what is offered does not
/// say whether a rule or the role is against one. None for a variable of another kind.
[[nodiscard]] ChoicesT choicesOf(const AskT& ask, const pbcommon::Variable& variable);

[[nodiscard]] TextsT acceptedOf(const ChoicesT& choices);
/// One a line, the accepted ones first, the others with the refusal.
[[nodiscard]] std::string choiceLines(const ChoicesT& choices);

}  // namespace cfgctl

#endif
