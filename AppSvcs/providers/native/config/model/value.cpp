#include "model/value.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "clientlimits.h"
#include "names.h"
#include "tags.h"
#include "text.h"

namespace AppConfig {

namespace {

using pbcommon::VariableRow, pbcommon::ERR_INVALID_VALUE, pbcommon::ERR_TOO_LONG;

constexpr std::size_t kMaxNumberBytes = 64;  ///< as it is proposed

/// A way to write a switch's value.
struct SwitchWordParamT {
    std::string_view word;
    const char* value;
};
// clang-format off
constexpr SwitchWordParamT switchWordTable[] = {
    {"true", "true"}, {"false", "false"},
    {"1",    "true"}, {"0",     "false"},
    {"yes",  "true"}, {"no",    "false"},
    {"on",   "true"}, {"off",   "false"},
};
// clang-format on

bool canonicaliseSwitch(std::string_view text, std::string& sValue) {
    for (const SwitchWordParamT& row : switchWordTable) {
        if (pbcommon::equalIgnoringCase(row.word, text)) {
            sValue = row.value;
            return true;
        }
    }
    return false;
}

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos
               ? ""
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool canonicaliseNumber(const VariableRow& row, std::string_view text, std::string& sValue) {
    if (text.size() > kMaxNumberBytes) {
        return false;
    }
    text = withoutBlanks(text);
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    int nValue = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, nValue);
    if (error != std::errc() || end != last || nValue < row.minimum() || nValue > row.maximum()) {
        return false;
    }
    sValue = std::to_string(nValue);
    return true;
}

bool canonicaliseOption(const VariableRow& row, std::string_view text, std::string& sValue) {
    const auto& options = row.option();
    const auto found = std::find_if(options.begin(), options.end(), [text](const auto& sOption) {
        return pbcommon::equalIgnoringCase(sOption, text);
    });
    if (found == options.end()) {
        return false;
    }
    sValue = *found;
    return true;
}

}  // namespace

const char* proposalRefusal(const VariableRow& row, std::string_view sText) {
    if (sText.size() > pbcommon::kMaxValueBytes) {
        return ERR_TOO_LONG;
    }
    if (!pbcommon::isCleanText(sText)) {
        return ERR_INVALID_VALUE;
    }
    return row.kind() == pbcommon::SECRET && sText == pbcommon::kMaskedSecret
               ? pbcommon::ERR_MASKED_VALUE
               : nullptr;
}

const char* canonicalise(const VariableRow& row, std::string_view sText, std::string& sValue) {
    bool bOfKind = false;
    switch (row.kind()) {
        case pbcommon::BOOLEAN:
            bOfKind = canonicaliseSwitch(sText, sValue);
            break;
        case pbcommon::INTEGER:
            bOfKind = canonicaliseNumber(row, sText, sValue);
            break;
        case pbcommon::ENUMERATION:
            bOfKind = canonicaliseOption(row, sText, sValue);
            break;
        default:
            if (sText.size() > row.max_length()) {
                return ERR_TOO_LONG;
            }
            bOfKind = pbcommon::isCleanText(sText);
            if (bOfKind) {
                sValue = sText;
            }
    }
    return bOfKind ? nullptr : ERR_INVALID_VALUE;
}

bool isDefaultOption(const VariableRow& row, std::string_view sText) {
    return std::find(row.option().begin(), row.option().end(), sText) != row.option().end();
}

}  // namespace AppConfig
