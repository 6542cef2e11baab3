#include "connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "failure.h"
#include "frame.h"

namespace cfgctl {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

Failure noService(const std::string& sPath, int nErrno) {
    if (nErrno == EACCES || nErrno == EPERM) {
        return {kNoService, "no permission for the service's socket " + sPath +
                                "; run as a user that may use it, or as root"};
    }
    return {kNoService,
            "no service at " + sPath + ": " + std::strerror(nErrno) + "; is appconfig running?"};
}

std::string findOutText(const pbcommon::Request& request) {
    if (request.has_set() && !request.set().dry_run()) {
        return "; 'cfgctl history -n 1' and 'cfgctl get' show whether the change was made";
    }
    return request.has_shutdown() ? "; 'cfgctl ping' shows whether the service ended" : "";
}

}  // namespace

Connection::~Connection() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

void Connection::connect() {
    int nErrno = ENOENT;
    for (const std::string& sCandidate : m_sockets) {
        const int nResult = connectTo(sCandidate);
        // a socket that is there but cannot be used says more than one that is not there
        if (nResult == 0 || nResult == EAGAIN || m_sPath.empty() || nErrno == ENOENT) {
            m_sPath = sCandidate;
            nErrno = nResult;
        }
        if (nResult == EAGAIN) {
            endWithoutAnswer();
        }
        if (nResult == 0) {
            return;
        }
    }
    throw noService(m_sPath, nErrno);
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
    int nResult = 0;
    do {
        // bounds the wait for a service that accepts no connections; 0 would be for ever
        const auto left = std::max(std::chrono::ceil<microseconds>(timeLeft()), microseconds(1));
        const timeval timeout{left / seconds(1), (left % seconds(1)).count()};
        (void)setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
        nResult = ::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    } while (nResult != 0 && errno == EINTR);
    if (nResult == 0) {
        return 0;
    }
    const int nErrno = errno;
    close(m_fd);
    m_fd = -1;
    return nErrno;
}

pbcommon::Reply Connection::ask(pbcommon::Request request) {
    request.set_id(++m_nId);
    std::string frame;
    if (pbcommon::appendFrame(request, frame) != ::kNoError) {
        throw Failure(kUsage, "the request is " + std::to_string(request.ByteSizeLong()) +
                                  " bytes long; the service takes " +
                                  std::to_string(pbcommon::kMaxMessageBytes) + " at most");
    }
    m_deadline = Clock::now() + m_timeout;
    if (m_fd < 0) {
        connect();
    }
    m_sFindOut = send(frame) ? findOutText(request) : "";
    pbcommon::Reply reply = receiveReply();
    m_sFindOut.clear();
    return reply;
}

pbcommon::Reply Connection::next() {
    m_deadline = Clock::time_point::max();
    awaitSocket(POLLIN);
    m_deadline = Clock::now() + m_timeout;
    return receiveReply();
}

pbcommon::Reply Connection::receiveReply() {
    const std::size_t nBytes = pbcommon::frameLength(receive(pbcommon::kFrameHeaderBytes).data());
    pbcommon::Reply reply;
    if (nBytes > pbcommon::kMaxMessageBytes || !reply.ParseFromString(receive(nBytes))) {
        endWithConnection("the service sent an invalid answer");
    }
    // what turns a connection away answers no request
    const bool bTurnedAway = reply.id() == 0 && reply.code() != pbcommon::kNoError;
    if (reply.id() != m_nId && !bTurnedAway) {
        endWithConnection("the service sent an answer to another request");
    }
    return reply;
}

bool Connection::send(const std::string& frame) {
    std::size_t nSent = 0;
    while (nSent < frame.size()) {
        const ssize_t nResult =
            ::send(m_fd, frame.data() + nSent, frame.size() - nSent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (nResult >= 0) {
            nSent += static_cast<std::size_t>(nResult);
        } else if (errno == EAGAIN) {
            awaitSocket(POLLOUT);
        } else if (errno == EPIPE) {
            return false;  // turned away: why may have been sent already
        } else if (errno != EINTR) {
            endWithConnection(std::strerror(errno));
        }
    }
    return true;
}

std::string Connection::receive(std::size_t nBytes) {
    std::string bytes(nBytes, '\0');
    std::size_t nReceived = 0;
    while (nReceived < nBytes) {
        const ssize_t nResult =
            recv(m_fd, bytes.data() + nReceived, nBytes - nReceived, MSG_DONTWAIT);
        if (nResult > 0) {
            nReceived += static_cast<std::size_t>(nResult);
        } else if (nResult == 0) {
            endWithConnection("the service closed it");
        } else if (errno == EAGAIN) {
            awaitSocket(POLLIN);
        } else if (errno != EINTR) {
            endWithConnection(std::strerror(errno));
        }
    }
    return bytes;
}

void Connection::awaitSocket(short events) const {
    pollfd socket{m_fd, events, 0};
    for (;;) {
        const bool bForEver = m_deadline == Clock::time_point::max();
        const auto left = std::max(std::chrono::ceil<milliseconds>(timeLeft()), milliseconds(0));
        const int nReady = poll(&socket, 1, bForEver ? -1 : static_cast<int>(left.count()));
        if (nReady > 0) {
            return;
        }
        if (nReady == 0) {
            endWithoutAnswer();
        }
        if (errno != EINTR) {
            endWithConnection(std::strerror(errno));
        }
    }
}

void Connection::endWithoutAnswer() const {
    std::ostringstream text;
    text << (m_sFindOut.empty() ? "" : "outcome unknown: ") << "no answer from " << m_sPath
         << " within " << std::chrono::duration<double>(m_timeout).count() << " s" << m_sFindOut;
    throw Failure(kNoAnswer, text.str());
}

void Connection::endWithConnection(const std::string& sReason) const {
    const std::string sText = "connection to " + m_sPath + " lost: " + sReason;
    throw m_sFindOut.empty() ? Failure(kNoService, sText)
                             : Failure(kNoAnswer, "outcome unknown: " + sText + m_sFindOut);
}

}  // namespace cfgctl
