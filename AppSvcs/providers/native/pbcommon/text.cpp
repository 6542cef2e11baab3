#include "text.h"

#include <algorithm>
#include <array>

namespace pbcommon {

namespace {

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// Smallest code point that a sequence of so many bytes may mean.
constexpr std::array<char32_t, 5> kSmallestOfLength = {0, 0, 0x80, 0x800, 0x10000};

/// Number of bytes of the well-formed UTF-8 character at the start of `text`, 0 without one.
std::size_t characterLength(std::string_view text, char32_t& codePoint) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t nLength = first < 0x80                    ? 1
                                : first >= 0xc0 && first < 0xe0 ? 2
                                : first >= 0xe0 && first < 0xf0 ? 3
                                : first >= 0xf0 && first < 0xf8 ? 4
                                                                : 0;
    if (nLength == 0 || nLength > text.size()) {
        return 0;
    }
    codePoint = nLength == 1 ? first : first & (0x7fU >> nLength);
    for (std::size_t i = 1; i < nLength; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
        codePoint = codePoint << 6 | (static_cast<unsigned char>(text[i]) & 0x3f);
    }
    const bool bSurrogate = codePoint >= 0xd800 && codePoint <= 0xdfff;
    return codePoint >= kSmallestOfLength[nLength] && codePoint <= 0x10ffff && !bSurrogate ? nLength
                                                                                           : 0;
}

void appendEscaped(std::string& out, char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0xf];
}

/// Characters from `first` to `last` may deceive who reads them.
struct DeceptiveT {
    char32_t first;
    char32_t last;
};
// clang-format off
constexpr DeceptiveT deceptiveTable[] = {
    // first  last
    {0x0000,  0x001f },  // control characters
    {0x007f,  0x009f },  // delete, and more control characters
    {0x00ad,  0x00ad },  // soft hyphen, mostly unseen
    {0x061c,  0x061c },  // Arabic letter mark: direction
    {0x180e,  0x180e },  // Mongolian vowel separator, unseen
    {0x200b,  0x200b },  // zero width space, unseen
    {0x200e,  0x200f },  // left-to-right and right-to-left mark
    {0x2028,  0x202e },  // line and paragraph separator; embeddings and overrides of the direction
    {0x2060,  0x206f },  // word joiner and operators, unseen; isolates of the direction
    {0xfeff,  0xfeff },  // byte order mark, unseen
    {0xfff9,  0xfffb },  // annotations, which hide text
    {0xe0000, 0xe007f},  // tags: a whole text, unseen
};
// clang-format on

bool isDeceptive(char32_t codePoint) {
    return std::ranges::any_of(deceptiveTable, [codePoint](const DeceptiveT& row) {
        return codePoint >= row.first && codePoint <= row.last;
    });
}

enum class Form { kEscaped, kReplaced };

/// @param bytes  of one character, or one that is of none
std::string rewritten(std::string_view bytes, bool bAsItIs, Form form) {
    std::string out;
    if (form == Form::kEscaped && bytes == "\\") {
        out = "\\\\";
    } else if (bAsItIs) {
        out = bytes;
    } else if (form == Form::kReplaced) {
        out = "\xef\xbf\xbd";  // U+FFFD
    } else {
        for (const char c : bytes) {
            appendEscaped(out, c);
        }
    }
    return out;
}

/// How many characters that are the same in every form `text` begins with; most texts are of these.
std::size_t plainLength(std::string_view text) {
    const auto* const end = std::find_if_not(
        text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
    return static_cast<std::size_t>(end - text.begin());
}

std::string inForm(Form form, std::string_view text, std::size_t nMaxBytes) {
    std::string out;
    while (!text.empty()) {
        const std::size_t nPlain = std::min(plainLength(text), nMaxBytes - out.size());
        out.append(text, 0, nPlain);
        text.remove_prefix(nPlain);
        if (text.empty()) {
            break;
        }
        char32_t codePoint = 0;
        const std::size_t nLength = characterLength(text, codePoint);
        const std::string_view bytes = text.substr(0, std::max<std::size_t>(nLength, 1));
        const bool bAsItIs = nLength != 0 && !isDeceptive(codePoint);
        const std::string sPart = rewritten(bytes, bAsItIs, form);
        if (sPart.size() > nMaxBytes - out.size()) {
            return out + "...";
        }
        out += sPart;
        text.remove_prefix(bytes.size());
    }
    return out;
}

}  // namespace

std::string printable(std::string_view text, std::size_t nMaxBytes) {
    return inForm(Form::kEscaped, text, nMaxBytes);
}

std::string cleaned(std::string_view text, std::size_t nMaxBytes) {
    return inForm(Form::kReplaced, text, nMaxBytes);
}

bool isCleanText(std::string_view text) {
    while (!text.empty()) {
        char32_t codePoint = 0;
        const std::size_t nLength = characterLength(text, codePoint);
        if (nLength == 0 || codePoint == 0) {
            return false;
        }
        text.remove_prefix(nLength);
    }
    return true;
}

}  // namespace pbcommon
