#ifndef PBCOMMON_FRAME_H
#define PBCOMMON_FRAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "ErrTypes.h"
#include "clientlimits.h"

namespace google::protobuf {
class MessageLite;
}

namespace pbcommon {

/// A frame is the message's length, four bytes, most significant first, and then the message.
inline constexpr std::size_t kFrameHeaderBytes = 4;

/// Length that a frame header announces. @param header  kFrameHeaderBytes bytes
[[nodiscard]] std::size_t frameLength(const char* header);

/// Appends `message` to `out` as one frame.
/// @return kNoError; kOutOfRange (message over kMaxMessageBytes; `out` unchanged)
[[nodiscard]] eErrorT appendFrame(const google::protobuf::MessageLite& message, std::string& out);

}  // namespace pbcommon

#endif
