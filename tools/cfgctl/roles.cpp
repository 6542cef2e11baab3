#include "roles.h"

#include "names.h"

namespace cfgctl {

std::vector<std::string> roleNames() {
    std::vector<std::string> names;
    for (int nRole = pbcommon::kUser; nRole <= pbcommon::kSystem; ++nRole) {
        names.push_back(pbcommon::roleName(nRole));
    }
    return names;
}

std::optional<pbcommon::Role> roleNamed(const std::string& sName) {
    const auto role = pbcommon::roleNamed(sName);
    return role && *role <= AppConfig::kSystem ? std::optional(pbcommon::toMessage(*role))
                                               : std::nullopt;
}

}  // namespace cfgctl
