#ifndef PBCOMMON_ADDRESS_H
#define PBCOMMON_ADDRESS_H

#include <optional>
#include <string>
#include <string_view>

namespace pbcommon {

/// How people write a variable: "node.variable", with "[n]" behind the node or the variable for an
/// instance other than 0, as in management.snmp.traptarget.targetport[1]. The last dot separates
/// the two names.
struct VariableAddress {
    std::string sNode;
    int nNodeInstance = 0;
    std::string sVariable;
    int nVarInstance = 0;
};

/// Reads an address. Names are made of letters, digits, '_' and '-', a node of one or more of them
/// joined by dots; an instance is a decimal number in the range of int. Letter case is kept.
/// @return nothing when `text` is no address
[[nodiscard]] std::optional<VariableAddress> parseAddress(std::string_view text);

/// Writes an address so that parseAddress() reads it back.
[[nodiscard]] std::string formatAddress(const VariableAddress& address);

/// Whether `text` fits `pattern`, in which each '*' stands for any text, also none, and every other
/// character for itself, letter case ignored.
[[nodiscard]] bool matchesPattern(std::string_view pattern, std::string_view text);

}  // namespace pbcommon

#endif
