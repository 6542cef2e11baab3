#ifndef PBUTILITY_DISPATCHER_ENDPOINT_H
#define PBUTILITY_DISPATCHER_ENDPOINT_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

#include "ErrTypes.h"
#include "filelock.h"

namespace PbUtility {

/// The place in the file system under which clients find an endpoint: "<name>.sock" in a runtime
/// directory, guarded by a lock on "<name>.sock.lock" beside it, so that one process at a time owns
/// it: a name of its own, since the directory may be one where others keep theirs.
/// Not for two owners within one process: the lock does not tell them apart.
class Endpoint {
public:
    Endpoint() = default;
    ~Endpoint();

    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    /// Makes the directory if need be (0755; one that exists keeps its mode), takes the lock and
    /// clears away a socket that a killed owner left. Changes nothing when another process holds
    /// the lock. A failure has been logged, once, when this returns.
    /// @return kNoError; kAlreadyInUse; kBadPath (directory missing, not usable, or its path too
    ///         long for a socket); kSystemCallFailed
    [[nodiscard]] eErrorT claim(const std::string& sDirectory, const std::string& sName);

    /// Path to bind to; valid after claim().
    [[nodiscard]] const std::string& path() const { return m_sSocketPath; }
    /// To be called once the socket is there: it is the one that release() removes.
    void noteSocket();
    /// Whether lock and socket are still where clients and other processes look for them.
    [[nodiscard]] bool isInPlace() const;

    /// Removes the socket, unless another has its name, and gives the place up. Does nothing unless
    /// claimed.
    void release();

private:
    [[nodiscard]] eErrorT lock(const std::string& sDirectory, const std::string& sLockPath);
    [[nodiscard]] eErrorT removeStaleSocket();

    [[nodiscard]] bool hasOwnSocket() const;

    std::string m_sSocketPath;
    std::optional<std::pair<dev_t, ino_t>> m_socket;  ///< once it is bound
    pbcommon::FileLock m_lock;
};

}  // namespace PbUtility

#endif
