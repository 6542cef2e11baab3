#ifndef PBUTILITY_DISPATCHER_TURNS_H
#define PBUTILITY_DISPATCHER_TURNS_H

#include <asio/io_context.hpp>
#include <memory>
#include <vector>

#include "connections.h"
#include "gate.h"
#include "messages.pb.h"
#include "session.h"

namespace PbUtility {

/// Whose request is served now, who waits, and the commit that changes share.
///
///         uncommitted answer            commit          the others are served
///    kAll ------------------> kChanges ---------> kOthers ------------------> kAll
///
/// From the first uncommitted answer on changes only are served, and all their answers are held;
/// then comes the commit, which is one for all of them; then their answers go out, the watchers'
/// events after them, and whatever else came in meanwhile is served before further changes are, so
/// that changes cannot keep the others waiting for ever. Dispatcher's thread.
class Turns {
public:
    /// @param io  borrowed, as the rest
    Turns(asio::io_context& io, Gate& gate, Connections& connections)
        : m_io(io), m_gate(gate), m_connections(connections) {}

    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    /// Whether a request may be served now.
    [[nodiscard]] bool admits(bool bChange) const;
    /// While not ready nobody is served; who waits is served once it is.
    void setReady(bool bReady);
    void resumeWaiting();

    /// Something is uncommitted from now on.
    void awaitCommit();
    [[nodiscard]] bool awaitsCommit() const { return m_turn == Turn::kChanges; }
    /// Does nothing unless something is uncommitted.
    void commit();

    /// Queues a session with an unserved frame, or held answers; it is resumed when requests may be
    /// served.
    void resumeLater(std::shared_ptr<Session> session) { m_waiting.push_back(std::move(session)); }
    /// Nobody waits from now on.
    void clear() { m_waiting.clear(); }

private:
    enum class Turn { kAll, kChanges, kOthers };

    void resumeAll();
    void tellWatchers(const Revisions& revisions);

    asio::io_context& m_io;
    Gate& m_gate;
    Connections& m_connections;
    std::vector<std::shared_ptr<Session>> m_waiting;   ///< to be resumed
    std::vector<std::shared_ptr<Session>> m_resuming;  ///< being resumed
    Turn m_turn = Turn::kAll;
    bool m_bReady = false;
};

}  // namespace PbUtility

#endif
