#ifndef CONFIG_MODEL_VALUE_H
#define CONFIG_MODEL_VALUE_H

#include <string>
#include <string_view>

#include "schema.pb.h"

namespace AppConfig {

/// Why `sText` cannot be proposed for a variable at all, whatever its provider says: ERR_TOO_LONG
/// (than any value), ERR_INVALID_VALUE (not text), ERR_MASKED_VALUE (what a listing shows in place
/// of a secret). Null when it can.
[[nodiscard]] const char* proposalRefusal(const pbcommon::VariableRow& row, std::string_view sText);

/// Writes the form in which a value is stored into `sValue`: "true" or "false" of a switch, decimal
/// digits of a number, an option as the schema spells it, any other text as it is. Switches also
/// take 1/0, yes/no and on/off; letter case is ignored there and in options; a number may have
/// blanks around it, a sign and leading zeros. Narrowed options are not considered here.
/// @return null; ERR_INVALID_VALUE or ERR_TOO_LONG, `sValue` unchanged, when `sText` is not a value
///         of the variable's kind
[[nodiscard]] const char* canonicalise(const pbcommon::VariableRow& row, std::string_view sText,
                                       std::string& sValue);

/// Whether `sText` is one of a variable's default options, to the letter.
[[nodiscard]] bool isDefaultOption(const pbcommon::VariableRow& row, std::string_view sText);

}  // namespace AppConfig

#endif
