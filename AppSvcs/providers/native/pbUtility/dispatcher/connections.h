#ifndef PBUTILITY_DISPATCHER_CONNECTIONS_H
#define PBUTILITY_DISPATCHER_CONNECTIONS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

#include "peer.h"
#include "session.h"
#include "user.h"

namespace PbUtility {

/// The sessions that there are, held to the limits of their number. Dispatcher's thread.
class Connections {
public:
    using Clock = std::chrono::steady_clock;

    /// Whether there is room for one more of this peer. The first refusal is logged, and the next
    /// one after a minute without any: a flood does not reach the log.
    [[nodiscard]] bool admits(const Peer& peer);
    /// What the connections of a user share.
    [[nodiscard]] std::shared_ptr<User> userOf(uid_t uid);
    void add(const std::shared_ptr<Session>& session);
    void remove(const std::shared_ptr<Session>& session);
    /// Closes them all.
    void clear();
    [[nodiscard]] bool empty() const { return m_sessions.empty(); }
    [[nodiscard]] std::size_t count() const { return m_sessions.size(); }
    [[nodiscard]] std::size_t watchCount() const;

    /// A copy: a session that ends while one walks over them leaves.
    [[nodiscard]] std::vector<std::shared_ptr<Session>> all() const;

    /// The session has one watch more from now on.
    /// @return kNoError; kOutOfResources (there are too many watches, of all or of its user)
    [[nodiscard]] eErrorT addWatch(const std::shared_ptr<Session>& session);
    /// @param visit  may end the session that it gets, no other
    void forEachWatcher(const std::function<void(Session&)>& visit);

    /// Drops every session whose frame began that long ago and is not whole yet.
    /// @return when the oldest of the other unfinished frames began, if there is one
    [[nodiscard]] std::optional<Clock::time_point> dropUnfinished(Clock::duration frameTime) const;

private:
    [[nodiscard]] bool hasRoomFor(const Peer& peer) const;
    [[nodiscard]] bool hasRoomForWatchOf(const Session& session) const;

    std::map<uid_t, std::weak_ptr<User>> m_users;
    std::unordered_set<std::shared_ptr<Session>> m_sessions;
    std::vector<std::shared_ptr<Session>> m_watching;  ///< with one watch or more
    std::optional<Clock::time_point> m_lastRefusal;
};

}  // namespace PbUtility

#endif
