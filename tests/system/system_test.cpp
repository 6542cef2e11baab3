// The real daemon and the real client, as their users run them.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <thread>

#include "rawclient.h"
#include "temporarydirectory.h"

namespace {

using namespace std::string_literals;
using testing::ContainsRegex;
using testing::HasSubstr;

/// One daemon process and the directories that it works in.
class Daemon {
public:
    explicit Daemon(const TemporaryDirectory& home, std::vector<std::string> arguments = {})
        : m_sRuntime(home.path("run")),
          m_sLog(home.file("log" + std::to_string(++gStarted))),
          m_pid(fork()) {
        if (m_pid != 0) return;
        std::vector<char*> argv{const_cast<char*>(DAEMON)};
        for (std::string& sArgument : arguments) argv.push_back(sArgument.data());
        argv.push_back(nullptr);
        setenv("RUNTIME_DIRECTORY", m_sRuntime.c_str(), 1);
        setenv("CONFIGURATION_DIRECTORY", home.path("config").c_str(), 1);
        setenv("TEST_LOG_DEVICE", m_sLog.c_str(), 1);
        execv(DAEMON, argv.data());
        _exit(127);
    }
    ~Daemon() { kill(); }
    Daemon& operator=(Daemon&&) = delete;  // nor a copy

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] std::string log() const { return TemporaryDirectory::contentOf(m_sLog); }

    /// Waits until the daemon answers; false when it ended before.
    [[nodiscard]] bool serves() const {
        for (int i = 0; i < 1000 && waitpid(m_pid, nullptr, WNOHANG) == 0; ++i) {
            const RawClient client(m_sRuntime + "/appconfig.sock");
            pbcommon::Reply reply;
            client.send(RawClient::ping());
            if (client.receive(reply)) return reply.service().pid() == m_pid;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
    }
    /// Waits for the end; the exit status, or 128 and the signal.
    int wait() {
        int nStatus = 0;
        waitpid(std::exchange(m_pid, -1), &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    }
    void kill() {
        if (m_pid > 0) ::kill(m_pid, SIGKILL), wait();
    }

private:
    static inline int gStarted = 0;

    const std::string m_sRuntime, m_sLog;
    pid_t m_pid;
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
    m_daemon->kill();
    EXPECT_TRUE(std::filesystem::exists(m_home.path("run/appconfig.sock")));
    start();
    Daemon second(m_home);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_THAT(second.log(), HasSubstr("process " + std::to_string(m_daemon->pid()) + " holds " +
                                        m_home.path("run") + " already; this one ends\n"));
    EXPECT_TRUE(m_daemon->serves());
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
