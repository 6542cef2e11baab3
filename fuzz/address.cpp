// Addresses, patterns and printable text against other readings of their rules: the input is a text
// to read as an address, or a pattern, a line break and the text that it is to fit.

#include "address.h"

#include <google/protobuf/stubs/common.h>
#include <regex.h>

#include <cctype>
#include <charconv>
#include <cstdint>
#include <limits>
#include <vector>

#include "require.h"
#include "text.h"

namespace {

constexpr std::size_t kMaxPatternBytes = 64;

regex_t compiled(const char* expression) {
    regex_t regex;
    require(regcomp(&regex, expression, REG_EXTENDED) == 0, "the expression compiles");
    return regex;
}

bool isInstance(const std::string& sText, const regmatch_t& place) {
    constexpr int kMax = std::numeric_limits<int>::max();
    return place.rm_so < 0 || std::strtod(sText.c_str() + place.rm_so, nullptr) <= kMax;
}

/// Whether `text` is an address, by a regular expression.
bool isAddress(std::string_view text) {
    static const regex_t regex = compiled(
        "^[A-Za-z0-9_-]+([.][A-Za-z0-9_-]+)*(\\[([0-9]+)\\])?[.][A-Za-z0-9_-]+(\\[([0-9]+)\\])?$");
    const std::string sText(text);
    regmatch_t places[6];
    return text.find('\0') == std::string_view::npos &&
           regexec(&regex, sText.c_str(), 6, places, 0) == 0 && isInstance(sText, places[3]) &&
           isInstance(sText, places[5]);
}

void checkAddress(std::string_view text) {
    const auto address = pbcommon::parseAddress(text);
    require(address.has_value() == isAddress(text), "an address is what the rules say");
    if (!address) {
        return;
    }
    const std::string sText = formatAddress(*address);
    const auto again = pbcommon::parseAddress(sText);
    require(again && again->sNode == address->sNode && again->sVariable == address->sVariable &&
                again->nNodeInstance == address->nNodeInstance &&
                again->nVarInstance == address->nVarInstance,
            "an address is read back from what is written");
    require(formatAddress(*again) == sText, "an address has one text");
    require(pbcommon::matchesPattern(sText, sText), "an address fits itself");
}

/// Whether `text` fits `pattern`, by a table of which heads of the one fit which heads of the
/// other.
bool fits(std::string_view pattern, std::string_view text) {
    std::vector<bool> fit(text.size() + 1);
    fit[0] = true;
    for (const char c : pattern) {
        std::vector<bool> longer(text.size() + 1);
        longer[0] = c == '*' && fit[0];
        for (std::size_t i = 1; i <= text.size(); ++i) {
            longer[i] =
                c == '*' ? fit[i] || longer[i - 1]
                         : fit[i - 1] && std::tolower(static_cast<unsigned char>(c)) ==
                                             std::tolower(static_cast<unsigned char>(text[i - 1]));
        }
        fit = longer;
    }
    return fit[text.size()];
}

/// What a printable text was made from.
std::string unescaped(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        std::size_t nTaken = 1;
        char c = text.front();
        if (text.starts_with("\\x")) {
            unsigned char byte = 0;
            std::from_chars(text.data() + 2, text.data() + 4, byte, 16);
            c = static_cast<char>(byte);
            nTaken = 4;
        } else if (text.starts_with("\\\\")) {
            nTaken = 2;
        }
        out += c;
        text.remove_prefix(nTaken);
    }
    return out;
}

void checkText(std::string_view text, std::size_t nMaxBytes) {
    // what this accepts goes through the messages' text fields
    const bool bUtf8 = google::protobuf::internal::IsStructurallyValidUTF8(
        text.data(), static_cast<int>(text.size()));
    require(pbcommon::isCleanText(text) == (bUtf8 && text.find('\0') == std::string_view::npos),
            "clean text is UTF-8 without NUL");
    const std::string sWhole = pbcommon::printable(text, std::numeric_limits<std::size_t>::max());
    require(pbcommon::isCleanText(sWhole), "printable text is clean");
    require(unescaped(sWhole) == text, "printable text says exactly what is there");
    const std::string sClean = pbcommon::cleaned(text, std::numeric_limits<std::size_t>::max());
    require(pbcommon::isCleanText(sClean) && pbcommon::cleaned(sClean, sClean.size()) == sClean,
            "cleaned text stays as it is");
    for (std::size_t i = 0; i < sWhole.size(); ++i) {
        const auto byte = static_cast<unsigned char>(sWhole[i]);
        const bool bC1 = byte == 0xc2 && static_cast<unsigned char>(sWhole[i + 1]) < 0xa0;
        require(byte >= 0x20 && byte != 0x7f && !bC1, "printable text has no control characters");
    }
    const std::string sCut = pbcommon::printable(text, nMaxBytes);
    const bool bFits = sWhole.size() <= nMaxBytes;
    const std::size_t nKept = bFits ? sCut.size() : sCut.size() - 3;
    require(sCut == sWhole.substr(0, nKept) + (bFits ? "" : "...") && nKept <= nMaxBytes,
            "text that is cut keeps its limit");
    require(pbcommon::isCleanText(sCut), "text that is cut is clean");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    checkAddress(input);
    checkText(input, size / 2);
    const std::size_t lineBreak = input.find('\n');
    if (lineBreak <= kMaxPatternBytes) {
        const std::string_view pattern = input.substr(0, lineBreak);
        const std::string_view text = input.substr(lineBreak + 1, kMaxPatternBytes);
        require(pbcommon::matchesPattern(pattern, text) == fits(pattern, text),
                "a text fits a pattern when the table says so");
    }
    return 0;
}
