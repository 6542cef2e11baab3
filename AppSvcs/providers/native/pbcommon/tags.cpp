#include "tags.h"

#include <algorithm>
#include <iterator>

#include "messages.pb.h"

namespace pbcommon {

namespace {

// clang-format off
constexpr TagParamT tagTable[] = {
    {ERR_UNKNOWN_VARIABLE,     ::kItemNotFound,   "no such variable, or none that this role may see"},
    {ERR_READ_ONLY,            ::kNotAuthorized,  "this role may not change it now"},
    {ERR_INVALID_VALUE,        ::kBadParameter,   "not a value of the variable's kind"},
    {ERR_TOO_LONG,             ::kBadParameter,   "a text beyond its greatest length"},
    {ERR_MASKED_VALUE,         ::kBadParameter,   "the mask that is shown in place of a secret, proposed as its value"},
    {ERR_NOT_OFFERED,          ::kBadParameter,   "an option that is not offered now"},
    {ERR_NOT_STORED,           ::kWriteError,     "the disk did not take it; nothing has been changed"},
    {ERR_CASCADE_TOO_LONG,     ::kServerError,    "the change set off notifications without end"},
    {ERR_ANSWER_TOO_LONG,      ::kOutOfRange,     "the answer, or the change, does not fit into a message; nothing has been changed"},
    {ERR_ROLE_NOT_ALLOWED,     ::kNotAuthorized,  "the peer may not act in the role that it asked for"},
    {ERR_UNKNOWN_REQUEST,      ::kNotImplemented, "a request that this version does not know"},
    {ERR_UNKNOWN_TAG,          ::kItemNotFound,   "a tag that nothing refuses with"},
    {ERR_UNKNOWN_REVISION,     ::kBadParameter,   "`watch --since` a change that has not been made"},
    {ERR_HISTORY_UNREADABLE,   ::kServerError,    "the history on disk cannot be read; the log says why"},
    {ERR_TOO_MANY_ASSIGNMENTS, ::kOutOfRange,     "more assignments than one change may have"},
    {ERR_PATTERN_TOO_LONG,     ::kOutOfRange,     "a pattern beyond its greatest length"},
    {ERR_TOO_MANY_CONNECTIONS, ::kOutOfResources, "more connections than the user, or all users together, may have"},
    {ERR_TOO_MANY_WATCHERS,    ::kOutOfResources, "more watches than there may be"},
    {ERR_NO_STORE,             ::kNotInitialized, "the dispatcher has no store"},
};
// clang-format on

/// Null for a text that is not in it.
const TagParamT* rowOf(std::string_view tag) {
    const auto* const found = std::find_if(std::begin(tagTable), std::end(tagTable),
                                           [tag](const TagParamT& row) { return tag == row.tag; });
    return found == std::end(tagTable) ? nullptr : found;
}

}  // namespace

std::span<const TagParamT> tags() { return tagTable; }

eErrorT codeOf(std::string_view tag) {
    const TagParamT* const row = rowOf(tag);
    return row == nullptr ? ::kServerError : row->code;
}

const char* sentenceOf(std::string_view tag) {
    const TagParamT* const row = rowOf(tag);
    return row == nullptr ? "" : row->sentence;
}

void refuse(Reply& reply, const char* tag) {
    reply.set_code(static_cast<ErrorCode>(codeOf(tag)));
    reply.add_tag(tag);
    reply.add_sentence(sentenceOf(tag));
}

}  // namespace pbcommon
