#include "frame.h"

#include <google/protobuf/message_lite.h>

namespace pbcommon {

std::size_t frameLength(const char* header) {
    std::size_t nLength = 0;
    for (std::size_t i = 0; i < kFrameHeaderBytes; ++i) {
        nLength = nLength << 8 | static_cast<unsigned char>(header[i]);
    }
    return nLength;
}

eErrorT appendFrame(const google::protobuf::MessageLite& message, std::string& out) {
    const std::size_t nLength = message.ByteSizeLong();
    if (nLength > kMaxMessageBytes) {
        return kOutOfRange;
    }
    for (int shift = 24; shift >= 0; shift -= 8) {
        out += static_cast<char>(nLength >> shift & 0xff);
    }
    message.AppendToString(&out);
    return kNoError;
}

}  // namespace pbcommon
