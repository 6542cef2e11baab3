#include <deque>
#include <thread>

#include "casename.h"
#include "dispatchercase.h"

namespace {

using namespace PbUtility;
using namespace std::string_literals;

TEST_F(Dispatcher, EndsOnlyTheConnectionOfABadFrameAndTheLogSaysWhy) {
    constexpr const char* kCut = "it ended in the middle of a frame";
    constexpr const char* kLate = "it did not finish a frame";
    const std::string sPing = RawClient::ping();
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"\x00\x10\x00\x01"s,                             "it announced a frame of 1048577 bytes"},
        {"\x00\x00\x00\x03\xff\xff\xff"s,                 "it sent a frame that is no request"},
        {"\x00\x00"s,                                     kCut},
        {"\x00\x10\x00\x00"s + std::string(50000, 'x'),   kCut},
        {sPing.substr(0, 2),                              kLate},
        {getFrame("n").substr(0, 9),                      kLate},
        {sPing + sPing.substr(0, 5),                      kLate},
        {setFrame("s") + sPing.substr(0, 5),              kLate},
    };
    // clang-format on
    setFrameTime(200);
    start();
    const RawClient other(socketPath());
    std::string sLog;
    for (const auto& [sBytes, reason] : cases) {
        const RawClient client(socketPath());
        client.send(sBytes);
        if (reason == kCut) client.end(SHUT_WR);
        while (answer(client) != "none") continue;
        EXPECT_TRUE(client.isClosed());
        EXPECT_EQ(answer(other, RawClient::ping()), "0");
        sLog += "<4>test: hd[0]: pbUtility: connection of uid " + std::to_string(getuid()) +
                ", process " + std::to_string(getpid()) + " closed: " + reason + "\n";
    }
    EXPECT_THAT(m_log.content(), testing::EndsWith(sLog));
}

TEST_F(Dispatcher, AnswersEveryFrameInOrderHoweverTheBytesArrive) {
    start();
    const RawClient client(socketPath());
    std::string sAll;
    for (std::size_t i = 0; i < 300; ++i) {
        // answers of many sizes: some do not fit into one round of writing
        sAll += getFrame(std::to_string(i) + "," + std::string(i * 20, 'x'));
    }
    std::thread sender([&] {
        client.send(sAll.substr(0, 5));
        client.send(sAll.substr(5));
        client.end(SHUT_WR);
    });
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(serves()) << "nobody waits for who does not read";
    for (int i = 0; i < 300; ++i) {
        EXPECT_THAT(answer(client), testing::StartsWith(std::to_string(i) + ","));
    }
    sender.join();
    EXPECT_TRUE(client.isClosed());
}

TEST_F(Dispatcher, GrantsAtMostThePeersOwnRoleAboveAdminOnlyWhenAskedAndEndsForTheSystem) {
    start();
    const RawClient client(socketPath());
    for (const auto& [sFrame, sAnswer] :
         {std::pair{getFrame("n"), "n me\uFFFD 1"},
          {getFrame("n", "role: kSystem"), "n me\uFFFD 3"},
          {getFrame("n", "role: kProvisioning"), "n me\uFFFD 2"},
          {getFrame("n", "role: kStartup"), "ERR_ROLE_NOT_ALLOWED"},
          {getFrame("n", "role: -1"), "ERR_ROLE_NOT_ALLOWED"},
          {RawClient::frame("role: kProvisioning shutdown {}"), "ERR_ROLE_NOT_ALLOWED"},
          {RawClient::frame("shutdown {}"), "ERR_ROLE_NOT_ALLOWED"}}) {
        EXPECT_EQ(answer(client, sFrame), sAnswer);
    }
    EXPECT_EQ(m_log.count("refused role startup to uid "), 1U);
    EXPECT_EQ(m_log.count("refused role "), 2U);
    ASSERT_EQ(answer(client, RawClient::frame("role: kSystem shutdown {}")), "0");
    EXPECT_TRUE(client.isClosed());
    m_pbUtils.join();
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(Dispatcher, FailsWithOneClearLineWhereItCannotListenAndJoinReturnsAtOnce) {
    std::filesystem::create_directory(m_directory.path("taken"));
    const std::string sTaken = m_directory.file("taken/echo.sock", "precious");
    const std::pair<std::string, const char*> places[] = {
        {"no/such/run", "cannot create the runtime directory"},
        {"taken/echo.sock", "cannot open"},
        {"taken", "exists and is not a socket"},
        {std::string(100, 'd'), "is too long"}};
    for (const auto& [sPlace, reason] : places) {
        setenv("RUNTIME_DIRECTORY", m_directory.path(sPlace).c_str(), 1);
        PbUtils pbUtils("echo", 2);
        EXPECT_EQ(pbUtils.start(), kBadPath);
        EXPECT_EQ(m_log.count(reason), 1U);
        pbUtils.readyToDispatchMessages(true);
        pbUtils.join();
    }
    EXPECT_EQ(m_log.count("<2>test: hd[0]: pbUtility: "), std::size(places));
    EXPECT_EQ(TemporaryDirectory::contentOf(sTaken), "precious");
}

TEST_F(Dispatcher, TellsAStalledWatcherWhatItMissedAndDelaysNobody) {
    start();
    const RawClient watcher(socketPath()), maker(socketPath());
    EXPECT_EQ(answer(watcher, RawClient::frame("watch { pattern: '*' }")), "0");
    const std::string sMuch(10000, 'x');
    for (int i = 0; i < 400; ++i) {
        ASSERT_NE(answer(maker, setFrame(std::to_string(i) + sMuch)), "none");
    }
    watcher.send(RawClient::frame("watch { pattern: '*' }"));  // in the place of the first
    std::uint64_t nSeen = 0;
    pbcommon::Reply news;
    while (watcher.receive(news) && !news.event().has_missed()) {
        EXPECT_EQ(news.event().change().client(), std::to_string(nSeen++) + sMuch);
    }
    EXPECT_EQ(nSeen + news.event().missed(), 400U);
    EXPECT_GT(news.event().missed(), 0U);
    EXPECT_EQ(answer(watcher), "0") << "after what the first watch has missed";
    maker.send(setFrame("next"));
    ASSERT_TRUE(watcher.receive(news));
    EXPECT_EQ(news.event().change().client(), "next");
}

struct PipelineCaseT {
    const char* name;
    std::string sFrames;   ///< sent in one piece, and then the end
    const char* trace;     ///< of the handler
    const char* answers;   ///< "0" to shutdown
    const char* failures;  ///< the answers when every commit fails
};

// clang-format off
const std::string kSet1 = setFrame("s1"), kSet2 = setFrame("s2"), kDry = setFrame("d", true);
const std::string kOther = RawClient::frame("history { pattern: 'h' }"), kGet = getFrame("g"), kShutdown = RawClient::frame("role: kSystem shutdown {}");
const PipelineCaseT pipelineCases[] = {
    {"ChangesShareACommit",     kSet1 + kSet2 + kSet1,                   "s1 s2 s1 commit ",       "s1 s2 s1 ", "failure failure failure "},
    {"AnotherKindOfChange",     kSet1 + kOther + kSet2,                  "s1 h s2 commit ",        "s1 h s2 ",  "failure failure failure "},
    {"ReadingWaits",            kSet1 + kGet + kSet2,                    "s1 commit g s2 commit ", "s1 g s2 ",  "failure g failure "},
    {"RehearsalsAreHeldBehind", kDry + kSet1 + kDry + kGet,              "d s1 d commit g ",       "d s1 d g ", "d failure failure g "},
    {"ShutdownWaits",           kSet1 + kShutdown,                       "s1 commit ",             "s1 0 ",     "failure 0 "},
    {"EndedMeanwhile",          setFrame("end") + kSet1,                 "end s1 commit ",         "end s1 ",   "failure failure "},
    {"UnreadableBehind",        kSet1 + "\x00\x00\x00\x01\x07"s,         "s1 commit ",             "s1 ",       "failure "},
    {"CutBehind",               kSet1 + kSet2.substr(0, 7),              "s1 commit ",             "s1 ",       "failure "},
};
// clang-format on

class Pipeline : public Dispatcher, public testing::WithParamInterface<PipelineCaseT> {
protected:
    /// The answers to what the case sends.
    std::string answers(eErrorT committed) {
        m_handler.m_at = [this, committed](const std::string& sWhat) {
            if (sWhat == "end") PbUtility::end(m_pbUtils);
            return committed;
        };
        start();
        const RawClient client(socketPath());
        client.send(GetParam().sFrames);
        client.end(SHUT_WR);
        std::string sAnswer, sAnswers;
        while ((sAnswer = answer(client)) != "none") {
            sAnswers += sAnswer.substr(0, sAnswer.find(' ')) + " ";
        }
        EXPECT_TRUE(client.isClosed());
        EXPECT_EQ(m_handler.trace(), GetParam().trace);
        return sAnswers;
    }
};

TEST_P(Pipeline, IsAnsweredAfterTheCommit) { EXPECT_EQ(answers(kNoError), GetParam().answers); }

TEST_P(Pipeline, IsRefusedWithTheCommit) { EXPECT_EQ(answers(kWriteError), GetParam().failures); }

INSTANTIATE_TEST_SUITE_P(, Pipeline, testing::ValuesIn(pipelineCases), caseName);

TEST_F(Dispatcher, CommitsWhatComesDuringACommitAtOnceAndLetsReadersInBetween) {
    start();
    std::deque<RawClient> clients;
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(answer(clients.emplace_back(socketPath()), RawClient::ping()), "0");
    }
    int nCommits = 0;
    m_handler.m_at = [&](const std::string& sWhat) {
        if (sWhat != "commit") return kNoError;
        // the first client never stops; nine others and a reader come once
        if (++nCommits < 4) clients[0].send(setFrame("s0"));
        for (std::size_t i = 1; nCommits == 1 && i < 11; ++i) {
            clients[i].send(i < 10 ? setFrame("s" + std::to_string(i)) : getFrame("g"));
        }
        return kNoError;
    };
    clients[0].send(setFrame("s0"));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(answer(clients[0]), "s0");
    for (std::size_t i = 1; i < 11; ++i) EXPECT_NE(answer(clients[i]), "none");
    EXPECT_EQ(m_handler.trace(),
              "s0 commit s0 s1 s2 s3 s4 s5 s6 s7 s8 s9 commit g s0 commit s0 commit ");
}

TEST_F(Dispatcher, TellsWatchersAfterTheCommitAndNobodyElse) {
    start();
    const RawClient watcher(socketPath()), other(socketPath()), maker(socketPath());
    EXPECT_EQ(answer(watcher, RawClient::frame("watch { pattern: '*' }")), "0");
    EXPECT_EQ(answer(other, RawClient::frame("watch { pattern: 'nothing' }")), "0");
    eErrorT committed = kWriteError;
    m_handler.m_at = [&](const std::string&) {
        return watcher.hasAnswer() ? kBadState : committed;
    };
    EXPECT_EQ(answer(maker, setFrame("lost")), "failure");
    committed = kNoError;
    EXPECT_EQ(answer(maker, setFrame("kept")), "kept");
    pbcommon::Reply news;
    ASSERT_TRUE(watcher.receive(news));
    EXPECT_EQ(news.event().change().client(), "kept");
    // one that watches and changes is answered before it hears of its own change
    EXPECT_EQ(answer(watcher, setFrame("own")), "own");
    ASSERT_TRUE(watcher.receive(news));
    EXPECT_EQ(news.event().change().client(), "own");
    EXPECT_FALSE(other.hasAnswer() || maker.hasAnswer());
}

TEST_F(Dispatcher, EchoesTheIdOfEachRequestAndOfEachWatchOfAConnection) {
    start();
    const RawClient client(socketPath());
    std::string sSeen;
    const auto seen = [&](std::size_t nReplies) {
        pbcommon::Reply reply;
        for (sSeen = ""; nReplies > 0 && client.receive(reply); --nReplies) {
            sSeen += std::to_string(reply.id()) + (reply.has_event() ? "e " : " ");
        }
        return sSeen;
    };
    const std::string sSet = setFrame("s"), sId = "\x60\x07";  // id: 7
    const auto withId = [&](std::string sFrame) {
        sFrame[3] = static_cast<char>(sFrame[3] + sId.size());
        return sFrame + sId;
    };
    for (const char* const watch :
         {"id: 1 watch { pattern: '*' }", "id: 2 watch { pattern: '*' }",
          "id: 3 watch { pattern: 'nothing' }", "id: 2 watch { pattern: 'nothing' }",
          "id: 18446744073709551615 watch { pattern: '*' }"}) {
        client.send(RawClient::frame(watch));
    }
    EXPECT_EQ(seen(5), "1 2 3 2 18446744073709551615 ");
    client.send(withId(sSet) + sSet + withId(RawClient::ping()));
    EXPECT_EQ(seen(7), "7 0 1e 18446744073709551615e 1e 18446744073709551615e 7 ");
    m_handler.m_at = [](const std::string&) { return kWriteError; };
    client.send(withId(sSet) + sSet);
    EXPECT_EQ(seen(2), "7 0 ");
    m_handler.m_at = [](const std::string&) -> eErrorT { throw std::bad_alloc(); };
    client.send(withId(sSet));
    EXPECT_EQ(seen(1), "7 ");
    EXPECT_FALSE(client.hasAnswer());
}

TEST_F(Dispatcher, AnswersForWhatARequestThrowsAndEndsInOrderOverWhatACommitThrows) {
    start();
    const RawClient client(socketPath());
    m_handler.m_at = [](const std::string& sWhat) -> eErrorT {
        if (sWhat == "memory") throw std::bad_alloc();
        if (sWhat == "fault" || sWhat == "commit") throw std::runtime_error("a fault");
        return kNoError;
    };
    EXPECT_EQ(answer(client, setFrame("memory")), std::to_string(kOutOfMemory));
    EXPECT_EQ(answer(client, setFrame("fault")), std::to_string(kServerError));
    EXPECT_EQ(answer(client, getFrame("n")).front(), 'n');
    EXPECT_EQ(m_log.count("<2>test: hd[0]: pbUtility: cannot serve a request: "), 2U);
    EXPECT_EQ(answer(client, setFrame("s")), "none");
    m_pbUtils.join();
    EXPECT_EQ(m_log.count("<2>test: hd[0]: pbUtility: cannot go on serving: a fault"), 1U);
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(Dispatcher, ListensAnewWhereItsPlaceIsRemovedAndGoesOnWhereItCannot) {
    start();
    const std::string sRun = m_directory.path("run"), sLock = socketPath() + ".lock";
    const auto isLogged = [this](const char* text, std::size_t nTimes) {
        for (int i = 0; i < 5000 && m_log.count(text) < nTimes; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return m_log.count(text) == nTimes;
    };
    const RawClient before(socketPath());
    const std::function<void()> removals[] = {
        [&] { std::filesystem::remove(socketPath()); },
        [&] { std::filesystem::remove(sLock); },
        [&] { std::filesystem::remove_all(sRun); },
        [&] { std::filesystem::rename(sRun, sRun + "-moved"); },
    };
    std::size_t nTimes = 1;
    for (const auto& remove : removals) {
        remove();
        EXPECT_TRUE(isLogged("listening on ", ++nTimes)) << nTimes;
        EXPECT_TRUE(serves());
        EXPECT_EQ(answer(before, RawClient::ping()), "0");
    }
    std::filesystem::rename(m_directory.file("run/other"), socketPath());
    EXPECT_TRUE(isLogged("exists and is not a socket", 1)) << "what took its name is not removed";
    EXPECT_EQ(answer(before, RawClient::ping()), "0");
    PbUtility::end(m_pbUtils);
    m_pbUtils.join();
    EXPECT_TRUE(std::filesystem::is_regular_file(socketPath()));
    EXPECT_EQ(m_log.count("listening anew"), nTimes);
}

}  // namespace
