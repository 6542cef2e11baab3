#ifndef PBCOMMON_NAMES_H
#define PBCOMMON_NAMES_H

#include <optional>
#include <string>
#include <string_view>

namespace pbcommon {

/// An outcome code as people read it: "kBadParameter (-3)".
[[nodiscard]] std::string describeCode(int nCode);

/// A role's plain name ("user", "admin", "provisioning", "system", "startup"), or its number.
[[nodiscard]] std::string roleName(int nRole);
/// The role of a name; nothing for a text that is none.
[[nodiscard]] std::optional<int> roleNamed(std::string_view sName);

/// Stands in the place of every secret that is shown.
inline constexpr std::string_view kMaskedSecret = "********";

/// `text` with control characters and bytes that are no printable UTF-8 written as "\xNN", cut to
/// `nMaxBytes` with "..." behind it: safe to print on a terminal or into a log record.
[[nodiscard]] std::string printable(std::string_view text, std::size_t nMaxBytes);

/// Whether `text` is well-formed UTF-8 without NUL.
[[nodiscard]] bool isCleanText(std::string_view text);

}  // namespace pbcommon

#endif
