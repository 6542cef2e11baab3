#ifndef CFGCTL_COMMAND_H
#define CFGCTL_COMMAND_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "failure.h"
#include "operands.h"
#include "session.h"

namespace cfgctl {

enum class OperandKind { kNone, kName, kAssignment, kPattern, kShell, kWord };
enum class OperandCount { kNone, kOne, kAtMostOne, kAny };  ///< kAny: at least one

/// An option that not every command takes: a switch, or one with a number.
struct OptionT {
    const char* name;                                          ///< "-v,--verbose" where it has two
    bool OptionsT::*flag = nullptr;                            ///< null: it has a number
    std::optional<std::uint64_t> OptionsT::*number = nullptr;  ///< null: it is a switch
    const char* numberName = nullptr;                          ///< as help shows it
    std::uint64_t nLeast = 0;
    std::uint64_t nMost = 0;
    const char* help;
};

/// One command. Its function prints what there is to say, refusals too.
struct CommandT {
    const char* name;
    OperandKind kind = OperandKind::kNone;
    OperandCount count = OperandCount::kNone;
    const char* operandHelp = nullptr;
    const char* summary = nullptr;  ///< null: for programs; not in help and completion
    const char* help;               ///< below the options: details and an example
    ExitStatus (*run)(Session& session, const OperandsT& operands);
    std::array<const OptionT*, 3> option{};  ///< its own; null: none

    [[nodiscard]] bool isHidden() const { return summary == nullptr; }
    [[nodiscard]] bool takes(const OptionT& own) const {
        return std::ranges::find(option, &own) != option.end();
    }
};
using CommandsT = std::span<const CommandT>;

/// All commands, in the order that help shows.
[[nodiscard]] CommandsT commands();
/// Of those that are not hidden.
[[nodiscard]] std::vector<std::string> commandNames();
/// The option that may also stand before the command that takes it.
[[nodiscard]] const OptionT& dryRunOption();

// what the commands run; about.cpp, changing.cpp, explaining.cpp, reading.cpp
ExitStatus runGet(Session& session, const OperandsT& operands);
ExitStatus runList(Session& session, const OperandsT& operands);
ExitStatus runOptions(Session& session, const OperandsT& operands);
ExitStatus runDescribe(Session& session, const OperandsT& operands);
ExitStatus runWatch(Session& session, const OperandsT& operands);
ExitStatus runHistory(Session& session, const OperandsT& operands);
ExitStatus runWhy(Session& session, const OperandsT& operands);
ExitStatus runExplain(Session& session, const OperandsT& operands);
ExitStatus runDeps(Session& session, const OperandsT& operands);
ExitStatus runWhoAmI(Session& session, const OperandsT& operands);
ExitStatus runStatus(Session& session, const OperandsT& operands);
ExitStatus runPing(Session& session, const OperandsT& operands);
ExitStatus runSet(Session& session, const OperandsT& operands);
ExitStatus runShutdown(Session& session, const OperandsT& operands);

}  // namespace cfgctl

#endif
