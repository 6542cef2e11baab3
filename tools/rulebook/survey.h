#ifndef RULEBOOK_SURVEY_H
#define RULEBOOK_SURVEY_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "messages.pb.h"
#include "room.h"

namespace rulebook {

/// A setting with all of its instances: "management.snmp.traptarget.targetport".
[[nodiscard]] std::string settingOf(const Cell& cell);

/// How one setting has to do with another.
struct EdgeT {
    std::string sFrom, sTo;
    pbcommon::Link link;

    auto operator<=>(const EdgeT&) const = default;
};

/// What the rules do, found out by rehearsals.
struct RulesT {
    /// Each with the settings that it depends on whether or how it happens.
    std::map<EdgeT, std::set<std::string>> edges{};
    /// Of a setting, others that a verdict looks at without ever depending on them.
    std::map<std::string, std::set<std::string>> looks{};
    /// Of a setting, the tags of handlers' refusals; "" for one without.
    std::map<std::string, std::set<std::string>> tags{};
    int nStates = 0;
    int nRehearsals = 0;
};

/// Values that stand for all that a setting might be given in the present state.
[[nodiscard]] std::vector<std::string> representatives(const Room& room, const Cell& cell);

/// Rehearses each setting with each representative value in states that are reached at random
/// through the rules, and again with other values of all that was looked at. The same for the same
/// number of states.
[[nodiscard]] RulesT survey(Room& room, int nStates);

}  // namespace rulebook

#endif
