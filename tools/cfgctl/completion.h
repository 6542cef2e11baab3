#ifndef CFGCTL_COMPLETION_H
#define CFGCTL_COMPLETION_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "messages.pb.h"

namespace cfgctl {

/// The variables that match a pattern, as far as the role (nothing: the service's default) may see
/// them; none where the service does not say.
using LookUpT =
    std::function<pbcommon::Reply(std::optional<pbcommon::Role> role, const std::string& pattern)>;

/// What the last of `words` may become, in the order to show. @param words  what stands behind the
/// program's name up to the cursor; the last may be empty
[[nodiscard]] std::vector<std::string> candidates(const OperandsT& words, const LookUpT& lookUp);

}  // namespace cfgctl

#endif
