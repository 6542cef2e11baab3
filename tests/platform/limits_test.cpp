#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <deque>
#include <filesystem>
#include <thread>

#include "casename.h"
#include "dispatchercase.h"

namespace {

using namespace PbUtility;
using namespace std::chrono_literals;

constexpr const char* kRefused = "ERR_TOO_MANY_CONNECTIONS";

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Another user, who holds as many connections as he can get.
class OtherUser {
public:
    OtherUser(uid_t uid, const std::string& sSocketPath, int nWanted) {
        int ends[2] = {};
        EXPECT_EQ(pipe(ends), 0);
        m_child = fork();
        if (m_child == 0) {
            const bool bOther = setuid(uid) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0;
            std::deque<RawClient> clients;
            pbcommon::Reply reply;
            for (int i = 0; bOther && i < nWanted; ++i) {
                clients.emplace_back(sSocketPath).send(RawClient::ping());
                m_nServed += clients.back().receive(reply) && reply.has_service() ? 1 : 0;
            }
            (void)!write(ends[1], &m_nServed, sizeof(m_nServed));
            pause();
        }
        close(ends[1]);
        EXPECT_EQ(read(ends[0], &m_nServed, sizeof(m_nServed)), ssize_t{sizeof(m_nServed)});
        close(ends[0]);
    }
    ~OtherUser() {
        kill(m_child, SIGKILL);
        EXPECT_EQ(waitpid(m_child, nullptr, 0), m_child);
    }
    OtherUser& operator=(OtherUser&&) = delete;  // nor a copy

    [[nodiscard]] int served() const { return m_nServed; }

private:
    pid_t m_child = -1;
    int m_nServed = 0;
};

class Limits : public Dispatcher {
protected:
    /// Whether it holds after some time: the dispatcher may yet have to see that clients have gone.
    [[nodiscard]] bool soon(const std::function<bool()>& holds) const {
        const auto patience = std::chrono::steady_clock::now() + 10s;
        while (!holds()) {
            (void)serves();
            if (std::chrono::steady_clock::now() > patience) return false;
        }
        return true;
    }
};

TEST_F(Limits, RefuseWhatConnectsBeyondThemUntilOthersLeave) {
    start();
    std::deque<RawClient> clients;
    for (std::size_t i = 0; i < pbcommon::kMaxConnections; ++i) {
        ASSERT_EQ(answer(clients.emplace_back(socketPath()), RawClient::ping()), "0") << i;
    }
    for (int i = 0; i < 20; ++i) {
        const RawClient refused(socketPath());
        pbcommon::Reply reply;
        ASSERT_TRUE(refused.receive(reply));
        EXPECT_EQ(reply.code(), pbcommon::kOutOfResources);
        EXPECT_THAT(reply.tag(), testing::ElementsAre(kRefused));
        EXPECT_TRUE(refused.isClosed());
    }
    EXPECT_EQ(m_log.count("too many connections: refused one of uid " + std::to_string(getuid()) +
                          ", process " + std::to_string(getpid())),
              1U);
    EXPECT_EQ(m_log.count("too many"), 1U) << "a flood does not reach the log";
    clients.pop_back();
    EXPECT_TRUE(soon([this] { return serves(); }));
}

TEST_F(Limits, KeepAUserFromTheOthersShareAndAllUsersFromTheSystems) {
    if (getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0711));
    start();
    constexpr uid_t kFirst = 65530;
    constexpr auto kEach = static_cast<int>(pbcommon::kMaxConnectionsPerUser);
    int nLeft = static_cast<int>(pbcommon::kMaxConnectionsOfUsers);
    std::deque<OtherUser> users;
    for (uid_t uid = kFirst; nLeft > 0; ++uid) {
        const int nExpected = std::min(nLeft, kEach);
        ASSERT_EQ(users.emplace_back(uid, socketPath(), kEach + 1).served(), nExpected) << uid;
        nLeft -= nExpected;
    }
    EXPECT_EQ(OtherUser(kFirst - 1, socketPath(), 1).served(), 0);
    EXPECT_TRUE(serves()) << "root gets in";
    users.pop_front();
    EXPECT_TRUE(soon([this] { return OtherUser(kFirst - 1, socketPath(), 1).served() == 1; }));
}

TEST_F(Limits, RefuseWatchersBeyondThemUntilOthersLeave) {
    start();
    const std::string sWatch = RawClient::frame("watch { pattern: '*' }");
    std::deque<RawClient> watchers;
    for (std::size_t i = 0; i < pbcommon::kMaxWatchers; ++i) {
        ASSERT_EQ(answer(watchers.emplace_back(socketPath()), sWatch), "0") << i;
    }
    const RawClient late(socketPath());
    EXPECT_EQ(answer(late, sWatch), std::to_string(kOutOfResources));
    EXPECT_EQ(answer(watchers[0], sWatch), "0") << "it watches already";
    watchers.pop_back();
    EXPECT_TRUE(soon([&] { return answer(late, sWatch) == "0"; }));
}

struct HalfFrameCaseT {
    const char* name;
    std::string sBytes;
};

const HalfFrameCaseT halfFrameCases[] = {
    {"HalfAHeader", RawClient::ping().substr(0, 2)},
    {"AHeader", RawClient::ping().substr(0, 4)},
    {"AllButAByte", getFrame("n").substr(0, getFrame("n").size() - 1)},
    {"BehindAFrame", RawClient::ping() + RawClient::ping().substr(0, 5)},
    {"BehindAChange", setFrame("s") + RawClient::ping().substr(0, 5)},
};

class HalfFrame : public Limits, public testing::WithParamInterface<HalfFrameCaseT> {};

TEST_P(HalfFrame, IsNotWaitedForLongAndHurtsNobodyElse) {
    dispatcher().setFrameTime(20ms);
    start();
    const RawClient idle(socketPath()), slow(socketPath());
    EXPECT_EQ(answer(idle, RawClient::ping()), "0");
    slow.send(GetParam().sBytes);
    while (answer(slow) != "none") continue;
    EXPECT_TRUE(slow.isClosed());
    EXPECT_EQ(m_log.count(" closed: it did not finish a frame\n"), 1U);
    EXPECT_EQ(answer(idle, RawClient::ping()), "0");
}

INSTANTIATE_TEST_SUITE_P(, HalfFrame, testing::ValuesIn(halfFrameCases), caseName);

TEST_F(Limits, DoNotCountTheTimeThatAWholeFrameWaitsForTheService) {
    dispatcher().setFrameTime(500ms);
    start(false);
    const RawClient whole(socketPath()), broken(socketPath()), half(socketPath());
    const std::string sFrame = getFrame("whole");
    whole.send(sFrame.substr(0, 9));
    EXPECT_EQ(answer(broken, "\xff\xff\xff\xff"), "none");  // the half frame has been seen
    whole.send(sFrame.substr(9));
    half.send(sFrame.substr(0, 9));
    EXPECT_TRUE(half.isClosed()) << "dropped, ready or not";
    m_pbUtils.readyToDispatchMessages(true);
    EXPECT_THAT(answer(whole), testing::HasSubstr("whole"));
}

TEST_F(Limits, ClientsThatDieAtAnyByteLeaveNothingBehind) {
    start();
    ASSERT_TRUE(serves());
    const std::size_t nBefore = openDescriptors();
    for (const std::string& sFrame : {getFrame("n"), setFrame("s"), RawClient::ping()}) {
        for (std::size_t nBytes = 0; nBytes <= sFrame.size(); ++nBytes) {
            RawClient(socketPath()).send(sFrame.substr(0, nBytes));
        }
    }
    EXPECT_TRUE(soon([this, nBefore] {
        return openDescriptors() == nBefore && m_handler.trace() == "n s commit ";
    })) << m_handler.trace();
}

TEST_F(Limits, AThousandConnectionsLeaveNothingBehind) {
    start();
    const auto comeAndGo = [this] {
        std::deque<RawClient> clients;
        for (int i = 0; i < 250; ++i) {
            ASSERT_EQ(answer(clients.emplace_back(socketPath()), setFrame("s")), "s");
        }
    };
    ASSERT_TRUE(serves());
    const std::size_t nDescriptors = openDescriptors();
    const auto hasAll = [nDescriptors] { return openDescriptors() == nDescriptors; };
    comeAndGo();  // what the dispatcher keeps for later it has now
    ASSERT_TRUE(soon(hasAll));
    const std::size_t nBytes = mallinfo2().uordblks;
    for (int i = 0; i < 3; ++i) comeAndGo();
    EXPECT_TRUE(soon(hasAll));
    EXPECT_LE(mallinfo2().uordblks, nBytes + (std::size_t{64} << 10));
}

TEST_F(Limits, AnIdleConnectionKeepsNoLongMessage) {
    start();
    ASSERT_TRUE(serves());
    const std::string sLong = getFrame(std::string(1000000, 'x'));
    const std::size_t nBytes = mallinfo2().uordblks;
    std::deque<RawClient> clients;
    for (int i = 0; i < 20; ++i) {
        EXPECT_NE(answer(clients.emplace_back(socketPath()), sLong), "none");
        EXPECT_EQ(answer(clients.back(), RawClient::ping()), "0");
    }
    EXPECT_LE(mallinfo2().uordblks, nBytes + 20 * (std::size_t{64} << 10));
}

}  // namespace
