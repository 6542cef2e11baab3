#include <grp.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <deque>

#include "dispatchercase.h"

namespace {

constexpr gid_t kNoGroup = 0;
/// What the system says of any group that is looked up: its number or kNoGroup, or an error.
std::atomic<gid_t> gGroup;
std::atomic<int> gGroupError;

}  // namespace

/// Takes the place of the C library's.
extern "C" int getgrnam_r(const char* /*name*/, group* entry, char* /*texts*/, size_t nBytes,
                          group** found) {
    if (nBytes < 3000) return ERANGE;  // it has many members
    entry->gr_gid = gGroup;
    *found = gGroup == kNoGroup ? nullptr : entry;
    return gGroupError;
}

namespace {

using namespace PbUtility;

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class Limits : public Dispatcher {
protected:
    /// How many of so many more connections of a user are served. All of them stay.
    std::size_t served(uid_t uid, std::size_t nWanted) {
        std::size_t nServed = 0;
        // the user of this thread alone: the dispatcher stays who it is
        syscall(SYS_setresuid, -1, uid, -1);
        for (std::size_t i = 0; i < nWanted; ++i) {
            nServed += answer(m_clients.emplace_back(socketPath()), RawClient::ping()) == "0";
        }
        syscall(SYS_setresuid, -1, getuid(), -1);
        return nServed;
    }
    /// Whether it holds after a while: the dispatcher may yet have to see that clients have gone.
    [[nodiscard]] bool soon(const std::function<bool()>& holds) const {
        int nRounds = 0;
        while (!holds() && ++nRounds < 10000) (void)serves();
        return nRounds < 10000;
    }

    std::deque<RawClient> m_clients;
};

TEST_F(Limits, RefuseConnectionsAndWatchersBeyondThemUntilOthersLeave) {
    start();
    const auto limits = pbcommon::limitsOf(AppConfig::kSystem);
    EXPECT_EQ(served(getuid(), limits.nConnections + 20), limits.nConnections);
    const RawClient refused(socketPath());
    pbcommon::Reply reply;
    ASSERT_TRUE(refused.receive(reply));
    EXPECT_EQ(reply.ShortDebugString(),
              R"(code: kOutOfResources tag: "ERR_TOO_MANY_CONNECTIONS" )"
              R"(sentence: "more connections than the user, or all users together, may have")");
    EXPECT_TRUE(refused.isClosed());
    EXPECT_EQ(m_log.count("too many connections: refused one of uid " + std::to_string(getuid()) +
                          ", process " + std::to_string(getpid())),
              1U);
    EXPECT_EQ(m_log.count("too many"), 1U) << "a flood does not reach the log";
    const std::string sWatch = RawClient::frame("watch { pattern: '*' }");
    for (std::size_t i = 0; i < limits.nWatches; ++i) {
        ASSERT_EQ(answer(m_clients[i], sWatch), "0") << i;
    }
    const RawClient& late = m_clients[limits.nWatches];
    EXPECT_EQ(answer(late, sWatch), "ERR_TOO_MANY_WATCHERS");
    EXPECT_EQ(answer(m_clients[0], sWatch), "0") << "takes the place of the watch with its id";
    EXPECT_EQ(answer(m_clients[0], RawClient::frame("id: 1 watch {}")), "ERR_TOO_MANY_WATCHERS");
    m_clients.pop_front();
    EXPECT_TRUE(soon([&] { return serves() && answer(late, sWatch) == "0"; }));
}

TEST_F(Limits, KeepAUserFromTheOthersShareAndAllUsersFromTheSystems) {
    if (getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0711));
    start();
    const auto limits = pbcommon::limitsOf(AppConfig::kUser);
    uid_t uid = 65500;
    for (std::size_t nLeft = limits.nConnections; nLeft > 0; ++uid) {
        const std::size_t nShare = std::min(nLeft, limits.nConnectionsPerUser);
        ASSERT_EQ(served(uid, limits.nConnectionsPerUser + 1), nShare) << uid;
        nLeft -= nShare;
    }
    const std::string sWatch = RawClient::frame("watch { pattern: '*' }");
    std::size_t nOfFirst = 0, nOfAll = 0;
    for (std::size_t i = 0; i < m_clients.size(); ++i) {
        const bool bWatches = answer(m_clients[i], sWatch) == "0";
        nOfFirst += bWatches && i <= limits.nConnectionsPerUser ? 1 : 0;
        nOfAll += bWatches ? 1 : 0;
    }
    EXPECT_EQ(nOfFirst, limits.nWatchesPerUser);
    EXPECT_EQ(nOfAll, limits.nWatches);
    EXPECT_EQ(answer(RawClient(socketPath()), sWatch), "0") << "root may";
    EXPECT_EQ(served(uid, 1), 0U);
    EXPECT_TRUE(serves()) << "root gets in";
    m_clients.pop_front();
    EXPECT_TRUE(soon([this, uid] { return served(uid, 1) == 1; }));
}

TEST_F(Dispatcher, LooksUpRoleGroupsUntilTheyAreFound) {
    if (getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    constexpr gid_t kGroup = 65500;
    const struct {
        gid_t group;
        int nError;
        AppConfig::SecurityRole role;
        std::size_t nLogged;
    } steps[] = {
        {kNoGroup, EMFILE, AppConfig::kUser, 1},  {kNoGroup, EIO, AppConfig::kUser, 1},
        {kNoGroup, 0, AppConfig::kUser, 1},       {kNoGroup, EMFILE, AppConfig::kUser, 2},
        {kGroup, 0, AppConfig::kProvisioning, 2}, {kNoGroup, EIO, AppConfig::kProvisioning, 2},
    };
    std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0711));
    start();
    for (const auto& step : steps) {
        usleep(60'000);  // it is looked up no more often
        gGroup = step.group;
        gGroupError = step.nError;
        // this thread alone: the dispatcher stays who it is
        syscall(SYS_setresgid, -1, kGroup, -1);
        syscall(SYS_setresuid, -1, 65500, -1);
        const RawClient client(socketPath());
        const auto mayAct = [&client](int nRole) {
            return answer(client, getFrame("n", "role: " + std::to_string(nRole))).front() == 'n';
        };
        const bool bRole = mayAct(step.role) && !mayAct(step.role + 1);
        syscall(SYS_setresuid, -1, 0, -1);
        syscall(SYS_setresgid, -1, 0, -1);
        EXPECT_TRUE(bRole) << strerror(step.nError);
        EXPECT_EQ(m_log.count("cannot look up group"), step.nLogged);
    }
}

TEST_F(Limits, LetAWholeFrameWaitUntilTheServiceIsReady) {
    setFrameTime(500);
    start(false);
    const RawClient whole(socketPath()), broken(socketPath()), half(socketPath());
    const std::string sFrame = getFrame("whole");
    whole.send(sFrame.substr(0, 9));
    EXPECT_EQ(answer(broken, "\xff\xff\xff\xff"), "none");  // the half frame has been seen
    whole.send(sFrame.substr(9));
    half.send(sFrame.substr(0, 9));
    EXPECT_TRUE(half.isClosed()) << "dropped, ready or not";
    EXPECT_FALSE(whole.hasAnswer());
    m_pbUtils.readyToDispatchMessages(true);
    EXPECT_THAT(answer(whole), testing::HasSubstr("whole"));
}

TEST_F(Limits, ClientsThatGoAtAnyByteLeaveNothingBehind) {
    start();
    ASSERT_TRUE(serves());
    const std::ptrdiff_t nDescriptors = openDescriptors();
    std::string sTrace;
    const auto comeAndGo = [&] {
        for (const std::string& sFrame : {getFrame("n"), setFrame("s"), RawClient::ping()}) {
            for (std::size_t nBytes = 0; nBytes <= sFrame.size(); ++nBytes) {
                RawClient(socketPath()).send(sFrame.substr(0, nBytes));
            }
        }
        sTrace += "n s commit ";
        return soon(
            [&] { return openDescriptors() == nDescriptors && m_handler.trace() == sTrace; });
    };
    ASSERT_TRUE(comeAndGo()) << m_handler.trace();
    // what the dispatcher keeps for later it has now
    const std::size_t nBytes = mallinfo2().uordblks;
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(comeAndGo()) << m_handler.trace();
    EXPECT_LE(mallinfo2().uordblks, nBytes + (std::size_t{64} << 10));
}

TEST_F(Limits, AnIdleConnectionKeepsNoLongMessage) {
    start();
    ASSERT_TRUE(serves());
    const std::string sLong = getFrame(std::string(1000000, 'x'));
    const std::size_t nBytes = mallinfo2().uordblks;
    for (int i = 0; i < 20; ++i) {
        EXPECT_NE(answer(m_clients.emplace_back(socketPath()), sLong), "none");
        EXPECT_EQ(answer(m_clients.back(), RawClient::ping()), "0");
    }
    EXPECT_LE(mallinfo2().uordblks, nBytes + 20 * (std::size_t{64} << 10));
}

}  // namespace
