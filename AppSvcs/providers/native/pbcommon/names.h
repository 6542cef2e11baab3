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
