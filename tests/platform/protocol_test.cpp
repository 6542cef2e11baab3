#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "frame.h"
#include "messages.pb.h"
#include "temporarydirectory.h"

namespace {

/// Reads on from `page` until after `sEnd`. @return what came before it
std::string readUntil(std::istream& page, const std::string& sEnd) {
    std::string text;
    for (char c = 0; !text.ends_with(sEnd) && page.get(c);) {
        text += c;
    }
    return text.substr(0, text.size() - (page ? sEnd.size() : 0));
}

std::string bytesOf(const std::string& sHex) {
    std::istringstream stream(sHex);
    std::string bytes;
    for (int nByte = 0; stream >> std::hex >> nByte;) {
        bytes += static_cast<char>(nByte);
    }
    return bytes;
}

void expectHolds(const std::string& sFrame, const std::string& sType, const std::string& sText) {
    using namespace google::protobuf;
    const Descriptor* const type = DescriptorPool::generated_pool()->FindMessageTypeByName(sType);
    ASSERT_TRUE(type != nullptr && sFrame.size() >= pbcommon::kFrameHeaderBytes) << sText;
    const Message* const prototype = MessageFactory::generated_factory()->GetPrototype(type);
    const std::unique_ptr<Message> sent(prototype->New());
    const std::unique_ptr<Message> printed(prototype->New());
    const std::string sMessage = sFrame.substr(pbcommon::kFrameHeaderBytes);
    EXPECT_EQ(pbcommon::frameLength(sFrame.data()), sMessage.size()) << sText;
    EXPECT_TRUE(sent->ParseFromString(sMessage) &&
                TextFormat::ParseFromString(sText, printed.get()));
    EXPECT_EQ(sent->DebugString(), printed->DebugString());
}

TEST(ProtocolPage, PrintsBesideEachFrameTheMessageInIt) {
    std::istringstream page(TemporaryDirectory::contentOf(SOURCES "/docs/protocol.md"));
    int nFrames = 0;
    for (readUntil(page, "```hex\n"); page; readUntil(page, "```hex\n"), ++nFrames) {
        const std::string sFrame = bytesOf(readUntil(page, "```\n```textproto\n# proto-message: "));
        const std::string sType = readUntil(page, "\n");
        expectHolds(sFrame, sType, readUntil(page, "```\n"));
    }
    EXPECT_GE(nFrames, 11);
}

}  // namespace
