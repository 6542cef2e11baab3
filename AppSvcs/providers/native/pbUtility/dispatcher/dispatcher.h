#ifndef PBUTILITY_DISPATCHER_DISPATCHER_H
#define PBUTILITY_DISPATCHER_DISPATCHER_H

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "ErrTypes.h"
#include "endpoint.h"
#include "messages.pb.h"
#include "peer.h"
#include "requesthandler.h"
#include "session.h"

namespace PbUtility {

class PbUtils;

/// What stands behind PbUtils: one thread that runs an event loop over the listening socket and all
/// connections. Answers ping and shutdown, grants the role, hands every other request to the
/// request handler, one at a time.
///
/// The public operations in the first group are called on the thread that constructed the object,
/// those in the second on the dispatcher's thread.
class PbUtilsImpl : private Publisher {
public:
    explicit PbUtilsImpl(std::string sEndpointName);
    ~PbUtilsImpl() override;

    PbUtilsImpl(const PbUtilsImpl&) = delete;
    PbUtilsImpl& operator=(const PbUtilsImpl&) = delete;

    static PbUtilsImpl& of(PbUtils& pbUtils);

    /// @param handler  borrowed; outlives the dispatching. Set before setReady(true).
    void setRequestHandler(RequestHandler& handler) { m_handler = &handler; }
    [[nodiscard]] eErrorT start();
    void setReady(bool bReady);
    void join();

    [[nodiscard]] bool isReady() const { return m_bReady; }
    /// Serves one message of a session and appends the answer's frame to `answers`; false when the
    /// message is no request.
    [[nodiscard]] bool serve(Session& session, std::string_view message, std::string& answers);
    void forget(const std::shared_ptr<Session>& session);

private:
    using Acceptor = asio::local::stream_protocol::acceptor;

    [[nodiscard]] eErrorT listen();
    void run();
    void accept();
    void acceptLater(const asio::error_code& error);
    void welcome(Session::Socket socket);
    void answer(Session& session);
    void publish(const std::function<bool(const Watcher&, pbcommon::Reply&)>& news) override;
    void answerPing();
    void stop();
    void endWithLastSession();
    [[nodiscard]] std::vector<std::shared_ptr<Session>> currentSessions() const;

    const std::string m_sEndpointName;
    asio::io_context m_io;
    Acceptor m_acceptor;
    asio::steady_timer m_timer;  ///< until accepting is tried again; then, until the end is forced
    Endpoint m_endpoint;
    PeerReader m_peerReader;
    RequestHandler* m_handler = nullptr;
    std::unordered_set<std::shared_ptr<Session>> m_sessions;
    bool m_bReady = false;
    bool m_bAccepting = true;  ///< false while there are no descriptors for new connections
    bool m_bStopping = false;
    // one request at a time: their memory is used again for the next
    pbcommon::Request m_request;
    pbcommon::Reply m_reply;
    Requester m_requester;
    std::thread m_thread;
};

}  // namespace PbUtility

#endif
