#ifndef TESTS_SUPPORT_RAWCLIENT_H
#define TESTS_SUPPORT_RAWCLIENT_H

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "frame.h"
#include "messages.pb.h"

/// A client that sends whatever bytes a test wants to. It waits ten seconds for an answer.
class RawClient {
public:
    explicit RawClient(const std::string& sSocketPath)
        : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        sSocketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        (void)connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        const timeval patience{.tv_sec = 10, .tv_usec = 0};
        setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    }
    ~RawClient() { close(m_fd); }
    RawClient& operator=(RawClient&&) = delete;  // nor a copy

    void send(const std::string& sBytes) const {
        (void)::send(m_fd, sBytes.data(), sBytes.size(), MSG_NOSIGNAL);  // waits for room
    }
    [[nodiscard]] int fd() const { return m_fd; }
    void end(int nHow) const { shutdown(m_fd, nHow); }

    /// The next answer; false when the connection ended or no whole answer came.
    [[nodiscard]] bool receive(pbcommon::Reply& reply) const {
        std::string sHeader(pbcommon::kFrameHeaderBytes, '\0');
        if (!fill(sHeader)) return false;
        std::string sMessage(pbcommon::frameLength(sHeader.data()), '\0');
        return fill(sMessage) && reply.ParseFromString(sMessage);
    }
    /// Whether the other side closes the connection without sending anything more.
    [[nodiscard]] bool isClosed() const {
        char byte = 0;
        const ssize_t n = recv(m_fd, &byte, 1, 0);
        return n == 0 || (n < 0 && errno != EAGAIN);
    }
    [[nodiscard]] bool hasAnswer() const {
        char byte = 0;
        return recv(m_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
    }

    /// A request, given in protobuf's text format, as it goes over the wire.
    static std::string frame(const std::string& sText) {
        pbcommon::Request request;
        std::string sFrame;
        EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(sText, &request)) << sText;
        EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
        return sFrame;
    }
    static std::string ping() { return frame("ping {}"); }

private:
    [[nodiscard]] bool fill(std::string& bytes) const {
        return bytes.empty() || recv(m_fd, bytes.data(), bytes.size(), MSG_WAITALL) ==
                                    static_cast<ssize_t>(bytes.size());
    }

    int m_fd;
};

#endif
