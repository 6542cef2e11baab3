#include "dispatcher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <asio/post.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

#include "debugname.h"
#include "directories.h"
#include "frame.h"
#include "logmsg.h"
#include "names.h"
#include "pbUtils.h"

namespace PbUtility {

namespace {

constexpr std::chrono::milliseconds kAcceptRetry{100};
constexpr std::chrono::seconds kLastAnswers{1};  ///< for clients that are slow to read them
constexpr mode_t kSocketMode = 0666;             ///< every local user: roles decide
constexpr std::size_t kMaxClientNameBytes = 32;

void refuse(pbcommon::Reply& reply, pbcommon::ErrorCode code, const char* tag) {
    reply.set_code(code);
    reply.add_tag(tag);
}

/// Signals are for the main thread; and with SIGPIPE blocked, a log reader that goes away cannot
/// end the service.
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

std::string describe(const Requester& requester) {
    return "uid " + std::to_string(requester.uid) + ", process " + std::to_string(requester.pid) +
           " (" + requester.sClient + "), role " + pbcommon::roleName(requester.role);
}

PbUtilsImpl::PbUtilsImpl(std::string sEndpointName)
    : m_sEndpointName(std::move(sEndpointName)), m_io(1), m_acceptor(m_io), m_timer(m_io) {}

PbUtilsImpl::~PbUtilsImpl() {
    if (m_thread.joinable()) {
        asio::post(m_io, [this] { stop(); });
        m_thread.join();
    }
}

PbUtilsImpl& PbUtilsImpl::of(PbUtils& pbUtils) { return *pbUtils.m_impl; }

eErrorT PbUtilsImpl::start() {
    const eErrorT claimed = m_endpoint.claim(pbcommon::runtimeDirectory(), m_sEndpointName);
    if (claimed != kNoError) {
        return claimed;
    }
    const eErrorT listening = listen();
    if (listening != kNoError) {
        m_endpoint.release();
        return listening;
    }
    const AllSignalsBlocked inherited;
    m_thread = std::thread([this] { run(); });
    return kNoError;
}

eErrorT PbUtilsImpl::listen() {
    const std::string& sPath = m_endpoint.path();
    asio::error_code error;
    m_acceptor.open(asio::local::stream_protocol(), error);
    if (!error) {
        m_acceptor.bind(sPath, error);
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

void PbUtilsImpl::run() {
    accept();
    m_io.run();
    m_sessions.clear();
    m_endpoint.release();
    loginfo("pbUtility", "dispatcher ended\n");
}

void PbUtilsImpl::setReady(bool bReady) {
    asio::post(m_io, [this, bReady] {
        if (bReady && m_handler != nullptr) {
            m_handler->dispatchingBegins();
        }
        m_bReady = bReady;
        for (const std::shared_ptr<Session>& session : currentSessions()) {
            session->resume();
        }
    });
}

void PbUtilsImpl::join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void PbUtilsImpl::accept() {
    m_acceptor.async_accept([this](const asio::error_code& error, Session::Socket socket) {
        if (m_bStopping) {
            return;
        }
        if (error) {
            acceptLater(error);
            return;
        }
        m_bAccepting = true;
        welcome(std::move(socket));
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
        logerr("pbUtility", "connection closed: its peer cannot be told\n");
        return;
    }
    const auto session = std::make_shared<Session>(*this, std::move(socket), peer);
    m_sessions.insert(session);
    session->start();
}

bool PbUtilsImpl::serve(Session& session, std::string_view message, std::string& answers) {
    if (!m_request.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
        return false;
    }
    m_reply.Clear();
    answer(session);
    if (pbcommon::appendFrame(m_reply, answers) != kNoError) {
        m_reply.Clear();
        refuse(m_reply, pbcommon::kOutOfRange, "ERR_ANSWER_TOO_LONG");
        return pbcommon::appendFrame(m_reply, answers) == kNoError;
    }
    return true;
}

void PbUtilsImpl::answer(Session& session) {
    const Peer& peer = session.peer();
    m_requester = {.role = peer.highestRole,
                   .uid = peer.uid,
                   .pid = peer.pid,
                   .sClient = pbcommon::printable(m_request.client(), kMaxClientNameBytes)};
    if (m_request.has_role()) {
        const auto role = static_cast<AppConfig::SecurityRole>(m_request.role());
        if (!pbcommon::Role_IsValid(m_request.role()) || role > peer.highestRole) {
            logwarn("pbUtility", "refused role %s to %s\n", pbcommon::roleName(role).c_str(),
                    describe(m_requester).c_str());
            refuse(m_reply, pbcommon::kNotAuthorized, "ERR_ROLE_NOT_ALLOWED");
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
                refuse(m_reply, pbcommon::kNotAuthorized, "ERR_ROLE_NOT_ALLOWED");
                break;
            }
            loginfo("pbUtility", "shutdown by %s\n", describe(m_requester).c_str());
            stop();
            break;
        case pbcommon::Request::kWatch:
            session.watch({.role = m_requester.role, .sPattern = m_request.watch().pattern()});
            break;
        case pbcommon::Request::BODY_NOT_SET:
            refuse(m_reply, pbcommon::kNotImplemented, "ERR_UNKNOWN_REQUEST");
            break;
        default:
            if (m_handler == nullptr) {
                refuse(m_reply, pbcommon::kNotInitialized, "ERR_NO_STORE");
            } else {
                m_handler->handle(m_requester, m_request, m_reply, *this);
            }
    }
}

void PbUtilsImpl::publish(const std::function<bool(const Watcher&, pbcommon::Reply&)>& news) {
    for (const std::shared_ptr<Session>& session : currentSessions()) {
        pbcommon::Reply message;
        std::string sFrame;
        if (session->watcher() && news(*session->watcher(), message)) {
            // what does not fit into a frame is missed, as what the client does not read
            session->tell(pbcommon::appendFrame(message, sFrame) == kNoError ? sFrame : "");
        }
    }
}

void PbUtilsImpl::answerPing() {
    pbcommon::Service& service = *m_reply.mutable_service();
    service.set_name(msgDebugName().empty() ? m_sEndpointName : msgDebugName());
    service.set_version(APPCONFIG_VERSION);
    service.set_pid(getpid());
}

/// No new connections, the last answers go out, then the event loop has nothing left to wait for.
void PbUtilsImpl::stop() {
    m_bStopping = true;
    asio::error_code ignored;
    m_acceptor.close(ignored);
    m_timer.expires_after(kLastAnswers);
    m_timer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) {
            m_io.stop();
        }
    });
    for (const std::shared_ptr<Session>& session : currentSessions()) {
        session->finish();
    }
    endWithLastSession();
}

void PbUtilsImpl::forget(const std::shared_ptr<Session>& session) {
    m_sessions.erase(session);
    endWithLastSession();
}

void PbUtilsImpl::endWithLastSession() {
    if (m_bStopping && m_sessions.empty()) {
        m_timer.cancel();
    }
}

/// A copy: a session that ends while one walks over them leaves the set.
std::vector<std::shared_ptr<Session>> PbUtilsImpl::currentSessions() const {
    return {m_sessions.begin(), m_sessions.end()};
}

}  // namespace PbUtility
