#ifndef CFGCTL_ROLES_H
#define CFGCTL_ROLES_H

#include <optional>
#include <string>
#include <vector>

#include "messages.pb.h"

namespace cfgctl {

/// Names of the roles that a client may ask for; the index is the role.
[[nodiscard]] std::vector<std::string> roleNames();

/// @return nothing when no client may ask for a role of that name
[[nodiscard]] std::optional<pbcommon::Role> roleNamed(const std::string& sName);

}  // namespace cfgctl

#endif
