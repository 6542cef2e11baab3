#ifndef APPCONFIG_CONFIG_CONFIGHELPERS_H
#define APPCONFIG_CONFIG_CONFIGHELPERS_H

#include <strings.h>

#include <algorithm>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "StringMatches.h"
#include "appcfgmanager.h"

namespace AppConfigProvider {

/// Lowest role that may see a setting, and lowest that may change it.
struct AccessLevelT {
    AppConfig::SecurityRole read;
    AppConfig::SecurityRole write;
};
inline constexpr AccessLevelT kEditable = {AppConfig::kUser, AppConfig::kUser};
inline constexpr AccessLevelT kReadOnly = {AppConfig::kUser, AppConfig::kSystem};
inline constexpr AccessLevelT kHidden = {AppConfig::kSystem, AppConfig::kSystem};

/// Gives all of the settings one access level, in one call to the store. What the store could not
/// change is ignored.
inline void setAccessLevel(AppConfig::AppCfgManager& manager, const std::list<ConfigVar>& cfgVars,
                           const AccessLevelT& level) {
    std::list<std::pair<ConfigVar, eErrorT>> errorList;
    manager.setAccessLevels(cfgVars, &level.read, &level.write, errorList);
}

/// Removes every entry that equals `option` exactly; the others keep their order.
inline void removeOption(std::vector<std::string>& options, const std::string& option) {
    options.erase(std::remove_if(options.begin(), options.end(), StringMatches(option)),
                  options.end());
}

// Truth tests, each named for the text that it compares, letter case ignored. Which one a rule
// applies is part of the rule: a text such as "1" is neither true nor false.
inline bool isTrue(const std::string& sValue) { return strcasecmp(sValue.c_str(), "true") == 0; }
inline bool isFalse(const std::string& sValue) { return strcasecmp(sValue.c_str(), "false") == 0; }
inline bool isNotFalse(const std::string& sValue) { return !isFalse(sValue); }
inline bool isOff(const std::string& sValue) { return strcasecmp(sValue.c_str(), "off") == 0; }

}  // namespace AppConfigProvider

#endif
