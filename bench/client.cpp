#include "client.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "bench.h"
#include "frame.h"

namespace bench {

sockaddr_un addressOf(const std::string& sPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    sPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

std::string frameOf(const pbcommon::Request& request) {
    std::string sFrame;
    (void)pbcommon::appendFrame(request, sFrame);
    return sFrame;
}

pbcommon::Request getOf(const char* node, const char* variable) {
    pbcommon::Request request;
    request.set_client("bench");
    request.mutable_get()->mutable_address()->set_node(node);
    request.mutable_get()->mutable_address()->set_variable(variable);
    return request;
}

pbcommon::Request setOf(const char* node, const char* variable, const std::string& sValue,
                        bool bDryRun) {
    pbcommon::Request request;
    request.set_client("bench");
    request.mutable_set()->set_dry_run(bDryRun);
    pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
    assignment.mutable_address()->set_node(node);
    assignment.mutable_address()->set_variable(variable);
    assignment.set_value(sValue);
    return request;
}

// ---- a connection ----------------------------------------------------------------------------

Client::Client(const std::string& sPath) : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = addressOf(sPath);
    m_bConnected = connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

Client::~Client() { close(m_fd); }

void Client::send(const std::string& sFrame) const {
    if (::send(m_fd, sFrame.data(), sFrame.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(sFrame.size())) {
        throw std::runtime_error("a server does not take a request");
    }
}

std::string_view Client::receive() {
    std::size_t nHas = 0;
    std::size_t nWanted = pbcommon::kFrameHeaderBytes;
    while (nHas < nWanted) {
        const ssize_t nBytes = recv(m_fd, m_input + nHas, sizeof(m_input) - nHas, 0);
        if (nBytes <= 0) {
            throw std::runtime_error("a server does not answer");
        }
        nHas += static_cast<std::size_t>(nBytes);
        if (nHas >= pbcommon::kFrameHeaderBytes) {
            nWanted = pbcommon::kFrameHeaderBytes + pbcommon::frameLength(m_input);
        }
    }
    return {m_input + pbcommon::kFrameHeaderBytes, nWanted - pbcommon::kFrameHeaderBytes};
}

pbcommon::Reply Client::ask(const pbcommon::Request& request) {
    send(frameOf(request));
    const std::string_view message = receive();
    pbcommon::Reply reply;
    reply.ParseFromArray(message.data(), static_cast<int>(message.size()));
    return reply;
}

// ---- round trips -----------------------------------------------------------------------------

SubjectT acceptedSet(const char* what) {
    return {
        what, {setOf(kSnmp, kPort, "8161"), setOf(kSnmp, kPort, "8162")}, pbcommon::kNoError, 1};
}

SubjectT recentCallsCascade(const char* what) {
    return {what,
            {setOf(kRecentCalls, "enabled", "false"), setOf(kRecentCalls, "enabled", "true")},
            pbcommon::kNoError,
            2};
}

Trips::Trips(const std::string& sPath, SubjectT subject)
    : m_subject(std::move(subject)), m_client(sPath) {
    if (m_subject.bWatched) {
        pbcommon::Request watch;
        watch.mutable_watch()->set_pattern("*");
        m_watcher.emplace(sPath).ask(watch);
    }
    for (const pbcommon::Request& request : m_subject.requests) {
        m_frames.push_back(frameOf(request));
    }
}

void Trips::check() {
    for (const pbcommon::Request& request : m_subject.requests) {
        const pbcommon::Reply reply = m_client.ask(request);
        if (m_watcher) {
            m_watcher->receive();
        }
        if (reply.code() != m_subject.code || reply.set().effect_size() < m_subject.nEffects) {
            throw std::runtime_error(std::string(m_subject.what) + ": the daemon answers " +
                                     reply.ShortDebugString());
        }
    }
}

double Trips::round(int nTrips) {
    std::vector<double> trips;
    for (int i = 0; i < nTrips; ++i) {
        double sum = 0;
        for (const std::string& sFrame : m_frames) {
            sum += trip(sFrame);
        }
        trips.push_back(sum / static_cast<double>(m_frames.size()));
    }
    return median(trips);
}

double Trips::trip(const std::string& sFrame) {
    const Clock::time_point begin = Clock::now();
    m_client.send(sFrame);
    if (m_watcher) {
        m_watcher->receive();
    } else {
        m_client.receive();
    }
    const double time = microseconds(Clock::now() - begin);
    if (m_watcher) {
        m_client.receive();
    }
    return time;
}

}  // namespace bench
