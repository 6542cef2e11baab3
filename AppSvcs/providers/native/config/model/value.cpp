#include "model/value.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "clientlimits.h"
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

const char* canonicaliseSwitch(std::string_view text, std::string& sValue) {
    for (const SwitchWordParamT& row : switchWordTable) {
        if (pbcommon::equalIgnoringCase(row.word, text)) {
            sValue = row.value;
            return nullptr;
        }
    }
    return ERR_INVALID_VALUE;
}

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos
               ? ""
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

const char* canonicaliseNumber(const VariableRow& row, std::string_view text, std::string& sValue) {
    if (text.size() > kMaxNumberBytes) {
        return ERR_INVALID_VALUE;
    }
    text = withoutBlanks(text);
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    int nValue = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, nValue);
    if (error != std::errc() || end != last || nValue < row.minimum() || nValue > row.maximum()) {
        return ERR_INVALID_VALUE;
    }
    sValue = std::to_string(nValue);
    return nullptr;
}

const char* canonicaliseOption(const VariableRow& row, std::string_view text, std::string& sValue) {
    const auto& options = row.option();
    const auto found = std::find_if(options.begin(), options.end(), [text](const auto& sOption) {
        return pbcommon::equalIgnoringCase(sOption, text);
    });
    if (found == options.end()) {
        return ERR_INVALID_VALUE;
    }
    sValue = *found;
    return nullptr;
}

const char* canonicaliseText(const VariableRow& row, std::string_view text, std::string& sValue) {
    if (text.size() > row.max_length()) {
        return ERR_TOO_LONG;
    }
    if (!pbcommon::isCleanText(text)) {
        return ERR_INVALID_VALUE;
    }
    sValue = text;
    return nullptr;
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
    switch (row.kind()) {
        case pbcommon::BOOLEAN:
            return canonicaliseSwitch(sText, sValue);
        case pbcommon::INTEGER:
            return canonicaliseNumber(row, sText, sValue);
        case pbcommon::ENUMERATION:
            return canonicaliseOption(row, sText, sValue);
        case pbcommon::TEXT:
        case pbcommon::SECRET:
            return canonicaliseText(row, sText, sValue);
        case pbcommon::KIND_UNSPECIFIED:
        case pbcommon::Kind_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Kind_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return ERR_INVALID_VALUE;  // no schema has such a row
}

bool isDefaultOption(const VariableRow& row, std::string_view sText) {
    return std::find(row.option().begin(), row.option().end(), sText) != row.option().end();
}

}  // namespace AppConfig
