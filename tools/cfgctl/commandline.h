#ifndef CFGCTL_COMMANDLINE_H
#define CFGCTL_COMMANDLINE_H

#include <string>

#include "command.h"

namespace cfgctl {

/// What the user asked for.
struct CommandLine {
    const CommandT* command = nullptr;  ///< null: only to print `text`
    std::string text;                   ///< help, or the version
    OperandsT operands;
    OptionsT options;
};

/// @throws Failure  kUsage (anything that is wrong with it; one line that names it)
[[nodiscard]] CommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace cfgctl

#endif
