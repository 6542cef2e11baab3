#ifndef CONFIG_MODEL_VALUE_H
#define CONFIG_MODEL_VALUE_H

#include <string>
#include <string_view>

#include "schema.pb.h"

namespace AppConfig {

/// Why a text is not stored, each a tag for the requester.
inline constexpr const char* ERR_INVALID_VALUE = "ERR_INVALID_VALUE";  ///< not a value of its kind
inline constexpr const char* ERR_TOO_LONG = "ERR_TOO_LONG";            ///< text over its length
inline constexpr const char* ERR_MASKED_VALUE = "ERR_MASKED_VALUE";    ///< the mask of a secret

/// Why `sText` cannot be proposed for a variable at all, whatever its provider says: it is longer
/// than any value, not text, or what a listing shows in place of a secret. Null when it can.
[[nodiscard]] const char* proposalRefusal(const pbcommon::VariableRow& row, std::string_view sText);

/// Writes the form in which a value is stored into `sValue`: "true" or "false" of a switch, decimal
/// digits of a number, an option as the schema spells it, any other text as it is. Switches also
/// take 1/0, yes/no and on/off; letter case counts neither there nor in options; blanks, a sign and
/// leading noughts may surround a number. Narrowed options do not count here.
/// @return one of the tags above, `sValue` unchanged, when `sText` is not a value of the variable's
///         kind; else null
[[nodiscard]] const char* canonicalise(const pbcommon::VariableRow& row, std::string_view sText,
                                       std::string& sValue);

/// Whether `sText` is one of a variable's default options, to the letter.
[[nodiscard]] bool isDefaultOption(const pbcommon::VariableRow& row, std::string_view sText);

}  // namespace AppConfig

#endif
