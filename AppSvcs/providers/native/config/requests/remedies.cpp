#include "requests/remedies.h"

#include <algorithm>
#include <utility>

#include "clientlimits.h"
#include "requests/audience.h"
#include "store/configstore.h"

namespace AppConfig {

namespace {

/// Values that a setting might have instead of its own.
std::vector<std::string> otherValues(const Cell& cell) {
    std::vector<std::string> values;
    switch (cell.row->kind()) {
        case pbcommon::BOOLEAN:
            values = {"true", "false"};
            break;
        case pbcommon::ENUMERATION:
            values = cell.offered;
            break;
        case pbcommon::INTEGER:
            values = {cell.row->default_value()};
            break;
        default:
            break;
    }
    std::erase(values, cell.sValue);
    return values;
}

/// The settings that a refusal names, also as what led to an access level or to options.
std::vector<std::string> namesIn(const pbcommon::Refusal& refusal) {
    std::vector<std::string> names;
    for (const pbcommon::Read& read : refusal.read()) {
        names.push_back(read.name());
    }
    for (const pbcommon::Effect& effect : refusal.obstacle().change().effect()) {
        names.push_back(effect.variable());
        names.push_back(effect.trigger());
    }
    return names;
}

}  // namespace

Remedies::Remedies(ConfigStore& store, const pbcommon::Requester& requester,
                   std::span<const Proposal> proposals, const pbcommon::Refusal& refusal)
    : m_store(store), m_requester(requester), m_proposals(proposals) {
    for (const std::string& sName : namesIn(refusal)) {
        addCandidates(sName);
    }
    addTrials();
}

/// If it fits into one request with what was proposed, as a remedy has to.
void Remedies::add(TrialT trial) {
    if (m_proposals.size() + trial.size() <= std::size_t{pbcommon::kMaxAssignments} &&
        m_trials.size() < pbcommon::kMaxTrials) {
        m_trials.push_back(std::move(trial));
    }
}

/// What the request itself assigns is as it is wanted.
bool Remedies::isAssigned(const Cell& cell) const {
    return std::ranges::any_of(m_proposals, [this, &cell](const Proposal& proposal) {
        return m_store.find(proposal.address) == &cell;
    });
}

void Remedies::addCandidates(const std::string& sName) {
    const Cell* const cell = m_store.find(sName);
    if (cell == nullptr || !cell->mayRead(m_requester.role) || !cell->mayWrite(m_requester.role) ||
        isAssigned(*cell) ||
        std::find(m_settings.begin(), m_settings.end(), cell) != m_settings.end()) {
        return;
    }
    m_settings.push_back(cell);
    for (std::string& sValue : otherValues(*cell)) {
        m_candidates.push_back({.cell = cell, .sValue = std::move(sValue)});
    }
}

void Remedies::addTrials() {
    for (const Candidate& candidate : m_candidates) {
        add({&candidate});
    }
    for (std::size_t i = 0; i < m_candidates.size(); ++i) {
        for (std::size_t j = i + 1; j < m_candidates.size(); ++j) {
            if (m_candidates[i].cell != m_candidates[j].cell) {
                add({&m_candidates[i], &m_candidates[j]});
            }
        }
    }
}

void Remedies::search(std::uint32_t nStart, pbcommon::ExplainReply& reply) {
    for (const Cell* const cell : m_settings) {
        reply.add_setting(cell->sAddress);
    }
    std::size_t nTrial = nStart;
    std::size_t nAssignments = 0;
    const auto hasRoom = [&] {
        return nTrial == nStart || (m_trials[nTrial].size() == m_trials[nStart].size() &&
                                    nAssignments < pbcommon::kPageAssignments &&
                                    reply.ByteSizeLong() < pbcommon::kPageBytes);
    };
    while (nTrial < m_trials.size() && hasRoom()) {
        const TrialT& trial = m_trials[nTrial++];
        rehearse(trial, reply);
        nAssignments += m_proposals.size() + trial.size();
    }
    reply.set_tried(static_cast<std::uint32_t>(nTrial - std::min<std::size_t>(nStart, nTrial)));
    if (nTrial < m_trials.size()) {
        reply.set_next(static_cast<std::uint32_t>(nTrial));
        reply.set_next_size(static_cast<std::uint32_t>(m_trials[nTrial].size()));
    }
}

/// Adds a trial that is accepted to the reply.
void Remedies::rehearse(const TrialT& trial, pbcommon::ExplainReply& reply) const {
    std::vector<Proposal> proposals;
    for (const Candidate* const candidate : trial) {
        const Cell& cell = *candidate->cell;
        proposals.push_back({.address = {.sNode = cell.row->node(),
                                         .nNodeInstance = cell.nNodeInstance,
                                         .sVariable = cell.row->name(),
                                         .nVarInstance = cell.nVarInstance},
                             .sValue = candidate->sValue});
    }
    proposals.insert(proposals.end(), m_proposals.begin(), m_proposals.end());
    Transaction change = m_store.begin(m_requester, Mode::kTry);
    const Verdict verdict = change.apply(proposals);
    if (verdict.code != kNoError) {
        return;
    }
    pbcommon::Remedy& remedy = *reply.add_remedy();
    for (const Candidate* const candidate : trial) {
        pbcommon::Assigned& assigned = *remedy.add_assignment();
        assigned.set_name(candidate->cell->sAddress);
        assigned.set_value(candidate->sValue);
    }
    Audience(m_store, m_requester.role, Audience::Moment::kEvent)
        .tell(change.record(), *remedy.mutable_effect());
    remedy.set_reboot_needed(verdict.bRebootNeeded);
}

}  // namespace AppConfig
