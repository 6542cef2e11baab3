#include "operands.h"

#include <cstddef>

#include "address.h"
#include "failure.h"

namespace cfgctl {

namespace {

constexpr const char* kValueForms =
    "NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone";

/// @param operand  with its first '=' at `equals`
AssignmentT assignmentOf(const std::string& operand, std::size_t equals) {
    const std::string sName = operand.substr(0, equals);
    const std::string value = operand.substr(equals + 1);
    if (value == "-") {
        return {.sName = nameOf(sName), .from = AssignmentT::From::kStandardInput};
    }
    return {.sName = nameOf(sName), .value = value};
}

}  // namespace

const std::string& nameOf(const std::string& operand) {
    if (!pbcommon::parseAddress(operand)) {
        throw Failure(kUsage, "'" + operand +
                                  "' is not a variable's name; write node.variable, with [n] after "
                                  "either for an instance other than 0" +
                                  (operand.find('*') == std::string::npos
                                       ? ""
                                       : "; patterns are for list, watch and history"));
    }
    return operand;
}

std::vector<AssignmentT> parseAssignments(const OperandsT& operands, bool bCanAsk) {
    std::vector<AssignmentT> assignments;
    int nPiped = 0;
    for (std::size_t i = 0; i < operands.size(); ++i) {
        const std::string& operand = operands[i];
        const std::size_t equals = operand.find('=');
        if (equals != std::string::npos) {
            assignments.push_back(assignmentOf(operand, equals));
            nPiped += assignments.back().from == AssignmentT::From::kStandardInput ? 1 : 0;
        } else if (operands.size() == 1 && bCanAsk) {
            assignments.push_back({.sName = nameOf(operand), .from = AssignmentT::From::kTerminal});
        } else if (i == 0 && operands.size() == 2 && operands[1].find('=') == std::string::npos) {
            throw Failure(kUsage,
                          "write NAME=VALUE; did you mean " + operand + "=" + operands[1] + "?");
        } else {
            throw Failure(
                kUsage, "argument " + std::to_string(i + 1) + " has no '='; write " + kValueForms);
        }
    }
    if (nPiped > 1) {
        throw Failure(kUsage, "standard input holds one value; write NAME=- only once");
    }
    return assignments;
}

}  // namespace cfgctl
