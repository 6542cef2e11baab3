#include "endpoint.h"

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

std::string lockPath(const std::string& sSocketPath) { return sSocketPath + ".lock"; }

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
    // chmod: whatever the umask says, every user reaches the socket
    const bool bMade = mkdir(sDirectory.c_str(), kDirectoryMode) == 0 &&
                       chmod(sDirectory.c_str(), kDirectoryMode) == 0;
    if (!bMade && errno != EEXIST) {
        logcrit("pbUtility", "cannot create the runtime directory %s: %s\n", sDirectory.c_str(),
                strerror(errno));
        return kBadPath;
    }
    const eErrorT result = lock(sDirectory, lockPath(m_sSocketPath));
    return result == kNoError ? removeStaleSocket() : result;
}

eErrorT Endpoint::lock(const std::string& sDirectory, const std::string& sLockPath) {
    pid_t holder = 0;
    const eErrorT result = m_lock.take(sLockPath, holder);
    if (result == kAlreadyInUse) {
        logcrit("pbUtility", "%s\n", pbcommon::inUseBy(sDirectory, holder).c_str());
    } else if (result != kNoError) {
        logcrit("pbUtility", "cannot %s %s: %s\n", result == kBadPath ? "open" : "lock",
                sLockPath.c_str(), strerror(errno));
    }
    return result;
}

eErrorT Endpoint::removeStaleSocket() {
    struct stat status {};
    const bool bExists = lstat(m_sSocketPath.c_str(), &status) == 0;
    if (bExists && !S_ISSOCK(status.st_mode)) {
        logcrit("pbUtility", "%s exists and is not a socket\n", m_sSocketPath.c_str());
    } else if (!bExists || unlink(m_sSocketPath.c_str()) == 0) {
        return kNoError;
    } else {
        logcrit("pbUtility", "cannot remove %s: %s\n", m_sSocketPath.c_str(), strerror(errno));
    }
    m_lock.release();
    return kBadPath;
}

void Endpoint::noteSocket() {
    struct stat status {};
    if (lstat(m_sSocketPath.c_str(), &status) == 0) {
        m_socket = {status.st_dev, status.st_ino};
    }
}

bool Endpoint::hasOwnSocket() const {
    struct stat status {};
    return m_socket && lstat(m_sSocketPath.c_str(), &status) == 0 &&
           m_socket == std::pair(status.st_dev, status.st_ino);
}

bool Endpoint::isInPlace() const { return hasOwnSocket() && m_lock.isOn(lockPath(m_sSocketPath)); }

void Endpoint::release() {
    if (hasOwnSocket()) {
        unlink(m_sSocketPath.c_str());
    }
    m_socket.reset();
    m_lock.release();
}

}  // namespace PbUtility
