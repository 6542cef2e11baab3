#ifndef RULEBOOK_WALK_H
#define RULEBOOK_WALK_H

#include <cstddef>
#include <string>
#include <vector>

#include "survey.h"

namespace rulebook {

// what a finding may be about a setting
inline constexpr const char* kStaysOff = "off, and administrators cannot switch it on";
inline constexpr const char* kStaysClosed = "closed to administrators, and they cannot open it";
inline constexpr const char* kNotOffered = "at a value that it does not offer";
inline constexpr const char* kRefusedNow = "at a value that its handler would refuse now";

/// Something that requests of administrators cannot undo, or that the rules would not let come
/// about in one step.
struct FindingT {
    std::vector<std::string> settings;
    std::string sWhat;  ///< about each of them
    std::size_t nStates = 0;
    std::vector<std::string> example{};  ///< shortest way to such a state, from the defaults
};

/// Settings that rules connect, and the states that they can reach together.
struct AreaT {
    std::vector<std::string> settings{};  ///< that were walked: switches, and what they move
    std::size_t nStates = 0;
    std::size_t nSteps = 0;  ///< requests that were rehearsed
    std::vector<FindingT> findings{};
};

/// Walks through all states of the switches that rules look at, and of one instance of what these
/// move between options, each area by itself; restarts are among the steps.
[[nodiscard]] std::vector<AreaT> walk(Room& room, const RulesT& rules);

}  // namespace rulebook

#endif
