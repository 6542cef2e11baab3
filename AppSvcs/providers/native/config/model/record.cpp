#include "model/record.h"

#include <chrono>
#include <cstdint>

#include "model/aspects.h"

namespace AppConfig {

namespace {

std::int64_t nowMicroseconds() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

const char* causeName(Cause::Call call) {
    switch (call) {
        case Cause::kStartUp:
            return "start-up";
        case Cause::kOnSet:
            return "onSet";
        case Cause::kChange:
            return "change";
        default:
            return "request";
    }
}

void fill(pbcommon::Effect& message, const Effect& effect) {
    message.set_variable(effect.cell->sAddress);
    message.set_aspect(static_cast<pbcommon::Aspect>(effect.before.index()));
    fillShown(*message.mutable_before(), *effect.cell, effect.before);
    fillShown(*message.mutable_after(), *effect.cell, effect.after);
    message.set_cause(causeName(effect.cause.call));
    if (effect.cause.trigger != nullptr) {
        message.set_trigger(effect.cause.trigger->sAddress);
        // as the change leaves it, before another that shares its commit
        message.set_trigger_reader(static_cast<pbcommon::Role>(effect.cause.trigger->access.read));
    }
    message.set_reader(static_cast<pbcommon::Role>(effect.lowestReader));
}

}  // namespace

void fillRecord(pbcommon::Change& record, const pbcommon::Requester& requester,
                std::span<const Assignment> assignments, std::span<const Effect> effects) {
    record.Clear();
    record.set_time_us(nowMicroseconds());
    record.set_client(requester.sClient);
    record.set_uid(requester.uid);
    record.set_pid(requester.pid);
    record.set_role(static_cast<pbcommon::Role>(requester.role));
    for (const auto& [cell, sValue] : assignments) {
        pbcommon::Assigned& assigned = *record.add_assignment();
        assigned.set_name(cell->sAddress);
        assigned.set_value(shown(*cell, sValue));
        assigned.set_reader(static_cast<pbcommon::Role>(cell->access.read));
    }
    for (const Effect& effect : effects) {
        fill(*record.add_effect(), effect);
    }
}

}  // namespace AppConfig
