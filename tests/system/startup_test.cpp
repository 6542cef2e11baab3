// The real daemon, started where something is missing or somebody is in its way.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "casename.h"
#include "daemon.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class StartUp : public testing::Test {
protected:
    TemporaryDirectory m_home;
};

TEST_F(StartUp, OneOfTwoServesAndTheNextWaitsUntilItHasEnded) {
    const std::string sSocket = m_home.path("run/appconfig.sock");
    const auto shutDown = [&sSocket] {
        const RawClient client(sSocket);
        pbcommon::Reply reply;
        client.send(RawClient::frame("role: kSystem shutdown {}"));
        return client.receive(reply) && reply.code() == pbcommon::kNoError;
    };
    const char* const rounds = std::getenv("START_ROUNDS");
    for (int n = rounds == nullptr ? 5 : std::atoi(rounds); n > 0; --n) {
        Daemon first(m_home), second(m_home);
        const bool bFirst = first.serves();
        Daemon &serving = bFirst ? first : second, &waiting = bFirst ? second : first;
        ASSERT_TRUE(serving.serves()) << first.log() << second.log();
        EXPECT_THAT(waiting.log(), Not(HasSubstr("listening")));
        ASSERT_TRUE(shutDown());
        ASSERT_TRUE(waiting.serves()) << waiting.log();
        EXPECT_EQ(serving.wait(), 0);
        ASSERT_TRUE(shutDown());
        Daemon next(m_home);
        ASSERT_TRUE(next.serves()) << next.log();
        EXPECT_EQ(waiting.wait(), 0);
    }
}

struct StarvedCaseT {
    const char* name;
    __rlimit_resource resource;
    rlim_t nLeast, nMost, nStep;  ///< of the limit
};

// clang-format off
const StarvedCaseT starvedCases[] = {
    {"Processes",   RLIMIT_NPROC,  0,       0,        1      },
    {"Descriptors", RLIMIT_NOFILE, 0,       20,       1      },
    {"Memory",      RLIMIT_AS,     8 << 20, 24 << 20, 1 << 17},
    {"FileSize",    RLIMIT_FSIZE,  0,       1 << 17,  1 << 12},
};
// clang-format on

class Starved : public StartUp, public testing::WithParamInterface<StarvedCaseT> {};

TEST_P(Starved, ServesOrEndsInOrder) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers need themselves what is scarce here";
#endif
    constexpr uid_t kSomebody = 65500;  // root may have any number of processes
    const std::string sLog = m_home.path("log");
    (void)!chown(m_home.path().c_str(), kSomebody, kSomebody);
    for (rlim_t n = GetParam().nLeast; n <= GetParam().nMost; n += GetParam().nStep) {
        std::filesystem::remove_all(m_home.path("run"));
        Daemon daemon(m_home, {}, "run", [&] {
            setenv("TEST_LOG_DEVICE", "", 1);
            const int log = open(sLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            for (const int fd : {1, 2}) dup2(log, fd);
            if (geteuid() == 0 && setuid(kSomebody) != 0) _exit(1);
            const rlimit limit{.rlim_cur = n, .rlim_max = n};
            setrlimit(GetParam().resource, &limit);
        });
        if (daemon.serves()) continue;
        // it may also be there, and have no memory for its clients
        const bool bEnded = daemon.hasEnded();
        const std::string sText = TemporaryDirectory::contentOf(sLog);
        if (sText.find("AppConfig: ") == std::string::npos) continue;  // it was not even loaded
        EXPECT_TRUE(!bEnded || daemon.wait() == 0) << n << sText;
        EXPECT_THAT(sText, HasSubstr("CRIT ")) << n;
        EXPECT_NE(std::filesystem::exists(m_home.path("run/appconfig.sock")), bEnded) << n;
    }
}

INSTANTIATE_TEST_SUITE_P(, Starved, testing::ValuesIn(starvedCases), caseName);

}  // namespace
