#ifndef PBCOMMON_CLIENTLIMITS_H
#define PBCOMMON_CLIENTLIMITS_H

#include <chrono>
#include <cstddef>

namespace pbcommon {

/// What one client may take of the service, all in one place. Beyond a limit a request is refused,
/// a connection closed; nobody else is affected.

// of a request
inline constexpr std::size_t kMaxMessageBytes = std::size_t{1} << 20;  ///< a frame, either way
inline constexpr int kMaxAssignments = 256;                            ///< of one change
inline constexpr std::size_t kMaxPatternBytes = 256;
/// Of a value, as proposed and as stored.
inline constexpr std::size_t kMaxValueBytes = std::size_t{64} << 10;
/// Of a change with all that follows from it: `why` answers with up to three, in one message.
inline constexpr std::size_t kMaxChangeBytes = kMaxMessageBytes / 4;

// of connections
inline constexpr std::size_t kMaxConnections = 256;
/// Of one user, and of all users together but root and the service's own: these keep the rest.
inline constexpr std::size_t kMaxConnectionsPerUser = 64;
inline constexpr std::size_t kMaxConnectionsOfUsers = kMaxConnections - 16;
inline constexpr std::size_t kMaxWatches = 64;
/// A frame has to be whole so long after its first byte.
inline constexpr std::chrono::seconds kFrameTime{30};

// of the bytes that wait on a connection, besides one frame that comes in
/// Answers collected before they are written; further frames wait.
inline constexpr std::size_t kMaxUnwrittenBytes = std::size_t{64} << 10;
/// Events that wait for a client to read; further ones are missed.
inline constexpr std::size_t kMaxUnreadEventBytes = std::size_t{256} << 10;

}  // namespace pbcommon

#endif
