// One user does the worst to the service that he can think of; another one goes on working. Prints
// how long the latter waits, and checks that each of his requests is answered and that the daemon
// is afterwards what it was. No time is checked: the table is for people, and for bench/run.
//
// usage: fairness [MILLISECONDS=300] [PART OF A KIND'S NAME] [CONNECTIONS]
#include <grp.h>
#include <poll.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <sstream>

#include "daemon.h"
#include "setrequest.h"

namespace {

using Clock = std::chrono::steady_clock;
using TextsT = std::vector<std::string>;

constexpr uid_t kAttacker = 65533;
constexpr uid_t kVictim = 65532;
const std::string kRecent = "uicontrol.apps.recentcalls.enabled=";
const std::string kLocation = "management.snmp.location=";
const std::string kDesc = "management.snmp.systemdesc=";

std::string setFrame(const TextsT& assignments, bool bDryRun = false) {
    pbcommon::Request request = setRequest(assignments);
    request.mutable_set()->set_dry_run(bDryRun);
    std::string sFrame;
    EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
    return sFrame;
}

/// 256 assignments that take turns.
TextsT many(const std::string& sOne, const std::string& sOther) {
    TextsT all;
    while (all.size() < 256) all.insert(all.end(), {sOne, sOther});
    return all;
}

/// The last of many assignments is refused for the sake of a setting that is off.
std::string explainFrame() {
    TextsT assignments = many(kRecent + "false", kRecent + "true");
    assignments.back() = "uicontrol.vantortouch.homescreen[4].enabled=true";
    pbcommon::Request request;
    *request.mutable_explain()->mutable_assignment() = setRequest(assignments).set().assignment();
    std::string sFrame;
    EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
    return sFrame;
}

std::string emptyAssignments() {
    pbcommon::Request request;
    while (request.mutable_set()->assignment_size() < 524'000)
        request.mutable_set()->add_assignment();
    std::string sFrame;
    EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
    return sFrame;
}

std::string stars() {
    std::string sPattern;
    while (sPattern.size() < 250) sPattern += "*e*";
    return sPattern + "q";
}

/// What one connection of the attacker does, for ever.
struct AttackT {
    const char* name;
    std::vector<std::string> first;   ///< frames that prepare it, sent once by the attacker
    std::vector<std::string> frames;  ///< sent in turn
    std::size_t nAhead = 1;           ///< requests sent before their replies have come
    bool bReads = true;
    bool bChurns = false;    ///< a connection for each request
    std::string sOpening{};  ///< frame that each connection begins with
};

std::vector<AttackT> attacks() {
    const std::string fat(900, 'x');
    const auto fatSet = [&](char c) {
        return setFrame(many(kLocation + std::string(200, c), kDesc + std::string(200, c)));
    };
    const std::vector<std::string> slim(10'000, ""), fats(300, "");
    std::vector<std::string> slimHistory, fatHistory;
    for (int i = 0; i < 10'100; ++i)
        slimHistory.push_back(setFrame({kLocation + std::to_string(i)}));
    for (int i = 0; i < 300; ++i) fatHistory.push_back(fatSet(static_cast<char>('a' + i % 26)));
    const std::string none = RawClient::frame("history { pattern: 'q' }");
    const std::string get =
        RawClient::frame("get { address { name: 'management.snmp.location' } }");
    return {
        {"nothing", {}, {}},
        {"ping", {}, {RawClient::ping()}},
        {"history, none matches", slimHistory, {none}},
        {"fat history, none matches", fatHistory, {none}, 42},
        {"fat history, all match", fatHistory, {RawClient::frame("history { pattern: '*' }")}},
        {"list", {}, {RawClient::frame("list { pattern: '*' }")}},
        {"list, many stars", {}, {RawClient::frame("list { pattern: '" + stars() + "' }")}},
        {"256 assignments", {}, {fatSet('a'), fatSet('b')}},
        {"rehearsal of 256 switches",
         {},
         {setFrame(many(kRecent + "false", kRecent + "true"), true)}},
        {"explanation of 256 switches",
         {setFrame({"uicontrol.vantortouch.homescreen[3].enabled=false"})},
         {explainFrame()}},
        {"1 MiB of empty assignments", {}, {emptyAssignments()}},
        {"watchers of many stars",
         {},
         {fatSet('a'), fatSet('b')},
         1,
         true,
         false,
         RawClient::frame("watch { pattern: '" + stars() + "' }")},
        {"pipelined", {}, {get}, 500},
        {"never read", {}, {get}, 1'000'000, false},
        {"connection churn", {}, {RawClient::ping()}, 1, true, true},
    };
}

/// What the attacker's process reports.
struct SharedT {
    std::atomic<std::uint64_t> nAnswers;
    std::atomic<bool> bReady;
};

/// One connection of the attacker. Never waits.
class Attacker {
public:
    Attacker(const std::string& sSocket, const AttackT& attack)
        : m_sSocket(sSocket), m_attack(attack), m_connection(new RawClient(sSocket)) {
        m_sUnsent = attack.sOpening;
    }
    [[nodiscard]] pollfd wants() {
        while (m_sUnsent.empty() && m_nOpen < m_attack.nAhead && !m_attack.frames.empty()) {
            m_sUnsent = m_attack.frames[m_nNext++ % m_attack.frames.size()];
            ++m_nOpen;
        }
        const int nIn = m_attack.bReads ? POLLIN : 0;
        const int nOut = m_sUnsent.empty() ? 0 : POLLOUT;
        return {.fd = m_connection->fd(), .events = static_cast<short>(nIn | nOut), .revents = 0};
    }
    /// @return replies that have come
    std::uint64_t go(short events) {
        if ((events & POLLOUT) != 0) {
            const ssize_t n = ::send(m_connection->fd(), m_sUnsent.data(), m_sUnsent.size(),
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
            if (n > 0) m_sUnsent.erase(0, static_cast<std::size_t>(n));
        }
        return (events & (POLLIN | POLLHUP)) != 0 ? receive() : 0;
    }

private:
    /// Counts the frames in what has come in.
    std::uint64_t receive() {
        static char room[1 << 16];
        const ssize_t n = recv(m_connection->fd(), room, sizeof(room), MSG_DONTWAIT);
        std::uint64_t nFrames = 0;
        for (ssize_t i = 0; i < n;) {
            if (m_sHeader.size() < pbcommon::kFrameHeaderBytes) {
                m_sHeader += room[i++];
                if (m_sHeader.size() < pbcommon::kFrameHeaderBytes) continue;
                m_nRest = pbcommon::frameLength(m_sHeader.data());
            }
            const auto nTaken = std::min<std::size_t>(m_nRest, static_cast<std::size_t>(n - i));
            i += static_cast<ssize_t>(nTaken);
            m_nRest -= nTaken;
            if (m_nRest > 0) break;
            m_sHeader.clear();
            ++nFrames;
        }
        m_nOpen -= std::min<std::size_t>(m_nOpen, nFrames);
        if (n == 0 || (m_attack.bChurns && nFrames > 0)) {
            m_connection = std::make_unique<RawClient>(m_sSocket);
            m_sUnsent = m_attack.sOpening;
            m_sHeader.clear();
            m_nOpen = 0;
        }
        return nFrames;
    }

    const std::string m_sSocket;
    const AttackT& m_attack;
    std::unique_ptr<RawClient> m_connection;
    std::string m_sUnsent, m_sHeader;
    std::size_t m_nRest = 0, m_nOpen = 0, m_nNext = 0;
};

void becomeUser(uid_t uid) {
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setresuid(uid, uid, uid) != 0)) _exit(1);
}

void attackForEver(const std::string& sSocket, const AttackT& attack, std::size_t nConnections,
                   SharedT& shared) {
    for (const std::string& sFrame : attack.first) {
        static const RawClient one(sSocket);
        pbcommon::Reply reply;
        one.send(sFrame);
        if (!one.receive(reply)) _exit(2);
    }
    std::vector<std::unique_ptr<Attacker>> all;
    while (all.size() < nConnections) all.push_back(std::make_unique<Attacker>(sSocket, attack));
    shared.bReady = true;
    for (std::vector<pollfd> wanted(nConnections);;) {
        std::transform(all.begin(), all.end(), wanted.begin(), [](auto& a) { return a->wants(); });
        poll(wanted.data(), wanted.size(), -1);
        for (std::size_t i = 0; i < nConnections; ++i)
            shared.nAnswers += all[i]->go(wanted[i].revents);
    }
}

/// Times of one kind of request, in microseconds.
using TimesT = std::vector<double>;

double quantile(TimesT& times, double share) {
    std::sort(times.begin(), times.end());
    return times.empty()
               ? 0
               : times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
}

struct WaitsT {
    TimesT get, set;
    std::size_t nUnanswered = 0;
};

WaitsT work(const std::string& sSocket, std::chrono::milliseconds duration) {
    const bool bRoot = geteuid() == 0;
    if (bRoot && seteuid(kVictim) != 0) return {.get = {}, .set = {}, .nUnanswered = 1};
    const RawClient connection(sSocket);  // is of who is this when it connects
    if (bRoot && seteuid(0) != 0) return {.get = {}, .set = {}, .nUnanswered = 1};
    WaitsT waits;
    const std::string sGet = RawClient::frame("get { address { name: 'management.snmp.admin' } }");
    const Clock::time_point end = Clock::now() + duration;
    for (int i = 0; Clock::now() < end && waits.nUnanswered == 0; ++i) {
        const bool bSet = i % 4 == 3;
        const std::string sFrame =
            bSet ? setFrame({"management.snmp.admin=" + std::to_string(i)}) : sGet;
        const Clock::time_point sent = Clock::now();
        pbcommon::Reply reply;
        connection.send(sFrame);
        const bool bAnswered = connection.receive(reply) && reply.code() == pbcommon::kNoError;
        waits.nUnanswered += bAnswered ? 0 : 1;
        (bSet ? waits.set : waits.get)
            .push_back(std::chrono::duration<double, std::micro>(Clock::now() - sent).count());
    }
    return waits;
}

std::ptrdiff_t descriptorsOf(const Daemon& daemon) {
    const std::string sDirectory = "/proc/" + std::to_string(daemon.pid()) + "/fd";
    return std::distance(std::filesystem::directory_iterator(sDirectory), {});
}

/// In MiB.
double residentOf(const Daemon& daemon) {
    std::istringstream fields(
        TemporaryDirectory::contentOf("/proc/" + std::to_string(daemon.pid()) + "/statm"));
    double all = 0, resident = 0;
    fields >> all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

/// Whether the daemon holds no more descriptors than before, once it has seen that clients are
/// gone.
bool letsGo(const Daemon& daemon, std::ptrdiff_t nBefore) {
    for (int i = 0; i < 5000 && descriptorsOf(daemon) > nBefore; ++i) usleep(1000);
    return descriptorsOf(daemon) <= nBefore;
}

/// @return whether all was well
bool measure(const AttackT& attack, std::size_t nConnections, std::chrono::milliseconds duration) {
    const TemporaryDirectory home;
    std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
    Daemon daemon(home);
    if (!daemon.serves()) return false;
    const std::ptrdiff_t nDescriptors = descriptorsOf(daemon) + 1;  // and the log of changes
    const std::string sSocket = home.path("run/appconfig.sock");
    auto& shared = *static_cast<SharedT*>(
        mmap(nullptr, sizeof(SharedT), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const pid_t attacker = fork();
    if (attacker == 0) {
        becomeUser(kAttacker);
        attackForEver(sSocket, attack, nConnections, shared);
    }
    while (!shared.bReady) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::uint64_t nBefore = shared.nAnswers;
    const Clock::time_point began = Clock::now();
    WaitsT waits = work(sSocket, duration);
    const std::chrono::duration<double> taken = Clock::now() - began;
    const double rate = static_cast<double>(shared.nAnswers - nBefore) / taken.count();
    ::kill(attacker, SIGKILL);
    waitpid(attacker, nullptr, 0);
    const double most = residentOf(daemon);
    const bool bWell = waits.nUnanswered == 0 && letsGo(daemon, nDescriptors);
    const double history =
        static_cast<double>(std::filesystem::file_size(home.path("state/appconfig.db"))) /
        (1 << 20);
    printf("%-28s %3zu %8.0f %8.0f %8.0f %8.0f %8.0f %8.0f %9.0f %5.1f %5.1f %6.1f\n", attack.name,
           nConnections, quantile(waits.get, 0.5), quantile(waits.get, 0.99),
           quantile(waits.get, 1), quantile(waits.set, 0.5), quantile(waits.set, 0.99),
           quantile(waits.set, 1), rate, most, residentOf(daemon), history);
    fflush(stdout);
    if (!bWell) {
        printf("  ... unanswered %zu, descriptors %td, before %td\n", waits.nUnanswered,
               descriptorsOf(daemon), nDescriptors);
    }
    munmap(&shared, sizeof(shared));
    return bWell;
}

}  // namespace

int main(int argc, char** argv) {
    const std::chrono::milliseconds duration(argc > 1 ? atoi(argv[1]) : 300);
    const std::string sPart = argc > 2 ? argv[2] : "";
    if (geteuid() != 0) puts("not root: attacker and victim are the same user here");
    printf("%32s %26s %26s %9s %11s %6s\n", "", "get, us", "set, us", "attacker", "daemon, MiB",
           "file,");
    printf("%-28s %3s %8s %8s %8s %8s %8s %8s %9s %5s %5s %6s\n", "attack", "by", "p50", "p99",
           "longest", "p50", "p99", "longest", "replies/s", "then", "after", "MiB");
    bool bWell = true;
    std::vector<std::size_t> numbers = {1, 64};
    if (argc > 3) numbers = {static_cast<std::size_t>(atoi(argv[3]))};
    for (const AttackT& attack : attacks()) {
        if (std::string(attack.name).find(sPart) == std::string::npos) continue;
        for (const std::size_t nConnections : numbers)
            bWell &= measure(attack, nConnections, duration);
    }
    return bWell ? 0 : 1;
}
