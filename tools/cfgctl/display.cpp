#include "display.h"

#include <wchar.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <limits>
#include <numeric>
#include <span>

#include "text.h"

namespace cfgctl {

namespace {

/// One character, its size in bytes of UTF-8 and in columns.
struct CharacterT {
    char32_t codePoint;
    std::size_t nBytes;
    std::size_t nColumns;
};

CharacterT firstCharacter(std::string_view text) {
    // the C library knows every character's width, in a locale that reads UTF-8; other categories
    // stay as they are
    static const char* const locale = std::setlocale(LC_CTYPE, "C.UTF-8");
    wchar_t character = 0;
    std::mbstate_t state{};
    const std::size_t nBytes = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (locale == nullptr || nBytes == 0 || nBytes > text.size()) {
        return {0, 1, 1};  // no character that can be told: printable() has left none in a value
    }
    return {static_cast<char32_t>(character), nBytes,
            static_cast<std::size_t>(std::max(wcwidth(character), 0))};
}

void appendJsonEscape(std::string& out, char32_t unit) {
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(unit));
    out += text.data();
}

/// Columns first to last may be narrowed to nLeast; rows are applied in order.
struct NarrowingT {
    std::size_t first;
    std::size_t last;
    std::size_t nLeast;
};
// clang-format off
constexpr NarrowingT narrowingTable[] = {
    // first last least
    {1,      2,   8 },  // value, offers
    {0,      0,   16},  // variable
    {0,      3,   1 },  // a terminal too narrow for any of it
};
// clang-format on

}  // namespace

std::string shown(std::string_view text) {
    return pbcommon::printable(text, std::numeric_limits<std::size_t>::max());
}

std::string shownJson(std::string_view json) {
    std::string out;
    while (!json.empty()) {
        const CharacterT character = firstCharacter(json);
        const std::string_view bytes = json.substr(0, character.nBytes);
        if (bytes.size() == 1 || shown(bytes) == bytes) {
            out += bytes;
        } else if (character.codePoint <= 0xffff) {
            appendJsonEscape(out, character.codePoint);
        } else {
            appendJsonEscape(out, 0xd7c0 + (character.codePoint >> 10));
            appendJsonEscape(out, 0xdc00 + (character.codePoint & 0x3ff));
        }
        json.remove_prefix(bytes.size());
    }
    return out;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t nColumns = 0;
    while (!text.empty()) {
        if (text.front() == '\x1b') {  // paint: nobody else's text has this character
            text.remove_prefix(std::min(text.find('m'), text.size() - 1) + 1);
            continue;
        }
        const CharacterT character = firstCharacter(text);
        nColumns += character.nColumns;
        text.remove_prefix(character.nBytes);
    }
    return nColumns;
}

std::string fitText(std::string_view text, std::size_t nColumns, std::string_view sEllipsis) {
    if (displayWidth(text) <= nColumns) {
        return std::string(text);
    }
    const std::size_t nEllipsis = displayWidth(sEllipsis);
    if (nColumns < nEllipsis) {
        return std::string(nColumns, '.');
    }
    std::size_t nKept = 0;
    std::size_t nUsed = nEllipsis;
    for (;;) {
        const CharacterT character = firstCharacter(text.substr(nKept));
        if (nUsed + character.nColumns > nColumns) {
            return std::string(text.substr(0, nKept)).append(sEllipsis);
        }
        nKept += character.nBytes;
        nUsed += character.nColumns;
    }
}

std::string wrapped(std::string_view text, std::size_t nUsed, std::size_t nIndent,
                    std::size_t nColumns) {
    std::string lines;
    while (!text.empty()) {
        const std::size_t nBlanks = std::min(text.find_first_not_of(' '), text.size());
        const std::size_t end = text.find_first_of(" ,", nBlanks);
        const bool bComma = end != std::string_view::npos && text[end] == ',';
        const std::size_t nBytes = std::min(bComma ? end + 1 : end, text.size());
        const std::string_view word = text.substr(nBlanks, nBytes - nBlanks);
        const std::size_t nWidth = displayWidth(word);
        const bool bFits = nColumns == 0 || nUsed + nBlanks + nWidth <= nColumns;
        if (bFits || lines.empty()) {
            lines.append(nBlanks, ' ');
            nUsed += nBlanks;
        } else {
            lines += "\n" + std::string(nIndent, ' ');
            nUsed = nIndent;
        }
        lines += word;
        nUsed += nWidth;
        text.remove_prefix(nBytes);
    }
    return lines;
}

ColumnWidthsT fitColumns(ColumnWidthsT widths, std::size_t nColumns) {
    std::size_t nTotal =
        std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * kColumnGap);
    for (const NarrowingT& step : narrowingTable) {
        const std::span columns(&widths[step.first], &widths[step.last] + 1);
        auto widest = std::ranges::max_element(columns);
        while (nTotal > nColumns && *widest > step.nLeast) {
            --*widest;
            --nTotal;
            widest = std::ranges::max_element(columns);
        }
    }
    return widths;
}

}  // namespace cfgctl
