#ifndef PBCOMMON_TEXT_H
#define PBCOMMON_TEXT_H

#include <strings.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace pbcommon {

// Letter case, of ASCII letters alone: names, options and patterns ignore it.

[[nodiscard]] constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] inline bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Text as people read it.

/// What is shown in place of a secret.
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
