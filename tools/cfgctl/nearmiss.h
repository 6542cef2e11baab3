#ifndef CFGCTL_NEARMISS_H
#define CFGCTL_NEARMISS_H

#include <string>
#include <string_view>
#include <vector>

namespace cfgctl {

/// The name that `name` is most likely a misspelling of, letter case aside.
/// @return empty when none is near; the first of equally near ones
[[nodiscard]] std::string nearestName(std::string_view name, const std::vector<std::string>& names);

/// What may help whoever wrote a name that is none of `names`: the pattern of a node, the instances
/// that there are, or the nearest name; empty when there is none of it.
[[nodiscard]] std::string hintOn(const std::string& sWritten,
                                 const std::vector<std::string>& names);

}  // namespace cfgctl

#endif
