#ifndef PBCOMMON_FILELOCK_H
#define PBCOMMON_FILELOCK_H

#include <sys/types.h>

#include <string>

#include "ErrTypes.h"

namespace pbcommon {

/// Exclusive lock on a file, for a place that one process at a time may own: the endpoint takes one
/// in its runtime directory. The kernel drops it with the process, however that ends; the file
/// stays, because removing it would let a third process lock another file of that name. Not for two
/// owners within one process: the lock does not tell them apart. Taken and released on one thread.
class FileLock {
public:
    FileLock() = default;
    ~FileLock() { release(); }

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Makes the file if need be, for its owner alone, and locks it. A process that has just
    /// started waits for a holder that is about to end: until five seconds after its first lock was
    /// asked for, and never later. Logs nothing. Not while this object holds a lock.
    /// @param path    a symbolic link is not followed
    /// @param holder  set on kAlreadyInUse only: the process that holds the lock, 0 when unknown
    /// @return kNoError; kAlreadyInUse; kBadPath (the file cannot be opened or made, errno kept);
    ///         kSystemCallFailed (errno kept)
    [[nodiscard]] eErrorT take(const std::string& path, pid_t& holder);

    [[nodiscard]] bool held() const { return m_fd >= 0; }
    /// Whether the file that is locked has this name; false when none is.
    [[nodiscard]] bool isOn(const std::string& path) const;

    /// Does nothing unless held.
    void release();

private:
    [[nodiscard]] eErrorT tryToTake(const std::string& path, pid_t& holder);

    int m_fd = -1;
};

/// "/run/appconfig is in use by process 4711; exiting", for the log of who could not take the lock.
[[nodiscard]] std::string inUseBy(const std::string& sDirectory, pid_t holder);

}  // namespace pbcommon

#endif
