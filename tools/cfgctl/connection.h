#ifndef CFGCTL_CONNECTION_H
#define CFGCTL_CONNECTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "messages.pb.h"

namespace cfgctl {

/// Connection to the service: one request, one answer, in turn, and further replies after a request
/// that has them. Made when the first request needs it. Not for use by two threads.
class Connection {
public:
    using Clock = std::chrono::steady_clock;

    /// @param sockets  the first where a service listens is taken
    /// @param timeout  of each request and its answer, with connecting for it
    Connection(std::vector<std::string> sockets, Clock::duration timeout)
        : m_sockets(std::move(sockets)), m_timeout(timeout) {}
    ~Connection();

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// @throws Failure  kUsage (request larger than a message may be; nothing was sent), kNoService
    ///                  (none, or a connection lost before anything was changed), kNoAnswer (none
    ///                  in time; or it was lost, and what was asked may have been done)
    [[nodiscard]] pbcommon::Reply ask(pbcommon::Request request);

    /// The next of the further replies, waited for without end; once it has begun, the timeout
    /// holds for the rest. @throws Failure  as ask() does
    [[nodiscard]] pbcommon::Reply next();

private:
    void connect();
    /// Connects m_fd. @return 0, or errno with m_fd closed
    [[nodiscard]] int connectTo(const std::string& sPath);
    /// @return whether all of it was sent; else the service may have said why not
    [[nodiscard]] bool send(const std::string& frame);
    [[nodiscard]] pbcommon::Reply receiveReply();
    [[nodiscard]] std::string receive(std::size_t nBytes);
    /// Until the deadline; less than 0 after it.
    [[nodiscard]] Clock::duration timeLeft() const { return m_deadline - Clock::now(); }
    /// Waits for it until the deadline. @param events  as poll() takes them
    void awaitSocket(short events) const;
    [[noreturn]] void endWithoutAnswer() const;
    /// @param sReason  why nothing more can come over this connection
    [[noreturn]] void endWithConnection(const std::string& sReason) const;

    const std::vector<std::string> m_sockets;
    const Clock::duration m_timeout;
    Clock::time_point m_deadline;
    int m_fd = -1;
    std::uint64_t m_nId = 0;  ///< of the last request
    std::string m_sPath;
    /// How to find out whether what was asked is done; empty while it cannot be.
    std::string m_sFindOut;
};

}  // namespace cfgctl

#endif
