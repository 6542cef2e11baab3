#ifndef PBCOMMON_NAMES_H
#define PBCOMMON_NAMES_H

#include <optional>
#include <string>
#include <string_view>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "messages.pb.h"

namespace pbcommon {

// Codes and roles have the same numbers on the wire and in the platform.
[[nodiscard]] constexpr ErrorCode toMessage(eErrorT code) { return static_cast<ErrorCode>(code); }
[[nodiscard]] constexpr Role toMessage(AppConfig::SecurityRole role) {
    return static_cast<Role>(role);
}
[[nodiscard]] constexpr AppConfig::SecurityRole roleOf(Role role) {
    return static_cast<AppConfig::SecurityRole>(role);
}

/// An outcome code as people read it: "kBadParameter (-3)".
[[nodiscard]] std::string describeCode(int nCode);

/// A role's plain name ("user", "admin", "provisioning", "system", "startup"), or its number.
[[nodiscard]] std::string roleName(int nRole);
/// The role of a name; nothing for any other text.
[[nodiscard]] std::optional<AppConfig::SecurityRole> roleNamed(std::string_view sName);

/// Who makes something different, as the history keeps it: "start-up", "request", or the name of
/// the handler's operation ("onSet", "change").
[[nodiscard]] std::string causeName(int nCause);
/// START_UP for a text that is not the name of a cause.
[[nodiscard]] Cause causeNamed(std::string_view sName);

}  // namespace pbcommon

#endif
