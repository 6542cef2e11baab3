#ifndef CFGCTL_COMPLETION_H
#define CFGCTL_COMPLETION_H

#include <string>
#include <vector>

#include "command.h"
#include "session.h"

namespace cfgctl {

/// Role and socket that are named before the last of `words`.
/// @param words  what comes after the program's name up to the cursor; the last may be empty
[[nodiscard]] OptionsT typedOptions(CommandsT commands, const OperandsT& words);

/// What the last of `words` may become, in the order to show.
/// @param ask  on a session with the typed options
[[nodiscard]] std::vector<std::string> candidates(CommandsT commands, const OperandsT& words,
                                                  const AskT& ask);

}  // namespace cfgctl

#endif
