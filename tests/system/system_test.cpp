// The real daemon and the real client, as their users run them.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstddef>

#include "daemon.h"
#include "temporarydirectory.h"

namespace {

using namespace std::string_literals;
using testing::ContainsRegex;
using testing::HasSubstr;

/// The service manager's end of its notification socket, for daemons started while it lives.
class NotificationSocket {
public:
    /// @param sName  a path, or '@' and an abstract name
    explicit NotificationSocket(const std::string& sName)
        : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        sName.copy(address.sun_path, sizeof(address.sun_path));
        if (sName[0] == '@') address.sun_path[0] = '\0';
        const timeval patience{.tv_sec = 10, .tv_usec = 0};
        setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
        EXPECT_EQ(bind(m_fd, reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + sName.size())),
                  0);
        setenv("NOTIFY_SOCKET", sName.c_str(), 1);
    }
    ~NotificationSocket() {
        close(m_fd);
        unsetenv("NOTIFY_SOCKET");
    }
    NotificationSocket& operator=(NotificationSocket&&) = delete;  // nor a copy

    [[nodiscard]] std::string receive(int nFlags = 0) const {
        char message[64];
        const ssize_t n = recv(m_fd, message, sizeof(message), nFlags);
        return n < 0 ? "nothing" : std::string(message, static_cast<std::size_t>(n));
    }

private:
    int m_fd;
};

struct Outcome {
    int nStatus;
    std::string sOut, sErr;
};

class System : public testing::Test {
protected:
    void start() {
        m_daemon = std::make_unique<Daemon>(m_home);
        ASSERT_TRUE(m_daemon->serves()) << m_daemon->log();
    }
    /// Runs a shell command in which $cfgctl is the client and standard input is `sInput`.
    Outcome shell(const std::string& sCommand, const std::string& sInput = "") const {
        (void)m_home.file("in", sInput);
        const std::string sLine = "cd " + m_home.path() + "; export RUNTIME_DIRECTORY=$PWD/run" +
                                  " cfgctl=" CFGCTL "; { " + sCommand + "; } <in >out 2>err";
        const int nStatus = system(sLine.c_str());
        return {WEXITSTATUS(nStatus), TemporaryDirectory::contentOf(m_home.path("out")),
                TemporaryDirectory::contentOf(m_home.path("err"))};
    }
    Outcome cfgctl(const std::string& sArguments, const std::string& sInput = "") const {
        return shell("$cfgctl " + sArguments, sInput);
    }

    TemporaryDirectory m_home;
    std::unique_ptr<Daemon> m_daemon;
};

TEST_F(System, AnswersEachRequestOfASession) {
    start();
    // clang-format off
    const struct { const char* arguments; int nStatus; std::string sText; } steps[] = {
        {"get management.snmp.listeningport", 0, "161\n"},
        {"set security.remoteaccess.web.httpport=9000 management.snmp.listeningport=9000", 1,
         "set management.snmp.listeningport=9000  refused  kBadParameter (-3)  ERR_SNMP_INVALID_PORT\n"},
        {"get security.remoteaccess.web.httpport", 0, "80\n"},
        {"set management.snmp.traptarget.targetport[2]=9162 Management.SNMP.ListeningPort=8161", 0,
         "set management.snmp.traptarget.targetport[2]=9162  accepted  kNoError (0)\n"
         "set management.snmp.listeningport=8161  accepted  kNoError (0)\n"},
        {"--role admin set system.systemmode.noofsecondary=1", 1,
         "set system.systemmode.noofsecondary=1  refused  kNotAuthorized (-41)  ERR_READ_ONLY\n"},
        {"set management.snmp.privacypassword", 0,
         "set management.snmp.privacypassword=********  accepted  kNoError (0)\n"},
        {"get management.snmp.privacypassword", 0, "given on stdin\n"},
        {"--role user shutdown", 1, "cfgctl: shutdown refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED\n"},
    };
    // clang-format on
    for (const auto& step : steps) {
        const Outcome outcome = cfgctl(step.arguments, "given on stdin\n");
        EXPECT_EQ(outcome.nStatus, step.nStatus) << step.arguments;
        EXPECT_EQ(step.nStatus == 0 ? outcome.sOut : outcome.sErr, step.sText) << step.arguments;
        EXPECT_EQ(step.nStatus == 0 ? outcome.sErr : outcome.sOut, "") << step.arguments;
    }
    EXPECT_THAT(m_daemon->log(), HasSubstr("appconfig: listening port 9000 is NOT allowed \n"));
    EXPECT_THAT(m_daemon->log() + cfgctl("list").sOut, testing::Not(HasSubstr("given on")));
}

TEST_F(System, AnswersEveryBadInputInOneClearLine) {
    start();
    // clang-format off
    const struct { const char* arguments; std::string sInput; int nStatus; const char* err; } cases[] = {
        {"get management.snmp.listenport", "", 1, "did you mean management.snmp.listeningport"},
        {"set management.snmp.traptarget.targetport[3]=1024", "", 1, "no variable management.*targetport.3."},
        {"set management.snmp.enabled=", "", 1, "ERR_INVALID_VALUE"},
        {"set management.snmp.location", std::string(1 << 20, 'x'), 2, "takes 1048576 at most"},
        {"set management.snmp.location", std::string((1 << 20) - 200, 'x'), 1, "ERR_TOO_LONG"},
        {"set management.snmp.location", "a\0b"s, 1, "ERR_INVALID_VALUE"},
        {"get management..snmp", "", 2, "names no variable; write node.variable"},
        {"", "", 2, "."},
        {"list 'nothing*'", "", 1, "nothing"},
    };
    // clang-format on
    for (const auto& c : cases) {
        const Outcome outcome = cfgctl(c.arguments, c.sInput);
        EXPECT_EQ(outcome.nStatus, c.nStatus) << outcome.sErr;
        EXPECT_EQ(outcome.sOut, "");
        EXPECT_THAT(outcome.sErr, ContainsRegex(c.err)) << c.arguments;
        EXPECT_EQ(std::count(outcome.sErr.begin(), outcome.sErr.end(), '\n'), 1) << outcome.sErr;
        EXPECT_TRUE(m_daemon->serves());
    }
}

TEST_F(System, TellsWhyThereIsNoAnswer) {
    EXPECT_THAT(cfgctl("ping").sErr,
                ContainsRegex("^cfgctl: no service at .*appconfig.sock: No such file"));
    start();
    EXPECT_EQ(cfgctl("shutdown").nStatus, 0);
    EXPECT_EQ(m_daemon->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(m_home.path("run/appconfig.sock")));
    EXPECT_EQ(cfgctl("ping").nStatus, 3);
}

TEST_F(System, HoldsAnotherUserToTheUserRole) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    start();
    std::filesystem::copy(CFGCTL, m_home.path("cfgctl"));  // where that user may execute it
    chmod(m_home.path().c_str(), 0755);
    const std::string sOther = "setpriv --reuid=65534 --regid=65534 --clear-groups ./cfgctl ";
    EXPECT_EQ(shell(sOther + "set management.snmp.location=Lobby").nStatus, 0);
    for (const char* const arguments : {"--role admin ping", "--role system shutdown", "shutdown",
                                        "set system.systemmode.noofsecondary=1"}) {
        const Outcome outcome = shell(sOther + arguments);
        EXPECT_EQ(outcome.nStatus, 1) << arguments;
        EXPECT_THAT(outcome.sErr, HasSubstr("kNotAuthorized (-41)")) << arguments;
    }
    EXPECT_THAT(m_daemon->log(), ContainsRegex("refused role admin to uid 65534, process [0-9]+"));
    chmod(m_home.path("run/appconfig.sock").c_str(), 0600);
    EXPECT_THAT(shell(sOther + "ping").sErr, HasSubstr("ermission"));
}

TEST_F(System, StartsAgainAfterBeingKilledAndOnlyOnceAtATime) {
    start();
    EXPECT_EQ(cfgctl("set management.snmp.location=Lobby").nStatus, 0);
    m_daemon->kill();
    EXPECT_TRUE(std::filesystem::exists(m_home.path("run/appconfig.sock")));
    start();
    EXPECT_EQ(cfgctl("get management.snmp.location").sOut, "Lobby\n");
    for (const auto& [sRuntime, sHeld] : {std::pair{"run", "run"}, {"elsewhere", "state"}}) {
        Daemon second(m_home, {}, sRuntime);
        EXPECT_EQ(second.wait(), 0);
        EXPECT_THAT(second.log(),
                    HasSubstr("process " + std::to_string(m_daemon->pid()) + " holds " +
                              m_home.path(sHeld) + " already; this one ends\n"));
    }
    EXPECT_TRUE(m_daemon->serves());
    EXPECT_EQ(cfgctl("get management.snmp.location").sOut, "Lobby\n");
}

TEST_F(System, HidesFromAnotherUserWhatItMayNotSee) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    start();
    std::filesystem::copy(CFGCTL, m_home.path("cfgctl"));  // where that user may execute it
    chmod(m_home.path().c_str(), 0755);
    EXPECT_EQ(cfgctl("set management.snmp.privacypassword", "swordfish").nStatus, 0);
    EXPECT_EQ(cfgctl("set management.snmp.versionthree=false").nStatus, 0);
    const std::string sOther = "setpriv --reuid=65534 --regid=65534 --clear-groups ./cfgctl ";
    const Outcome unknown = shell(sOther + "get management.snmp.nosuch");
    for (const char* const command : {"get", "describe", "options", "why"}) {
        const Outcome hidden = shell(sOther + command + " management.snmp.privacypassword");
        EXPECT_EQ(hidden.nStatus, unknown.nStatus) << command;
        EXPECT_THAT(hidden.sOut + hidden.sErr, HasSubstr("no variable management.snmp.privacyp"));
    }
    for (const char* const command :
         {"list", "history", "complete -- get management.snmp.",
          "get management.snmp.privacypasswor", "set management.snmp.privacypassword=x",
          "history '*privacypassword'", "why management.snmp.traptarget.protocolversion"}) {
        const Outcome outcome = shell(sOther + command);
        EXPECT_NE(outcome.sOut + outcome.sErr, "") << command;
        EXPECT_THAT(outcome.sOut, testing::Not(HasSubstr("privacypassword"))) << command;
        EXPECT_THAT(outcome.sErr, testing::Not(HasSubstr("privacypassword?"))) << command;
    }
    const std::string sAll = cfgctl("history").sOut + cfgctl("--json history").sOut +
                             cfgctl("why management.snmp.privacypassword").sOut + m_daemon->log();
    EXPECT_THAT(sAll, HasSubstr("privacypassword=********"));
    EXPECT_THAT(sAll, testing::Not(HasSubstr("swordfish")));
}

TEST_F(System, TellsTheServiceManagerWhenItServes) {
    for (const std::string& sName : {m_home.path("notify"), "@" + m_home.path("notify")}) {
        const NotificationSocket manager(sName);
        const Daemon daemon(m_home);
        EXPECT_EQ(manager.receive(), "READY=1") << daemon.log();
        EXPECT_EQ(cfgctl("ping").nStatus, 0);
        Daemon unable(m_home);
        EXPECT_EQ(unable.wait(), 0);
        EXPECT_EQ(manager.receive(MSG_DONTWAIT), "nothing");
    }
    setenv("NOTIFY_SOCKET", m_home.path("nobody").c_str(), 1);
    start();
    unsetenv("NOTIFY_SOCKET");
    EXPECT_THAT(m_daemon->log(), HasSubstr("cannot tell " + m_home.path("nobody")));
}

TEST_F(System, WritesCoreFilesOnlyWithTheSwitch) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"unlimited ", {"-x", "--CoreDump", "--coredump=no"}},
        {"0 ", {"--coredump=yes", "-coredump", "--core"}}};
    for (const auto& [limit, arguments] : cases) {
        const Daemon daemon(m_home, arguments);
        ASSERT_TRUE(daemon.serves());
        const std::string sLimits = "/proc/" + std::to_string(daemon.pid()) + "/limits";
        EXPECT_THAT(TemporaryDirectory::contentOf(sLimits),
                    ContainsRegex("Max core file size +"s + limit + " *unlimited"));
    }
}

}  // namespace
