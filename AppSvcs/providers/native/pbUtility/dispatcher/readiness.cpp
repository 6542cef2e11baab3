#include "readiness.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "logmsg.h"

namespace PbUtility {

namespace {

constexpr std::string_view kReady = "READY=1";

/// @return false with errno
bool send(std::string_view text, std::string_view socketName) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if ((socketName[0] != '/' && socketName[0] != '@') ||
        socketName.size() > sizeof(address.sun_path)) {
        errno = EINVAL;
        return false;
    }
    socketName.copy(address.sun_path, sizeof(address.sun_path));
    if (socketName[0] == '@') {
        address.sun_path[0] = '\0';
    }
    // an abstract name is as long as the address says; of a path the kernel adds the end itself
    const auto nLength =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socketName.size());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool bSent = fd >= 0 && sendto(fd, text.data(), text.size(), MSG_NOSIGNAL,
                                         reinterpret_cast<const sockaddr*>(&address), nLength) >= 0;
    const int nError = errno;
    close(fd);
    errno = nError;
    return bSent;
}

}  // namespace

void tellReady() {
    const char* const socketName = std::getenv("NOTIFY_SOCKET");
    if (socketName != nullptr && socketName[0] != '\0' && !send(kReady, socketName)) {
        logwarn("pbUtility", "cannot notify %s of readiness: %s\n", socketName, strerror(errno));
    }
}

}  // namespace PbUtility
