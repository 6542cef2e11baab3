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
#include "audit.h"
#include "clientlimits.h"
#include "connections.h"
#include "directorywatch.h"
#include "endpoint.h"
#include "gate.h"
#include "messages.pb.h"
#include "peer.h"
#include "session.h"
#include "turns.h"

namespace PbUtility {

class PbUtils;

/// What became of a message.
enum class Served {
    kAnswered,
    kNotYet,     ///< it has to wait for the commit
    kNoRequest,  ///< it cannot be read
};

/// The implementation of PbUtils: one thread that runs an event loop over the listening socket and
/// all connections. It accepts them, has their requests served in turn, and ends in order.
///
/// The public operations in the first group are called on the thread that constructed the object,
/// those in the second on the dispatcher's thread.
class PbUtilsImpl {
public:
    explicit PbUtilsImpl(std::string sEndpointName);
    ~PbUtilsImpl();

    PbUtilsImpl(const PbUtilsImpl&) = delete;
    PbUtilsImpl& operator=(const PbUtilsImpl&) = delete;

    /// Null when it could not be made.
    static PbUtilsImpl* of(PbUtils& pbUtils);

    // as in control.h
    void setRequestHandler(RequestHandler& handler) { m_gate.setHandler(handler); }
    void setFrameTime(Session::Clock::duration frameTime) { m_frameTime = frameTime; }
    [[nodiscard]] eErrorT start();
    /// Where this cannot be done, the dispatcher ends.
    void setReady(bool bReady);
    /// Ends it, after the last answers.
    void end();
    void join();

    /// Serves one message of a session.
    [[nodiscard]] Served serve(Session& session, std::string_view message);
    [[nodiscard]] Turns& turns() { return m_turns; }
    [[nodiscard]] Connections& connections() { return m_connections; }
    [[nodiscard]] pbcommon::Audit& audit() { return m_audit; }
    /// A session waits for the rest of a frame.
    void expectFrameEnd();
    void forget(const std::shared_ptr<Session>& session);

private:
    using Acceptor = asio::local::stream_protocol::acceptor;

    [[nodiscard]] eErrorT listen();
    void keepPlace();
    void run();
    template <typename Step>
    void inLoop(Step step) noexcept;
    void becomeReady();
    void accept();
    void acceptWaiting();
    void acceptLater(const asio::error_code& error);
    void welcome(Session::Socket socket);
    void turnAway(Session::Socket& socket);
    void answer(Session& session);
    void completeStatus(pbcommon::StatusReply& status) const;
    void reply(Session& session, std::size_t nRequestBytes);
    void dropUnfinished();
    void waitForFrames(Session::Clock::time_point until);
    void stop();
    void endWithLastSession();

    const std::string m_sEndpointName;
    asio::io_context m_io;
    pbcommon::Audit m_audit;
    Gate m_gate;
    const std::chrono::system_clock::time_point m_started = std::chrono::system_clock::now();
    Connections m_connections;
    Turns m_turns;
    Acceptor m_acceptor;
    asio::steady_timer m_timer;  ///< until accepting is tried again; then, until the end is forced
    asio::steady_timer m_frameTimer;  ///< runs only while some frame is unfinished
    Session::Clock::duration m_frameTime = pbcommon::kFrameTime;
    std::string m_sDirectory;  ///< of the endpoint
    Endpoint m_endpoint;
    DirectoryWatch m_watch;  ///< of the endpoint's directory
    PeerReader m_peerReader;
    bool m_bFrameTimerRuns = false;
    bool m_bAccepting = true;  ///< false while there are no descriptors for new connections
    bool m_bStopping = false;
    // one request at a time: their memory is used again for the next
    pbcommon::Request m_request;
    pbcommon::Reply m_reply;
    std::thread m_thread;
};

}  // namespace PbUtility

#endif
