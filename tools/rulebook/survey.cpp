#include "survey.h"

#include <algorithm>
#include <random>

namespace rulebook {

namespace {

using TextsT = std::vector<std::string>;
using ReadsT = std::vector<AppConfig::Reads::Read>;

void addIfNew(TextsT& texts, const std::string& sText) {
    if (std::ranges::find(texts, sText) == texts.end()) {
        texts.push_back(sText);
    }
}

/// The aspects in which two states of a setting differ.
std::vector<pbcommon::Link> differences(const CellStateT& a, const CellStateT& b) {
    std::vector<pbcommon::Link> links;
    if (a.sValue != b.sValue) {
        links.push_back(pbcommon::MOVES_VALUE);
    }
    if (a.offered != b.offered) {
        links.push_back(pbcommon::MOVES_OPTIONS);
    }
    if (a.access != b.access) {
        links.push_back(pbcommon::MOVES_ACCESS);
    }
    return links;
}

pbcommon::Link linkOf(pbcommon::Aspect aspect) {
    switch (aspect) {
        case pbcommon::OPTIONS:
            return pbcommon::MOVES_OPTIONS;
        case pbcommon::ACCESS:
            return pbcommon::MOVES_ACCESS;
        default:
            return pbcommon::MOVES_VALUE;
    }
}

/// One room, looked at from all sides.
class Survey {
public:
    Survey(Room& room, RulesT& rules) : m_room(room), m_rules(rules) {}

    void look() {
        ++m_rules.nStates;
        for (const Cell& cell : m_room.cells()) {
            for (const std::string& sValue : representatives(m_room, cell)) {
                look(cell, sValue);
            }
        }
        lookAtStart();
    }

    /// Settings that have to do with others, as far as is known.
    [[nodiscard]] std::vector<const Cell*> involved() const {
        std::set<std::string> names;
        for (const auto& [edge, conditions] : m_rules.edges) {
            names.insert({edge.sFrom, edge.sTo});
        }
        for (const auto& [sSetting, looks] : m_rules.looks) {
            names.insert(looks.begin(), looks.end());
        }
        std::vector<const Cell*> cells;
        for (const Cell& cell : m_room.cells()) {
            if (names.contains(settingOf(cell)) || m_readAtStart.contains(&cell)) {
                cells.push_back(&cell);
            }
        }
        return cells;
    }

    /// Once all states have been looked at.
    void findDeciders();

private:
    using CellsT = std::vector<const Cell*>;

    void findDeciders(const Cell& cell, const std::string& sValue, const CellsT& reads);
    void look(const Cell& cell, const std::string& sValue);
    void lookAtVerdict(const Cell& cell, const OutcomeT& outcome);
    void lookAtEffects(const Cell& cell, const std::string& sValue, const OutcomeT& outcome);
    void lookAtStart();

    /// What was moved, and the edge that says so.
    using EffectsT =
        std::vector<std::pair<const Cell*, std::pair<const EdgeT, std::set<std::string>>*>>;
    void addConditions(const EffectsT& effects, const Cell& other, const StateT& a,
                       const StateT& b);

    /// Visits what has been read once for each other value that it might have, and gives it back
    /// the one that it has.
    template <typename Visit>
    void forEachOther(const ReadsT& reads, Visit visit) {
        std::set<const Cell*> seen;
        for (const AppConfig::Reads::Read& read : reads) {
            const std::string sBefore = read.cell->sValue;
            if (!seen.insert(read.cell).second) {
                continue;
            }
            for (const std::string& sOther : representatives(m_room, *read.cell)) {
                if (sOther != sBefore) {
                    m_room.putValue(*read.cell, sOther);
                    visit(*read.cell);
                }
            }
            m_room.putValue(*read.cell, sBefore);
        }
    }
    [[nodiscard]] const Cell& named(const std::string& sAddress) const {
        return *std::ranges::find(m_room.cells(), sAddress, &Cell::sAddress);
    }

    Room& m_room;
    RulesT& m_rules;
    std::set<const Cell*> m_readAtStart;
    std::map<const Cell*, std::set<const Cell*>> m_verdictReads;
};

void Survey::look(const Cell& cell, const std::string& sValue) {
    const OutcomeT outcome = m_room.rehearse(cell, sValue, AppConfig::kSystem);
    ++m_rules.nRehearsals;
    lookAtVerdict(cell, outcome);
    if (outcome.bAccepted) {
        lookAtEffects(cell, sValue, outcome);
    }
}

void Survey::lookAtVerdict(const Cell& cell, const OutcomeT& outcome) {
    const std::string sSetting = settingOf(cell);
    if (outcome.bByHandler) {
        std::set<std::string>& tags = m_rules.tags[sSetting];
        tags.insert(outcome.tags.empty() ? "" : outcome.tags.front());
    }
    for (const AppConfig::Reads::Read& read : outcome.verdictReads) {
        m_verdictReads[&cell].insert(read.cell);
        if (read.cell != &cell) {
            m_rules.looks[sSetting].insert(settingOf(*read.cell));
        }
    }
}

void Survey::findDeciders() {
    for (const auto& [cell, reads] : m_verdictReads) {
        for (const std::string& sValue : representatives(m_room, *cell)) {
            findDeciders(*cell, sValue, {reads.begin(), reads.end()});
        }
    }
}

/// Asks for a verdict with each combination of values of all that verdicts have looked at: a
/// setting decides if two that differ in nothing else have different verdicts.
void Survey::findDeciders(const Cell& cell, const std::string& sValue, const CellsT& reads) {
    std::vector<TextsT> values;
    std::vector<std::size_t> strides{1};  // to the combination with a setting's next value
    for (const Cell* const read : reads) {
        values.push_back(representatives(m_room, *read));
        addIfNew(values.back(), sValue);
        strides.push_back(strides.back() * values.back().size());
    }
    std::vector<bool> verdicts;
    const StateT before = m_room.state();
    for (std::size_t n = 0; n < strides.back(); ++n) {
        for (std::size_t i = 0; i < reads.size(); ++i) {
            m_room.putValue(*reads[i], values[i][n % strides[i + 1] / strides[i]]);
        }
        verdicts.push_back(m_room.isValid(cell, sValue));
    }
    m_room.put(before);
    for (std::size_t i = 0; i < reads.size(); ++i) {
        for (std::size_t n = 0, nNext = strides[i]; nNext < verdicts.size(); ++n, ++nNext) {
            const bool bNeighbours = n / strides[i + 1] == nNext / strides[i + 1];
            if (reads[i] != &cell && bNeighbours && verdicts[n] != verdicts[nNext]) {
                m_rules.edges[{settingOf(*reads[i]), settingOf(cell), pbcommon::DECIDES}];
            }
        }
    }
}

void Survey::lookAtEffects(const Cell& cell, const std::string& sValue, const OutcomeT& outcome) {
    std::map<const Cell*, EffectsT> byTrigger;
    for (const AppConfig::RecordedEffect& effect : outcome.effects) {
        if (!effect.sTrigger.empty()) {  // else it is what was set
            const Cell& trigger = named(effect.sTrigger);
            const Cell& moved = named(effect.sVariable);
            const EdgeT edge{settingOf(trigger), settingOf(moved), linkOf(effect.aspect)};
            byTrigger[&trigger].push_back({&moved, &*m_rules.edges.try_emplace(edge).first});
        }
    }
    for (const auto& entry : byTrigger) {  // no binding: clang 14 captures none
        const Cell* const trigger = entry.first;
        const EffectsT& effects = entry.second;
        ReadsT reads;
        std::ranges::copy_if(outcome.effectReads, std::back_inserter(reads),
                             [&](const AppConfig::Reads::Read& read) {
                                 return read.trigger == trigger && read.cell != &cell &&
                                        settingOf(*read.cell) != settingOf(*trigger);
                             });
        forEachOther(reads, [&](const Cell& other) {
            const OutcomeT otherwise = m_room.rehearse(cell, sValue, AppConfig::kSystem);
            ++m_rules.nRehearsals;
            if (otherwise.bAccepted) {
                addConditions(effects, other, outcome.after, otherwise.after);
            }
        });
    }
}

/// What comes out differently with another value of a setting depends on that.
void Survey::addConditions(const EffectsT& effects, const Cell& other, const StateT& a,
                           const StateT& b) {
    for (const auto& [moved, edge] : effects) {
        const std::size_t nMoved = m_room.indexOf(*moved);
        const auto links = differences(a[nMoved], b[nMoved]);
        if (moved != &other && std::ranges::find(links, edge->first.link) != links.end()) {
            edge->second.insert(settingOf(other));
        }
    }
}

void Survey::lookAtStart() {
    const OutcomeT outcome = m_room.restart();
    const StateT before = m_room.state();
    for (const AppConfig::Reads::Read& read : outcome.effectReads) {
        m_readAtStart.insert(read.cell);
    }
    forEachOther(outcome.effectReads, [&](const Cell& other) {
        const OutcomeT otherwise = m_room.restart();
        ++m_rules.nRehearsals;
        for (std::size_t i = 0; i < before.size(); ++i) {
            const Cell& moved = m_room.cells()[i];
            if (&moved == &other) {
                continue;
            }
            for (const pbcommon::Link link : differences(outcome.after[i], otherwise.after[i])) {
                m_rules.edges[{settingOf(other), settingOf(moved),
                               link == pbcommon::MOVES_ACCESS    ? pbcommon::MOVES_ACCESS_AT_START
                               : link == pbcommon::MOVES_OPTIONS ? pbcommon::MOVES_OPTIONS_AT_START
                                                                 : pbcommon::MOVES_VALUE_AT_START}];
            }
        }
    });
}

}  // namespace

std::string settingOf(const Cell& cell) { return cell.row->node() + "." + cell.row->name(); }

std::vector<std::string> representatives(const Room& room, const Cell& cell) {
    const pbcommon::VariableRow& row = *cell.row;
    TextsT values;
    switch (row.kind()) {
        case pbcommon::BOOLEAN:
            return {"true", "false"};
        case pbcommon::ENUMERATION:
            return {row.option().begin(), row.option().end()};
        case pbcommon::INTEGER:
            for (const std::string& sValue : {row.default_value(), std::to_string(row.minimum()),
                                              std::to_string(row.maximum())}) {
                addIfNew(values, sValue);
            }
            for (const Cell& other : room.cells()) {  // two settings may not have the same number
                if (other.row->kind() == pbcommon::INTEGER && &other != &cell) {
                    addIfNew(values, other.sValue);
                }
            }
            return values;
        default:
            return {"text"};
    }
}

RulesT survey(Room& room, int nStates) {
    constexpr std::size_t kMaxSteps = 10;  // from the defaults to a state
    RulesT rules;
    Survey all(room, rules);
    std::mt19937 random(static_cast<unsigned>(nStates));
    const StateT defaults = room.state();
    while (rules.nStates < nStates) {
        all.look();
        const std::vector<const Cell*> involved = all.involved();
        room.put(defaults);
        for (std::size_t nSteps = 1 + random() % kMaxSteps; nSteps > 0; --nSteps) {
            const Cell& cell = *involved[random() % involved.size()];
            const TextsT values = representatives(room, cell);
            const OutcomeT step =
                room.rehearse(cell, values[random() % values.size()], AppConfig::kSystem);
            if (step.bAccepted) {
                room.put(step.after);
            }
        }
    }
    room.put(defaults);
    all.findDeciders();
    return rules;
}

}  // namespace rulebook
