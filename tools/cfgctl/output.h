#ifndef CFGCTL_OUTPUT_H
#define CFGCTL_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "messages.pb.h"

namespace cfgctl {

/// What a stream leads to.
struct StreamT {
    bool bTerminal = false;
    bool bColour = false;      ///< false also where the user or the terminal wants none
    std::size_t nColumns = 0;  ///< width of the terminal
};
[[nodiscard]] StreamT streamOf(int fd);

enum class Colour { kBold, kRed, kGreen, kDim };
[[nodiscard]] std::string painted(const std::string& text, Colour colour, const StreamT& stream);

/// Writes to standard output. Throws nothing: finishOutput() tells what went wrong.
void print(std::string_view text);
/// Writes to standard error.
void printError(std::string_view text);
/// One line on standard error, with the program's name before it.
void complain(std::string_view text);
/// @throws Failure  kNoService (something that was printed has not arrived)
void finishOutput();

using TextsT = google::protobuf::RepeatedPtrField<std::string>;
using EffectsT = google::protobuf::RepeatedPtrField<pbcommon::Effect>;

/// "kBadParameter (-3)" and the reply's tags behind it.
[[nodiscard]] std::string outcomeText(const pbcommon::Reply& reply, std::string_view separator);
/// The values that a variable offers now one by one; none unless it is a switch or an enumeration.
[[nodiscard]] TextsT offeredValues(const pbcommon::Variable& variable);
/// What a variable takes now: its values, its range, or its greatest length.
[[nodiscard]] std::string offersText(const pbcommon::Variable& variable);

/// The reply's variables as a table with a header.
[[nodiscard]] std::string listing(const pbcommon::Reply& reply, const StreamT& stream);
/// What else a change did, as aligned lines. The values that the request itself gave are left out:
/// they stand in the lines about the request.
[[nodiscard]] std::string effectLines(const EffectsT& effects, const StreamT& stream);

/// One committed change: when and by whom, what was asked for, and what else it did. The time is
/// that of the process's time zone.
[[nodiscard]] std::string changeText(const pbcommon::Change& change, const StreamT& stream);

/// The values that a described variable offers now, one a line, then its default options that it
/// does not. Empty for a variable whose values cannot be told one by one.
[[nodiscard]] std::string optionLines(const pbcommon::Variable& variable);

/// All about one described variable, in two columns. A secret is masked.
[[nodiscard]] std::string sheet(const pbcommon::Variable& variable, const StreamT& stream);

/// The reply as one JSON document. Fields stand in it also when they are 0, false or empty.
[[nodiscard]] std::string jsonText(const pbcommon::Reply& reply, bool bOneLine = false);

}  // namespace cfgctl

#endif
