#include "filelock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace pbcommon {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{5};  ///< of a process, for all its locks
constexpr std::chrono::milliseconds kRetry{10};

constexpr mode_t kLockMode = 0600;

struct flock wholeFile() {
    struct flock region {};
    region.l_type = F_WRLCK;
    region.l_whence = SEEK_SET;
    return region;
}

/// Process that holds the lock on `fd`. The kernel says 0 for one of another process namespace.
pid_t holderOf(int fd) {
    struct flock region = wholeFile();
    return fcntl(fd, F_GETLK, &region) == 0 && region.l_type != F_UNLCK ? region.l_pid : 0;
}

}  // namespace

eErrorT FileLock::take(const std::string& path, pid_t& holder) {
    static const Clock::time_point deadline = Clock::now() + kPatience;
    eErrorT result = tryToTake(path, holder);
    while (result == kAlreadyInUse && Clock::now() < deadline) {
        std::this_thread::sleep_for(kRetry);
        result = tryToTake(path, holder);
    }
    return result;
}

/// Opens the file each time: the one that is locked is the one that has the name.
eErrorT FileLock::tryToTake(const std::string& path, pid_t& holder) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode);
    if (fd < 0) {
        return kBadPath;
    }
    const struct flock region = wholeFile();
    if (fcntl(fd, F_SETLK, &region) == 0) {
        m_fd = fd;
        return kNoError;
    }
    const int nError = errno;
    const bool bHeld = nError == EAGAIN || nError == EACCES;
    if (bHeld) {
        holder = holderOf(fd);
    }
    close(fd);
    errno = nError;
    return bHeld ? kAlreadyInUse : kSystemCallFailed;
}

bool FileLock::isOn(const std::string& path) const {
    struct stat locked {};
    struct stat named {};
    return fstat(m_fd, &locked) == 0 && lstat(path.c_str(), &named) == 0 &&
           locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

void FileLock::release() {
    if (held()) {
        close(m_fd);
        m_fd = -1;
    }
}

std::string inUseBy(const std::string& sDirectory, pid_t holder) {
    return sDirectory + " is in use by process " + std::to_string(holder) + "; exiting";
}

}  // namespace pbcommon
