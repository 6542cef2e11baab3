#include "connections.h"

#include <algorithm>

#include "clientlimits.h"
#include "logmsg.h"

namespace PbUtility {

namespace {

constexpr std::chrono::minutes kQuietTime{1};  ///< without refusals: the next one is news again

}  // namespace

bool Connections::admits(const Peer& peer) {
    if (hasRoomFor(peer)) {
        return true;
    }
    const Clock::time_point now = Clock::now();
    if (!m_lastRefusal || now - *m_lastRefusal > kQuietTime) {
        logwarn("pbUtility", "too many connections: refused one of uid %u, process %d\n", peer.uid,
                peer.pid);
    }
    m_lastRefusal = now;
    return false;
}

/// Whoever may do more keeps some for himself: only those of his own and of lower roles count.
bool Connections::hasRoomFor(const Peer& peer) const {
    const auto nOfLower =
        static_cast<std::size_t>(std::ranges::count_if(m_sessions, [&peer](const auto& session) {
            return session->peer().highestRole <= peer.highestRole;
        }));
    const auto user = m_users.find(peer.uid);
    const std::shared_ptr<User> known = user == m_users.end() ? nullptr : user->second.lock();
    const std::size_t nOfUser = known == nullptr ? 0 : known->nConnections;
    return nOfLower < pbcommon::limitsOf(peer.highestRole).nConnections &&
           nOfUser < pbcommon::limitsOf(peer.highestRole).nConnectionsPerUser;
}

std::shared_ptr<User> Connections::userOf(uid_t uid) {
    std::erase_if(m_users, [](const auto& entry) { return entry.second.expired(); });
    std::shared_ptr<User> user = m_users[uid].lock();
    if (user == nullptr) {
        user = std::make_shared<User>(User{.uid = uid});
        m_users[uid] = user;
    }
    return user;
}

void Connections::add(const std::shared_ptr<Session>& session) {
    m_sessions.insert(session);
    ++session->user()->nConnections;
}

void Connections::remove(const std::shared_ptr<Session>& session) {
    if (m_sessions.erase(session) > 0) {
        --session->user()->nConnections;
        session->user()->nWatches -= session->watchCount();
        std::erase(m_watching, session);
    }
}

void Connections::clear() {
    for (const std::shared_ptr<Session>& session : m_sessions) {
        session->hangUp();  // what waits in the event loop keeps the object alive
    }
    m_watching.clear();
    m_sessions.clear();
}

std::vector<std::shared_ptr<Session>> Connections::all() const {
    return {m_sessions.begin(), m_sessions.end()};
}

std::size_t Connections::watchCount() const {
    std::size_t nAll = 0;
    for (const std::shared_ptr<Session>& watching : m_watching) {
        nAll += watching->watchCount();
    }
    return nAll;
}

bool Connections::hasRoomForWatchOf(const Session& session) const {
    const AppConfig::SecurityRole role = session.peer().highestRole;
    std::size_t nOfLower = 0;
    for (const std::shared_ptr<Session>& watching : m_watching) {
        nOfLower += watching->peer().highestRole <= role ? watching->watchCount() : 0;
    }
    return nOfLower < pbcommon::limitsOf(role).nWatches &&
           session.user()->nWatches < pbcommon::limitsOf(role).nWatchesPerUser;
}

eErrorT Connections::addWatch(const std::shared_ptr<Session>& session) {
    if (!hasRoomForWatchOf(*session)) {
        return kOutOfResources;
    }
    if (session->watchCount() == 0) {
        m_watching.push_back(session);
    }
    ++session->user()->nWatches;
    return kNoError;
}

void Connections::forEachWatcher(const std::function<void(Session&)>& visit) {
    // backwards: one that ends moves only those after it, which have been visited
    for (std::size_t i = m_watching.size(); i-- > 0;) {
        const std::shared_ptr<Session> session = m_watching[i];
        visit(*session);
    }
}

std::optional<Connections::Clock::time_point> Connections::dropUnfinished(
    Clock::duration frameTime) const {
    const Clock::time_point now = Clock::now();
    std::optional<Clock::time_point> oldest;
    for (const std::shared_ptr<Session>& session : all()) {
        const std::optional<Clock::time_point> began = session->frameBegan();
        if (began && now - *began >= frameTime) {
            session->dropFor("it did not finish a frame");
        } else if (began && (!oldest || *began < *oldest)) {
            oldest = began;
        }
    }
    return oldest;
}

}  // namespace PbUtility
