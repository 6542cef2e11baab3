// The real daemon and the real client, as their users run them.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>

#include <array>
#include <cstddef>

#include "daemon.h"
#include "temporarydirectory.h"

namespace {

using testing::AnyOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

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
    std::string sOut, sErr;
};

class System : public testing::Test {
protected:
    void start() {
        m_daemon = std::make_unique<Daemon>(m_home);
        ASSERT_TRUE(m_daemon->serves()) << m_daemon->log();
    }
    /// Runs a shell command in which $cfgctl is the client.
    Outcome shell(const std::string& sCommand) const {
        const std::string sLine = "cd " + m_home.path() +
                                  "; export APPCONFIG_SOCKET=$PWD/run/appconfig.sock" +
                                  " cfgctl=$PWD/client LC_ALL=C; ln -sf '" CFGCTL "' client; { " +
                                  sCommand + "; } >out 2>err";
        const int nStatus = system(sLine.c_str());
        return {WEXITSTATUS(nStatus), TemporaryDirectory::contentOf(m_home.path("out")),
                TemporaryDirectory::contentOf(m_home.path("err"))};
    }
    Outcome cfgctl(const std::string& sArguments) const { return shell("$cfgctl " + sArguments); }

    TemporaryDirectory m_home;
    std::unique_ptr<Daemon> m_daemon;
};

TEST_F(System, AnswersEachRequestOfASession) {
    EXPECT_THAT(cfgctl("ping").sErr,
                ContainsRegex("^cfgctl: no service at .*appconfig.sock: No such file"));
    start();
    (void)m_home.file("secret", "given on stdin\n");
    // clang-format off
    const struct { const char* arguments; int nStatus; std::string sText; } steps[] = {
        {"get management.snmp.listeningport", 0, "161\n"},
        {"set security.remoteaccess.web.httpport=9000 management.snmp.listeningport=9000", 1,
         "refused  management.snmp.listeningport=9000\n"
         "  ERR_SNMP_INVALID_PORT\t161, a trap target 162, or a port from 1024 on that no other "
         "service uses\n"
         "  now\t161\n"
         "  read\tsecurity.remoteaccess.web.httpport = 9000\n"
         "  read\tmanagement.snmp.enabled = true\n"
         "  read\tmanagement.snmp.versionone = true\n"
         "  read\tmanagement.snmp.versiontwo = true\n"
         "  read\tmanagement.snmp.versionthree = true\n"
         "nothing has been changed\n"},
        {"get security.remoteaccess.web.httpport", 0, "80\n"},
        {"get management.snmp.enabled security.remoteaccess.web.httpport", 0,
         "management.snmp.enabled = true\nsecurity.remoteaccess.web.httpport = 80\n"},
        {"describe management.snmp.transportprotocol", 0,
         "name\tmanagement.snmp.transportprotocol\n"
         "summary\tTransport protocol of SNMP.\n"
         "kind\tenumeration\ndefault\tUDP\nvalue\tUDP\noffered\tUDP TCP\n"
         "not offered\t(none)\naccess\teditable\nprovider\t(none)\nconsumers\t(none)\n"},
        {"describe uicontrol.apps.recentcalls.enabled | tail -2", 0,
         "provider\tUICntrlConfigHandler\nconsumers\tVantorTouchConfigNotificationHandler\n"},
        {"set management.snmp.traptarget.targetport[2]=9162 Management.SNMP.ListeningPort=8161", 0,
         "set management.snmp.traptarget.targetport[2]\t162 -> 9162\taccepted, revision 1\n"
         "set management.snmp.listeningport\t161 -> 8161\taccepted, revision 1\n"},
        {"set -q --dry-run management.snmp.listeningport=8163", 0, ""},
        {"set -q management.snmp.listeningport=5060", 1, ""},
        {"set management.snmp.privacypassword=- <secret", 0,
         "set management.snmp.privacypassword\t\"\" -> ********\taccepted, revision 2\n"},
        {"get management.snmp.privacypassword", 0, "********\n"},
        {"get --reveal management.snmp.privacypassword", 0, "given on stdin\n"},
        {"set management.snmp.privacypassword=- </dev/null", 2,
         "cfgctl: no value was given for management.snmp.privacypassword; nothing was sent "
         "('NAME=' sets an empty value)\n"},
        {"set 'management.snmp.location=a\\x0a'", 0,
         "set management.snmp.location\t\"\" -> a\\\\x0a\taccepted, revision 3\n"},
        {"set --dry-run management.snmp.listeningport=8161", 0,
         "set management.snmp.listeningport=8161\twould be accepted, unchanged\n"},
        {"set 'management.snmp.enabled=a\\b'", 1,
         "refused  management.snmp.enabled=a\\\\b\n"
         "  ERR_INVALID_VALUE\tnot a value of the variable's kind\n"
         "  accepts\ttrue false\n"
         "  now\ttrue\n"
         "nothing has been changed\n"},
        {"get management.snmp.location", 0, "a\\x0a\n"},
        {"set uicontrol.vantortouch.homescreen[1].enabled=false >/dev/null", 0, ""},
        {"options uicontrol.vantortouch.homescreen[2].enabled", 0,
         "false\ntrue  (not accepted now: kBadParameter (-3))\n"},
        {"options security.remoteaccess.web.httpport", 1,
         "cfgctl: security.remoteaccess.web.httpport has no options; it accepts 1..65535\n"},
        {"get no.such", 1, "cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'\n"},
        {"get Management.SNMP.ListenPort", 1,
         "cfgctl: unknown variable Management.SNMP.ListenPort (or not visible to this role); "
         "did you mean management.snmp.listeningport?\n"},
        {"set management.snmp.traptarget.targetport[3]=1024", 1,
         "cfgctl: unknown variable management.snmp.traptarget.targetport[3] (or not visible to this role); "
         "targetport has instances 0 to 2\nnothing has been changed\n"},
        {"list management.SNMP", 1,
         "cfgctl: no variable matches management.SNMP for this role; did you mean 'management.SNMP.*'?\n"},
        {"--dry-run set -q pm.selfviewauto=false", 0, ""},
        {"--dry-run shutdown", 2, "cfgctl: --dry-run is not an option of shutdown; try 'cfgctl shutdown --help'\n"},
        {"list 'nothing*'", 1, "cfgctl: no variable matches nothing* for this role\n"},
        {"list --changed 'uicontrol.v*' | tail -n +4 | cut -f 1,2", 0,
         "uicontrol.vantortouch.homescreen[3].enabled\tfalse\n"
         "uicontrol.vantortouch.homescreen[4].enabled\tfalse\n"},
        {"list --changed 'pm*'", 1,
         "cfgctl: no value of pm* differs from its default for this role\n"},
        {"get management..snmp", 2,
         "cfgctl: 'management..snmp' is not a variable's name; write node.variable, "
         "with [n] after either for an instance other than 0\n"},
        {"--role user shutdown", 1, "cfgctl: shutdown refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED\n"},
    };
    // clang-format on
    for (const auto& step : steps) {
        const Outcome outcome = cfgctl(step.arguments);
        EXPECT_EQ(outcome.nStatus, step.nStatus) << step.arguments;
        EXPECT_EQ(step.nStatus == 0 ? outcome.sOut : outcome.sErr, step.sText) << step.arguments;
        EXPECT_EQ(step.nStatus == 0 ? outcome.sErr : outcome.sOut, "") << step.arguments;
    }
    const Outcome endless = cfgctl("set management.snmp.location=- </dev/zero");
    EXPECT_EQ(endless.nStatus, 2);
    EXPECT_THAT(endless.sErr, HasSubstr("the service takes 1048576 at most\n"));
    EXPECT_THAT(m_daemon->log(), HasSubstr("appconfig: listening port 9000 is NOT allowed \n"));
    EXPECT_THAT(m_daemon->log() + cfgctl("list").sOut, Not(HasSubstr("given on")));
    EXPECT_EQ(cfgctl("shutdown").nStatus, 0);
    EXPECT_EQ(m_daemon->wait(), 0);
    EXPECT_EQ(cfgctl("ping").nStatus, 3);
}

TEST_F(System, TellsAScriptWhatHappened) {
    start();
    const std::string sLocation = "management.snmp.location";
    // clang-format off
    const struct { std::string sCommand; int nStatus; const char* err; } steps[] = {
        {"$cfgctl history", 0, "cfgctl: history holds no change of * for this role\n"},
        {"$cfgctl set " + sLocation + "=Lobby >/dev/full", 5,
         "cfgctl: cannot write to standard output: No space left on device\n"},
        {"$cfgctl --json get no.such >/dev/full", 1,
         "cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'\n"
         "cfgctl: cannot write to standard output: No space left on device\n"},
        {"$cfgctl --socket elsewhere ping", 3,
         "cfgctl: no service at elsewhere: No such file or directory; is appconfig running?\n"},
        {"APPCONFIG_SOCKET=elsewhere $cfgctl ping --socket $APPCONFIG_SOCKET", 0, ""},
        {"timeout 0.2 $cfgctl watch nothing", 124,
         "cfgctl: no variable matches nothing for this role\nwatching nothing until interrupted\n"},
        {"mkfifo news; $cfgctl --json watch >news & exec 3<news; read begun <&3; "
         "$cfgctl set " + sLocation + "=Hall >set; read change <&3; kill $!; wait $! 2>/dev/null; "
         "case $change in *'\"value\":\"Hall\"'*) exit 0; esac", 0, ""},
    };
    // clang-format on
    for (const auto& step : steps) {
        const Outcome outcome = shell(step.sCommand);
        EXPECT_EQ(outcome.nStatus, step.nStatus) << step.sCommand;
        EXPECT_EQ(outcome.sErr, step.err) << step.sCommand;
    }
    EXPECT_EQ(cfgctl("get " + sLocation).sOut, "Hall\n");
    // what a resumed watch begins with takes several pages
    const RawClient maker(m_home.path("run/appconfig.sock"));
    for (int i = 0; i < 400; ++i) {
        pbcommon::Reply reply;
        maker.send(RawClient::frame("set { assignment { address { name: '" + sLocation +
                                    "' } value: '" + std::string(200, i % 2 == 0 ? 'a' : 'b') +
                                    "' } }"));
        ASSERT_TRUE(maker.receive(reply));
    }
    EXPECT_EQ(shell("mkfifo old; $cfgctl watch --since 2 >old & grep -m 400 ^revision <old | sort "
                    "-u | wc -l; "
                    "kill $!; wait $! 2>/dev/null; true")
                  .sOut,
              "400\n");
    const Outcome unread =
        shell("printf next | { $cfgctl set " + sLocation + " || { s=$?; cat; exit $s; }; }");
    EXPECT_EQ(unread.nStatus, 2);
    EXPECT_EQ(unread.sOut, "next") << "standard input is for whoever comes next";
    kill(m_daemon->pid(), SIGSTOP);
    const Outcome stopped = cfgctl("--timeout 0.05 set " + sLocation + "=Attic");
    EXPECT_EQ(stopped.nStatus, 4);
    EXPECT_THAT(stopped.sErr,
                ContainsRegex("^cfgctl: outcome unknown: no answer .* within 0.05 s"));
}

TEST_F(System, StartsAgainAfterBeingKilledAndOnlyOnceAtATime) {
    start();
    EXPECT_EQ(cfgctl("set management.snmp.location=Lobby").nStatus, 0);
    m_daemon->kill();
    start();
    EXPECT_EQ(cfgctl("get management.snmp.location").sOut, "Lobby\n");
    const TemporaryDirectory elsewhere;
    Daemon onState(m_home, {}, "elsewhere"), onSocket(elsewhere, {}, m_home.path("run"));
    for (const auto& [second, held] : {std::pair{&onState, "state"}, {&onSocket, "run"}}) {
        EXPECT_EQ(second->wait(), 0);
        EXPECT_THAT(second->log(), HasSubstr(m_home.path(held) + " is in use by process " +
                                             std::to_string(m_daemon->pid()) + "; exiting\n"));
    }
    EXPECT_FALSE(std::filesystem::exists(m_home.path("elsewhere")));
    EXPECT_EQ(cfgctl("get management.snmp.location").sOut, "Lobby\n");
}

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
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus), sShown, ""};
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
        EXPECT_THAT(outcome.sOut, ContainsRegex(step.shown)) << step.sArguments;
    }
    EXPECT_EQ(m_daemon->wait(), 0);
}

/// The service's own user, and one who has no role of his own.
class OtherUser : public System {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
        start();
        std::filesystem::copy(CFGCTL, m_home.path("cfgctl"));  // where that user may execute it
        chmod(m_home.path().c_str(), 0755);
    }
    [[nodiscard]] Outcome other(const std::string& sArguments) const {
        return shell("setpriv --reuid=65534 --regid=65534 --clear-groups ./cfgctl " + sArguments);
    }
};

TEST_F(OtherUser, IsHeldToTheUserRole) {
    EXPECT_EQ(other("set management.snmp.location=Lobby").nStatus, 0);
    for (const char* const arguments : {"--role admin ping", "--role system shutdown", "shutdown",
                                        "set system.systemmode.noofsecondary=1"}) {
        const Outcome outcome = other(arguments);
        EXPECT_EQ(outcome.nStatus, 1) << arguments;
        EXPECT_THAT(outcome.sErr,
                    AnyOf(HasSubstr("ERR_ROLE_NOT_ALLOWED"), HasSubstr("ERR_READ_ONLY")))
            << arguments;
    }
    EXPECT_THAT(m_daemon->log(),
                ContainsRegex("refused role admin to uid 65534 .nobody., process [0-9]+"));
    const Outcome none = other("options comm.callsetting.callfeatures.fips140enable");
    EXPECT_EQ(none.nStatus, 1);
    EXPECT_THAT(none.sOut, ContainsRegex("^true  .not accepted now: .* ERR_READ_ONLY.\nfalse  "));
    const Outcome masked = other("get --reveal management.snmp.community");
    EXPECT_EQ(masked.nStatus, 1);
    EXPECT_EQ(masked.sOut, "********\n");
    EXPECT_EQ(masked.sErr, "cfgctl: revealing management.snmp.community requires role admin\n");
    chmod(m_home.path("run/appconfig.sock").c_str(), 0600);
    EXPECT_THAT(other("ping").sErr, HasSubstr("ermission"));
}

TEST_F(OtherUser, DoesNotHearOfWhatIsHidden) {
    EXPECT_EQ(cfgctl("set management.snmp.privacypassword=swordfish").nStatus, 0);
    EXPECT_EQ(cfgctl("set management.snmp.versionthree=false").nStatus, 0);
    for (const char* const command : {"get", "describe", "options", "why"}) {
        const Outcome hidden = other(command + std::string(" management.snmp.privacypassword"));
        EXPECT_EQ(hidden.nStatus, 1) << command;
        EXPECT_THAT(hidden.sOut + hidden.sErr,
                    HasSubstr("unknown variable management.snmp.privacyp"));
    }
    for (const char* const command :
         {"list", "history", "complete -- get management.snmp.",
          "get management.snmp.privacypasswor", "set management.snmp.privacypassword=x",
          "history '*privacypassword'", "why management.snmp.traptarget.protocolversion"}) {
        const Outcome outcome = other(command);
        EXPECT_NE(outcome.sOut + outcome.sErr, "") << command;
        EXPECT_THAT(outcome.sOut, Not(HasSubstr("privacypassword"))) << command;
        EXPECT_THAT(outcome.sErr, Not(HasSubstr("privacypassword?"))) << command;
    }
    EXPECT_EQ(cfgctl("get management.snmp.privacypassword").nStatus, 1) << "root acts as admin";
    const std::string sAll =
        cfgctl("--role system history").sOut + cfgctl("--role system --json history").sOut +
        cfgctl("--role system why management.snmp.privacypassword").sOut + m_daemon->log();
    EXPECT_THAT(sAll, HasSubstr("privacypassword\t\"\" -> ********"));
    EXPECT_THAT(sAll, Not(HasSubstr("swordfish")));
}

TEST_F(System, TellsTheServiceManagerWhenItServes) {
    for (const std::string& sName : {m_home.path("notify"), "@" + m_home.path("notify")}) {
        const int fd = notificationSocket(sName);
        setenv("NOTIFY_SOCKET", sName.c_str(), 1);
        const Daemon daemon(m_home);
        std::string sMessage(64, '\0');
        EXPECT_EQ(recv(fd, sMessage.data(), sMessage.size(), 0), 7) << daemon.log();
        EXPECT_STREQ(sMessage.c_str(), "READY=1");
        EXPECT_EQ(cfgctl("ping").nStatus, 0);
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

TEST_F(System, WritesCoreFilesOnlyWithTheSwitch) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"unlimited ", {"-x", "--CoreDump", "--coredump=no"}},
        {"0 ", {"--coredump=yes", "-coredump", "--core"}}};
    for (const auto& [limit, arguments] : cases) {
        const Daemon daemon(m_home, arguments);
        ASSERT_TRUE(daemon.serves());
        const std::string sLimits = "/proc/" + std::to_string(daemon.pid()) + "/limits";
        EXPECT_THAT(TemporaryDirectory::contentOf(sLimits),
                    ContainsRegex(std::string("Max core file size +") + limit + " *unlimited"));
    }
}

}  // namespace
