#include "connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "frame.h"

namespace cfgctl {

namespace {

constexpr int kTimeoutSeconds = 30;

Failure noService(const std::string& sPath, int nErrno) {
    if (nErrno == EACCES || nErrno == EPERM) {
        return {kNoService, "no permission for the service's socket " + sPath +
                                "; run as a user that may use it, or as root"};
    }
    return {kNoService,
            "no service at " + sPath + ": " + std::strerror(nErrno) + "; is appconfig running?"};
}

}  // namespace

Connection::Connection(const std::vector<std::string>& sockets) {
    int nErrno = ENOENT;
    for (const std::string& sCandidate : sockets) {
        const int nResult = connectTo(sCandidate);
        if (nResult == 0) {
            m_sPath = sCandidate;
            return;
        }
        // a socket that is there but cannot be used says more than one that is not there
        if (m_sPath.empty() || nErrno == ENOENT) {
            m_sPath = sCandidate;
            nErrno = nResult;
        }
    }
    throw noService(m_sPath, nErrno);
}

Connection::~Connection() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

int Connection::connectTo(const std::string& sPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (sPath.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    sPath.copy(address.sun_path, sPath.size());
    m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        return errno;
    }
    const timeval timeout{kTimeoutSeconds, 0};
    // the one for sending also bounds the wait for a service that accepts no connections
    if (setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout)) == 0 &&
        setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout)) == 0) {
        int nResult = 0;
        do {
            nResult = connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        } while (nResult != 0 && errno == EINTR);
        if (nResult == 0) {
            return 0;
        }
    }
    const int nErrno = errno;
    close(m_fd);
    m_fd = -1;
    return nErrno;
}

pbcommon::Reply Connection::ask(const pbcommon::Request& request) {
    std::string frame;
    if (pbcommon::appendFrame(request, frame) != ::kNoError) {
        throw Failure(kUsage, "the request is " + std::to_string(request.ByteSizeLong()) +
                                  " bytes long; the service takes " +
                                  std::to_string(pbcommon::kMaxMessageBytes) + " at most");
    }
    m_bChanging = request.has_set() && !request.set().dry_run();
    send(frame);
    return receiveReply();
}

pbcommon::Reply Connection::next() {
    pollfd ready{m_fd, POLLIN, 0};
    while (poll(&ready, 1, -1) < 0) {
        if (errno != EINTR) {
            lost(std::strerror(errno));
        }
    }
    return receiveReply();
}

pbcommon::Reply Connection::receiveReply() {
    const std::size_t nBytes = pbcommon::frameLength(receive(pbcommon::kFrameHeaderBytes).data());
    pbcommon::Reply reply;
    if (nBytes > pbcommon::kMaxMessageBytes || !reply.ParseFromString(receive(nBytes))) {
        lost("the answer is no message of the service");
    }
    return reply;
}

void Connection::send(const std::string& frame) {
    std::size_t nSent = 0;
    while (nSent < frame.size()) {
        const ssize_t nResult =
            ::send(m_fd, frame.data() + nSent, frame.size() - nSent, MSG_NOSIGNAL);
        if (nResult >= 0) {
            nSent += static_cast<std::size_t>(nResult);
        } else if (errno == EPIPE) {
            return;  // turned away: why may have been sent already
        } else if (errno != EINTR) {
            lost(errno == EAGAIN ? "the service reads nothing" : std::strerror(errno));
        }
    }
}

std::string Connection::receive(std::size_t nBytes) {
    std::string bytes(nBytes, '\0');
    std::size_t nReceived = 0;
    while (nReceived < nBytes) {
        const ssize_t nResult = recv(m_fd, bytes.data() + nReceived, nBytes - nReceived, 0);
        if (nResult > 0) {
            nReceived += static_cast<std::size_t>(nResult);
        } else if (nResult == 0) {
            lost("the service closed it");
        } else if (errno != EINTR) {
            lost(errno == EAGAIN ? "no answer for " + std::to_string(kTimeoutSeconds) + " seconds"
                                 : std::strerror(errno));
        }
    }
    return bytes;
}

void Connection::lost(const std::string& sReason) const {
    throw Failure(kNoService,
                  "connection to " + m_sPath + " lost: " + sReason +
                      (m_bChanging ? "; 'cfgctl get' tells whether the change was made" : ""));
}

}  // namespace cfgctl
