#ifndef CFGCTL_GROUPING_H
#define CFGCTL_GROUPING_H

#include <set>
#include <string>
#include <vector>

namespace cfgctl {

/// Instances as a name has them: "" for 0 alone, "[1]", "[0,1]", "[0..2,4]".
[[nodiscard]] std::string instancesText(const std::set<int>& instances);

/// Names of variables, siblings in one text: "a.b[0..2].c[1]", "a.{b,c}"; in the order in which the
/// first of each is named.
[[nodiscard]] std::vector<std::string> groupedNames(const std::vector<std::string>& names);

}  // namespace cfgctl

#endif
