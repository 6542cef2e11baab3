#ifndef PBCOMMON_ADDRESS_H
#define PBCOMMON_ADDRESS_H

#include <optional>
#include <string>
#include <string_view>

namespace pbcommon {

class Address;

/// Where a variable is, in text that somebody else keeps. People write it "node.variable", with
/// "[n]" after the node or the variable for an instance other than 0, as in
/// management.snmp.traptarget.targetport[1]. The last dot separates the two names.
struct AddressView {
    std::string_view sNode;
    int nNodeInstance = 0;
    std::string_view sVariable;
    int nVarInstance = 0;
};

/// Reads an address. Names are made of letters, digits, '_' and '-', a node of one or more of them
/// joined by dots; an instance is a decimal number in the range of int. Letter case is kept.
/// @return views into `text`; nothing when it is not an address
[[nodiscard]] std::optional<AddressView> parseAddress(std::string_view text);
std::optional<AddressView> parseAddress(std::string&& text) = delete;  // the views would dangle

/// Writes an address so that parseAddress() reads it back.
[[nodiscard]] std::string formatAddress(const AddressView& address);

/// The address that a message holds, by name or by its fields; views into the message. A name that
/// is not an address is returned as the variable of a node without a name, which does not exist.
[[nodiscard]] AddressView viewOf(const Address& message);

/// As it is written, for a log record: it may be anybody's text.
[[nodiscard]] std::string printable(const AddressView& address);

/// Whether `text` fits `pattern`, in which each '*' matches any text, also none, and every other
/// character itself, letter case ignored.
[[nodiscard]] bool matchesPattern(std::string_view pattern, std::string_view text);

}  // namespace pbcommon

#endif
