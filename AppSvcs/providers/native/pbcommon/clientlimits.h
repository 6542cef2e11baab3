#ifndef PBCOMMON_CLIENTLIMITS_H
#define PBCOMMON_CLIENTLIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "SecurityRole.h"

namespace pbcommon {

/// What one client may take of the service, all in one place. Beyond a limit a request is refused,
/// a connection closed; nobody else is affected.

// of a request
/// Of a page of a reply, told or looked at; a page with one change may be longer.
inline constexpr std::size_t kPageBytes = std::size_t{64} << 10;
inline constexpr std::uint32_t kPageVariables = 2048;  ///< that a page of a listing looks at
inline constexpr std::size_t kMaxMessageBytes = std::size_t{1} << 20;  ///< a frame, either way
inline constexpr int kMaxAssignments = 256;                            ///< of one change
inline constexpr std::size_t kMaxPatternBytes = 256;
/// Of a value, as proposed and as stored.
inline constexpr std::size_t kMaxValueBytes = std::size_t{64} << 10;
/// Of a change with all that follows from it: `why` answers with up to three, in one message.
inline constexpr std::size_t kMaxChangeBytes = kMaxMessageBytes / 4;

/// Rehearsals in search of what would make a refused change acceptable, and the assignments in
/// those of one page; a page of a long change has one rehearsal.
inline constexpr std::size_t kMaxTrials = 256;
inline constexpr std::size_t kPageAssignments = 64;

/// Of a request, in all its messages. A change of 256 assignments has about 2000.
inline constexpr int kMaxFields = 8192;

// of connections and watches
struct ShareT {
    // of all who may act in no higher role: the rest is kept for those who may
    std::size_t nConnections, nWatches;
    std::size_t nConnectionsPerUser, nWatchesPerUser;
};
/// @param highest  role that somebody may act in
[[nodiscard]] constexpr ShareT limitsOf(AppConfig::SecurityRole highest) {
    switch (highest) {
        case AppConfig::kUser:
            return {.nConnections = 224,
                    .nWatches = 48,
                    .nConnectionsPerUser = 64,
                    .nWatchesPerUser = 32};
        case AppConfig::kAdmin:
        case AppConfig::kProvisioning:
            return {.nConnections = 240,
                    .nWatches = 56,
                    .nConnectionsPerUser = 64,
                    .nWatchesPerUser = 32};
        default:
            return {.nConnections = 256,
                    .nWatches = 64,
                    .nConnectionsPerUser = 256,
                    .nWatchesPerUser = 64};
    }
}
/// A frame has to be whole so long after its first byte.
inline constexpr std::chrono::seconds kFrameTime{30};

// of a commit that changes share
inline constexpr std::size_t kMaxHeldAnswers = 64;
inline constexpr std::size_t kMaxHeldBytes = std::size_t{256} << 10;  ///< requests and answers

// of the bytes that wait
/// In all connections of a user: requests that are not whole yet, or not served.
inline constexpr std::size_t kMaxInputBytesPerUser = std::size_t{16} << 20;
/// Answers collected before they are written; further frames wait.
inline constexpr std::size_t kMaxUnwrittenBytes = std::size_t{64} << 10;
/// Events that wait for a client to read; further ones are missed.
inline constexpr std::size_t kMaxUnreadEventBytes = std::size_t{256} << 10;

// of what a user leaves behind
/// History drops the oldest changes of the user who has most of them beyond these.
inline constexpr std::size_t kMaxHistoryChanges = 10'000;
inline constexpr std::size_t kMaxHistoryBytes = std::size_t{64} << 20;
/// Lines of the platform's log about one user.
inline constexpr double kLogLinesAtOnce = 100;
inline constexpr double kLogLinesPerSecond = 10;

}  // namespace pbcommon

#endif
