#ifndef CFGCTL_COMMANDS_H
#define CFGCTL_COMMANDS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "address.h"
#include "failure.h"
#include "session.h"

namespace cfgctl {

using OperandsT = std::vector<std::string>;

enum class OperandCount { kNone, kOne, kAtMostOne, kAny };  ///< kAny: at least one

/// An option that not every command takes: a switch, or one with a number.
struct OptionT {
    const char* name;
    bool OptionsT::*flag;                            ///< null: it has a number
    std::optional<std::uint64_t> OptionsT::*number;  ///< null as the next one with a switch
    const char* numberName;                          ///< as help shows it
    std::uint64_t nLeast, nMost;
    const char* help;
};

/// One command. Its function prints what there is to say, refusals too.
struct CommandT {
    const char* name;
    const char* operand;  ///< as help names it; null with kNone, as the next one
    OperandCount operands;
    const char* operandHelp;
    const char* summary;  ///< null: for programs, and left out of help and completion
    const char* help;     ///< what stands below the options: details and an example
    ExitStatus (*run)(Session& session, const OperandsT& operands);
    const OptionT* option = nullptr;  ///< null: none of its own

    [[nodiscard]] bool isHidden() const { return summary == nullptr; }
};

/// All commands, in the order that help shows.
[[nodiscard]] std::span<const CommandT> commands();

/// @throws Failure  kUsage (the text is no address)
[[nodiscard]] pbcommon::VariableAddress addressOf(const std::string& text);

/// An operand of `set`.
struct AssignmentT {
    enum class From { kOperand, kStandardInput, kTerminal };

    pbcommon::VariableAddress address;
    From from = From::kOperand;
    std::string value{};  ///< where it is the operand's
};

/// Reads NAME=VALUE..., with NAME=- for a value on standard input at most once; or one NAME alone,
/// whose value somebody can be asked for. A failure never shows what may be a value, except in the
/// correction of "NAME VALUE". @throws Failure  kUsage
[[nodiscard]] std::vector<AssignmentT> parseAssignments(const OperandsT& operands, bool bCanAsk);

}  // namespace cfgctl

#endif
