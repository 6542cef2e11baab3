#ifndef CFGCTL_OPERANDS_H
#define CFGCTL_OPERANDS_H

#include <string>
#include <vector>

namespace cfgctl {

using OperandsT = std::vector<std::string>;

/// A variable's name, which the service takes as it is written.
/// @throws Failure  kUsage (the text is not one)
[[nodiscard]] const std::string& nameOf(const std::string& operand);

/// An operand of `set`.
struct AssignmentT {
    enum class From { kOperand, kStandardInput, kTerminal };

    std::string sName;
    From from = From::kOperand;
    std::string value{};  ///< where it is the operand's
};

/// Reads NAME=VALUE..., with NAME=- for a value on standard input at most once; or one NAME alone,
/// whose value somebody can be asked for. A failure never shows what may be a value, except in the
/// correction of "NAME VALUE". @throws Failure  kUsage
[[nodiscard]] std::vector<AssignmentT> parseAssignments(const OperandsT& operands, bool bCanAsk);

}  // namespace cfgctl

#endif
