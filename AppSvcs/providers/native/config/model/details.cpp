#include "model/details.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <tuple>

#include "model/aspects.h"
#include "names.h"

namespace AppConfig {

namespace {

constexpr const char* kAssigned = "assigned";  ///< in the place of an aspect: no effect

/// In the order of the view's columns.
enum FieldT { kVariable, kAspect, kBefore, kAfter, kCause, kTrigger, kReader, kTriggerReader };
using FieldsT = std::array<std::string_view, std::tuple_size_v<DetailT>>;

// no function: its name as an argument would be called for every character
constexpr auto isEscaped = [](char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < ' ';
};

void appendEscape(std::string& sJson, char c) {
    if (c == '\n') {
        sJson += "\\n";  // often, between options
        return;
    }
    char code[8];
    std::snprintf(code, sizeof(code), "\\u%04x", static_cast<unsigned>(c));
    sJson += code;
}

/// Texts are UTF-8, as everything in the store.
void appendText(std::string& sJson, std::string_view text) {
    sJson += '"';
    for (auto rest = text.begin(); rest != text.end();) {
        const auto* const escaped = std::find_if(rest, text.end(), isEscaped);
        sJson.append(rest, escaped);
        rest = escaped;
        if (rest != text.end()) {
            appendEscape(sJson, *rest++);
        }
    }
    sJson += '"';
}

void append(std::string& sJson, const FieldsT& fields) {
    sJson += sJson.empty() ? "[[" : ",[";
    for (const std::string_view& field : fields) {
        if (&field != fields.data()) {
            sJson += ',';
        }
        appendText(sJson, field);
    }
    sJson += ']';
}

}  // namespace

std::string detailsOf(const pbcommon::Change& change) {
    std::string sJson;
    for (const pbcommon::Assigned& assigned : change.assignment()) {
        append(sJson, {assigned.name(), kAssigned, "", assigned.value(), "", "",
                       pbcommon::roleName(assigned.reader()), ""});
    }
    for (const pbcommon::Effect& effect : change.effect()) {
        append(sJson, {effect.variable(), aspectName(effect.aspect()), joinTexts(effect.before()),
                       joinTexts(effect.after()), effect.cause(), effect.trigger(),
                       pbcommon::roleName(effect.reader()),
                       effect.has_trigger_reader() ? pbcommon::roleName(effect.trigger_reader())
                                                   : std::string()});
    }
    sJson += sJson.empty() ? "[]" : "]";
    return sJson;
}

void addDetail(pbcommon::Change& change, const DetailT& detail) {
    const auto aspect = aspectNamed(detail[kAspect]);
    if (!aspect) {
        pbcommon::Assigned& assigned = *change.add_assignment();
        assigned.set_name(detail[kVariable]);
        assigned.set_value(detail[kAfter]);
        assigned.set_reader(roleKept(detail[kReader]));
        return;
    }
    pbcommon::Effect& effect = *change.add_effect();
    effect.set_variable(detail[kVariable]);
    effect.set_aspect(*aspect);
    splitTexts(detail[kBefore], *aspect, *effect.mutable_before());
    splitTexts(detail[kAfter], *aspect, *effect.mutable_after());
    effect.set_cause(detail[kCause]);
    effect.set_trigger(detail[kTrigger]);
    effect.set_reader(roleKept(detail[kReader]));
    if (!detail[kTriggerReader].empty()) {
        effect.set_trigger_reader(roleKept(detail[kTriggerReader]));
    }
}

pbcommon::Role roleKept(const std::string& sName) {
    return static_cast<pbcommon::Role>(pbcommon::roleNamed(sName).value_or(pbcommon::kStartup));
}

}  // namespace AppConfig
