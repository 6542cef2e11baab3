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

#include "debugname.h"
#include "directories.h"
#include "exceptions.h"
#include "frame.h"
#include "logmsg.h"
#include "names.h"
#include "pbUtils.h"
#include "readiness.h"
#include "tags.h"

namespace PbUtility {

namespace {

constexpr std::chrono::milliseconds kAcceptRetry{100};
constexpr std::chrono::seconds kLastAnswers{1};  ///< for clients that are slow to read them
constexpr mode_t kSocketMode = 0666;             ///< every local user: roles decide
constexpr std::size_t kMaxClientNameBytes = 32;

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
        result = logException("pbUtility", "start the dispatcher", kSystemCallFailed);
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
    if (error) {
        logcrit("pbUtility", "cannot listen on %s: %s\n", sPath.c_str(), error.message().c_str());
        return kSystemCallFailed;
    }
    loginfo("pbUtility", "listening on %s\n", sPath.c_str());
    return kNoError;
}

/// Where the socket, its lock or their directory has been removed, nobody could reach the service
/// any more: it listens anew. Connections that there are go on. Tried once: where it fails, they
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
        (void)logException("pbUtility", "go on serving", kServerError);
    }
    m_waiting.clear();
    m_connections.clear();
    m_endpoint.release();
    loginfo("pbUtility", "dispatcher ended\n");
}

/// Lets the dispatcher's thread take a step. Where it cannot be told to, the dispatcher ends.
template <typename Step>
void PbUtilsImpl::inLoop(Step step) noexcept {
    try {
        asio::post(m_io, step);
    } catch (...) {
        (void)logException("pbUtility", "reach the dispatcher", kServerError);
        m_io.stop();
    }
}

void PbUtilsImpl::setReady(bool bReady) {
    inLoop([this, bReady] {
        if (m_bStopping) {
            return;
        }
        m_bReady = false;
        if (bReady) {
            becomeReady();
        }
        if (m_turn == Turn::kAll) {
            resumeWaiting();  // else the commit does
        }
    });
}

/// The store has opened its files by then, so that what descriptors are left are for connections.
/// Without one there is nobody to serve.
void PbUtilsImpl::becomeReady() {
    if (m_handler != nullptr) {
        m_handler->dispatchingBegins();
    }
    const int spare = dup(m_acceptor.native_handle());
    if (spare < 0) {
        logcrit("pbUtility", "cannot accept connections: %s\n", strerror(errno));
        stop();
        return;
    }
    close(spare);
    m_bReady = true;
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
        } catch (...) {
            (void)logException("pbUtility", "serve a new connection", kServerError);
        }
        accept();
    });
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
    const auto session = std::make_shared<Session>(*this, std::move(socket), peer);
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
    const bool bRequest =
        m_request.ParseFromArray(message.data(), static_cast<int>(message.size()));
    Served served = bRequest ? Served::kAnswered : Served::kNoRequest;
    if (!hasTurn(bRequest && m_request.has_set())) {
        served = Served::kNotYet;
    } else if (bRequest) {
        m_reply.Clear();
        try {
            answer(session);
        } catch (...) {
            const eErrorT code = logException("pbUtility", "serve a request", kServerError);
            m_reply.Clear();
            m_reply.set_code(static_cast<pbcommon::ErrorCode>(code));
        }
        session.answer(m_reply, m_turn == Turn::kChanges);
    }
    if (message.size() > kKeptBytes) {
        m_request = {};
    }
    if (static_cast<std::size_t>(m_reply.GetCachedSize()) > kKeptBytes) {
        m_reply = {};
    }
    return served;
}

bool PbUtilsImpl::hasTurn(bool bChange) const {
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

void PbUtilsImpl::answer(Session& session) {
    const Peer& peer = session.peer();
    m_requester = {.role = std::min(peer.highestRole, AppConfig::kAdmin),
                   .uid = peer.uid,
                   .pid = peer.pid,
                   .sClient = pbcommon::cleaned(m_request.client(), kMaxClientNameBytes)};
    if (m_request.has_role()) {
        const auto role = static_cast<AppConfig::SecurityRole>(m_request.role());
        if (!pbcommon::Role_IsValid(m_request.role()) || role > peer.highestRole) {
            logwarn("pbUtility", "refused role %s to %s\n", pbcommon::roleName(role).c_str(),
                    describe(m_requester).c_str());
            refuse(m_reply, pbcommon::ERR_ROLE_NOT_ALLOWED);
            return;
        }
        m_requester.role = role;
    }
    switch (m_request.body_case()) {
        case pbcommon::Request::kPing:
            answerPing();
            break;
        case pbcommon::Request::kShutdown:
            if (m_requester.role < AppConfig::kSystem) {
                logwarn("pbUtility", "refused shutdown to %s\n", describe(m_requester).c_str());
                refuse(m_reply, pbcommon::ERR_ROLE_NOT_ALLOWED);
                break;
            }
            loginfo("pbUtility", "shutdown by %s\n", describe(m_requester).c_str());
            stop();
            break;
        case pbcommon::Request::BODY_NOT_SET:
            refuse(m_reply, pbcommon::ERR_UNKNOWN_REQUEST);
            break;
        default:
            handle(session);
    }
}

void PbUtilsImpl::handle(Session& session) {
    if (m_handler == nullptr) {
        refuse(m_reply, pbcommon::ERR_NO_STORE);
    } else if (m_handler->handle(m_requester, m_request, m_reply, session) ==
               Answer::kUncommitted) {
        if (m_turn != Turn::kChanges) {
            m_turn = Turn::kChanges;
            commitSoon();
        }
    }
}

/// Behind the sessions that are ready already and, the second time round the event loop, behind
/// those that became so during the last commit. Without them ten clients fall into step as one and
/// nine, with a commit each. A client on its own waits for nothing.
void PbUtilsImpl::commitSoon() {
    asio::post(m_io, [this] { asio::post(m_io, [this] { commit(); }); });
}

void PbUtilsImpl::commit() {
    if (m_turn != Turn::kChanges) {
        return;
    }
    m_reply.Clear();
    std::string sFailure;
    if (m_handler->commit(*this, m_reply) != kNoError) {
        (void)pbcommon::appendFrame(m_reply, sFailure);
    }
    for (const std::shared_ptr<Session>& session : m_waiting) {
        session->guarded([&] { session->releaseAnswers(sFailure); });
    }
    m_turn = Turn::kOthers;
    resumeWaiting();
    m_turn = Turn::kAll;
    resumeWaiting();
}

void PbUtilsImpl::resumeWaiting() {
    std::swap(m_waiting, m_resuming);
    for (const std::shared_ptr<Session>& session : m_resuming) {
        session->resume();
    }
    m_resuming.clear();
}

void PbUtilsImpl::publish(const std::function<bool(const Watcher&, pbcommon::Reply&)>& news) {
    m_connections.forEachWatcher([this, &news](Session& session) {
        session.guarded([&] {
            m_news.Clear();
            m_sNewsFrame.clear();
            if (news(*session.watcher(), m_news)) {
                // what does not fit into a frame is missed, as what the client does not read
                (void)pbcommon::appendFrame(m_news, m_sNewsFrame);
                session.tell(m_sNewsFrame);
            }
        });
    });
}

void PbUtilsImpl::answerPing() {
    pbcommon::Service& service = *m_reply.mutable_service();
    service.set_name(msgDebugName().empty() ? m_sEndpointName : msgDebugName());
    service.set_version(APPCONFIG_VERSION);
    service.set_pid(getpid());
}

/// No new connections nor requests, the last answers go out, then the event loop has nothing left
/// to wait for.
void PbUtilsImpl::stop() {
    m_bStopping = true;
    m_bReady = false;
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
    commit();
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
