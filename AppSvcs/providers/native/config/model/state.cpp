#include "model/state.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

#include "address.h"
#include "names.h"
#include "text.h"

namespace AppConfig {

AspectState present(const Cell& cell, pbcommon::Aspect aspect) {
    switch (aspect) {
        case pbcommon::OPTIONS:
            return cell.offered;
        case pbcommon::ACCESS:
            return cell.access;
        case pbcommon::VALUE:
        case pbcommon::Aspect_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Aspect_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return cell.sValue;
}

/// Eight characters at a time, letters as if they were lower case. Other characters may become the
/// same, too: the comparison tells them apart.
std::size_t State::NameHash::operator()(const Name& name) const {
    constexpr std::uint64_t kLowerCase = 0x2020202020202020U;
    constexpr std::uint64_t kMultiplier = 0x9e3779b97f4a7c15U;  // of the golden ratio: spreads bits
    std::uint64_t hash = 0;
    for (std::string_view part : {name.sNode, name.sVariable}) {
        hash = (hash ^ part.size()) * kMultiplier;
        while (!part.empty()) {
            std::uint64_t letters = 0;
            const std::size_t nTaken = std::min(part.size(), sizeof(letters));
            std::memcpy(&letters, part.data(), nTaken);
            hash = (hash ^ (letters | kLowerCase)) * kMultiplier;
            hash ^= hash >> 32U;
            part.remove_prefix(nTaken);
        }
    }
    return static_cast<std::size_t>(hash);
}

bool State::NameEqual::operator()(const Name& a, const Name& b) const {
    return pbcommon::equalIgnoringCase(a.sNode, b.sNode) &&
           pbcommon::equalIgnoringCase(a.sVariable, b.sVariable);
}

State::State(const Schema& schema) {
    std::size_t nRow = 0;
    for (const pbcommon::VariableRow& row : schema.rows()) {
        m_rowsByName.emplace(Name{row.node(), row.name()}, Row{nRow, m_cells.size()});
        const auto nNodeInstances = static_cast<int>(row.node_instances());
        const auto nVarInstances = static_cast<int>(row.instances());
        for (int nNode = 0; nNode < nNodeInstances; ++nNode) {
            for (int nVar = 0; nVar < nVarInstances; ++nVar) {
                m_cells.push_back(
                    {.row = &row,
                     .nRow = nRow,
                     .nNodeInstance = nNode,
                     .nVarInstance = nVar,
                     .sAddress = pbcommon::formatAddress({row.node(), nNode, row.name(), nVar}),
                     .sValue = row.default_value(),
                     .offered = {row.option().begin(), row.option().end()},
                     .access = {.read = pbcommon::roleOf(row.read()),
                                .write = pbcommon::roleOf(row.write())}});
            }
        }
        ++nRow;
    }
}

Cell* State::find(const AddressView& address) {
    const auto found = m_rowsByName.find({address.sNode, address.sVariable});
    if (found == m_rowsByName.end()) {
        return nullptr;
    }
    const pbcommon::VariableRow& row = *m_cells[found->second.nFirstCell].row;
    // a negative instance becomes a number beyond every count
    const auto nNodeInstance = static_cast<std::uint32_t>(address.nNodeInstance);
    const auto nVarInstance = static_cast<std::uint32_t>(address.nVarInstance);
    if (nNodeInstance >= row.node_instances() || nVarInstance >= row.instances()) {
        return nullptr;
    }
    return &m_cells[found->second.nFirstCell + std::size_t{nNodeInstance} * row.instances() +
                    nVarInstance];
}

bool State::findRow(std::string_view sNode, std::string_view sVariable, std::size_t& nRow) const {
    const auto found = m_rowsByName.find({sNode, sVariable});
    if (found == m_rowsByName.end()) {
        return false;
    }
    nRow = found->second.nRow;
    return true;
}

bool State::setValue(Cell& cell, std::string sValue) {
    return set(cell, cell.sValue, std::move(sValue));
}

bool State::setOffered(Cell& cell, std::vector<std::string> offered) {
    return set(cell, cell.offered, std::move(offered));
}

bool State::setAccess(Cell& cell, AccessLevel access) { return set(cell, cell.access, access); }

template <typename Content>
bool State::set(Cell& cell, Content& content, Content wanted) {
    const bool bDifferent = content != wanted;
    if (bDifferent) {
        m_undoLog.emplace_back(cell, m_cause, std::exchange(content, std::move(wanted)));
    }
    return bDifferent;
}

std::vector<Effect> State::effects(std::size_t mark) const {
    std::vector<Effect> effects;
    std::map<std::pair<const Cell*, std::size_t>, std::size_t> places;  // by cell and aspect
    for (std::size_t i = mark; i < m_undoLog.size(); ++i) {
        const OldState& old = m_undoLog[i];
        const auto [place, bFirst] =
            places.try_emplace({old.cell, old.was.index()}, effects.size());
        if (bFirst) {
            effects.push_back({.cell = old.cell,
                               .before = old.was,
                               .after = present(*old.cell, aspectOf(old.was)),
                               .cause = old.cause});
        }
        effects[place->second].cause = old.cause;
    }
    for (Effect& effect : effects) {
        const auto access = places.find({effect.cell, AspectState(AccessLevel{}).index()});
        const SecurityRole after = effect.cell->access.read;
        const SecurityRole before =
            access == places.end() ? after
                                   : std::get<AccessLevel>(effects[access->second].before).read;
        // that a variable appears or disappears may be shown to whoever sees it on one side
        const bool bAccess = std::holds_alternative<AccessLevel>(effect.before);
        effect.lowestReader = bAccess ? std::min(before, after) : std::max(before, after);
    }
    std::erase_if(effects, [](const Effect& effect) { return effect.before == effect.after; });
    return effects;
}

void State::commit() { m_undoLog.clear(); }

void State::rollBack(std::size_t mark) {
    while (m_undoLog.size() > mark) {
        OldState& old = m_undoLog.back();
        if (auto* const sValue = std::get_if<std::string>(&old.was)) {
            old.cell->sValue = std::move(*sValue);
        } else if (auto* const offered = std::get_if<std::vector<std::string>>(&old.was)) {
            old.cell->offered = std::move(*offered);
        } else if (const auto* const access = std::get_if<AccessLevel>(&old.was)) {
            old.cell->access = *access;
        }
        m_undoLog.pop_back();
    }
}

}  // namespace AppConfig
