#include "turns.h"

#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "clientlimits.h"

namespace PbUtility {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

/// So long requests are served before the event loop looks who else has one.
constexpr microseconds kRound{25};
/// So long one connection of a user is served before his next one.
constexpr microseconds kTurn{10};
/// What a turn takes beyond this is followed by a rest half as long.
constexpr microseconds kShortTurn{40};
/// A change of so many bytes, with its answer, makes the commit longer: its user rests for that,
/// too.
constexpr std::size_t kLongChange = std::size_t{16} << 10;
/// So long after the last turn of another user nobody rests any more.
constexpr milliseconds kAlone{5};
/// So long a commit waits for further changes, at most.
constexpr milliseconds kGathering{3};

}  // namespace

void Turns::setReady(bool bReady) {
    m_bReady = bReady;
    serveLater();
    for (const std::shared_ptr<User>& user : m_users) {
        for (const std::shared_ptr<Session>& session : user->ready) {
            session->guarded([&] { session->sendAnswers(); });
        }
    }
}

void Turns::await(const std::shared_ptr<Session>& session) {
    const std::shared_ptr<User>& user = session->user();
    user->ready.push_back(session);
    if (user->ready.size() == 1) {
        m_users.push_back(user);
    }
    // one client that asks and asks has nobody else looked for in between
    if (m_users.size() == 1 && session.get() == m_lastServed && !m_bScheduled) {
        serve();
    } else {
        serveLater();
    }
}

void Turns::serveLater() {
    if (!m_bScheduled && m_bReady && !m_users.empty()) {
        m_bScheduled = true;
        asio::post(m_io, [this] {
            m_bScheduled = false;
            serve();
        });
    }
}

void Turns::serve() {
    m_now = Clock::now();
    m_roundEnd = m_now + kRound;
    std::shared_ptr<User> user;
    while (m_bReady && (user = nextUser()) != nullptr) {
        serveOne(user);
        if (m_bUncommitted && isFull()) {
            commit();
        }
        if (!m_bUncommitted && m_now >= m_roundEnd) {
            serveLater();
            return;
        }
    }
}

/// Who has waited longest among those who do not rest. Where all do they are waited for.
std::shared_ptr<User> Turns::nextUser() {
    if (m_users.empty()) {
        return nullptr;
    }
    const bool bAlone = m_now - m_lastSwitch > kAlone;
    const auto found = std::ranges::find_if(
        m_users, [&](const auto& user) { return bAlone || user->restsUntil <= m_now; });
    if (found == m_users.end()) {
        awaitRested((*std::ranges::min_element(m_users, {}, &User::restsUntil))->restsUntil);
        return nullptr;
    }
    std::shared_ptr<User> user = std::move(*found);
    m_users.erase(found);
    return user;
}

void Turns::awaitRested(Clock::time_point until) {
    m_restTimer.expires_at(until);
    m_restTimer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) {
            serveLater();
        }
    });
}

void Turns::serveOne(const std::shared_ptr<User>& user) {
    const std::shared_ptr<Session> session = std::move(user->ready.front());
    user->ready.pop_front();
    const Clock::time_point began = m_now;
    m_turnEnd = user->ready.empty() ? m_roundEnd : m_now + kTurn;
    const Session::Next next = session->serve();
    m_now = Clock::now();
    noteTurn(*user, began);
    m_lastServed = session.get();
    if (next == Session::Next::kServed) {
        user->ready.push_back(session);
    } else if (next == Session::Next::kWaits) {
        m_waiting.push_back(session);
    }
    if (!user->ready.empty()) {
        m_users.push_back(user);
    }
}

/// After a long turn of one user the others get more than one request.
void Turns::noteTurn(User& user, Clock::time_point began) {
    if (user.uid != m_lastUid) {
        m_lastUid = user.uid;
        m_lastSwitch = m_now;
    }
    restAfter(user, m_now - began);
}

void Turns::restAfter(User& user, Clock::duration taken) const {
    if (taken > kShortTurn) {
        user.restsUntil = std::max(user.restsUntil, m_now) + (taken - kShortTurn) / 2;
    }
}

bool Turns::mayGoOn() const {
    const Clock::time_point now = Clock::now();
    return m_bReady && m_users.empty() && now < m_turnEnd &&
           !(m_bUncommitted && m_nHeld >= pbcommon::kMaxHeldAnswers);
}

/// The commit comes after the sessions that are ready already and, the second time round the event
/// loop, after those that became so during the last commit. Without them ten clients fall into step
/// as one and nine, with a commit each. A client on its own waits for nothing.
void Turns::awaitCommit() {
    if (!m_bUncommitted) {
        m_bUncommitted = true;
        m_gatheringEnd = Clock::now() + kGathering;
        asio::post(m_io, [this] {
            asio::post(m_io, [this] {
                serve();
                commit();
            });
        });
    }
}

void Turns::hold(const std::shared_ptr<Session>& session, std::size_t nBytes) {
    if (m_holding.empty() || m_holding.back() != session) {
        m_holding.push_back(session);
    }
    ++m_nHeld;
    m_nHeldBytes += nBytes;
    if (nBytes > m_nLongest) {
        m_nLongest = nBytes;
        m_longest = session->user();
    }
}

bool Turns::isFull() const {
    return m_nHeld >= pbcommon::kMaxHeldAnswers || m_nHeldBytes >= pbcommon::kMaxHeldBytes ||
           m_now >= m_gatheringEnd;
}

void Turns::commit() {
    if (!m_bUncommitted) {
        return;
    }
    const Clock::time_point began = Clock::now();
    Revisions revisions;
    pbcommon::Reply failure;
    const bool bFailed = m_gate.handler()->commit(revisions, failure) != kNoError;
    m_bUncommitted = false;
    m_nHeld = m_nHeldBytes = 0;
    for (const std::shared_ptr<Session>& session : m_holding) {
        session->guarded([&] { session->releaseAnswers(bFailed ? &failure : nullptr); });
    }
    if (!bFailed) {
        tellWatchers(revisions);
    }
    for (const std::shared_ptr<Session>& session : std::exchange(m_holding, {})) {
        session->guarded([&] { session->sendAnswers(); });
    }
    for (; !m_waiting.empty(); m_waiting.pop_back()) {
        putFirst(m_waiting.back());
    }
    m_now = Clock::now();
    if (std::exchange(m_nLongest, 0) > kLongChange) {
        restAfter(*m_longest, m_now - began);
    }
    serveLater();
}

void Turns::tellWatchers(const Revisions& revisions) {
    m_connections.forEachWatcher([&](Session& session) {
        session.guarded([&] { session.tell(*m_gate.handler(), revisions); });
    });
    m_gate.handler()->release();
}

/// Without this changes could keep the others waiting for ever.
void Turns::putFirst(const std::shared_ptr<Session>& session) {
    const std::shared_ptr<User>& user = session->user();
    std::erase(m_users, user);
    m_users.push_front(user);
    user->ready.push_front(session);
}

void Turns::clear() {
    for (const std::shared_ptr<User>& user : m_users) {
        user->ready.clear();
    }
    m_users.clear();
    m_waiting.clear();
    m_holding.clear();
}

}  // namespace PbUtility
