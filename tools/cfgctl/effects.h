#ifndef CFGCTL_EFFECTS_H
#define CFGCTL_EFFECTS_H

#include <cstddef>
#include <string>

#include "render.h"

namespace cfgctl {

// What a change was and did, as lines for people. A change that has not been made, too: a
// rehearsal's has no revision.

/// What was set, a line for each: "set a.b  true → false". @param sOutcome  if not empty, each line
///                                     ends with it, and with the revision
[[nodiscard]] std::string setLines(const pbcommon::Change& change, const std::string& sOutcome,
                                   std::size_t nIndent, const StreamT& stream);

/// What else became different, below what made it so; siblings to which the same happened in one
/// line, and of an option list only what came and went.
[[nodiscard]] std::string effectLines(const pbcommon::Change& change, std::size_t nIndent,
                                      const StreamT& stream);

/// The same, a line for each effect, with all that there is to say of it.
[[nodiscard]] std::string everyEffectLine(const pbcommon::Change& change, std::size_t nIndent,
                                          const StreamT& stream);

}  // namespace cfgctl

#endif
