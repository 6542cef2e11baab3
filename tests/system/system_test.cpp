// The real daemon and the real client, as their users run them.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>

#include <array>
#include <cstddef>

#include "daemon.h"
#include "temporarydirectory.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

/// The service manager's end of a notification socket, for the caller to close.
/// @param sName  a path, or '@' and an abstract name
int notificationSocket(const std::string& sName) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    sName.copy(address.sun_path, sizeof(address.sun_path));
    if (sName[0] == '@') address.sun_path[0] = '\0';
    const timeval patience{.tv_sec = 10, .tv_usec = 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address),
                   static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + sName.size())),
              0);
    return fd;
}

struct Outcome {
    int nStatus;
    std::string sShown;
};

class System : public testing::Test {
protected:
    void start() {
        m_daemon = std::make_unique<Daemon>(m_home);
        ASSERT_TRUE(m_daemon->serves()) << m_daemon->log();
    }

    TemporaryDirectory m_home;
    std::unique_ptr<Daemon> m_daemon;
};

/// One who sits at a terminal.
class Terminal : public System {
protected:
    void SetUp() override {
        int terminal = -1, other = -1;
        if (openpty(&terminal, &other, nullptr, nullptr, nullptr) != 0) {
            GTEST_SKIP() << "no pseudo-terminals on this system";
        }
        close(terminal);
        close(other);
    }
    /// Runs the client and types when it asks.
    /// @return its exit status, 128 and the signal as a shell has it; all that the terminal showed
    Outcome typed(const std::string& sArguments, const std::string& sTyped) const {
        int terminal = -1;
        const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) {
            setenv("APPCONFIG_SOCKET", m_home.path("run/appconfig.sock").c_str(), 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            execl("/bin/sh", "sh", "-c", ("exec '" CFGCTL "' " + sArguments).c_str(), nullptr);
            _exit(127);
        }
        std::string sShown;
        std::array<char, 256> part{};
        for (ssize_t n = 0; (n = read(terminal, part.data(), part.size())) > 0;) {
            const bool bAsked = sShown.ends_with(": ") || sShown.ends_with("] ");
            sShown.append(part.data(), static_cast<std::size_t>(n));
            if (!bAsked && (sShown.ends_with(": ") || sShown.ends_with("] "))) {
                EXPECT_EQ(write(terminal, sTyped.data(), sTyped.size()), std::ssize(sTyped));
            }
        }
        int nStatus = 0;
        waitpid(pid, &nStatus, 0);
        termios modes{};
        EXPECT_TRUE(tcgetattr(terminal, &modes) == 0 && (modes.c_lflag & ECHO) != 0);
        close(terminal);
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus), sShown};
    }
};

TEST_F(Terminal, AsksForAValueAndBeforeAShutdown) {
    start();
    const std::string kSet = "set management.snmp.";
    // clang-format off
    const struct { std::string sArguments; const char* typed; int nStatus; const char* shown; } steps[] = {
        {kSet + "privacypassword", "swordfish\n", 0,
         "^Value for management.snmp.privacypassword \\(secret up to 64 bytes; not shown\\): \r\nset [^ ]*  \"\" → \\*\\*\\*\\*\\*\\*\\*\\*  "},
        {kSet + "versionone",      "false\n",     0,   "\\(true false\\): false\r\n"},
        {kSet + "listeningport",   "5\n",         1,   "\\(1\\.\\.65535\\): 5\r\n.*refused.*nothing has been changed"},
        {kSet + "location",        "\n",          2,   "no value was given for management.snmp.location;"},
        {kSet + "privacypassword", "half\x04\x04", 2, "no value was given for management.snmp.privacypassword;"},
        {kSet + "privacypassword", "half\x03",    130, "not shown\\): \r?\n?$"},
        {"shutdown",               "\n",          2,   "\\[y/N\\] .*not confirmed; nothing was sent"},
        {"shutdown",               "y\n",         0,   "\\[y/N\\] y\r\nshutdown accepted"},
    };
    // clang-format on
    for (const auto& step : steps) {
        const Outcome outcome = typed(step.sArguments, step.typed);
        EXPECT_EQ(outcome.nStatus, step.nStatus) << step.sArguments;
        EXPECT_THAT(outcome.sShown, ContainsRegex(step.shown)) << step.sArguments;
    }
    EXPECT_EQ(m_daemon->wait(), 0);
}

TEST_F(System, TellsTheServiceManagerWhenItServes) {
    for (const std::string& sName : {m_home.path("notify"), "@" + m_home.path("notify")}) {
        const int fd = notificationSocket(sName);
        setenv("NOTIFY_SOCKET", sName.c_str(), 1);
        const Daemon daemon(m_home);
        std::string sMessage(64, '\0');
        EXPECT_EQ(recv(fd, sMessage.data(), sMessage.size(), 0), 7) << daemon.log();
        EXPECT_STREQ(sMessage.c_str(), "READY=1");
        EXPECT_TRUE(daemon.serves());
        const TemporaryDirectory other;
        Daemon unable(other, {}, "no/directory");
        EXPECT_EQ(unable.wait(), 0);
        EXPECT_EQ(recv(fd, sMessage.data(), sMessage.size(), MSG_DONTWAIT), -1);
        close(fd);
    }
    start();  // nobody listens there any more
    unsetenv("NOTIFY_SOCKET");
    EXPECT_THAT(m_daemon->log(), HasSubstr("cannot notify @" + m_home.path("notify")));
}

}  // namespace
