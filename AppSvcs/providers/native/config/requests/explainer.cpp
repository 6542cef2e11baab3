#include "requests/explainer.h"

#include <algorithm>
#include <optional>
#include <set>

#include "model/aspects.h"
#include "store/configstore.h"
#include "tags.h"
#include "text.h"

namespace AppConfig {

namespace {

constexpr std::size_t kMaxShownBytes = 200;  ///< of a value that a refusal names

std::string shortened(const Cell& cell) {
    return pbcommon::cleaned(shown(cell, cell.sValue), kMaxShownBytes);
}

/// What a refusal by the store itself blames.
std::optional<pbcommon::Aspect> blamedBy(const Verdict& verdict) {
    if (verdict.tags.empty() || !verdict.reads.empty()) {
        return std::nullopt;
    }
    if (verdict.tags.front() == pbcommon::ERR_READ_ONLY) {
        return pbcommon::ACCESS;
    }
    return verdict.tags.front() == pbcommon::ERR_NOT_OFFERED ? std::optional(pbcommon::OPTIONS)
                                                             : std::nullopt;
}

/// Whether a change had a part in what an aspect is.
bool touches(const Record& record, const std::string& sVariable, pbcommon::Aspect aspect) {
    return std::ranges::any_of(record.effects, [&](const RecordedEffect& effect) {
        return effect.aspect == aspect && effect.sVariable == sVariable;
    });
}

/// Leaves of a change only the effects that led to one, from cause to cause.
void keepChain(pbcommon::Change& change, std::string sVariable, pbcommon::Aspect aspect) {
    google::protobuf::RepeatedPtrField<pbcommon::Effect> chain;
    std::set<std::string> names;
    auto* const effects = change.mutable_effect();
    while (!sVariable.empty()) {  // a cause that is not told, or none
        names.insert(sVariable);
        const auto link = std::ranges::find_if(*effects, [&](const pbcommon::Effect& effect) {
            return effect.variable() == sVariable && effect.aspect() == aspect;
        });
        if (link == effects->end()) {
            break;
        }
        sVariable = link->trigger();
        aspect = pbcommon::VALUE;
        chain.Add()->Swap(&*link);  // what is left behind is found no more: no chain is endless
    }
    effects->Swap(&chain);
    auto* const assignments = change.mutable_assignment();
    assignments->erase(std::remove_if(assignments->begin(), assignments->end(),
                                      [&names](const pbcommon::Assigned& assigned) {
                                          return !names.contains(assigned.name());
                                      }),
                       assignments->end());
}

}  // namespace

void Explainer::tellReason(const Cell& cell, pbcommon::Aspect aspect,
                           pbcommon::Reason& reason) const {
    reason.set_aspect(aspect);
    splitTexts(shown(cell, present(cell, aspect)), aspect, *reason.mutable_now());
    Setting kept{.sVariable = cell.sAddress, .aspect = aspect};
    if (!m_store.database().find(kept) || !holds(cell, kept)) {
        return;
    }
    reason.set_revision(kept.nRevision);
    Record change;
    if (m_store.database().readChange(kept.nRevision, change) == kNoError) {
        (void)m_audience.tell(change, "*", *reason.mutable_change());
    }
}

void Explainer::tellRefusal(const Cell& cell, const Verdict& verdict, Transaction& change,
                            pbcommon::Refusal& refusal) const {
    refusal.set_now(shortened(cell));
    tellReads(cell, verdict, refusal);
    if (const auto aspect = blamedBy(verdict)) {
        tellObstacle(cell, *aspect, change, *refusal.mutable_obstacle());
    }
}

void Explainer::tellReads(const Cell& cell, const Verdict& verdict,
                          pbcommon::Refusal& refusal) const {
    std::set<const Cell*> told{&cell};
    for (const Cell* const read : verdict.reads) {
        if (read->mayRead(m_role) && told.insert(read).second) {
            pbcommon::Read& message = *refusal.add_read();
            message.set_name(read->sAddress);
            message.set_value(shortened(*read));
        }
    }
}

void Explainer::tellDurable(const Cell& cell, pbcommon::Aspect aspect,
                            pbcommon::Reason& obstacle) const {
    tellReason(cell, aspect, obstacle);
    if (obstacle.has_change()) {
        keepChain(*obstacle.mutable_change(), cell.sAddress, aspect);
    }
}

/// The last to make it so was the refused change itself, or one that waits for its commit, or else
/// one that is durable.
void Explainer::tellObstacle(const Cell& cell, pbcommon::Aspect aspect, Transaction& change,
                             pbcommon::Reason& obstacle) const {
    const Record& refused = change.refusedRecord();
    const auto waiting = m_store.pending().waiting();
    if (refused.effects.empty() && waiting.empty()) {  // all is as it was when it was told before
        pbcommon::Reason& told = m_told.of(cell, aspect, m_role, m_store.database().newest());
        if (told.now().empty()) {
            tellDurable(cell, aspect, told);
        }
        obstacle = told;
        return;
    }
    const Record* maker = &refused;
    for (auto next = waiting.rbegin(); !touches(*maker, cell.sAddress, aspect); ++next) {
        if (next == waiting.rend()) {
            tellDurable(cell, aspect, obstacle);
            return;
        }
        maker = &*next;
    }
    obstacle.set_aspect(aspect);
    splitTexts(shown(cell, present(cell, aspect)), aspect, *obstacle.mutable_now());
    obstacle.set_revision(maker->nRevision);
    (void)m_audience.tell(*maker, "*", *obstacle.mutable_change());
    if (maker == &refused) {
        obstacle.mutable_change()->clear_time_us();  // it has not been made
    }
    keepChain(*obstacle.mutable_change(), cell.sAddress, aspect);
}

}  // namespace AppConfig
