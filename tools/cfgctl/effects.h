#ifndef CFGCTL_EFFECTS_H
#define CFGCTL_EFFECTS_H

#include <cstddef>
#include <string>

#include "render.h"

namespace cfgctl {

/// How a change is told.
struct MannerT {
    const StreamT& stream;
    std::size_t nIndent = 0;
    std::string sOutcome{};      ///< not empty: each assignment ends with it, and the revision
    bool bEach = false;          ///< each consequence in a line of its own, with its cause
    std::string sPattern = "*";  ///< of the variables told; how many others there are is said
};

/// What was set, a line for each: "set a.b  true → false", and what else became different, below
/// what made it so: siblings to which the same happened in one line, and of an option list only
/// what came and went. Of a rehearsal, too, which has no revision.
[[nodiscard]] std::string changeLines(const pbcommon::Change& change, const MannerT& manner);

}  // namespace cfgctl

#endif
