#ifndef PBCOMMON_TAGS_H
#define PBCOMMON_TAGS_H

#include <span>
#include <string_view>

#include "ErrTypes.h"

namespace pbcommon {

class Reply;

/// Why the platform refuses a request, for the requester: each with the code that goes with it and
/// a sentence for people. Handlers have tags of their own.
struct TagParamT {
    const char* tag;
    eErrorT code;
    const char* sentence;
};
[[nodiscard]] std::span<const TagParamT> tags();

// what a value may be refused for
inline constexpr const char* ERR_INVALID_VALUE = "ERR_INVALID_VALUE";
inline constexpr const char* ERR_TOO_LONG = "ERR_TOO_LONG";
inline constexpr const char* ERR_MASKED_VALUE = "ERR_MASKED_VALUE";
inline constexpr const char* ERR_NOT_OFFERED = "ERR_NOT_OFFERED";
// what a change may be refused for
inline constexpr const char* ERR_UNKNOWN_VARIABLE = "ERR_UNKNOWN_VARIABLE";
inline constexpr const char* ERR_READ_ONLY = "ERR_READ_ONLY";
inline constexpr const char* ERR_CASCADE_TOO_LONG = "ERR_CASCADE_TOO_LONG";
inline constexpr const char* ERR_NOT_STORED = "ERR_NOT_STORED";
inline constexpr const char* ERR_ANSWER_TOO_LONG = "ERR_ANSWER_TOO_LONG";
// what any request may be refused for
inline constexpr const char* ERR_ROLE_NOT_ALLOWED = "ERR_ROLE_NOT_ALLOWED";
inline constexpr const char* ERR_UNKNOWN_REQUEST = "ERR_UNKNOWN_REQUEST";
inline constexpr const char* ERR_UNKNOWN_TAG = "ERR_UNKNOWN_TAG";
inline constexpr const char* ERR_UNKNOWN_REVISION = "ERR_UNKNOWN_REVISION";
inline constexpr const char* ERR_HISTORY_UNREADABLE = "ERR_HISTORY_UNREADABLE";
inline constexpr const char* ERR_TOO_MANY_ASSIGNMENTS = "ERR_TOO_MANY_ASSIGNMENTS";
inline constexpr const char* ERR_PATTERN_TOO_LONG = "ERR_PATTERN_TOO_LONG";
inline constexpr const char* ERR_TOO_MANY_CONNECTIONS = "ERR_TOO_MANY_CONNECTIONS";
inline constexpr const char* ERR_TOO_MANY_WATCHERS = "ERR_TOO_MANY_WATCHERS";
inline constexpr const char* ERR_NO_STORE = "ERR_NO_STORE";

/// The code that goes with a tag of the table; kServerError for any other text.
[[nodiscard]] eErrorT codeOf(std::string_view tag);
/// The sentence of a tag of the table; empty for any other text.
[[nodiscard]] const char* sentenceOf(std::string_view tag);
/// Makes a reply a refusal, with the tag, its code and its sentence.
void refuse(Reply& reply, const char* tag);

}  // namespace pbcommon

#endif
