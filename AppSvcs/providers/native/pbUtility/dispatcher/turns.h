#ifndef PBUTILITY_DISPATCHER_TURNS_H
#define PBUTILITY_DISPATCHER_TURNS_H

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "connections.h"
#include "gate.h"
#include "messages.pb.h"
#include "session.h"
#include "user.h"

namespace PbUtility {

/// Whose request is served now, who waits, and the commit that changes share.
///
/// Turns go round the users, and each user's round his connections: whoever has waited longest is
/// served next, one request at a time while others wait, however much one user has sent. After a
/// turn that took long a user rests, as long as others are being served too.
///
///            uncommitted answer
///     all  ----------------------> changes only, their answers are held
///      ^                             |
///      +-----------------------------+
///        commit, answers, events; who had to wait comes first
///
/// The commit is for all the changes since the first uncommitted answer. It comes when nobody else
/// has one to add, or there are enough of them. Dispatcher's thread.
class Turns {
public:
    using Clock = std::chrono::steady_clock;

    /// @param io  borrowed, as the rest
    Turns(asio::io_context& io, Gate& gate, Connections& connections)
        : m_io(io), m_gate(gate), m_connections(connections), m_restTimer(io) {}

    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    /// While not ready nobody is served.
    void setReady(bool bReady);
    /// A session has a whole request: it is served in its turn.
    void await(const std::shared_ptr<Session>& session);
    /// Whether a session that is being served may have another request served at once.
    [[nodiscard]] bool mayGoOn() const;

    /// Whether a request may be served before the commit.
    [[nodiscard]] bool admits(bool bChange) const { return bChange || !m_bUncommitted; }
    /// Something is uncommitted from now on.
    void awaitCommit();
    [[nodiscard]] bool awaitsCommit() const { return m_bUncommitted; }
    /// The session holds an answer until the commit. @param nBytes  of request and answer
    void hold(const std::shared_ptr<Session>& session, std::size_t nBytes);
    /// Does nothing unless something is uncommitted.
    void commit();

    /// Nobody waits from now on.
    void clear();

private:
    void serveLater();
    void serve();
    void serveOne(const std::shared_ptr<User>& user);
    [[nodiscard]] std::shared_ptr<User> nextUser();
    void awaitRested(Clock::time_point until);
    void noteTurn(User& user, Clock::time_point began);
    void restAfter(User& user, Clock::duration taken) const;
    [[nodiscard]] bool isFull() const;
    void tellWatchers(const Revisions& revisions);
    void putFirst(const std::shared_ptr<Session>& session);

    asio::io_context& m_io;
    Gate& m_gate;
    Connections& m_connections;
    asio::steady_timer m_restTimer;
    std::deque<std::shared_ptr<User>> m_users;  ///< with something to be served, longest wait first
    const Session* m_lastServed = nullptr;      ///< for comparison only
    uid_t m_lastUid = 0;
    Clock::time_point m_lastSwitch;  ///< when the turn last went to another user
    Clock::time_point m_now;
    Clock::time_point m_turnEnd, m_roundEnd;

    std::vector<std::shared_ptr<Session>> m_waiting;  ///< for the commit, unserved
    std::vector<std::shared_ptr<Session>>
        m_holding;  ///< answers until the commit; some more than once
    std::size_t m_nHeld = 0, m_nHeldBytes = 0;
    std::size_t m_nLongest = 0;       ///< of the changes in this commit, in bytes
    std::shared_ptr<User> m_longest;  ///< who made it
    Clock::time_point m_gatheringEnd;
    bool m_bUncommitted = false;
    bool m_bScheduled = false;
    bool m_bReady = false;
};

}  // namespace PbUtility

#endif
