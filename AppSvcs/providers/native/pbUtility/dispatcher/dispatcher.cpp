#include "dispatcher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <utility>

#include "directories.h"
#include "exceptions.h"
#include "frame.h"
#include "logmsg.h"
#include "names.h"
#include "overfull.h"
#include "pbUtils.h"
#include "readiness.h"
#include "tags.h"

namespace PbUtility {

namespace {

constexpr std::chrono::milliseconds kAcceptRetry{100};
constexpr int kAcceptedAtOnce = 64;              ///< before others are served again
constexpr std::chrono::seconds kLastAnswers{1};  ///< for clients that are slow to read them
constexpr mode_t kSocketMode = 0666;             ///< every local user: roles decide

/// Signals are for the main thread.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

}  // namespace

PbUtilsImpl::PbUtilsImpl(std::string sEndpointName)
    : m_sEndpointName(std::move(sEndpointName)),
      m_io(1),
      m_gate(m_sEndpointName, m_audit),
      m_turns(m_io, m_gate, m_connections),
      m_acceptor(m_io),
      m_timer(m_io),
      m_frameTimer(m_io),
      m_watch(m_io, [this] { keepPlace(); }) {}

PbUtilsImpl::~PbUtilsImpl() {
    end();
    join();
}

PbUtilsImpl* PbUtilsImpl::of(PbUtils& pbUtils) { return pbUtils.m_impl; }

eErrorT PbUtilsImpl::start() {
    eErrorT result = kNoError;
    try {
        m_sDirectory = pbcommon::runtimeDirectory();
        result = listen();
        if (result == kNoError) {
            const AllSignalsBlocked inherited;
            m_thread = std::thread([this] { run(); });
        }
    } catch (...) {  // a full process table, most likely
        result = pbcommon::logException("pbUtility", "start the dispatcher", kSystemCallFailed);
    }
    if (result != kNoError) {
        m_endpoint.release();
    }
    return result;
}

/// Claims the endpoint and listens there. A failure has been logged; what was claimed is for
/// release().
eErrorT PbUtilsImpl::listen() {
    const eErrorT claimed = m_endpoint.claim(m_sDirectory, m_sEndpointName);
    if (claimed != kNoError) {
        return claimed;
    }
    if (m_watch.start(m_sDirectory) != kNoError) {
        logwarn("pbUtility", "cannot watch %s: %s; a removed socket will not be replaced\n",
                m_sDirectory.c_str(), strerror(errno));
    }
    const std::string& sPath = m_endpoint.path();
    asio::error_code error;
    m_acceptor.open(asio::local::stream_protocol(), error);
    if (!error) {
        m_acceptor.bind(sPath, error);
    }
    if (!error) {
        m_endpoint.noteSocket();
    }
    if (!error && chmod(sPath.c_str(), kSocketMode) != 0) {
        error.assign(errno, asio::system_category());
    }
    if (!error) {
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (!error) {
        m_acceptor.non_blocking(true, error);
    }
    if (error) {
        logcrit("pbUtility", "cannot listen on %s: %s\n", sPath.c_str(), error.message().c_str());
        return kSystemCallFailed;
    }
    loginfo("pbUtility", "listening on %s\n", sPath.c_str());
    return kNoError;
}

/// Where the socket, its lock or their directory has been removed, nobody could reach the service:
/// it listens anew. Existing connections go on. Tried once: where it fails, they
/// are all that is served.
void PbUtilsImpl::keepPlace() {
    if (m_endpoint.isInPlace()) {
        return;
    }
    logwarn("pbUtility", "%s or its lock was removed; listening anew\n", m_endpoint.path().c_str());
    asio::error_code ignored;
    m_acceptor.close(ignored);
    m_timer.cancel();
    m_endpoint.release();
    const eErrorT result = listen();
    if (result == kNoError) {
        accept();
        return;
    }
    m_watch.stop();
    m_endpoint.release();
    if (result == kAlreadyInUse) {
        stop();  // that process serves here
    }
}

/// What leaves the event loop ends it: what it was about to do is lost, and with that the order in
/// which requests are served.
void PbUtilsImpl::run() {
    try {
        accept();
        m_io.run();
    } catch (...) {
        (void)pbcommon::logException("pbUtility", "go on serving", kServerError);
    }
    m_turns.clear();
    m_connections.clear();
    m_endpoint.release();
    loginfo("pbUtility", "dispatcher ended\n");
}

/// Has the dispatcher's thread take a step. Where that cannot be arranged, the dispatcher ends.
template <typename Step>
void PbUtilsImpl::inLoop(Step step) noexcept {
    try {
        asio::post(m_io, step);
    } catch (...) {
        (void)pbcommon::logException("pbUtility", "reach the dispatcher", kServerError);
        m_io.stop();
    }
}

void PbUtilsImpl::setReady(bool bReady) {
    inLoop([this, bReady] {
        if (m_bStopping) {
            return;
        }
        m_turns.setReady(false);
        if (bReady) {
            becomeReady();
        }
    });
}

/// The store has opened its files by then, so that what descriptors are left are for connections.
/// Without one there is nobody to serve.
void PbUtilsImpl::becomeReady() {
    if (m_gate.handler() != nullptr) {
        m_gate.handler()->dispatchingBegins();
    }
    const int spare = dup(m_acceptor.native_handle());
    if (spare < 0) {
        logcrit("pbUtility", "cannot accept connections: %s\n", strerror(errno));
        stop();
        return;
    }
    close(spare);
    m_turns.setReady(true);
    tellReady();
}

void PbUtilsImpl::end() {
    inLoop([this] { stop(); });
}

void PbUtilsImpl::join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void PbUtilsImpl::accept() {
    m_acceptor.async_accept([this](const asio::error_code& error, Session::Socket socket) {
        if (m_bStopping || error == asio::error::operation_aborted) {
            return;
        }
        if (error) {
            acceptLater(error);
            return;
        }
        m_bAccepting = true;
        try {
            welcome(std::move(socket));
            acceptWaiting();
        } catch (...) {
            (void)pbcommon::logException("pbUtility", "serve a new connection", kServerError);
        }
        accept();
    });
}

/// Who connects while others' long requests are served does not wait for one of them for everybody
/// who has connected before him.
void PbUtilsImpl::acceptWaiting() {
    asio::error_code error;
    for (int n = 1; n < kAcceptedAtOnce && !error; ++n) {
        Session::Socket socket = m_acceptor.accept(error);
        if (!error) {
            welcome(std::move(socket));
        }
    }
}

/// Out of descriptors, most likely: they come back when connections end.
void PbUtilsImpl::acceptLater(const asio::error_code& error) {
    if (m_bAccepting) {
        logerr("pbUtility", "no new connections for now: %s\n", error.message().c_str());
        m_bAccepting = false;
    }
    m_timer.expires_after(kAcceptRetry);
    m_timer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) {
            accept();
        }
    });
}

void PbUtilsImpl::welcome(Session::Socket socket) {
    Peer peer;
    if (m_peerReader.read(socket.native_handle(), peer) != kNoError) {
        logerr("pbUtility", "connection closed: cannot read the peer's credentials\n");
        return;
    }
    if (!m_connections.admits(peer)) {
        turnAway(socket);
        return;
    }
    const auto session =
        std::make_shared<Session>(*this, std::move(socket), peer, m_connections.userOf(peer.uid));
    m_connections.add(session);
    session->guarded([&] { session->start(); });
}

/// Tells the client why, if the socket takes it at once.
void PbUtilsImpl::turnAway(Session::Socket& socket) {
    m_reply.Clear();
    refuse(m_reply, pbcommon::ERR_TOO_MANY_CONNECTIONS);
    std::string sFrame;
    asio::error_code error;
    socket.non_blocking(true, error);
    if (!error && pbcommon::appendFrame(m_reply, sFrame) == kNoError) {
        (void)socket.write_some(asio::buffer(sFrame), error);
    }
}

Served PbUtilsImpl::serve(Session& session, std::string_view message) {
    Served served = Served::kAnswered;
    if (const auto id = idOfOverfull(message)) {
        m_reply.Clear();
        m_reply.set_id(*id);
        refuse(m_reply, pbcommon::ERR_TOO_MANY_ASSIGNMENTS);
        reply(session, message.size());
    } else if (!m_request.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
        served = m_turns.admits(false) ? Served::kNoRequest : Served::kNotYet;
    } else if (!m_turns.admits(m_gate.isChange(m_request))) {
        served = Served::kNotYet;
    } else {
        answer(session);
        reply(session, message.size());
    }
    if (message.size() > kKeptBytes) {
        m_request = {};
    }
    if (static_cast<std::size_t>(m_reply.GetCachedSize()) > kKeptBytes) {
        m_reply = {};
    }
    return served;
}

/// Fills m_reply.
void PbUtilsImpl::answer(Session& session) {
    m_reply.Clear();
    m_reply.set_id(m_request.id());
    bool bShutdown = false;
    try {
        Answer answer = m_gate.answer(session.peer(), m_request, m_reply, bShutdown);
        if (answer.watcher && session.watch(m_request.id(), *answer.watcher) != kNoError) {
            m_reply.clear_body();
            refuse(m_reply, pbcommon::ERR_TOO_MANY_WATCHERS);
        }
        if (answer.bUncommitted) {
            m_turns.awaitCommit();
        }
        if (m_reply.has_status()) {
            completeStatus(*m_reply.mutable_status());
        }
    } catch (...) {
        m_reply.Clear();
        m_reply.set_id(m_request.id());
        m_reply.set_code(pbcommon::toMessage(
            pbcommon::logException("pbUtility", "serve a request", kServerError)));
    }
    if (bShutdown) {
        stop();
    }
}

void PbUtilsImpl::completeStatus(pbcommon::StatusReply& status) const {
    m_gate.fillService(*status.mutable_service());
    status.set_since_us(
        std::chrono::duration_cast<std::chrono::microseconds>(m_started.time_since_epoch())
            .count());
    status.set_connections(static_cast<std::uint32_t>(m_connections.count()));
    status.set_watches(static_cast<std::uint32_t>(m_connections.watchCount()));
}

void PbUtilsImpl::reply(Session& session, std::size_t nRequestBytes) {
    const bool bHeld = m_turns.awaitsCommit();
    session.answer(m_reply, bHeld);
    if (bHeld) {
        m_turns.hold(session.shared_from_this(),
                     nRequestBytes + static_cast<std::size_t>(m_reply.GetCachedSize()));
    }
}

/// No new connections nor requests, the last answers go out, then the event loop has nothing left
/// to wait for.
void PbUtilsImpl::stop() {
    m_bStopping = true;
    m_turns.setReady(false);
    asio::error_code ignored;
    m_acceptor.close(ignored);
    m_watch.stop();
    m_frameTimer.cancel();
    m_timer.expires_after(kLastAnswers);
    m_timer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) {
            m_io.stop();
        }
    });
    m_turns.commit();
    for (const std::shared_ptr<Session>& session : m_connections.all()) {
        session->finish();
    }
    endWithLastSession();
}

void PbUtilsImpl::forget(const std::shared_ptr<Session>& session) {
    m_connections.remove(session);
    endWithLastSession();
}

void PbUtilsImpl::endWithLastSession() {
    if (m_bStopping && m_connections.empty()) {
        m_timer.cancel();
    }
}

void PbUtilsImpl::expectFrameEnd() {
    if (!m_bFrameTimerRuns && !m_bStopping) {
        waitForFrames(Session::Clock::now() + m_frameTime);
    }
}

void PbUtilsImpl::waitForFrames(Session::Clock::time_point until) {
    m_bFrameTimerRuns = true;
    m_frameTimer.expires_at(until);
    m_frameTimer.async_wait([this](const asio::error_code& cancelled) {
        m_bFrameTimerRuns = false;
        if (!cancelled) {
            dropUnfinished();
        }
    });
}

void PbUtilsImpl::dropUnfinished() {
    const auto oldest = m_connections.dropUnfinished(m_frameTime);
    if (oldest) {
        waitForFrames(*oldest + m_frameTime);
    }
}

}  // namespace PbUtility
