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
/// @throws Failure  kOutputLost (something that was printed has not arrived)
void finishOutput();

using TextsT = google::protobuf::RepeatedPtrField<std::string>;
using EffectsT = google::protobuf::RepeatedPtrField<pbcommon::Effect>;

/// "v1 v3", not escaped.
[[nodiscard]] std::string joined(const TextsT& texts);
/// "kBadParameter (-3)" and the reply's tags after it, not escaped.
[[nodiscard]] std::string outcomeText(const pbcommon::Reply& reply, std::string_view separator);
/// The values that a variable offers now one by one; none unless it is a switch or an enumeration.
[[nodiscard]] TextsT offeredValues(const pbcommon::Variable& variable);
/// Default options of a described variable that it does not offer now.
[[nodiscard]] TextsT withheldOptions(const pbcommon::Variable& variable);
/// What a variable takes now: its values, its range, or its greatest length.
[[nodiscard]] std::string offersText(const pbcommon::Variable& variable);

/// The reply's variables as a table with a header.
[[nodiscard]] std::string listing(const pbcommon::Reply& reply, const StreamT& stream);
/// "value", "options", "access".
[[nodiscard]] std::string aspectText(pbcommon::Aspect aspect);
/// What an aspect was, is or became, from the texts that say so in a message.
[[nodiscard]] std::string contentText(pbcommon::Aspect aspect, const TextsT& texts);
/// A value as it may be shown, an empty one in a way that can be seen.
[[nodiscard]] std::string shownValue(std::string_view value);
/// "v1 v3", as it may be shown.
[[nodiscard]] std::string shownList(const TextsT& texts);

/// What else a change did, as aligned lines; on a terminal too narrow for them, two for each. The
/// values that the request itself gave are left out:
/// they stand in the lines about the request.
[[nodiscard]] std::string effectLines(const EffectsT& effects, const StreamT& stream);

/// "2026-11-22 23:41:07.123", in the process's time zone.
[[nodiscard]] std::string timeText(const pbcommon::Change& change);
/// "cfgctl (uid 1000, process 4711), role admin".
[[nodiscard]] std::string requesterText(const pbcommon::Change& change);
/// One committed change: its revision, when and by whom, what was asked for, and what else it did.
[[nodiscard]] std::string changeText(const pbcommon::Change& change, const StreamT& stream);

/// What a reply to a watch tells: changes, and that some are not told. Empty when it only says that
/// the watch has begun.
[[nodiscard]] std::string newsText(const pbcommon::Reply& reply, const StreamT& stream);

/// All about one described variable, in two columns. A secret is masked.
[[nodiscard]] std::string sheet(const pbcommon::Variable& variable, const StreamT& stream);

/// The reply as one JSON document. Fields stand in it also when they are 0, false or empty.
[[nodiscard]] std::string jsonText(const pbcommon::Reply& reply, bool bOneLine = false);

}  // namespace cfgctl

#endif
