#include "dependencies.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "display.h"
#include "grouping.h"
#include "layout.h"

namespace cfgctl {

namespace {

using TextsT = std::vector<std::string>;

/// How a link is told and drawn.
struct LinkParamT {
    pbcommon::Link link;
    const char* active;   ///< of where it comes from
    const char* passive;  ///< of where it leads
    const char* style;
};
// clang-format off
constexpr LinkParamT linkTable[] = {
    {pbcommon::DECIDES,                "decides about",          "decided about by",          "style=dashed"},
    {pbcommon::MOVES_VALUE,            "moves value",            "value moved by",            "color=\"#b03030\""},
    {pbcommon::MOVES_OPTIONS,          "moves options",          "options moved by",          "color=\"#2060b0\""},
    {pbcommon::MOVES_ACCESS,           "moves access",           "access moved by",           "color=\"#207020\""},
    {pbcommon::MOVES_VALUE_AT_START,   "moves value at start",   "value moved at start by",   "style=dotted color=\"#b03030\""},
    {pbcommon::MOVES_OPTIONS_AT_START, "moves options at start", "options moved at start by", "style=dotted color=\"#2060b0\""},
    {pbcommon::MOVES_ACCESS_AT_START,  "moves access at start",  "access moved at start by",  "style=dotted color=\"#207020\""},
};
// clang-format on

/// Where a link comes from, and which it is.
using EndT = std::pair<std::string, pbcommon::Link>;

/// Settings to which the same happens, by what happens to them; and those that do something.
struct PictureT {
    std::map<std::string, std::set<EndT>> into{};  ///< of each setting
    std::set<std::string> sources{};
};

PictureT pictureOf(const pbcommon::DepsReply& reply) {
    PictureT picture;
    for (const pbcommon::Dependency& dependency : reply.dependency()) {
        picture.into[dependency.from()];
        picture.into[dependency.to()].insert({dependency.from(), dependency.link()});
        picture.sources.insert(dependency.from());
    }
    return picture;
}

/// Which colour a part of the system has.
struct PartParamT {
    const char* prefix;
    const char* colour;
};
constexpr PartParamT partTable[] = {
    {"management.snmp.", "#dbe9f6"},
    {"uicontrol.apps.", "#e2f2dc"},
    {"uicontrol.vantortouch.", "#fbe8d3"},
    {"", "#eeeeee"},
};

/// "a.b.c" in two lines, the last name below the rest; in a box as wide as the longer one takes, so
/// that the picture is the same whatever fonts there are.
std::string nodeLine(const std::string& sSetting) {
    constexpr double kInchesPerLetter = 0.085;
    constexpr double kMarginInches = 0.2;
    const std::size_t dot = sSetting.rfind('.');
    const std::size_t nLetters = std::max(dot, sSetting.size() - dot - 1);
    const double inches = kMarginInches + static_cast<double>(nLetters) * kInchesPerLetter;
    const auto* const part = std::ranges::find_if(
        partTable, [&sSetting](const PartParamT& row) { return sSetting.starts_with(row.prefix); });
    return "\"" + sSetting + "\" [fillcolor=\"" + part->colour + "\" label=\"" +
           sSetting.substr(0, dot) + "\\n" + sSetting.substr(dot + 1) +
           "\" width=" + std::to_string(inches) + "]\n";
}

/// @param sMore  attributes
std::string edgeLine(const EndT& from, const std::string& sTo, const std::string& sMore) {
    const auto* const row = std::ranges::find(linkTable, from.second, &LinkParamT::link);
    return "\"" + from.first + "\" -> \"" + sTo + "\" [" + row->style + sMore + "]\n";
}

/// Settings, and what all of that depends on.
std::string namesText(const TextsT& names, const TextsT& conditions) {
    std::string text;
    for (const std::string& sName : groupedNames(names)) {
        text += (text.empty() ? "" : " ") + shown(sName);
    }
    for (const std::string& sCondition : conditions) {
        text += (&sCondition == &conditions.front() ? "  depending on " : " ") + shown(sCondition);
    }
    return text;
}

/// A row for each set of conditions. @param bActive  the setting is where the links come from
void addRows(RowsT& rows, const pbcommon::DepsReply& reply, const std::string& sSetting,
             const LinkParamT& link, bool bActive) {
    std::map<TextsT, TextsT> byConditions;
    for (const pbcommon::Dependency& dependency : reply.dependency()) {
        if (dependency.link() == link.link &&
            (bActive ? dependency.from() : dependency.to()) == sSetting) {
            byConditions[{dependency.condition().begin(), dependency.condition().end()}].push_back(
                bActive ? dependency.to() : dependency.from());
        }
    }
    for (const auto& [conditions, names] : byConditions) {
        rows.push_back({bActive ? link.active : link.passive, namesText(names, conditions)});
    }
}

}  // namespace

std::string dependenciesText(const pbcommon::DepsReply& reply, const std::string& sSetting,
                             const StreamT& stream) {
    RowsT rows;
    for (const LinkParamT& link : linkTable) {
        addRows(rows, reply, sSetting, link, true);
        addRows(rows, reply, sSetting, link, false);
    }
    return rowLines(rows, 0, stream);
}

std::string dotText(const pbcommon::DepsReply& reply) {
    const PictureT picture = pictureOf(reply);
    std::map<std::set<EndT>, TextsT> boxes;  // of settings that do nothing themselves
    std::string text =
        "digraph rules {\n"
        "rankdir=LR compound=true nodesep=0.08 ranksep=1.6\n"
        "node [shape=box style=\"rounded,filled\" fontname=\"Helvetica\" "
        "fontsize=10 fixedsize=true height=0.42]\n"
        "edge [arrowsize=0.7]\n";
    for (const auto& [sSetting, ends] : picture.into) {
        if (picture.sources.contains(sSetting)) {
            text += nodeLine(sSetting);
        } else {
            boxes[ends].push_back(sSetting);
        }
    }
    std::string sEdges;
    for (const auto& [ends, names] : boxes) {
        const std::string sBox = "\"cluster_" + names.front() + "\"";
        const bool bBox = names.size() > 1;
        text += bBox ? "subgraph " + sBox + " {\nlabel=\"\" style=rounded color=\"#a0a0a0\"\n" : "";
        for (const std::string& sName : names) {
            text += nodeLine(sName);
        }
        text += bBox ? "}\n" : "";
        for (const EndT& end : ends) {
            sEdges += edgeLine(end, names[names.size() / 2], bBox ? " lhead=" + sBox : "");
        }
    }
    for (const std::string& sSource : picture.sources) {
        for (const EndT& end : picture.into.at(sSource)) {
            const bool bMutual =
                picture.into.at(end.first).contains({sSource, end.second}) && end.first != sSource;
            if (!bMutual) {
                sEdges += edgeLine(end, sSource, "");
            } else if (end.first < sSource) {
                sEdges += edgeLine(end, sSource, " dir=both constraint=false");
            }
        }
    }
    return text + sEdges + "}\n";
}

}  // namespace cfgctl
