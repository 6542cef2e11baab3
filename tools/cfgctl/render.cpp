#include "render.h"

#include <google/protobuf/util/json_util.h>
#include <pwd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <map>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "display.h"
#include "effects.h"
#include "layout.h"
#include "names.h"
#include "text.h"

namespace cfgctl {

namespace {

using RowT = std::array<std::string, std::tuple_size_v<ColumnWidthsT>>;

constexpr const char* kNoText = "(none)";

/// Pairs of roles that have a name of their own.
struct AccessNameT {
    pbcommon::Role read;
    pbcommon::Role write;
    const char* name;
};
// clang-format off
constexpr AccessNameT accessNameTable[] = {
    // read              write              name
    {pbcommon::kUser,    pbcommon::kUser,   "editable" },
    {pbcommon::kUser,    pbcommon::kSystem, "read-only"},
    {pbcommon::kSystem,  pbcommon::kSystem, "hidden"   },
};
// clang-format on

std::string accessText(const std::string& read, const std::string& write) {
    for (const AccessNameT& access : accessNameTable) {
        if (read == pbcommon::roleName(access.read) && write == pbcommon::roleName(access.write)) {
            return access.name;
        }
    }
    return read + "/" + write;
}

std::string accessText(const pbcommon::Variable& variable) {
    return accessText(pbcommon::roleName(variable.read()), pbcommon::roleName(variable.write()));
}

ColumnWidthsT naturalWidths(const std::vector<RowT>& rows) {
    ColumnWidthsT widths{};
    for (const RowT& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    return widths;
}

std::string tableLine(const RowT& row, const ColumnWidthsT& widths, const StreamT& stream) {
    std::string text;
    std::string sPadding;  // of the cell before: the last one gets none
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::string sCell = fitText(row[i], widths[i], stream.ellipsis());
        text += sPadding + sCell;
        sPadding = gapText(widths[i] - displayWidth(sCell) + kColumnGap, stream);
    }
    return text;
}

using SheetRowT = std::pair<std::string, std::string>;  ///< label and content

std::string sheetLines(const std::vector<SheetRowT>& rows, const StreamT& stream) {
    std::size_t nLabelColumns = 0;
    for (const SheetRowT& row : rows) {
        nLabelColumns = std::max(nLabelColumns, displayWidth(row.first) + kColumnGap);
    }
    std::string text;
    for (const auto& [label, content] : rows) {
        text += painted(label, Colour::kBold, stream) +
                gapText(nLabelColumns - displayWidth(label), stream) +
                wrapped(content, nLabelColumns, nLabelColumns, stream.nColumns) + "\n";
    }
    return text;
}

std::string kindText(const pbcommon::Variable& variable) {
    switch (variable.kind()) {
        case pbcommon::BOOLEAN:
            return "boolean";
        case pbcommon::INTEGER:
            return "integer " + offersText(variable) +
                   (variable.description().unit().empty()
                        ? ""
                        : " " + shown(variable.description().unit()));
        case pbcommon::ENUMERATION:
            return "enumeration";
        case pbcommon::TEXT:
        case pbcommon::SECRET:
        case pbcommon::KIND_UNSPECIFIED:
        case pbcommon::Kind_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Kind_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return offersText(variable);
}

}  // namespace

std::string joined(const TextsT& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : " ") + text;
    }
    return all;
}

std::string outcomeText(const pbcommon::Reply& reply, std::string_view separator) {
    std::string text = pbcommon::describeCode(reply.code());
    if (reply.tag_size() > 0) {
        text.append(separator).append(joined(reply.tag()));
    }
    return text;
}

TextsT offeredValues(const pbcommon::Variable& variable) {
    TextsT values = variable.offered();
    if (variable.kind() == pbcommon::BOOLEAN) {
        *values.Add() = "true";
        *values.Add() = "false";
    }
    return values;
}

TextsT withheldOptions(const pbcommon::Variable& variable) {
    TextsT withheld;
    for (const std::string& option : variable.description().option()) {
        if (std::ranges::find(variable.offered(), option) == variable.offered().end()) {
            *withheld.Add() = option;
        }
    }
    return withheld;
}

std::string offersText(const pbcommon::Variable& variable) {
    switch (variable.kind()) {
        case pbcommon::INTEGER:
            return std::to_string(variable.minimum()) + ".." + std::to_string(variable.maximum());
        case pbcommon::TEXT:
            return "text up to " + std::to_string(variable.max_length()) + " bytes";
        case pbcommon::SECRET:
            return "secret up to " + std::to_string(variable.max_length()) + " bytes";
        case pbcommon::BOOLEAN:
        case pbcommon::ENUMERATION:
        case pbcommon::KIND_UNSPECIFIED:
        case pbcommon::Kind_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Kind_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return joined(offeredValues(variable));
}

std::string listing(const VariablesT& variables, const StreamT& stream) {
    std::vector<RowT> rows = {{"VARIABLE", "VALUE", "OFFERS", "ACCESS"}};
    for (const pbcommon::Variable& variable : variables) {
        rows.push_back({shown(variable.name()), shown(variable.value()),
                        shown(offersText(variable)), accessText(variable)});
    }
    ColumnWidthsT widths = naturalWidths(rows);
    if (stream.bTerminal) {
        widths = fitColumns(widths, stream.nColumns);
    }
    std::string text =
        painted(tableLine(rows.front(), widths, stream), Colour::kBold, stream) + "\n";
    for (const RowT& row : std::span(rows).subspan(1)) {
        text += tableLine(row, widths, stream) + "\n";
    }
    return text;
}

std::string shownValue(std::string_view value) { return value.empty() ? "\"\"" : shown(value); }

std::string shownList(const TextsT& texts) {
    return texts.empty() ? kNoText : shown(joined(texts));
}

std::string aspectText(pbcommon::Aspect aspect) {
    constexpr std::array<const char*, pbcommon::Aspect_ARRAYSIZE> kNames = {"value", "options",
                                                                            "access"};
    return pbcommon::Aspect_IsValid(aspect) ? kNames[static_cast<std::size_t>(aspect)] : "other";
}

std::string contentText(pbcommon::Aspect aspect, const TextsT& texts) {
    if (aspect == pbcommon::ACCESS && texts.size() == 2) {
        return shown(accessText(texts[0], texts[1]));
    }
    if (aspect == pbcommon::VALUE && texts.size() <= 1) {
        return shownValue(texts.empty() ? "" : texts[0]);
    }
    return shownList(texts);
}

std::string timeText(std::int64_t nTimeUs) {
    const std::chrono::microseconds sinceEpoch(nTimeUs);
    // rounded down: before 1970, too, the fraction counts from the second before it
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const std::time_t nSeconds = seconds.count();
    std::tm parts{};
    localtime_r(&nSeconds, &parts);
    const auto formatted = [&parts](const char* format) {
        std::array<char, 64> text{};
        return std::string(text.data(), std::strftime(text.data(), text.size(), format, &parts));
    };
    const auto nMilliseconds = (sinceEpoch - seconds) / std::chrono::milliseconds(1);
    const std::string sMilliseconds = std::to_string(1000 + nMilliseconds).substr(1);
    return formatted("%Y-%m-%d %H:%M:%S.") + sMilliseconds +
           formatted("%z").insert(3, ":");  // +01:00
}

std::string userText(uid_t uid) {
    static std::map<uid_t, std::string> known;  // the directory of users may be far away
    std::string& text = known[uid];
    if (text.empty()) {
        const passwd* const entry = getpwuid(uid);
        text = "uid " + std::to_string(uid) +
               (entry == nullptr ? "" : " (" + shown(entry->pw_name) + ")");
    }
    return text;
}

std::string requesterText(const pbcommon::Change& change) {
    return userText(change.uid()) + ", process " + std::to_string(change.pid()) + " (" +
           shown(change.client()) + "), role " + pbcommon::roleName(change.role());
}

std::string changeText(const pbcommon::Change& change, const std::string& sPattern,
                       const StreamT& stream) {
    return rowLines(
               {{painted("revision " + std::to_string(change.revision()), Colour::kBold, stream),
                 painted(timeText(change.time_us()), Colour::kBold, stream),
                 requesterText(change)}},
               0, stream) +
           changeLines(change, {.stream = stream, .nIndent = 2, .sPattern = sPattern});
}

std::string changesText(const ChangesT& changes, std::uint64_t nOldest, const std::string& sPattern,
                        const StreamT& stream) {
    std::string text;
    const auto tellGap = [&text, &nOldest](std::uint64_t nRevision) {
        if (nOldest != 0 && nOldest <= nRevision) {
            text += "-- changes before revision " + std::to_string(nOldest) +
                    " are no longer all in history\n";
            nOldest = 0;
        }
    };
    for (const pbcommon::Change& change : changes) {
        tellGap(change.revision());
        text += changeText(change, sPattern, stream);
    }
    tellGap(std::numeric_limits<std::uint64_t>::max());
    return text;
}

std::string newsText(const pbcommon::WatchReply& begun, const std::string& sPattern,
                     const StreamT& stream) {
    const bool bGapEnds = begun.has_oldest() && begun.revision() + 1 >= begun.oldest();
    return changesText(begun.change(), bGapEnds ? begun.oldest() : 0, sPattern, stream);
}

std::string historyText(const pbcommon::HistoryReply& history, const std::string& sPattern,
                        const StreamT& stream) {
    const ChangesT oldestFirst(history.change().rbegin(), history.change().rend());
    const bool bReachesGap =
        history.has_oldest() && !oldestFirst.empty() &&
        (!history.has_revision() || oldestFirst[0].revision() < history.oldest());
    return changesText(oldestFirst, bReachesGap ? history.oldest() : 0, sPattern, stream);
}

std::string newsText(const pbcommon::Event& event, const std::string& sPattern,
                     const StreamT& stream) {
    if (event.has_change()) {
        return changeText(event.change(), sPattern, stream);
    }
    return "-- " + std::to_string(event.missed()) +
           (event.missed() == 1 ? " change was" : " changes were") +
           " missed: this reader was too slow\n";
}

std::string sheet(const pbcommon::Variable& variable, const StreamT& stream) {
    const pbcommon::Description& description = variable.description();
    const auto valueText = [&variable](const std::string& value) {
        const bool bMasked = variable.kind() == pbcommon::SECRET && !value.empty();
        return shownValue(bMasked ? pbcommon::kMaskedSecret : value);
    };
    std::vector<SheetRowT> rows = {{"name", shown(variable.name())}};
    if (!description.summary().empty()) {
        rows.emplace_back("summary", shown(description.summary()));
    }
    rows.emplace_back("kind", kindText(variable));
    rows.emplace_back("default", valueText(description.default_value()));
    rows.emplace_back("value", valueText(variable.value()));
    if (variable.kind() == pbcommon::BOOLEAN || variable.kind() == pbcommon::ENUMERATION) {
        rows.emplace_back("offered", shownList(offeredValues(variable)));
        rows.emplace_back("not offered", shownList(withheldOptions(variable)));
    }
    for (const pbcommon::OptionSummary& option : description.option_summary()) {
        rows.emplace_back("  " + shown(option.option()), shown(option.summary()));
    }
    const std::string& sProvider = description.provider();
    rows.emplace_back("access", accessText(variable));
    rows.emplace_back("provider", sProvider.empty() ? kNoText : shown(sProvider));
    rows.emplace_back("consumers", shownList(description.consumer()));
    return sheetLines(rows, stream);
}

std::string jsonText(const pbcommon::Reply& reply, bool bOneLine) {
    google::protobuf::util::JsonPrintOptions options;
    options.add_whitespace = !bOneLine;
    options.preserve_proto_field_names = true;
    options.always_print_primitive_fields = true;
    std::string text;
    // cannot fail: the message holds nothing that JSON does not know
    (void)google::protobuf::util::MessageToJsonString(reply, &text, options);
    return shownJson(text) + (bOneLine ? "\n" : "");
}

}  // namespace cfgctl
