#ifndef CFGCTL_RENDER_H
#define CFGCTL_RENDER_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "messages.pb.h"
#include "terminal.h"

namespace cfgctl {

// Messages as text for people, and as JSON.

using TextsT = google::protobuf::RepeatedPtrField<std::string>;

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

using VariablesT = google::protobuf::RepeatedPtrField<pbcommon::Variable>;
/// Variables as a table with a header.
[[nodiscard]] std::string listing(const VariablesT& variables, const StreamT& stream);
/// "value", "options", "access".
[[nodiscard]] std::string aspectText(pbcommon::Aspect aspect);
/// What an aspect was, is or became, from the texts that say so in a message.
[[nodiscard]] std::string contentText(pbcommon::Aspect aspect, const TextsT& texts);
/// A value as it may be shown, an empty one in a way that can be seen.
[[nodiscard]] std::string shownValue(std::string_view value);
/// "v1 v3", as it may be shown.
[[nodiscard]] std::string shownList(const TextsT& texts);

/// "2026-11-22 23:41:07.123+01:00", in the process's time zone.
[[nodiscard]] std::string timeText(std::int64_t nTimeUs);
/// "uid 1000 (anna)"
[[nodiscard]] std::string userText(uid_t uid);
/// "uid 1000 (anna), process 4711 (cfgctl), role admin", as the service's log has it.
[[nodiscard]] std::string requesterText(const pbcommon::Change& change);

// Changes: revision, when and by whom; what was asked for, and what else it did, as far as it is of
// variables that match a pattern.

using ChangesT = google::protobuf::RepeatedPtrField<pbcommon::Change>;
[[nodiscard]] std::string changeText(const pbcommon::Change& change, const std::string& sPattern,
                                     const StreamT& stream);
/// The oldest first. @param nOldest  from this revision on none is missing, which is told before
/// it;
///                              0: not to be told
[[nodiscard]] std::string changesText(const ChangesT& changes, std::uint64_t nOldest,
                                      const std::string& sPattern, const StreamT& stream);
/// The newest changes, the oldest of them first.
[[nodiscard]] std::string historyText(const pbcommon::HistoryReply& history,
                                      const std::string& sPattern, const StreamT& stream);
/// The changes that a watch begins with; empty where it begins with none.
[[nodiscard]] std::string newsText(const pbcommon::WatchReply& begun, const std::string& sPattern,
                                   const StreamT& stream);
/// A change, or that some were missed.
[[nodiscard]] std::string newsText(const pbcommon::Event& event, const std::string& sPattern,
                                   const StreamT& stream);

/// All about one described variable, in two columns. A secret is masked.
[[nodiscard]] std::string sheet(const pbcommon::Variable& variable, const StreamT& stream);

/// The reply as one JSON document, fields that are 0, false or empty included.
[[nodiscard]] std::string jsonText(const pbcommon::Reply& reply, bool bOneLine = false);

}  // namespace cfgctl

#endif
