#include "walk.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "names.h"

namespace rulebook {

namespace {

using TextsT = std::vector<std::string>;

/// A request, or a restart, that leads from one state to another.
struct StepT {
    std::size_t nFrom, nTo;
    bool bAdmin;  ///< an administrator may make it
    std::string sText;
};

struct NodeT {
    StateT state;
    std::optional<std::size_t> cameBy{};  ///< step that reached it first
};

std::string keyOf(const StateT& state, const std::vector<std::size_t>& places) {
    std::string sKey;
    for (const std::size_t nPlace : places) {
        const CellStateT& cell = state[nPlace];
        sKey += cell.sValue + "|" + std::to_string(cell.access.read) +
                std::to_string(cell.access.write);
        for (const std::string& sOption : cell.offered) {
            sKey += "|" + sOption;
        }
        sKey += "\n";
    }
    return sKey;
}

/// One area's states and steps.
class Walk {
public:
    /// @param walked  settings whose values are walked through
    /// @param places  of all settings of the area
    Walk(Room& room, std::vector<const Cell*> walked, std::vector<std::size_t> places)
        : m_room(room), m_walked(std::move(walked)), m_places(std::move(places)) {}

    [[nodiscard]] AreaT run();

private:
    using IsBadT = std::function<bool(const StateT& state)>;

    void explore(std::size_t nNode);
    void arrive(std::size_t nFrom, const StateT& after, bool bAdmin, std::string sText);
    [[nodiscard]] std::vector<bool> canReach(const IsBadT& isGood) const;
    void report(AreaT& area, const Cell& cell, const std::string& sWhat, const IsBadT& isBad) const;
    void reportLasting(AreaT& area, const Cell& cell, const std::string& sWhat,
                       const IsBadT& isBad) const;
    void reportAll(AreaT& area) const;
    [[nodiscard]] TextsT wayTo(std::size_t nNode) const;
    [[nodiscard]] bool isRefused(const StateT& state, const Cell& cell) const;

    Room& m_room;
    const std::vector<const Cell*> m_walked;
    const std::vector<std::size_t> m_places;
    std::vector<NodeT> m_nodes;
    std::vector<StepT> m_steps;
    std::unordered_map<std::string, std::size_t> m_known;
    std::size_t m_nRehearsed = 0;
};

void Walk::arrive(std::size_t nFrom, const StateT& after, bool bAdmin, std::string sText) {
    const auto [known, bNew] = m_known.emplace(keyOf(after, m_places), m_nodes.size());
    m_steps.push_back(
        {.nFrom = nFrom, .nTo = known->second, .bAdmin = bAdmin, .sText = std::move(sText)});
    if (bNew) {
        m_nodes.push_back({.state = after, .cameBy = m_steps.size() - 1});
    }
}

void Walk::explore(std::size_t nNode) {
    m_room.put(StateT(m_nodes[nNode].state));
    for (const Cell* const cell : m_walked) {
        for (const std::string& sValue : representatives(m_room, *cell)) {
            if (sValue == cell->sValue) {
                continue;
            }
            bool bAdmin = true;
            OutcomeT outcome = m_room.rehearse(*cell, sValue, AppConfig::kAdmin);
            ++m_nRehearsed;
            if (!outcome.bAccepted && !outcome.bByHandler) {
                bAdmin = false;
                outcome = m_room.rehearse(*cell, sValue, AppConfig::kSystem);
                ++m_nRehearsed;
            }
            if (outcome.bAccepted) {
                arrive(nNode, outcome.after, bAdmin,
                       cell->sAddress + "=" + sValue + (bAdmin ? "" : " (role system)"));
            }
        }
    }
    arrive(nNode, m_room.restart().after, false, "restart");
}

/// Of each state whether administrators can get from it to a good one.
std::vector<bool> Walk::canReach(const IsBadT& isGood) const {
    std::vector<std::vector<std::size_t>> before(m_nodes.size());
    for (const StepT& step : m_steps) {
        if (step.bAdmin) {
            before[step.nTo].push_back(step.nFrom);
        }
    }
    std::vector<bool> reaches(m_nodes.size());
    std::vector<std::size_t> open;
    const auto add = [&](std::size_t nNode) {
        if (!reaches[nNode]) {
            reaches[nNode] = true;
            open.push_back(nNode);
        }
    };
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (isGood(m_nodes[i].state)) {
            add(i);
        }
    }
    while (!open.empty()) {
        const std::size_t nNode = open.back();
        open.pop_back();
        std::ranges::for_each(before[nNode], add);
    }
    return reaches;
}

TextsT Walk::wayTo(std::size_t nNode) const {
    TextsT way;
    for (auto step = m_nodes[nNode].cameBy; step; step = m_nodes[m_steps[*step].nFrom].cameBy) {
        way.insert(way.begin(), m_steps[*step].sText);
    }
    return way;
}

/// Settings of which the same is true in the same way are one finding.
void Walk::report(AreaT& area, const Cell& cell, const std::string& sWhat,
                  const IsBadT& isBad) const {
    FindingT finding{.settings = {cell.sAddress}, .sWhat = sWhat};
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (isBad(m_nodes[i].state) && finding.nStates++ == 0) {
            finding.example = wayTo(i);
        }
    }
    const auto same = std::ranges::find_if(area.findings, [&finding](const FindingT& other) {
        return other.sWhat == finding.sWhat && other.nStates == finding.nStates &&
               other.example == finding.example;
    });
    if (same != area.findings.end()) {
        same->settings.push_back(cell.sAddress);
    } else if (finding.nStates > 0) {
        area.findings.push_back(std::move(finding));
    }
}

/// Only where no request of an administrator leads out of it.
void Walk::reportLasting(AreaT& area, const Cell& cell, const std::string& sWhat,
                         const IsBadT& isBad) const {
    const std::vector<bool> ends =
        canReach([&isBad](const StateT& state) { return !isBad(state); });
    std::set<const StateT*> lasting;
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (!ends[i]) {
            lasting.insert(&m_nodes[i].state);
        }
    }
    report(area, cell, sWhat, [&lasting](const StateT& state) { return lasting.contains(&state); });
}

/// Whether a handler would refuse the value that a setting has.
bool Walk::isRefused(const StateT& state, const Cell& cell) const {
    m_room.put(state);
    return !m_room.isValid(cell, cell.sValue);
}

void Walk::reportAll(AreaT& area) const {
    for (const std::size_t nPlace : m_places) {
        const Cell& cell = m_room.cells()[nPlace];
        const bool bWalked = std::ranges::find(m_walked, &cell) != m_walked.end();
        if (bWalked && cell.row->kind() == pbcommon::BOOLEAN) {
            reportLasting(area, cell, kStaysOff, [nPlace](const StateT& state) {
                return state[nPlace].sValue == "false";
            });
        }
        if (pbcommon::roleOf(cell.row->write()) <= AppConfig::kAdmin) {
            reportLasting(area, cell, kStaysClosed, [nPlace](const StateT& state) {
                return state[nPlace].access.write > AppConfig::kAdmin;
            });
        }
        if (bWalked && cell.row->kind() == pbcommon::ENUMERATION) {
            report(area, cell, kNotOffered, [nPlace](const StateT& state) {
                return std::ranges::find(state[nPlace].offered, state[nPlace].sValue) ==
                       state[nPlace].offered.end();
            });
        }
        if (bWalked) {
            report(area, cell, kRefusedNow,
                   [&](const StateT& state) { return isRefused(state, cell); });
        }
    }
}

AreaT Walk::run() {
    const StateT defaults = m_room.state();
    m_known.emplace(keyOf(defaults, m_places), 0);
    m_nodes.push_back({.state = defaults});
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        explore(i);
    }
    AreaT area{.nStates = m_nodes.size(), .nSteps = m_nRehearsed};
    for (const Cell* const cell : m_walked) {
        area.settings.push_back(cell->sAddress);
    }
    reportAll(area);
    m_room.put(defaults);
    return area;
}

/// Settings that are connected, as sets of names.
std::vector<std::set<std::string>> areasOf(const RulesT& rules) {
    std::vector<std::set<std::string>> areas;
    for (const auto& [edge, conditions] : rules.edges) {
        std::set<std::string> merged{edge.sFrom, edge.sTo};
        merged.insert(conditions.begin(), conditions.end());
        std::erase_if(areas, [&merged](std::set<std::string>& area) {
            const bool bMeet = std::ranges::any_of(
                area, [&merged](const std::string& sName) { return merged.contains(sName); });
            if (bMeet) {
                merged.merge(area);
            }
            return bMeet;
        });
        areas.push_back(std::move(merged));
    }
    return areas;
}

/// Whether a setting is walked through: a switch that rules look at or decide about, in all of its
/// instances; or what rules move between options, in its first.
bool isWalked(const Cell& cell, const RulesT& rules) {
    const std::string sName = settingOf(cell);
    const bool bFirst = cell.nNodeInstance + cell.nVarInstance == 0;
    const bool bSwitch = cell.row->kind() != pbcommon::INTEGER || cell.row->minimum() == 0;
    return std::ranges::any_of(rules.edges, [&](const auto& entry) {
        const EdgeT& edge = entry.first;
        return (bSwitch && (edge.sFrom == sName || entry.second.contains(sName))) ||
               (edge.sTo == sName && edge.link == pbcommon::DECIDES &&
                cell.row->kind() == pbcommon::BOOLEAN) ||
               (bFirst && edge.sTo == sName && edge.link == pbcommon::MOVES_OPTIONS);
    });
}

AreaT walkArea(Room& room, const RulesT& rules, const std::set<std::string>& names) {
    std::vector<const Cell*> walked;
    std::vector<std::size_t> places;
    for (const Cell& cell : room.cells()) {
        if (!names.contains(settingOf(cell))) {
            continue;
        }
        places.push_back(room.indexOf(cell));
        if (isWalked(cell, rules)) {
            walked.push_back(&cell);
        }
    }
    return Walk(room, walked, places).run();
}

}  // namespace

std::vector<AreaT> walk(Room& room, const RulesT& rules) {
    std::vector<AreaT> areas;
    for (const std::set<std::string>& names : areasOf(rules)) {
        areas.push_back(walkArea(room, rules, names));
    }
    return areas;
}

}  // namespace rulebook
