#include "turns.h"

#include <asio/post.hpp>
#include <utility>

namespace PbUtility {

bool Turns::admits(bool bChange) const {
    switch (m_turn) {
        case Turn::kChanges:
            return m_bReady && bChange;
        case Turn::kOthers:
            return m_bReady && !bChange;
        case Turn::kAll:
            break;
    }
    return m_bReady;
}

void Turns::setReady(bool bReady) { m_bReady = bReady; }

void Turns::resumeWaiting() {
    if (m_turn == Turn::kAll) {  // else the commit does
        resumeAll();
    }
}

/// The commit comes after the sessions that are ready already and, the second time round the event
/// loop, after those that became so during the last commit. Without them ten clients fall into step
/// as one and nine, with a commit each. A client on its own waits for nothing.
void Turns::awaitCommit() {
    if (m_turn != Turn::kChanges) {
        m_turn = Turn::kChanges;
        asio::post(m_io, [this] { asio::post(m_io, [this] { commit(); }); });
    }
}

void Turns::commit() {
    if (m_turn != Turn::kChanges) {
        return;
    }
    Revisions revisions;
    pbcommon::Reply failure;
    const bool bFailed = m_gate.handler()->commit(revisions, failure) != kNoError;
    for (const std::shared_ptr<Session>& session : m_waiting) {
        session->guarded([&] { session->releaseAnswers(bFailed ? &failure : nullptr); });
    }
    if (!bFailed) {
        tellWatchers(revisions);
    }
    m_turn = Turn::kOthers;
    resumeAll();
    m_turn = Turn::kAll;
    resumeAll();
}

void Turns::tellWatchers(const Revisions& revisions) {
    m_connections.forEachWatcher([&](Session& session) {
        session.guarded([&] { session.tell(*m_gate.handler(), revisions); });
    });
    m_gate.handler()->release();
}

void Turns::resumeAll() {
    std::swap(m_waiting, m_resuming);
    for (const std::shared_ptr<Session>& session : m_resuming) {
        session->resume();
    }
    m_resuming.clear();
}

}  // namespace PbUtility
