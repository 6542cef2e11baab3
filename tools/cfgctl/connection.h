#ifndef CFGCTL_CONNECTION_H
#define CFGCTL_CONNECTION_H

#include <cstddef>
#include <string>
#include <vector>

#include "messages.pb.h"

namespace cfgctl {

/// Connection to the service: one request, one answer, in turn, and further replies after a request
/// that has them. Blocks; the service's silence for 30 s ends it, except between further replies.
/// Not for use by two threads.
class Connection {
public:
    /// Connects to the first of `sockets` where a service listens.
    /// @throws Failure  kNoService
    explicit Connection(const std::vector<std::string>& sockets);
    ~Connection();

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// @throws Failure  kUsage (request larger than a message may be; nothing was sent), kNoService
    ///                  (connection lost, or an answer that is none)
    [[nodiscard]] pbcommon::Reply ask(const pbcommon::Request& request);

    /// The next of the further replies, waited for without end.
    /// @throws Failure  kNoService (as with ask())
    [[nodiscard]] pbcommon::Reply next();

private:
    /// Connects m_fd. @return 0, or errno with m_fd closed
    [[nodiscard]] int connectTo(const std::string& sPath);
    void send(const std::string& frame);
    [[nodiscard]] pbcommon::Reply receiveReply();
    [[nodiscard]] std::string receive(std::size_t nBytes);
    /// @param sReason  why nothing more can come over this connection
    [[noreturn]] void lost(const std::string& sReason) const;

    int m_fd = -1;
    std::string m_sPath;
    bool m_bChanging = false;  ///< the request under way may change something
};

}  // namespace cfgctl

#endif
