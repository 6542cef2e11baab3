#include "daemon.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "client.h"
#include "directories.h"

namespace bench {

namespace {

constexpr int kStarts = 20;

/// Where there is no log device the daemon logs to its standard output: the null device.
pid_t spawn(const char* path, const std::string& sHome) {
    useHome(sHome);
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

}  // namespace

void useHome(const std::string& sHome) {
    setenv("RUNTIME_DIRECTORY", (sHome + "/run").c_str(), 1);
    setenv("STATE_DIRECTORY", (sHome + "/state").c_str(), 1);
    setenv("CONFIGURATION_DIRECTORY", (sHome + "/config").c_str(), 1);
}

Process::~Process() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

Daemon::Daemon(const char* path, const std::string& sHome)
    : m_sSocket(pbcommon::socketPath(sHome + "/run", "appconfig")), m_process(spawn(path, sHome)) {
    pbcommon::Request ping;
    ping.mutable_ping();
    for (int i = 0; i < 100000; ++i) {
        Client client(m_sSocket);
        if (client.isConnected()) {
            client.ask(ping);
            return;
        }
        // the daemon needs this core meanwhile
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    throw std::runtime_error(std::string(path) + " does not answer");
}

double Daemon::residentMebibytes() const {
    std::ifstream status("/proc/" + std::to_string(m_process.pid()) + "/status");
    double kibibytes = 0;
    for (std::string sWord; status >> sWord && sWord != "VmRSS:";) {
    }
    status >> kibibytes;
    return kibibytes / 1024;
}

void Daemon::shutDown() {
    pbcommon::Request shutdown;
    shutdown.set_role(pbcommon::kSystem);
    shutdown.mutable_shutdown();
    Client(m_sSocket).ask(shutdown);
    siginfo_t ignored;
    waitid(P_PID, static_cast<id_t>(m_process.pid()), &ignored, WEXITED | WNOWAIT);
}

Figure measureStart(const std::string& sWith, const std::string& sHome, std::optional<double> aim) {
    std::vector<double> starts;
    for (int i = 0; i < kStarts; ++i) {
        const Clock::time_point begin = Clock::now();
        const Daemon daemon(DAEMON, sHome);
        starts.push_back(microseconds(Clock::now() - begin) / 1000);
    }
    return {.sWhat = "start to first answer" + sWith,
            .value = median(starts),
            .unit = "ms",
            .aim = aim};
}

}  // namespace bench
