// Who is served when, and what a request may cost before it is served.
#include <sys/syscall.h>
#include <unistd.h>

#include <deque>

#include "dispatchercase.h"

namespace {

using namespace std::string_literals;

class Turns : public Dispatcher {
protected:
    /// Connects as a user and sends, and has the dispatcher see it before anything else comes.
    void queue(uid_t uid, const std::string& sFrames) {
        syscall(SYS_setresuid, -1, uid, -1);  // this thread alone
        m_clients.emplace_back(socketPath()).send(sFrames);
        syscall(SYS_setresuid, -1, getuid(), -1);
        EXPECT_EQ(answer(RawClient(socketPath()), "\xff\xff\xff\xff"), "none");
    }
    static std::string gets(const std::string& sNode, int nTimes) {
        std::string sFrames;
        while (nTimes-- > 0) sFrames += getFrame(sNode);
        return sFrames;
    }

    std::deque<RawClient> m_clients;
};

TEST_F(Turns, GoRoundTheUsersHoweverMuchOneHasQueued) {
    if (getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0711));
    start(false);
    for (int i = 0; i < 3; ++i) queue(65501, gets("much", 100) + setFrame("much"));
    queue(65502, gets("little", 2) + setFrame("little") + getFrame("last"));
    m_pbUtils.readyToDispatchMessages(true);
    for (const char* const expected : {"little", "little", "little", "last"}) {
        EXPECT_THAT(answer(m_clients.back()), testing::StartsWith(expected));
    }
    const std::string sTrace = m_handler.trace();
    const std::string sBefore = sTrace.substr(0, sTrace.find("last"));
    std::size_t nOthers = 0;
    for (std::size_t i = 0; (i = sBefore.find("much", i)) != std::string::npos; ++i) ++nOthers;
    EXPECT_LE(nOthers, 4U) << "one for each of his: " << sBefore;
    for (int i = 0; i < 3 * 101; ++i)
        EXPECT_EQ(answer(m_clients[i / 101 % 3]).substr(0, 4), "much");
}

TEST_F(Turns, ACommitIsForABoundedNumberOfChanges) {
    start(false);
    std::string sFrames, sAnswers;
    for (int i = 0; i < 200; ++i) sFrames += setFrame("s");
    queue(getuid(), sFrames);
    m_pbUtils.readyToDispatchMessages(true);
    for (int i = 0; i < 200; ++i) sAnswers += answer(m_clients[0]);
    EXPECT_EQ(sAnswers, std::string(200, 's'));
    std::string sTrace = m_handler.trace();
    for (std::size_t nCommit = 0; (nCommit = sTrace.find("commit")) != std::string::npos;) {
        EXPECT_LE(nCommit, 2 * pbcommon::kMaxHeldAnswers);
        sTrace.erase(0, nCommit + 7);
    }
}

TEST_F(Turns, ARequestOfManyThousandFieldsIsRefusedUnread) {
    const std::string sEmpty = "\x0a\x00"s, sId = "\x60\x07"s;  // an assignment; id: 7
    const auto frame = [](const std::string& sMessage) {
        std::string sFrame = "\0"s;
        for (int nShift = 16; nShift >= 0; nShift -= 8) {
            sFrame += static_cast<char>(sMessage.size() >> nShift);
        }
        return sFrame + sMessage;
    };
    const auto set = [&](std::size_t nAssignments) {
        std::string sSet;
        while (nAssignments-- > 0) sSet += sEmpty;
        std::string sLength;
        for (std::size_t n = sSet.size(); n > 0; n >>= 7) {
            sLength += static_cast<char>((n & 0x7f) | (n > 0x7f ? 0x80 : 0));
        }
        return "\x22" + sLength + sSet;
    };
    start();
    const char* const kRefused = R"(id: 7 code: kOutOfRange tag: "ERR_TOO_MANY_ASSIGNMENTS" )"
                                 R"(sentence: "more assignments than one change may have")";
    const struct {
        std::string sMessage;
        const char* reply;
    } cases[] = {
        {set(500'000) + sId, kRefused},
        {sId + set(9'000), kRefused},
        {set(9'000).substr(0, 17'000), kRefused + 6},
        {sId + std::string(20'000, 'x'), kRefused},
    };
    for (const auto& c : cases) {
        const RawClient client(socketPath());
        client.send(frame(c.sMessage));
        pbcommon::Reply reply;
        ASSERT_TRUE(client.receive(reply));
        EXPECT_EQ(reply.ShortDebugString(), c.reply);
    }
    EXPECT_EQ(m_handler.trace(), "");
}

TEST_F(Turns, AUserMayHaveSoManyBytesUnserved) {
    start();
    const std::string sHalf = "\x00\x10\x00\x00"s + std::string(10, 'x');
    const char* const kLogged = "its user has too many bytes in unfinished requests";
    while (m_clients.size() < pbcommon::kMaxInputBytesPerUser / pbcommon::kMaxMessageBytes) {
        m_clients.emplace_back(socketPath()).send(sHalf);
        EXPECT_TRUE(serves());
    }
    EXPECT_TRUE(m_clients.back().isClosed()) << "room for reading comes on top";
    m_clients.pop_front();
    EXPECT_TRUE(serves());
    m_clients.emplace_back(socketPath()).send(sHalf);
    EXPECT_TRUE(serves());
    EXPECT_EQ(m_log.count(kLogged), 1U);
}

}  // namespace
