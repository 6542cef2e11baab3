#include "names.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "SecurityRole.h"
#include "messages.pb.h"

namespace pbcommon {

static_assert(static_cast<int>(kUser) == AppConfig::kUser &&
                  static_cast<int>(kAdmin) == AppConfig::kAdmin &&
                  static_cast<int>(kProvisioning) == AppConfig::kProvisioning &&
                  static_cast<int>(kSystem) == AppConfig::kSystem &&
                  static_cast<int>(kStartup) == AppConfig::kStartup,
              "the roles on the wire are the store's");

namespace {

constexpr std::array<const char*, Cause_ARRAYSIZE> kCauseNames = {
    "start-up", "request", "onSet", "change", "submit", "attribute", "options", "accessLevel"};

constexpr std::array<const char*, 5> kRoleNames = {"user", "admin", "provisioning", "system",
                                                   "startup"};

/// The name of a number, or the number itself.
template <std::size_t n>
std::string nameIn(const std::array<const char*, n>& names, int nPlace) {
    return nPlace >= 0 && nPlace < static_cast<int>(n) ? names[static_cast<std::size_t>(nPlace)]
                                                       : std::to_string(nPlace);
}

template <std::size_t n>
std::optional<int> placeIn(const std::array<const char*, n>& names, std::string_view sName) {
    const auto* const found = std::find(names.begin(), names.end(), sName);
    return found == names.end() ? std::nullopt
                                : std::optional(static_cast<int>(found - names.begin()));
}

}  // namespace

std::string describeCode(int nCode) {
    const std::string sName =
        ErrorCode_IsValid(nCode) ? ErrorCode_Name(static_cast<ErrorCode>(nCode)) : "unknown code";
    return sName + " (" + std::to_string(nCode) + ")";
}

std::string roleName(int nRole) { return nameIn(kRoleNames, nRole); }

std::optional<AppConfig::SecurityRole> roleNamed(std::string_view sName) {
    const auto place = placeIn(kRoleNames, sName);
    return place ? std::optional(static_cast<AppConfig::SecurityRole>(*place)) : std::nullopt;
}

std::string causeName(int nCause) { return nameIn(kCauseNames, nCause); }

Cause causeNamed(std::string_view sName) {
    return static_cast<Cause>(placeIn(kCauseNames, sName).value_or(START_UP));
}

}  // namespace pbcommon
