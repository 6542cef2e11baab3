#include "overfull.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include "clientlimits.h"
#include "messages.pb.h"

namespace PbUtility {

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::internal::WireFormatLite;

/// Counts the fields of one request.
class FieldCounter {
public:
    /// @param message  borrowed
    explicit FieldCounter(std::string_view message)
        : m_input(reinterpret_cast<const std::uint8_t*>(message.data()),
                  static_cast<int>(message.size())) {}

    /// Whether there are too many.
    [[nodiscard]] bool isOver() {
        count(*pbcommon::Request::descriptor());
        return m_nFields > pbcommon::kMaxFields;
    }
    [[nodiscard]] std::uint64_t id() const { return m_nId; }

private:
    /// To the end of a message, or of what can be read of it. Within the body it stops where there
    /// are too many, and goes on after it: the id may come there.
    void count(const Descriptor& type) {
        const bool bRequest = &type == pbcommon::Request::descriptor();
        while (const std::uint32_t nTag = m_input.ReadTag()) {
            const int nField = WireFormatLite::GetTagFieldNumber(nTag);
            const FieldDescriptor* const field = type.FindFieldByNumber(nField);
            if (++m_nFields > 2 * pbcommon::kMaxFields ||
                (!bRequest && m_nFields > pbcommon::kMaxFields)) {
                return;
            }
            const bool bRead = bRequest && nField == pbcommon::Request::kIdFieldNumber
                                   ? m_input.ReadVarint64(&m_nId)
                                   : countOrSkip(nTag, field);
            if (!bRead) {
                return;
            }
        }
    }
    [[nodiscard]] bool countOrSkip(std::uint32_t nTag, const FieldDescriptor* field) {
        if (field == nullptr || field->message_type() == nullptr ||
            WireFormatLite::GetTagWireType(nTag) != WireFormatLite::WIRETYPE_LENGTH_DELIMITED) {
            return WireFormatLite::SkipField(&m_input, nTag);
        }
        std::uint32_t nBytes = 0;
        if (!m_input.ReadVarint32(&nBytes)) {
            return false;
        }
        const auto outer = m_input.PushLimit(static_cast<int>(nBytes));
        count(*field->message_type());
        const bool bRead = m_input.Skip(m_input.BytesUntilLimit());
        m_input.PopLimit(outer);
        return bRead;
    }

    google::protobuf::io::CodedInputStream m_input;
    std::uint64_t m_nId = 0;
    int m_nFields = 0;
};

}  // namespace

std::optional<std::uint64_t> idOfOverfull(std::string_view message) {
    constexpr std::size_t kLeastFieldBytes = 2;
    if (message.size() <= kLeastFieldBytes * pbcommon::kMaxFields) {
        return std::nullopt;
    }
    FieldCounter counter(message);
    return counter.isOver() ? std::optional(counter.id()) : std::nullopt;
}

}  // namespace PbUtility
