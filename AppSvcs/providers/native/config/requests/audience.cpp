#include "requests/audience.h"

#include "address.h"
#include "model/aspects.h"
#include "names.h"
#include "store/configstore.h"

namespace AppConfig {

/// A variable that the schema has no longer is for the system to see.
bool Audience::mayRead(const std::string& sVariable) const {
    const Cell* const cell = m_store.find(sVariable);
    return cell == nullptr ? m_role >= kSystem : cell->mayRead(m_role);
}

bool Audience::mayHear(const std::string& sVariable, SecurityRole reader) const {
    return m_role >= reader && (m_moment == Moment::kEvent || mayRead(sVariable));
}

/// In history what was not a secret when it was recorded may be one now.
std::string Audience::masked(const std::string& sVariable, const std::string& sValue) const {
    const Cell* const cell = m_moment == Moment::kHistory ? m_store.find(sVariable) : nullptr;
    return cell == nullptr ? sValue : shown(*cell, sValue);
}

bool Audience::tell(const Record& record, std::string_view sPattern, pbcommon::Change& told) const {
    told.set_revision(record.nRevision);
    told.set_time_us(record.nTimeUs);
    told.set_client(record.requester.sClient);
    told.set_uid(record.requester.uid);
    told.set_pid(record.requester.pid);
    told.set_role(pbcommon::toMessage(record.requester.role));
    bool bMatches = false;
    for (const RecordedAssignment& assignment : record.assignments) {
        if (mayHear(assignment.sVariable, assignment.reader)) {
            pbcommon::Assigned& assigned = *told.add_assignment();
            assigned.set_name(assignment.sVariable);
            assigned.set_value(masked(assignment.sVariable, assignment.sValue));
            bMatches |= pbcommon::matchesPattern(sPattern, assignment.sVariable);
        }
    }
    tell(record, *told.mutable_effect());
    for (const pbcommon::Effect& effect : told.effect()) {
        bMatches |= pbcommon::matchesPattern(sPattern, effect.variable());
    }
    return bMatches;
}

void Audience::tell(const Record& record,
                    google::protobuf::RepeatedPtrField<pbcommon::Effect>& told) const {
    for (const RecordedEffect& effect : record.effects) {
        if (mayHear(effect.sVariable, effect.reader)) {
            fill(*told.Add(), effect);
        }
    }
}

void Audience::fill(pbcommon::Effect& message, const RecordedEffect& effect) const {
    message.set_variable(effect.sVariable);
    message.set_aspect(effect.aspect);
    if (effect.aspect == pbcommon::VALUE) {
        message.add_before(masked(effect.sVariable, effect.sBefore));
        message.add_after(masked(effect.sVariable, effect.sAfter));
    } else {
        splitTexts(effect.sBefore, effect.aspect, *message.mutable_before());
        splitTexts(effect.sAfter, effect.aspect, *message.mutable_after());
    }
    message.set_cause(effect.cause);
    if (!effect.sTrigger.empty() && mayHear(effect.sTrigger, effect.triggerReader)) {
        message.set_trigger(effect.sTrigger);
    }
}

}  // namespace AppConfig
