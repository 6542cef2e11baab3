// Calls of the log facility, what they return and what the device gets compared with what
// snprintf() makes of the same formats and arguments.

#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "logmsg.h"
#include "ospaths.h"
#include "require.h"

namespace {

constexpr std::size_t kRecordBytes = 2048;
constexpr std::size_t kPatternBytes = 369;
constexpr std::size_t kArguments = 3;
constexpr int kRaw = 101;

struct CallT {
    int nLevel = kRaw;
    std::string sComponent, sFormat;
    bool bComponent = false;
    std::array<std::string, kArguments> texts;
    /// Numbers, or where a text is: each travels like a long, and a conversion takes its part of
    /// it.
    std::array<long, kArguments> arguments{};
};

std::string textFrom(FuzzedDataProvider& input, std::size_t nMaxBytes) {
    return input.ConsumeRandomLengthString(nMaxBytes).c_str();  // up to the first NUL
}

void addConversion(FuzzedDataProvider& input, CallT& call, std::size_t nArgument) {
    const std::string sConversion = input.PickValueInArray(
        {"d", "i", "u", "x", "X", "o", "c", "ld", "lu", "lx", "s", "s", "s"});
    call.sFormat += '%';
    for (const char flag : {'-', '+', ' ', '0'}) {
        call.sFormat.append(input.ConsumeIntegralInRange(0, 7) == 1 ? 1 : 0, flag);
    }
    for (const char* const before : {"", "."}) {
        if (input.ConsumeBool()) {
            call.sFormat += before + std::to_string(input.ConsumeIntegralInRange(1, 3000));
        }
    }
    call.sFormat += sConversion;
    call.arguments[nArgument] = input.ConsumeIntegral<long>();
    if (sConversion == "s") {
        std::string& sText = call.texts[nArgument] = textFrom(input, 2 * kRecordBytes);
        const char* const text = call.arguments[nArgument] == 1 ? nullptr : sText.c_str();
        call.arguments[nArgument] = reinterpret_cast<long>(text);
    }
}

void fillCall(FuzzedDataProvider& input, CallT& call) {
    call.nLevel = input.ConsumeBool() ? kRaw : input.ConsumeIntegralInRange(-1, 8);
    call.bComponent = input.ConsumeBool();
    call.sComponent = textFrom(input, 2 * kRecordBytes);
    std::size_t nArguments = 0;
    for (int nPieces = input.ConsumeIntegralInRange(0, 6); nPieces > 0; --nPieces) {
        if (nArguments < kArguments && input.ConsumeBool()) {
            addConversion(input, call, nArguments++);
            continue;
        }
        for (const char c : textFrom(input, 2 * kRecordBytes)) {
            call.sFormat.append(c == '%' ? 2 : 1, c);
        }
    }
    call.sFormat += input.ConsumeBool() ? "\n" : "";
}

/// The facility's rules once more.
class Model {
public:
    void addFilter(bool bShow, const std::string& sPattern) {
        SlotsT& slots = bShow ? m_show : m_cull;
        const auto free = std::find(slots.begin(), slots.end(), "");
        const auto add = bShow ? logmsg_showfilter_add : logmsg_cullfilter_add;
        require(add(sPattern.c_str()) == (free == slots.end() && !sPattern.empty() ? -1 : 0),
                "a full table says so");
        if (free != slots.end()) {
            *free = sPattern.substr(0, kPatternBytes);
        }
    }
    void deleteFilter(bool bShow, const std::string& sPattern) {
        SlotsT& slots = bShow ? m_show : m_cull;
        (void)(bShow ? logmsg_showfilter_delete : logmsg_cullfilter_delete)(sPattern.c_str());
        const auto found = std::find_if(slots.begin(), slots.end(), [&](const std::string& sSlot) {
            return strcasecmp(sSlot.c_str(), sPattern.c_str()) == 0;
        });
        if (sPattern == "*") {
            slots = {};
        } else if (found != slots.end()) {
            found->clear();
        }
    }
    /// @param sWritten  set to what the device gets
    /// @return what the call returns
    int log(const CallT& call, const std::string& sText, std::string& sWritten) {
        sWritten.clear();
        if (call.sFormat == "\n" && m_sWaiting.empty()) {
            return 0;
        }
        const std::string sRecord = (m_sWaiting.empty() ? prefix(call) : m_sWaiting) + sText;
        const std::string sKept = sRecord.substr(0, kRecordBytes - 1);
        std::size_t nLength = std::min(sRecord.size(), kRecordBytes);
        m_sWaiting = sKept.c_str();
        if (call.sFormat.find('\n') != std::string::npos && passes(std::exchange(m_sWaiting, ""))) {
            const bool bEnds = nLength < kRecordBytes && sKept.ends_with('\n');
            nLength -= !bEnds ? 0U : sKept.ends_with("\r\n") ? 2U : 1U;
            sWritten = (sKept + '\0').substr(0, nLength + 1);
        }
        return static_cast<int>(nLength);
    }

private:
    using SlotsT = std::array<std::string, 10>;

    static std::string prefix(const CallT& call) {
        if (call.nLevel == kRaw) {
            return "";
        }
        const int nLevel = call.nLevel < 0 || call.nLevel > 7 ? 7 : call.nLevel;
        const std::string sComponent = call.bComponent ? call.sComponent + ": " : "";
        return ("<" + std::to_string(nLevel) + ">Fuzz: hd[0]: " + sComponent)
            .substr(0, kRecordBytes - 1);
    }
    static bool contains(const SlotsT& slots, const std::string& sRecord) {
        return std::any_of(slots.begin(), slots.end(), [&](const std::string& sSlot) {
            return !sSlot.empty() && sRecord.find(sSlot) != std::string::npos;
        });
    }
    [[nodiscard]] bool passes(const std::string& sRecord) const {
        return !sRecord.empty() && (m_show == SlotsT{} || contains(m_show, sRecord)) &&
               !contains(m_cull, sRecord);
    }

    std::string m_sWaiting;  ///< of a line that has no end yet
    SlotsT m_show, m_cull;
};

/// The log device: a pipe, which is read after every call.
int openDevice() {
    int ends[2];
    require(pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0, "there is a pipe");
    static const std::string sPath = "/proc/self/fd/" + std::to_string(ends[1]);
    gLogDevicePath = sPath.c_str();
    gVireoIdxPath = "/dev/null";
    logmsg_init(0, "Fuzz");
    // where the filters say that they are full
    require(freopen("/dev/null", "w", stdout) != nullptr, "standard output is redirected");
    return ends[0];
}

std::string readDevice() {
    static const int fd = openDevice();
    std::array<char, 4 * kRecordBytes> bytes;
    const ssize_t nBytes = read(fd, bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(nBytes, 0))};
}

void checkCall(FuzzedDataProvider& input, Model& model) {
    CallT call;
    fillCall(input, call);
    const char* const format = call.sFormat.c_str();
    const auto [first, second, third] = call.arguments;
    std::string sText(
        static_cast<std::size_t>(std::snprintf(nullptr, 0, format, first, second, third)) + 1,
        '\0');
    (void)std::snprintf(sText.data(), sText.size(), format, first, second, third);
    sText.pop_back();
    const int nResult = logmsg(call.nLevel, call.bComponent ? call.sComponent.c_str() : nullptr,
                               format, first, second, third);
    std::string sExpected;
    require(nResult == model.log(call, sText, sExpected), "a call returns its record's length");
    require(readDevice() == sExpected, "the device gets the record");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Model model;
    (void)readDevice();
    while (input.remaining_bytes() > 0) {
        const int nWhat = input.ConsumeIntegralInRange(0, 9);
        if (nWhat > 1) {
            checkCall(input, model);
            continue;
        }
        const bool bShow = input.ConsumeBool();
        const std::string sPattern = textFrom(input, 2 * kPatternBytes);
        nWhat == 0 ? model.addFilter(bShow, sPattern) : model.deleteFilter(bShow, sPattern);
    }
    // the next input begins with nothing
    (void)logmsg_showfilter_delete("*");
    (void)logmsg_cullfilter_delete("*");
    (void)os_printf("\n");
    return 0;
}
