#include "model/record.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <tuple>

#include "model/aspects.h"
#include "names.h"

namespace AppConfig {

namespace {

std::int64_t nowMicroseconds() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

RecordedEffect recorded(const Effect& effect) {
    const Cell* const trigger = effect.cause.trigger;
    return {.sVariable = effect.cell->sAddress,
            .aspect = aspectOf(effect.before),
            .sBefore = shown(*effect.cell, effect.before),
            .sAfter = shown(*effect.cell, effect.after),
            .cause = effect.cause.call,
            .sTrigger = trigger == nullptr ? "" : trigger->sAddress,
            .reader = effect.lowestReader,
            // before another change that shares the commit
            .triggerReader = trigger == nullptr ? kUser : trigger->access.read};
}

std::size_t maxBytes(const Record& record) {
    constexpr std::size_t kOfARecord = 64;  // numbers, lengths and tags
    constexpr std::size_t kOfAnEntry = 32;
    constexpr std::size_t kOfALine = 4;
    std::size_t nBytes = kOfARecord + record.requester.sClient.size();
    for (const RecordedAssignment& assignment : record.assignments) {
        nBytes += kOfAnEntry + assignment.sVariable.size() + assignment.sValue.size();
    }
    for (const RecordedEffect& effect : record.effects) {
        nBytes += kOfAnEntry + effect.sVariable.size() + effect.sTrigger.size();
        for (const std::string& sText : {std::cref(effect.sBefore), std::cref(effect.sAfter)}) {
            // in a message each line of a list is a text of its own
            nBytes +=
                sText.size() + kOfALine * static_cast<std::size_t>(std::ranges::count(sText, '\n'));
        }
    }
    return nBytes;
}

}  // namespace

void fillRecord(Record& record, const pbcommon::Requester& requester,
                std::span<const Assignment> assignments, std::span<const Effect> effects) {
    record.nTimeUs = nowMicroseconds();
    record.requester = requester;
    record.assignments.clear();
    for (const auto& [cell, sValue] : assignments) {
        record.assignments.push_back({.sVariable = cell->sAddress,
                                      .sValue = shown(*cell, sValue),
                                      .reader = cell->access.read});
    }
    record.effects.clear();
    std::ranges::transform(effects, std::back_inserter(record.effects), recorded);
    record.nMaxBytes = maxBytes(record);
}

// ---- as the database keeps it ----------------------------------------------------------------

namespace {

constexpr const char* kAssigned = "assigned";  ///< in the place of an aspect

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

void writeDetails(const Record& record, std::string& sJson) {
    sJson.clear();
    for (const RecordedAssignment& assigned : record.assignments) {
        append(sJson, {assigned.sVariable, kAssigned, "", assigned.sValue, "", "",
                       pbcommon::roleName(assigned.reader), ""});
    }
    for (const RecordedEffect& effect : record.effects) {
        append(sJson, {effect.sVariable, aspectName(effect.aspect), effect.sBefore, effect.sAfter,
                       pbcommon::causeName(effect.cause), effect.sTrigger,
                       pbcommon::roleName(effect.reader),
                       effect.sTrigger.empty() ? "" : pbcommon::roleName(effect.triggerReader)});
    }
    sJson += sJson.empty() ? "[]" : "]";
}

void addDetail(Record& record, const DetailT& detail) {
    const auto aspect = aspectNamed(detail[kAspect]);
    if (!aspect) {
        record.assignments.push_back({.sVariable = detail[kVariable],
                                      .sValue = detail[kAfter],
                                      .reader = roleKept(detail[kReader])});
        return;
    }
    record.effects.push_back({.sVariable = detail[kVariable],
                              .aspect = *aspect,
                              .sBefore = detail[kBefore],
                              .sAfter = detail[kAfter],
                              .cause = pbcommon::causeNamed(detail[kCause]),
                              .sTrigger = detail[kTrigger],
                              .reader = roleKept(detail[kReader]),
                              .triggerReader = detail[kTriggerReader].empty()
                                                   ? kUser
                                                   : roleKept(detail[kTriggerReader])});
}

SecurityRole roleKept(const std::string& sName) {
    return pbcommon::roleNamed(sName).value_or(kStartup);
}

}  // namespace AppConfig
