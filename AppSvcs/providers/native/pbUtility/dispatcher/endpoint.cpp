#include "endpoint.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "directories.h"
#include "logmsg.h"

namespace PbUtility {

namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kLockMode = 0600;

struct flock wholeFile(short type) {
    struct flock region {};
    region.l_type = type;
    region.l_whence = SEEK_SET;
    return region;
}

/// Process that holds the lock on `fd`, 0 when it cannot be told.
pid_t holderOf(int fd) {
    struct flock region = wholeFile(F_WRLCK);
    return fcntl(fd, F_GETLK, &region) == 0 && region.l_type != F_UNLCK ? region.l_pid : 0;
}

}  // namespace

Endpoint::~Endpoint() { release(); }

eErrorT Endpoint::claim(const std::string& sDirectory, const std::string& sName) {
    if (sDirectory.empty()) {
        logcrit("pbUtility", "no runtime directory: set RUNTIME_DIRECTORY or XDG_RUNTIME_DIR\n");
        return kBadPath;
    }
    m_sSocketPath = pbcommon::socketPath(sDirectory, sName);
    if (m_sSocketPath.size() >= sizeof(sockaddr_un::sun_path)) {
        logcrit("pbUtility", "%s is too long for the path of a socket\n", m_sSocketPath.c_str());
        return kBadPath;
    }
    if (mkdir(sDirectory.c_str(), kDirectoryMode) != 0 && errno != EEXIST) {
        logcrit("pbUtility", "cannot create the runtime directory %s: %s\n", sDirectory.c_str(),
                strerror(errno));
        return kBadPath;
    }
    const eErrorT result = lock(sDirectory, sDirectory + "/" + sName + ".lock");
    return result == kNoError ? removeStaleSocket() : result;
}

eErrorT Endpoint::lock(const std::string& sDirectory, const std::string& sLockPath) {
    const int fd = open(sLockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode);
    if (fd < 0) {
        logcrit("pbUtility", "cannot open %s: %s\n", sLockPath.c_str(), strerror(errno));
        return kBadPath;
    }
    const struct flock region = wholeFile(F_WRLCK);
    if (fcntl(fd, F_SETLK, &region) == 0) {
        m_lockFd = fd;
        return kNoError;
    }
    const int nError = errno;
    const bool bHeld = nError == EAGAIN || nError == EACCES;
    if (bHeld) {
        logcrit("pbUtility", "process %d holds %s already; this one ends\n", holderOf(fd),
                sDirectory.c_str());
    } else {
        logcrit("pbUtility", "cannot lock %s: %s\n", sLockPath.c_str(), strerror(nError));
    }
    close(fd);
    return bHeld ? kAlreadyInUse : kSystemCallFailed;
}

eErrorT Endpoint::removeStaleSocket() {
    struct stat status {};
    const bool bExists = lstat(m_sSocketPath.c_str(), &status) == 0;
    if (bExists && !S_ISSOCK(status.st_mode)) {
        logcrit("pbUtility", "%s is in the way: it is no socket\n", m_sSocketPath.c_str());
    } else if (!bExists || unlink(m_sSocketPath.c_str()) == 0) {
        return kNoError;
    } else {
        logcrit("pbUtility", "cannot remove %s: %s\n", m_sSocketPath.c_str(), strerror(errno));
    }
    close(m_lockFd);
    m_lockFd = -1;
    return kBadPath;
}

void Endpoint::release() {
    if (m_lockFd >= 0) {
        unlink(m_sSocketPath.c_str());
        close(m_lockFd);
        m_lockFd = -1;
    }
}

}  // namespace PbUtility
