#include "model/aspects.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <variant>

#include "model/value.h"
#include "names.h"
#include "text.h"

namespace AppConfig {

namespace {

constexpr std::array<const char*, std::variant_size_v<AspectState>> kAspectNames = {
    "value", "options", "access"};
static_assert(pbcommon::VALUE == 0 && pbcommon::OPTIONS == 1 && pbcommon::ACCESS == 2 &&
                  std::size(kAspectNames) == pbcommon::Aspect_ARRAYSIZE,
              "an aspect on the wire is the index of its alternative in the state");

std::string joined(const std::vector<std::string>& lines) {
    std::string sText;
    for (const std::string& sLine : lines) {
        sText.append(sText.empty() ? "" : "\n").append(sLine);
    }
    return sText;
}

std::string textOf(const AccessLevel& access) {
    return pbcommon::roleName(access.read) + "\n" + pbcommon::roleName(access.write);
}

/// A secret in clear.
std::string textOf(const AspectState& state) {
    if (const auto* const sValue = std::get_if<std::string>(&state)) {
        return *sValue;
    }
    const auto* const offered = std::get_if<std::vector<std::string>>(&state);
    return offered != nullptr ? joined(*offered) : textOf(std::get<AccessLevel>(state));
}

AspectState asTheSchemaHasIt(const Cell& cell, pbcommon::Aspect aspect) {
    const pbcommon::VariableRow& row = *cell.row;
    if (aspect == pbcommon::OPTIONS) {
        return std::vector<std::string>{row.option().begin(), row.option().end()};
    }
    return AccessLevel{.read = pbcommon::roleOf(row.read()),
                       .write = pbcommon::roleOf(row.write())};
}

bool restoreValue(State& state, Cell& cell, const std::string& sKept) {
    std::string sValue;
    if (canonicalise(*cell.row, sKept, sValue) != nullptr) {
        return false;
    }
    state.setValue(cell, std::move(sValue));
    return true;
}

bool restoreOptions(State& state, Cell& cell, const TextsT& options) {
    const auto isOption = [&cell](const std::string& sOption) {
        return isDefaultOption(*cell.row, sOption);
    };
    if (cell.row->kind() != pbcommon::ENUMERATION ||
        !std::all_of(options.begin(), options.end(), isOption)) {
        return false;
    }
    state.setOffered(cell, {options.begin(), options.end()});
    return true;
}

bool restoreAccess(State& state, Cell& cell, const TextsT& roles) {
    const auto read = roles.empty() ? std::nullopt : pbcommon::roleNamed(roles.Get(0));
    const auto write = roles.size() != 2 ? std::nullopt : pbcommon::roleNamed(roles.Get(1));
    if (!read || !write) {
        return false;
    }
    state.setAccess(cell, {.read = *read, .write = *write});
    return true;
}

}  // namespace

const char* aspectName(pbcommon::Aspect aspect) {
    return kAspectNames[static_cast<std::size_t>(aspect)];
}

std::optional<pbcommon::Aspect> aspectNamed(const std::string& sName) {
    const auto* const found = std::find(kAspectNames.begin(), kAspectNames.end(), sName);
    if (found == kAspectNames.end()) {
        return std::nullopt;
    }
    return static_cast<pbcommon::Aspect>(found - kAspectNames.begin());
}

void splitTexts(const std::string& sText, pbcommon::Aspect aspect, TextsT& texts) {
    texts.Clear();
    if (aspect == pbcommon::VALUE) {
        *texts.Add() = sText;
        return;
    }
    for (std::size_t begin = 0; begin < sText.size();) {
        const std::size_t end = std::min(sText.find('\n', begin), sText.size());
        *texts.Add() = sText.substr(begin, end - begin);
        begin = end + 1;
    }
}

Setting settingOf(const Cell& cell, pbcommon::Aspect aspect) {
    const AspectState now = present(cell, aspect);
    // a value is kept also when it is the default: somebody chose it
    const bool bAsInSchema = aspect != pbcommon::VALUE && now == asTheSchemaHasIt(cell, aspect);
    return {.sVariable = cell.sAddress,
            .aspect = aspect,
            .content = bAsInSchema ? std::nullopt : std::optional(textOf(now))};
}

bool restore(State& state, Cell& cell, const Setting& setting) {
    if (!setting.content) {
        return true;
    }
    TextsT texts;
    splitTexts(*setting.content, setting.aspect, texts);
    switch (setting.aspect) {
        case pbcommon::OPTIONS:
            return restoreOptions(state, cell, texts);
        case pbcommon::ACCESS:
            return restoreAccess(state, cell, texts);
        case pbcommon::VALUE:
            return restoreValue(state, cell, *setting.content);
        case pbcommon::Aspect_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Aspect_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return false;
}

bool holds(const Cell& cell, const Setting& kept) {
    if (kept.aspect != pbcommon::VALUE || !kept.content) {
        return kept.content == settingOf(cell, kept.aspect).content;
    }
    std::string sValue;
    return canonicalise(*cell.row, *kept.content, sValue) == nullptr && sValue == cell.sValue;
}

std::string shown(const Cell& cell, const std::string& sValue) {
    const bool bMasked = cell.row->kind() == pbcommon::SECRET && !sValue.empty();
    return bMasked ? std::string(pbcommon::kMaskedSecret) : sValue;
}

std::string shown(const Cell& cell, const AspectState& state) {
    const auto* const sValue = std::get_if<std::string>(&state);
    return sValue == nullptr ? textOf(state) : shown(cell, *sValue);
}

}  // namespace AppConfig
