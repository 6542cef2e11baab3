#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench.h"
#include "frame.h"
#include "messages.pb.h"

namespace bench {

namespace {

/// Requests come one at a time and whole: a client waits for its answer.
class Server {
public:
    void serve(int fd) {
        char input[4096];
        const ssize_t nBytes = recv(fd, input, sizeof(input), 0);
        if (nBytes < static_cast<ssize_t>(pbcommon::kFrameHeaderBytes)) {
            std::erase(m_watchers, fd);
            close(fd);
            return;
        }
        m_request.ParseFromArray(
            input + pbcommon::kFrameHeaderBytes,
            static_cast<int>(nBytes - static_cast<ssize_t>(pbcommon::kFrameHeaderBytes)));
        m_reply.Clear();
        answer(fd);
        send(fd);
        if (m_request.has_set()) {
            tellWatchers();
        }
    }

private:
    void answer(int fd) {
        if (m_request.has_get()) {
            pbcommon::Variable& variable = *m_reply.mutable_get()->add_variable();
            variable.set_name(keyOf(m_request.get().address()));
            variable.set_value(m_values[m_sKey]);
        } else if (m_request.has_set()) {
            const pbcommon::Assignment& assignment = m_request.set().assignment(0);
            pbcommon::Variable& variable = *m_reply.mutable_set()->add_variable();
            variable.set_name(keyOf(assignment.address()));
            m_values[m_sKey] = assignment.value();
            variable.set_value(assignment.value());
        } else if (m_request.has_watch()) {
            m_watchers.push_back(fd);
        }
    }
    void tellWatchers() {
        for (const int fd : m_watchers) {
            m_reply.Clear();
            pbcommon::Assigned& assigned =
                *m_reply.mutable_event()->mutable_change()->add_assignment();
            assigned.set_name(m_sKey);
            assigned.set_value(m_values[m_sKey]);
            send(fd);
        }
    }
    const std::string& keyOf(const pbcommon::Address& address) {
        m_sKey.assign(address.node()).append(1, '.').append(address.variable());
        return m_sKey;
    }
    void send(int fd) {
        m_sOutput.clear();
        (void)pbcommon::appendFrame(m_reply, m_sOutput);
        (void)::send(fd, m_sOutput.data(), m_sOutput.size(), MSG_NOSIGNAL);
    }

    std::unordered_map<std::string, std::string> m_values;
    std::vector<int> m_watchers;
    pbcommon::Request m_request;
    pbcommon::Reply m_reply;
    std::string m_sKey;
    std::string m_sOutput;
};

void add(int epollFd, int fd) {
    epoll_event wanted{.events = EPOLLIN, .data = {.fd = fd}};
    epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &wanted);
}

}  // namespace

void servePingpong(int listenFd) {
    const int epollFd = epoll_create1(EPOLL_CLOEXEC);
    add(epollFd, listenFd);
    Server server;
    for (;;) {
        epoll_event event{};
        if (epoll_wait(epollFd, &event, 1, -1) != 1) {
            _exit(1);
        }
        if (event.data.fd == listenFd) {
            add(epollFd, accept(listenFd, nullptr, nullptr));
        } else {
            server.serve(event.data.fd);
        }
    }
}

}  // namespace bench
