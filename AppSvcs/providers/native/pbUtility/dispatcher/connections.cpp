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

bool Connections::hasRoomFor(const Peer& peer) const {
    if (peer.highestRole == AppConfig::kSystem) {
        return m_sessions.size() < pbcommon::kMaxConnections;
    }
    std::size_t nOfUsers = 0;
    std::size_t nOfThisUser = 0;
    for (const std::shared_ptr<Session>& session : m_sessions) {
        nOfUsers += session->peer().highestRole == AppConfig::kSystem ? 0 : 1;
        nOfThisUser += session->peer().uid == peer.uid ? 1 : 0;
    }
    return m_sessions.size() < pbcommon::kMaxConnections &&
           nOfUsers < pbcommon::kMaxConnectionsOfUsers &&
           nOfThisUser < pbcommon::kMaxConnectionsPerUser;
}

void Connections::remove(const std::shared_ptr<Session>& session) {
    if (m_sessions.erase(session) > 0) {
        m_nWatches -= session->watchCount();
        std::erase(m_watching, session);
    }
}

void Connections::clear() {
    for (const std::shared_ptr<Session>& session : m_sessions) {
        session->hangUp();  // what waits in the event loop keeps the object alive
    }
    m_watching.clear();
    m_nWatches = 0;
    m_sessions.clear();
}

std::vector<std::shared_ptr<Session>> Connections::all() const {
    return {m_sessions.begin(), m_sessions.end()};
}

eErrorT Connections::addWatch(const std::shared_ptr<Session>& session) {
    if (m_nWatches >= pbcommon::kMaxWatches) {
        return kOutOfResources;
    }
    if (session->watchCount() == 0) {
        m_watching.push_back(session);
    }
    ++m_nWatches;
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
