#ifndef PBUTILITY_DISPATCHER_DISPATCHER_H
#define PBUTILITY_DISPATCHER_DISPATCHER_H

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ErrTypes.h"
#include "clientlimits.h"
#include "connections.h"
#include "directorywatch.h"
#include "endpoint.h"
#include "messages.pb.h"
#include "peer.h"
#include "requesthandler.h"
#include "session.h"

namespace PbUtility {

class PbUtils;

/// What became of a message.
enum class Served {
    kAnswered,
    kNotYet,     ///< its turn comes later: the session is to serve it again when it is resumed
    kNoRequest,  ///< it cannot be read
};

/// What stands behind PbUtils: one thread that runs an event loop over the listening socket and all
/// connections. Answers ping and shutdown, grants the role, hands every other request to the
/// request handler, one at a time.
///
/// Changes that are ready at the same time share one commit. From the first uncommitted answer on
/// changes only are served, and all their answers are held; then comes the commit, which is one for
/// all of them; then the answers, and whatever else came in meanwhile.
///
/// The public operations in the first group are called on the thread that constructed the object,
/// those in the second on the dispatcher's thread.
class PbUtilsImpl : private Publisher {
public:
    explicit PbUtilsImpl(std::string sEndpointName);
    ~PbUtilsImpl() override;

    PbUtilsImpl(const PbUtilsImpl&) = delete;
    PbUtilsImpl& operator=(const PbUtilsImpl&) = delete;

    /// Null when it could not be made.
    static PbUtilsImpl* of(PbUtils& pbUtils);

    /// @param handler  borrowed; outlives the dispatching. Set before setReady(true).
    void setRequestHandler(RequestHandler& handler) { m_handler = &handler; }
    /// How long a client may take over one frame. Before start().
    void setFrameTime(Session::Clock::duration frameTime) { m_frameTime = frameTime; }
    [[nodiscard]] eErrorT start();
    /// Where this cannot be done, the dispatcher ends.
    void setReady(bool bReady);
    /// Ends it, after the last answers.
    void end();
    void join();

    /// Serves one message of a session.
    [[nodiscard]] Served serve(Session& session, std::string_view message);
    /// It has something that waits: resumed when requests are served, or served again.
    void resumeLater(std::shared_ptr<Session> session) { m_waiting.push_back(std::move(session)); }
    /// A session waits for the rest of a frame.
    void expectFrameEnd();
    [[nodiscard]] eErrorT addWatcher(const std::shared_ptr<Session>& session) {
        return m_connections.addWatcher(session);
    }
    void forget(const std::shared_ptr<Session>& session);

private:
    using Acceptor = asio::local::stream_protocol::acceptor;

    /// Whose turn it is.
    enum class Turn {
        kAll,
        kChanges,  ///< something is uncommitted
        kOthers,  ///< right after a commit, so that changes cannot keep the others waiting for ever
    };

    [[nodiscard]] eErrorT listen();
    void keepPlace();
    void run();
    template <typename Step>
    void inLoop(Step step) noexcept;
    void becomeReady();
    void accept();
    void acceptLater(const asio::error_code& error);
    void welcome(Session::Socket socket);
    void turnAway(Session::Socket& socket);
    [[nodiscard]] bool hasTurn(bool bChange) const;
    void answer(Session& session);
    void handle(Session& session);
    void commitSoon();
    /// Does nothing unless something is uncommitted.
    void commit();
    void resumeWaiting();
    void dropUnfinished();
    void waitForFrames(Session::Clock::time_point until);
    void publish(const std::function<bool(const Watcher&, pbcommon::Reply&)>& news) override;
    void answerPing();
    void stop();
    void endWithLastSession();

    const std::string m_sEndpointName;
    asio::io_context m_io;
    Acceptor m_acceptor;
    asio::steady_timer m_timer;  ///< until accepting is tried again; then, until the end is forced
    asio::steady_timer m_frameTimer;  ///< runs only while some frame is unfinished
    Session::Clock::duration m_frameTime = pbcommon::kFrameTime;
    std::string m_sDirectory;  ///< of the endpoint
    Endpoint m_endpoint;
    DirectoryWatch m_watch;  ///< of the endpoint's directory
    PeerReader m_peerReader;
    RequestHandler* m_handler = nullptr;
    Connections m_connections;
    std::vector<std::shared_ptr<Session>> m_waiting;   ///< to be resumed
    std::vector<std::shared_ptr<Session>> m_resuming;  ///< being resumed
    Turn m_turn = Turn::kAll;
    bool m_bReady = false;
    bool m_bFrameTimerRuns = false;
    bool m_bAccepting = true;  ///< false while there are no descriptors for new connections
    bool m_bStopping = false;
    // one request at a time: their memory is used again for the next
    pbcommon::Request m_request;
    pbcommon::Reply m_reply;
    pbcommon::Reply m_news;
    std::string m_sNewsFrame;
    pbcommon::Requester m_requester;
    std::thread m_thread;
};

}  // namespace PbUtility

#endif
