// The real daemon, started where something is missing or somebody is in its way.
#include <fcntl.h>
#include <gmock/gmock.h>

#include "daemon.h"

namespace {

using testing::HasSubstr;

class StartUp : public testing::Test {
protected:
    TemporaryDirectory m_home;
};

TEST_F(StartUp, GivesNoFileOfItsOwnTheNumberOfAStandardStream) {
    for (unsigned nClosed = 0; nClosed < 8; ++nClosed) {
        const Daemon daemon(m_home, {}, "run", [nClosed] {
            setenv("TEST_LOG_DEVICE", "", 1);
            const int null = open("/dev/null", O_RDWR);
            for (int fd = 0; fd < 3; ++fd) (nClosed >> fd & 1) != 0 ? close(fd) : dup2(null, fd);
            closefrom(3);
        });
        ASSERT_TRUE(daemon.serves()) << nClosed;
        for (const char* const fd : {"0", "1", "2"}) {
            const std::string sLink = "/proc/" + std::to_string(daemon.pid()) + "/fd/" + fd;
            EXPECT_EQ(std::filesystem::read_symlink(sLink), "/dev/null") << nClosed;
        }
    }
}

}  // namespace
