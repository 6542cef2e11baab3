#ifndef PBCOMMON_TEXT_H
#define PBCOMMON_TEXT_H

#include <strings.h>

#include <string_view>

namespace pbcommon {

// Letter case, of ASCII letters alone: names, options and patterns ignore it.

[[nodiscard]] constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] inline bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace pbcommon

#endif
