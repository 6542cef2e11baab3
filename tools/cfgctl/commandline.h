#ifndef CFGCTL_COMMANDLINE_H
#define CFGCTL_COMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "messages.pb.h"

namespace cfgctl {

/// What the user asked for.
struct CommandLine {
    const CommandT* command = nullptr;  ///< null: only to print `text`
    std::string text;                   ///< help, or the version
    OperandsT operands;
    OptionsT options;
};

/// Names of the roles that a client may ask for; the index is the role.
[[nodiscard]] std::vector<std::string> roleNames();

/// @return nothing when no client may ask for a role of that name
[[nodiscard]] std::optional<pbcommon::Role> roleNamed(const std::string& sName);

/// @throws Failure  kUsage (anything that is wrong with it; one line that names it)
[[nodiscard]] CommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace cfgctl

#endif
