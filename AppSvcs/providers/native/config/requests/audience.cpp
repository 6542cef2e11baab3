#include "requests/audience.h"

#include "address.h"
#include "model/aspects.h"
#include "store/configstore.h"

namespace AppConfig {

/// A variable that the schema has no longer is for the system to see.
bool Audience::mayRead(const std::string& sVariable) const {
    const Cell* const cell = m_store.find(sVariable);
    return m_role >= (cell == nullptr ? kSystem : cell->access.read);
}

bool Audience::mayHear(const std::string& sVariable, pbcommon::Role reader) const {
    return m_role >= static_cast<SecurityRole>(reader) &&
           (m_hears == Hears::kNews || mayRead(sVariable));
}

/// Of history alone: what was no secret when it was recorded may be one now.
void Audience::mask(const std::string& sVariable, std::string& sValue) const {
    const Cell* const cell = m_hears == Hears::kHistory ? m_store.find(sVariable) : nullptr;
    if (cell != nullptr) {
        sValue = shown(*cell, sValue);
    }
}

bool Audience::tell(const pbcommon::Change& change, std::string_view sPattern,
                    pbcommon::Change& told) const {
    told.set_revision(change.revision());
    told.set_time_us(change.time_us());
    told.set_client(change.client());
    told.set_uid(change.uid());
    told.set_pid(change.pid());
    told.set_role(change.role());
    bool bMatches = false;
    for (const pbcommon::Assigned& from : change.assignment()) {
        if (mayHear(from.name(), from.reader())) {
            pbcommon::Assigned& assigned = *told.add_assignment();
            assigned.set_name(from.name());
            assigned.set_value(from.value());
            mask(from.name(), *assigned.mutable_value());
            bMatches |= pbcommon::matchesPattern(sPattern, from.name());
        }
    }
    tell(change, *told.mutable_effect());
    for (const pbcommon::Effect& effect : told.effect()) {
        bMatches |= pbcommon::matchesPattern(sPattern, effect.variable());
    }
    return bMatches;
}

void Audience::tell(const pbcommon::Change& change,
                    google::protobuf::RepeatedPtrField<pbcommon::Effect>& told) const {
    for (const pbcommon::Effect& from : change.effect()) {
        if (!mayHear(from.variable(), from.reader())) {
            continue;
        }
        pbcommon::Effect& effect = *told.Add();
        effect = from;
        if (from.aspect() == pbcommon::VALUE) {
            mask(from.variable(), *effect.mutable_before(0));
            mask(from.variable(), *effect.mutable_after(0));
        }
        effect.clear_reader();
        effect.clear_trigger_reader();
        if (!effect.trigger().empty() && !mayHear(from.trigger(), from.trigger_reader())) {
            effect.clear_trigger();
        }
    }
}

}  // namespace AppConfig
