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
/// The role of a name; nothing for a text that is none.
[[nodiscard]] std::optional<int> roleNamed(std::string_view sName);

/// Who makes something different, as the history keeps it: "start-up", "request", or the name of
/// the handler's operation ("onSet", "change").
[[nodiscard]] std::string causeName(int nCause);
/// START_UP for a text that is not the name of a cause.
[[nodiscard]] Cause causeNamed(std::string_view sName);

/// Stands in the place of every secret that is shown.
inline constexpr std::string_view kMaskedSecret = "********";

/// `text` as it may be printed on a terminal or into a log record: "\\" for a backslash, and "\xNN"
/// for each byte of what is no UTF-8 or could make a reader see something else than what is there:
/// control characters, marks that turn the direction of writing, separators of lines and
/// paragraphs, characters that cannot be seen. Only the joiners U+200C and U+200D stay: scripts and
/// emoji need them. No two texts look the same. Cut to `nMaxBytes`, with "..." after it.
[[nodiscard]] std::string printable(std::string_view text, std::size_t nMaxBytes);

/// `text` with U+FFFD for each character that printable() escapes, but a backslash, and for each
/// byte of no character: for what is kept, and escaped once when it is shown. Cut in the same way.
[[nodiscard]] std::string cleaned(std::string_view text, std::size_t nMaxBytes);

/// Whether `text` is well-formed UTF-8 without NUL.
[[nodiscard]] bool isCleanText(std::string_view text);

}  // namespace pbcommon

#endif
