#include "book.h"

#include <algorithm>
#include <map>

#include "display.h"
#include "effects.h"
#include "grouping.h"
#include "model/aspects.h"
#include "service.h"

namespace rulebook {

namespace {

using TextsT = std::vector<std::string>;

struct LinkNameT {
    pbcommon::Link link;
    const char* moves;  ///< of what it is moved; null: it is decided about
};
// clang-format off
constexpr LinkNameT linkNameTable[] = {
    {pbcommon::MOVES_VALUE,            "value of"},
    {pbcommon::MOVES_OPTIONS,          "options of"},
    {pbcommon::MOVES_ACCESS,           "access of"},
    {pbcommon::MOVES_VALUE_AT_START,   "value, when the service starts, of"},
    {pbcommon::MOVES_OPTIONS_AT_START, "options, when the service starts, of"},
    {pbcommon::MOVES_ACCESS_AT_START,  "access, when the service starts, of"},
};
// clang-format on

/// Why the rules let something come about, by the first setting that it is about.
struct ReasonParamT {
    const char* setting;
    const char* what;
    const char* reason;
};
// clang-format off
constexpr ReasonParamT reasonTable[] = {
    {"management.snmp.versionone", kRefusedNow,
     "While SNMP is off its versions may all be switched off, and switching SNMP on does not look at them."},
    {"management.snmp.traptarget.protocolversion", kNotOffered,
     "A trap target is moved when its own version is switched off, perhaps to one that is off as well; what is offered follows each switch, the value does not."},
    {"security.accesscontrol.userloginrequired", kStaysOff,
     "It cannot be switched on while there are secondary systems, and their number is for the system to change."},
    {"security.accesscontrol.userloginrequired", kStaysClosed,
     "A start with the Office 365 interface on and the touch panel as its controller locks six settings; no later start or change unlocks them."},
    {"security.accesscontrol.userloginrequired", kRefusedNow,
     "A first secondary system does not switch it off."},
    {"uicontrol.apps.recentcalls.enabled", kStaysOff,
     "They cannot be switched on while there are secondary systems, and their number is for the system to change."},
    {"uicontrol.apps.recentcalls.enabled", kRefusedNow,
     "A first secondary system does not switch them off."},
    {"uicontrol.apps.recentcalls.maxnumbertodisplay", kStaysClosed,
     "It is open only while recent calls are on, which stay off then."},
    {"uicontrol.apps.home.placeacallfunc", kNotOffered,
     "Switching recent calls off takes the option away and leaves the value as it is."},
};
// clang-format on

constexpr std::size_t kPageColumns = 100;

/// A line of a list.
std::string item(const std::string& text) {
    return cfgctl::wrapped("- " + text, 0, 2, kPageColumns) + "\n";
}

std::string quoted(const TextsT& names) {
    std::string text;
    for (const std::string& sName : cfgctl::groupedNames(names)) {
        text += (text.empty() ? "`" : ", `") + sName + "`";
    }
    return text;
}

std::string quoted(const std::set<std::string>& names) {
    return quoted(TextsT{names.begin(), names.end()});
}

/// What a setting moves: a line for those that depend on the same.
std::string movesText(const RulesT& rules, const std::string& sFrom) {
    std::string text;
    for (const LinkNameT& row : linkNameTable) {
        std::map<std::set<std::string>, TextsT> byConditions;
        for (const auto& [edge, conditions] : rules.edges) {
            if (edge.sFrom == sFrom && edge.link == row.link) {
                byConditions[conditions].push_back(edge.sTo);
            }
        }
        for (const auto& [conditions, names] : byConditions) {
            text += item(std::string("Moves the ") + row.moves + " " + quoted(names) +
                         (conditions.empty()
                              ? "."
                              : "; whether or how depends on " + quoted(conditions) + "."));
        }
    }
    return text;
}

/// The other ends of a setting's edges. @param bTo  it is what the edges lead to
std::set<std::string> ends(const RulesT& rules, const std::string& sSetting, bool bTo,
                           bool bDecides) {
    std::set<std::string> names;
    for (const auto& [edge, conditions] : rules.edges) {
        if ((bTo ? edge.sTo : edge.sFrom) == sSetting &&
            (edge.link == pbcommon::DECIDES) == bDecides) {
            names.insert(bTo ? edge.sFrom : edge.sTo);
        }
    }
    return names;
}

std::string listText(const char* what, const std::set<std::string>& names) {
    return names.empty() ? "" : item(std::string(what) + " " + quoted(names) + ".");
}

std::string refusalsText(const RulesT& rules, const std::string& sSetting) {
    std::string text;
    const auto tags = rules.tags.find(sSetting);
    if (tags != rules.tags.end()) {
        for (const std::string& sTag : tags->second) {
            std::string sHow = "without a tag";
            if (!sTag.empty()) {
                sHow = "with `" + sTag;
                sHow += "`: " + AppConfig::Service::process().store().schema().sentenceOf(sTag);
            }
            text += item("Its handler refuses " + sHow + ".");
        }
    }
    return text;
}

/// What follows from a value, set while all others are at their defaults.
std::string consequencesText(Room& room, const Cell& cell) {
    std::string text;
    for (const std::string& sValue : representatives(room, cell)) {
        pbcommon::Change change;
        for (const AppConfig::RecordedEffect& effect :
             room.rehearse(cell, sValue, AppConfig::kSystem).effects) {
            if (effect.sTrigger.empty()) {
                continue;
            }
            pbcommon::Effect& message = *change.add_effect();
            message.set_variable(effect.sVariable);
            message.set_aspect(effect.aspect);
            AppConfig::splitTexts(effect.sBefore, effect.aspect, *message.mutable_before());
            AppConfig::splitTexts(effect.sAfter, effect.aspect, *message.mutable_after());
            message.set_cause(effect.cause);
            message.set_trigger(effect.sTrigger);
        }
        if (change.effect_size() > 0) {
            constexpr cfgctl::StreamT kPage{.bTerminal = true, .nColumns = 96};
            text += "\nFrom the defaults, `" + cell.sAddress + "=" + sValue + "`:\n\n```\n" +
                    cfgctl::changeLines(change, {.stream = kPage}) + "```\n";
        }
    }
    return text;
}

std::string settingText(Room& room, const RulesT& rules, const Cell& cell) {
    const std::string sSetting = settingOf(cell);
    std::set<std::string> decides = ends(rules, sSetting, true, true);
    std::set<std::string> looks;
    if (const auto found = rules.looks.find(sSetting); found != rules.looks.end()) {
        std::ranges::set_difference(found->second, decides, std::inserter(looks, looks.end()));
    }
    const std::string text = listText("Whether a value is accepted depends on", decides) +
                             listText("A verdict looks at, without ever depending on,", looks) +
                             refusalsText(rules, sSetting) +
                             listText("Has a say in whether a value is accepted of",
                                      ends(rules, sSetting, false, true)) +
                             movesText(rules, sSetting) +
                             listText("Is moved by", ends(rules, sSetting, true, false));
    return text.empty() ? ""
                        : "\n### `" + sSetting + "`\n\n" +
                              cfgctl::wrapped(cell.row->summary(), 0, 0, kPageColumns) + "\n\n" +
                              text + consequencesText(room, cell);
}

std::string findingText(const FindingT& finding) {
    std::string text = quoted(finding.settings) + ": " + finding.sWhat + ", in " +
                       std::to_string(finding.nStates) + " states";
    for (const std::string& sStep : finding.example) {
        text +=
            (&sStep == &finding.example.front() ? "; for example after `" : ", `") + sStep + "`";
    }
    const auto* const row =
        std::ranges::find_if(reasonTable, [&finding](const ReasonParamT& known) {
            return finding.settings.front() == known.setting && finding.sWhat == known.what;
        });
    return item(text + "." + (row == std::end(reasonTable) ? "" : std::string(" ") + row->reason));
}

}  // namespace

pbcommon::DepsReply dependenciesOf(const RulesT& rules) {
    pbcommon::DepsReply reply;
    for (const auto& [edge, conditions] : rules.edges) {
        pbcommon::Dependency& dependency = *reply.add_dependency();
        dependency.set_from(edge.sFrom);
        dependency.set_to(edge.sTo);
        dependency.set_link(edge.link);
        dependency.mutable_condition()->Assign(conditions.begin(), conditions.end());
    }
    return reply;
}

std::string tableText(const RulesT& rules) {
    std::string text = "// Written by rulebook: what the rules do, as its rehearsals found it.\n";
    for (const auto& [edge, conditions] : rules.edges) {
        std::string sConditions;
        for (const std::string& sCondition : conditions) {
            sConditions += (sConditions.empty() ? "" : " ") + sCondition;
        }
        text += "{\"" + edge.sFrom + "\", \"" + edge.sTo +
                "\", pbcommon::" + pbcommon::Link_Name(edge.link) + ", \"" + sConditions + "\"},\n";
    }
    return text;
}

std::string walkText(const std::vector<AreaT>& areas) {
    std::string text;
    for (const AreaT& area : areas) {
        text += "\n" +
                cfgctl::wrapped(quoted(area.settings) + ": " + std::to_string(area.nStates) +
                                    " states, " + std::to_string(area.nSteps) + " requests.",
                                0, 0, kPageColumns) +
                "\n";
        text += area.findings.empty() ? "" : "\n";
        for (const FindingT& finding : area.findings) {
            text += findingText(finding);
        }
    }
    return text;
}

std::string bookText(Room& room, const RulesT& rules, const std::vector<AreaT>& areas) {
    std::set<std::string> settings;
    for (const auto& [edge, conditions] : rules.edges) {
        settings.insert({edge.sFrom, edge.sTo});
    }
    const std::string sIntroduction =
        "What the built-in rules do, as `scripts/rulebook` found it out by rehearsals: from " +
        std::to_string(rules.nStates) +
        " states that are reached at random through the rules it gave each setting each "
        "representative value, and again with other values of all that a handler had looked at, " +
        std::to_string(rules.nRehearsals) + " rehearsals in all. They found " +
        std::to_string(rules.edges.size()) + " dependencies between " +
        std::to_string(settings.size()) +
        " settings. A setting means all of its instances. `cfgctl deps NAME` tells the same "
        "of one setting. Do not edit this page: write it anew.";
    const std::string sWalk =
        "All states that the switches can reach, by requests and restarts, area by area; of what "
        "rules move between options the first instance goes along. This is what the rules say: it "
        "is reported, not judged.";
    std::string text =
        "# The rule book\n\n" + cfgctl::wrapped(sIntroduction, 0, 0, kPageColumns) +
        "\n\n![The settings, and which moves or decides about which](rules.svg)\n\n"
        "Solid arrows: moves (red: the value, blue: what is offered, green: who may "
        "see and change it).\nDotted: when the service starts. Dashed: decides whether "
        "a value is accepted.\n\n"
        "## What cannot be undone\n\n" +
        cfgctl::wrapped(sWalk, 0, 0, kPageColumns) + "\n" + walkText(areas) +
        "\n## Setting by setting\n";
    std::set<std::string> told;
    for (const Cell& cell : room.cells()) {
        if (told.insert(settingOf(cell)).second) {
            text += settingText(room, rules, cell);
        }
    }
    return text;
}

}  // namespace rulebook
