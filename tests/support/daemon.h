#ifndef TESTS_SUPPORT_DAEMON_H
#define TESTS_SUPPORT_DAEMON_H

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rawclient.h"
#include "temporarydirectory.h"

/// One daemon process, of the program DAEMON, and the directories that it works in.
class Daemon {
public:
    /// @param prepare  called in the process before it becomes the daemon
    explicit Daemon(
        const TemporaryDirectory& home, std::vector<const char*> arguments = {},
        const std::string& sRuntime = "run", const std::function<void()>& prepare = [] {})
        : m_sRuntime(home.path(sRuntime)),
          m_sLog(home.file("log" + std::to_string(++gStarted))),
          m_pid(fork()) {
        if (m_pid != 0) return;
        arguments.insert(arguments.begin(), DAEMON);
        arguments.push_back(nullptr);
        setenv("RUNTIME_DIRECTORY", m_sRuntime.c_str(), 1);
        setenv("STATE_DIRECTORY", home.path("state").c_str(), 1);
        setenv("CONFIGURATION_DIRECTORY", home.path("config").c_str(), 1);
        setenv("TEST_LOG_DEVICE", m_sLog.c_str(), 1);
        const int program = open(DAEMON, O_RDONLY | O_CLOEXEC);
        prepare();  // may leave the right to look into the directory of the program
        fexecve(program, const_cast<char* const*>(arguments.data()), environ);
        _exit(127);
    }
    ~Daemon() { kill(); }
    Daemon& operator=(Daemon&&) = delete;  // nor a copy

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] std::string log() const { return TemporaryDirectory::contentOf(m_sLog); }

    /// Waits until the daemon answers; false when it ended before.
    [[nodiscard]] bool serves() const {
        for (int i = 0; i < 1000 && !hasEnded(); ++i) {
            const RawClient client(m_sRuntime + "/appconfig.sock");
            pbcommon::Reply reply;
            client.send(RawClient::ping());
            if (client.receive(reply)) {
                return reply.ping().pid() == m_pid && reply.ping().protocol() == 1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
    }
    /// Leaves the exit status to wait().
    [[nodiscard]] bool hasEnded() const {
        siginfo_t info{};
        waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
        return info.si_pid != 0;
    }
    /// Waits for the end; the exit status, or 128 and the signal.
    int wait() {
        int nStatus = 0;
        waitpid(std::exchange(m_pid, -1), &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    }
    void kill() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            wait();
        }
    }

private:
    static inline int gStarted = 0;

    const std::string m_sRuntime, m_sLog;
    pid_t m_pid;
};

#endif
