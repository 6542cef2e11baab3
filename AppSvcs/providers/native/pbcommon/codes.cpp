#include <algorithm>
#include <iterator>

#include "ErrTypes.h"
#include "messages.pb.h"

// Pins the outcome codes on the wire to the platform's, whose numbers and names they are.

namespace pbcommon {

namespace {

struct CodeParamT {
    ErrorCode wire;
    eErrorT platform;
};
// clang-format off
constexpr CodeParamT codeTable[] = {
    {kNoError,                  ::kNoError},
    {kFuncReturnedError,        ::kFuncReturnedError},
    {kOutOfMemory,              ::kOutOfMemory},
    {kBadParameter,             ::kBadParameter},
    {kBadState,                 ::kBadState},
    {kOutOfResources,           ::kOutOfResources},
    {kDefer,                    ::kDefer},
    {kCantCreateTask,           ::kCantCreateTask},
    {kCantStartTask,            ::kCantStartTask},
    {kCantFindObject,           ::kCantFindObject},
    {kUnsupByRemote,            ::kUnsupByRemote},
    {kUnused11,                 ::kUnused11},
    {kUnused12,                 ::kUnused12},
    {kUnused13,                 ::kUnused13},
    {kUnused14,                 ::kUnused14},
    {kUnused15,                 ::kUnused15},
    {kUnused16,                 ::kUnused16},
    {kEndOfFile,                ::kEndOfFile},
    {kNotInitialized,           ::kNotInitialized},
    {kAlreadyExists,            ::kAlreadyExists},
    {kIllegalInst,              ::kIllegalInst},
    {kIllegalSubElem,           ::kIllegalSubElem},
    {kInsufficientBuffer,       ::kInsufficientBuffer},
    {kSemUnavail,               ::kSemUnavail},
    {kNotImplemented,           ::kNotImplemented},
    {kItemNotFound,             ::kItemNotFound},
    {kAlreadyInUse,             ::kAlreadyInUse},
    {kNotYetSupported,          ::kNotYetSupported},
    {kQueueFull,                ::kQueueFull},
    {kOutOfBandwidth,           ::kOutOfBandwidth},
    {kProtocolEncodeError,      ::kProtocolEncodeError},
    {kProtocolDecodeError,      ::kProtocolDecodeError},
    {kPrototolInitError,        ::kPrototolInitError},
    {kRestrictedMismatch,       ::kRestrictedMismatch},
    {kSystemCallFailed,         ::kSystemCallFailed},
    {kTimeOut,                  ::kTimeOut},
    {kFileOpenError,            ::kFileOpenError},
    {kNoRateChange,             ::kNoRateChange},
    {kUnexpectedParameterCount, ::kUnexpectedParameterCount},
    {kIncorrectVersion,         ::kIncorrectVersion},
    {kInvalidPassword,          ::kInvalidPassword},
    {kNotAuthorized,            ::kNotAuthorized},
    {kUnused42,                 ::kUnused42},
    {kIPCError,                 ::kIPCError},
    {kNoRoomToAddEntry,         ::kNoRoomToAddEntry},
    {kUnused45,                 ::kUnused45},
    {kUnused46,                 ::kUnused46},
    {kFailedJVMOperation,       ::kFailedJVMOperation},
    {kDeviceSleep,              ::kDeviceSleep},
    {kConferenceFull,           ::kConferenceFull},
    {kDeviceReboot,             ::kDeviceReboot},
    {kRejected,                 ::kRejected},
    {kRtvCallPresent,           ::kRtvCallPresent},
    {kInvalidConfig,            ::kInvalidConfig},
    {kOutOfRange,               ::kOutOfRange},
    {kWriteError,               ::kWriteError},
    {kErrInCall,                ::kErrInCall},
    {kBadPath,                  ::kBadPath},
    {kFileFormatError,          ::kFileFormatError},
    {kBadAddress,               ::kBadAddress},
    {kPortLocked,               ::kPortLocked},
    {kServerError,              ::kServerError},
    {kMaxError,                 ::kMaxError},
};
// clang-format on

static_assert(std::size(codeTable) == ErrorCode_MAX - ErrorCode_MIN + 1, "each code has its row");
static_assert(std::ranges::all_of(codeTable,
                                  [](const CodeParamT& row) {
                                      const auto nRow = &row - codeTable;
                                      return row.wire == -nRow && row.platform == -nRow;
                                  }),
              "a code on the wire is the platform's");

}  // namespace

}  // namespace pbcommon
