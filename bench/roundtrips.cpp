#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "bench.h"
#include "directories.h"
#include "frame.h"
#include "messages.pb.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 101;
constexpr int kTripsPerRound = 200;
constexpr int kStarts = 20;

double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

sockaddr_un addressOf(const std::string& sPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    sPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

// ---- the client ------------------------------------------------------------------------------

std::string frameOf(const pbcommon::Request& request) {
    std::string sFrame;
    (void)pbcommon::appendFrame(request, sFrame);
    return sFrame;
}

class Client {
public:
    explicit Client(const std::string& sPath)
        : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = addressOf(sPath);
        m_bConnected =
            connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~Client() { close(m_fd); }

    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] bool isConnected() const { return m_bConnected; }

    void send(const std::string& sFrame) const {
        if (::send(m_fd, sFrame.data(), sFrame.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(sFrame.size())) {
            throw std::runtime_error("a server does not take a request");
        }
    }
    /// The next message, valid until the one after. There is never more than one on the way.
    std::string_view receive() {
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
    pbcommon::Reply ask(const pbcommon::Request& request) {
        send(frameOf(request));
        const std::string_view message = receive();
        pbcommon::Reply reply;
        reply.ParseFromArray(message.data(), static_cast<int>(message.size()));
        return reply;
    }

private:
    int m_fd;
    bool m_bConnected = false;
    char m_input[1 << 16];
};

// ---- the servers -----------------------------------------------------------------------------

class Process {
public:
    explicit Process(pid_t pid) : m_pid(pid) {}
    ~Process() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }

private:
    const pid_t m_pid;
};

pid_t forkPingpong(const std::string& sPath) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(sPath);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen on " + sPath);
    }
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        servePingpong(fd);
    }
    close(fd);
    return pid;
}

/// Where there is no log device the daemon logs to its standard output: the null device.
pid_t spawn(const char* path) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    char* arguments[] = {const_cast<char*>(path), nullptr};
    pid_t pid = 0;
    const int nError = posix_spawn(&pid, path, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (nError != 0) {
        throw std::runtime_error(std::string("cannot start ") + path);
    }
    return pid;
}

std::string daemonSocket() {
    return pbcommon::socketPath(pbcommon::runtimeDirectory(), "appconfig");
}

/// A running daemon that has answered a first request. What a killed one left is in nobody's way.
class Daemon {
public:
    explicit Daemon(const char* path) : m_process(spawn(path)) {
        pbcommon::Request ping;
        ping.mutable_ping();
        for (int i = 0; i < 100000; ++i) {
            Client client(daemonSocket());
            if (client.isConnected()) {
                client.ask(ping);
                return;
            }
            // the daemon needs this core meanwhile
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
        throw std::runtime_error(std::string(path) + " does not answer");
    }

    [[nodiscard]] double residentMebibytes() const {
        std::ifstream status("/proc/" + std::to_string(m_process.pid()) + "/status");
        double kibibytes = 0;
        for (std::string sWord; status >> sWord && sWord != "VmRSS:";) {
        }
        status >> kibibytes;
        return kibibytes / 1024;
    }

private:
    Process m_process;
};

double millisecondsToStart() {
    const Clock::time_point begin = Clock::now();
    const Daemon daemon(DAEMON);
    return microseconds(Clock::now() - begin) / 1000;
}

// ---- the subjects ----------------------------------------------------------------------------

pbcommon::Request getOf(const char* node, const char* variable) {
    pbcommon::Request request;
    request.set_client("bench");
    request.mutable_get()->mutable_address()->set_node(node);
    request.mutable_get()->mutable_address()->set_variable(variable);
    return request;
}

pbcommon::Request setOf(const char* node, const char* variable, const char* value,
                        bool bDryRun = false) {
    pbcommon::Request request;
    request.set_client("bench");
    request.mutable_set()->set_dry_run(bDryRun);
    pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
    assignment.mutable_address()->set_node(node);
    assignment.mutable_address()->set_variable(variable);
    assignment.set_value(value);
    return request;
}

constexpr const char* kSnmp = "management.snmp";
constexpr const char* kPort = "listeningport";
constexpr const char* kRecentCalls = "uicontrol.apps.recentcalls";

struct SubjectT {
    const char* what;
    std::vector<pbcommon::Request> requests;  ///< sent in turn; what is taken is the time of one
    pbcommon::ErrorCode code;                 ///< that the daemon must answer
    int nEffects;                             ///< that it must report at least
    bool bWatched = false;  ///< the time ends when another connection has read of it
    std::optional<double> aim{};
};

std::vector<SubjectT> subjects() {
    return {
        {"get", {getOf(kSnmp, kPort)}, pbcommon::kNoError, 0, false, 1.25},
        {"refused set", {setOf(kSnmp, kPort, "5060")}, pbcommon::kBadParameter, 0, false, 1.35},
        {"rehearsed set", {setOf(kSnmp, kPort, "8161", true)}, pbcommon::kNoError, 1, false, 1.35},
        // in turn, so that each changes something
        {"accepted set",
         {setOf(kSnmp, kPort, "8161"), setOf(kSnmp, kPort, "8162")},
         pbcommon::kNoError,
         1},
        {"recent-calls cascade, of off and on",
         {setOf(kRecentCalls, "enabled", "false"), setOf(kRecentCalls, "enabled", "true")},
         pbcommon::kNoError,
         2},
        {"set until a watcher has read it",
         {setOf(kSnmp, kPort, "8161"), setOf(kSnmp, kPort, "8162")},
         pbcommon::kNoError,
         1,
         true,
         1.25},
    };
}

/// One server, with a second connection that watches it when the subject is watched.
class Side {
public:
    Side(const std::string& sPath, const SubjectT& subject) : m_client(sPath) {
        if (subject.bWatched) {
            pbcommon::Request watch;
            watch.mutable_watch()->set_pattern("*");
            m_watcher.emplace(sPath).ask(watch);
        }
        for (const pbcommon::Request& request : subject.requests) {
            m_frames.push_back(frameOf(request));
        }
    }

    /// Sends all requests once; throws unless each is answered as the subject says.
    void check(const SubjectT& subject) {
        for (const pbcommon::Request& request : subject.requests) {
            const pbcommon::Reply reply = m_client.ask(request);
            if (m_watcher) {
                m_watcher->receive();
            }
            if (reply.code() != subject.code || reply.effect_size() < subject.nEffects) {
                throw std::runtime_error(std::string(subject.what) + ": the daemon answers " +
                                         reply.ShortDebugString());
            }
        }
    }
    /// The median time of a round trip in a round, us.
    double round() {
        std::vector<double> trips;
        for (int i = 0; i < kTripsPerRound; ++i) {
            double sum = 0;
            for (const std::string& sFrame : m_frames) {
                sum += trip(sFrame);
            }
            trips.push_back(sum / static_cast<double>(m_frames.size()));
        }
        return median(trips);
    }

private:
    double trip(const std::string& sFrame) {
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

    Client m_client;
    std::optional<Client> m_watcher;
    std::vector<std::string> m_frames;
};

void measure(const SubjectT& subject, const std::string& sFloorPath, std::vector<Figure>& figures) {
    Side floor(sFloorPath, subject);
    Side daemon(daemonSocket(), subject);
    daemon.check(subject);
    RoundsT floorRounds;
    RoundsT daemonRounds;
    for (int i = 0; i < kRounds; ++i) {
        floorRounds.push_back(floor.round());
        daemonRounds.push_back(daemon.round());
    }
    figures.push_back({.sWhat = std::string("pingpong: ") + subject.what,
                       .value = median(floorRounds),
                       .unit = "us"});
    figures.push_back(compare(subject.what, daemonRounds, floorRounds, "us", subject.aim));
}

}  // namespace

std::vector<Figure> measureRoundTrips(const std::string& sHome) {
    std::vector<Figure> figures;
    const std::string sFloorPath = sHome + "/pingpong.sock";
    const Process pingpong(forkPingpong(sFloorPath));
    {
        const Daemon daemon(DAEMON_WITH_LOG);
        for (const SubjectT& subject : subjects()) {
            measure(subject, sFloorPath, figures);
        }
        figures.push_back({.sWhat = "resident memory of the daemon after this",
                           .value = daemon.residentMebibytes(),
                           .unit = "MiB",
                           .aim = 5});
    }
    {
        const Daemon daemon(DAEMON);
        measure({"refused set, log device as on this machine",
                 {setOf(kSnmp, kPort, "5060")},
                 pbcommon::kBadParameter,
                 0},
                sFloorPath, figures);
    }
    std::vector<double> starts;
    for (int i = 0; i < kStarts; ++i) {
        starts.push_back(millisecondsToStart());
    }
    figures.push_back(
        {.sWhat = "start to first answer", .value = median(starts), .unit = "ms", .aim = 5});
    return figures;
}

}  // namespace bench
