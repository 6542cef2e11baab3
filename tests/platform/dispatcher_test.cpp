#include "dispatcher.h"

#include <sys/stat.h>

#include <deque>
#include <future>
#include <sstream>

#include "casename.h"
#include "dispatchercase.h"

namespace {

using namespace PbUtility;
using namespace std::string_literals;
using testing::HasSubstr;

struct BadFrameCaseT {
    const char* name;
    std::string sBytes;
    const char* reason;  ///< in the log
};

constexpr const char* kNoRequest = "it sent a frame that is no request";
constexpr const char* kCut = "it ended in the middle of a frame";
// clang-format off
const BadFrameCaseT badFrameCases[] = {
    {"TooLong",     "\x00\x10\x00\x01"s,                              "it announced a frame of 1048577 bytes"},
    {"FarTooLong",  "\xff\xff\xff\xff rest"s,                         "it announced a frame of 4294967295 bytes"},
    {"NoMessage",   "\x00\x00\x00\x03\xff\xff\xff"s,                  kNoRequest},
    {"GoodThenBad", RawClient::ping() + "\x00\x00\x00\x01\x07"s,      kNoRequest},
    {"CutHeader",   "\x00\x00"s,                                      kCut},
    {"CutMessage",  "\x00\x00\x00\x08xyz"s,                           kCut},
    {"LongestCut",  "\x00\x10\x00\x00"s + std::string(1000000, 'x'),  kCut},
};
// clang-format on

class BadFrame : public Dispatcher, public testing::WithParamInterface<BadFrameCaseT> {};

TEST_P(BadFrame, EndsThatConnectionOnlyAndTheLogSaysWhy) {
    start();
    const RawClient other(socketPath()), client(socketPath());
    client.send(GetParam().sBytes);
    client.end(SHUT_WR);
    EXPECT_EQ(answer(client), GetParam().name == "GoodThenBad"s ? "0" : "none");
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ(answer(other, RawClient::ping()), "0");
    EXPECT_TRUE(serves());
    EXPECT_EQ(m_log.count("closed"), 1U);
    EXPECT_EQ(m_log.count("<4>test: hd[0]: pbUtility: connection of uid " +
                          std::to_string(getuid()) + ", process " + std::to_string(getpid()) +
                          " closed: " + GetParam().reason + "\n"),
              1U);
}

INSTANTIATE_TEST_SUITE_P(, BadFrame, testing::ValuesIn(badFrameCases), caseName);

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
    for (int i = 0; i < 300; ++i) {
        EXPECT_THAT(answer(client), testing::StartsWith(std::to_string(i) + ","));
    }
    sender.join();
    EXPECT_TRUE(client.isClosed());
}

TEST_F(Dispatcher, LetsRequestsWaitUntilItIsReady) {
    start(false);
    const RawClient early(socketPath());
    early.send(getFrame("early"));
    const RawClient tooLong(socketPath());
    EXPECT_EQ(answer(tooLong, "\xff\xff\xff\xff"), "none") << "a broken frame need not wait";
    EXPECT_FALSE(early.hasAnswer());
    m_pbUtils.readyToDispatchMessages(true);
    EXPECT_THAT(answer(early), HasSubstr("early"));
    EXPECT_TRUE(serves());
}

TEST_F(Dispatcher, GrantsNoRoleAboveThePeersOwn) {
    start();
    const RawClient client(socketPath());
    for (const auto& [sRole, sAnswer] : {std::pair{"", "n me\\x1b 3"},
                                         {"role: kProvisioning", "n me\\x1b 2"},
                                         {"role: kStartup", "ERR_ROLE_NOT_ALLOWED"},
                                         {"role: 99", "ERR_ROLE_NOT_ALLOWED"}}) {
        EXPECT_EQ(answer(client, getFrame("n", sRole)), sAnswer);
    }
    EXPECT_EQ(m_log.count("refused role startup to uid "), 1U);
    EXPECT_EQ(m_log.count("refused role "), 2U);
}

TEST_F(Dispatcher, EndsOnAShutdownRequestFromTheSystemOnly) {
    start();
    auto joined = std::async(std::launch::async, [this] { m_pbUtils.join(); });
    const RawClient idle(socketPath()), client(socketPath());
    EXPECT_EQ(answer(client, RawClient::frame("role: kProvisioning shutdown {}")),
              "ERR_ROLE_NOT_ALLOWED");
    EXPECT_TRUE(serves());
    EXPECT_EQ(answer(client, RawClient::frame("role: kSystem shutdown {}")), "0");
    EXPECT_TRUE(client.isClosed());
    EXPECT_TRUE(idle.isClosed());
    EXPECT_EQ(joined.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(Dispatcher, ServesOthersWhileOneClientDoesNotReadItsAnswers) {
    start();
    const RawClient greedy(socketPath());
    std::thread sender([&greedy, sFrame = getFrame(std::string(60000, 'x'))] {
        for (int i = 0; i < 200; ++i) greedy.send(sFrame);
    });
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(serves());
    greedy.end(SHUT_RDWR);
    sender.join();
    EXPECT_TRUE(serves());
}

TEST_F(Dispatcher, FailsWithOneClearLineWhereItCannotListenAndJoinReturnsAtOnce) {
    (void)m_directory.file("file");
    ASSERT_EQ(mkdir(m_directory.path("taken").c_str(), 0755), 0);
    const std::string sTaken = m_directory.file("taken/echo.sock", "precious");
    const std::pair<std::string, const char*> places[] = {
        {"no/such/run", "cannot create the runtime directory"},
        {"file", "cannot open"},
        {"taken", "is in the way"},
        {std::string(100, 'd'), "is too long"}};
    std::size_t nLines = 0;
    for (const auto& [sPlace, reason] : places) {
        setenv("RUNTIME_DIRECTORY", m_directory.path(sPlace).c_str(), 1);
        PbUtils pbUtils("echo", 2);
        EXPECT_EQ(pbUtils.start(), kBadPath);
        EXPECT_EQ(m_log.count("<2>test: hd[0]: pbUtility: "), ++nLines);
        EXPECT_EQ(m_log.count(reason), 1U);
        pbUtils.readyToDispatchMessages(true);
        pbUtils.join();
    }
    EXPECT_EQ(TemporaryDirectory::contentOf(sTaken), "precious");
}

TEST_F(Dispatcher, TellsWatchersInOrderAndNobodyElse) {
    start();
    const RawClient watcher(socketPath()), other(socketPath()), maker(socketPath());
    pbcommon::Reply reply;
    watcher.send(RawClient::frame("watch { pattern: '*' }"));
    other.send(RawClient::frame("watch { pattern: 'nothing' }"));
    ASSERT_TRUE(watcher.receive(reply) && other.receive(reply));
    for (const char* const name : {"one", "two", "three"}) {
        maker.send(setFrame(name));
        ASSERT_TRUE(maker.receive(reply) && watcher.receive(reply));
        EXPECT_EQ(reply.change().client(), name);
    }
    // a watcher may go on asking; nothing has been sent to the others meanwhile
    for (const RawClient* const client : {&watcher, &other, &maker}) {
        client->send(RawClient::ping());
        ASSERT_TRUE(client->receive(reply));
        EXPECT_TRUE(reply.has_service());
    }
}

TEST_F(Dispatcher, TellsAStalledWatcherWhatItMissedAndDelaysNobody) {
    start();
    constexpr std::uint64_t kNews = 400;
    const RawClient watcher(socketPath()), maker(socketPath());
    watcher.send(RawClient::frame("watch { pattern: '*' }"));
    pbcommon::Reply reply;
    ASSERT_TRUE(watcher.receive(reply));
    const std::string sMuch(10000, 'x');
    for (std::uint64_t i = 0; i < kNews; ++i) {
        maker.send(setFrame(std::to_string(i) + sMuch));
        ASSERT_TRUE(maker.receive(reply));
    }
    std::uint64_t nSeen = 0;
    while (watcher.receive(reply) && !reply.has_missed()) {
        EXPECT_EQ(reply.change().client(), std::to_string(nSeen++) + sMuch);
    }
    EXPECT_EQ(nSeen + reply.missed(), kNews);
    EXPECT_GT(reply.missed(), 0U);
    maker.send(setFrame("next"));
    ASSERT_TRUE(watcher.receive(reply));
    EXPECT_EQ(reply.change().client(), "next");
}

struct PipelineCaseT {
    const char* name;
    const char* sent;      ///< in one piece, and then the end: see frameOf()
    const char* trace;     ///< of the handler
    const char* answers;   ///< "0" to ping and shutdown
    const char* failures;  ///< the answers when every commit fails
};

// clang-format off
const PipelineCaseT pipelineCases[] = {
    {"ChangesShareACommit",     "s1 s2 s3",    "s1 s2 s3 commit ",        "s1 s2 s3",    "failure failure failure"},
    {"ReadingWaits",            "s1 g2 s3",    "s1 commit g2 s3 commit ", "s1 g2 s3",    "failure g2 failure"},
    {"RehearsalsAreHeldBehind", "d1 s2 d3 g4", "d1 s2 d3 commit g4 ",     "d1 s2 d3 g4", "d1 failure failure g4"},
    {"PingWaits",               "s1 ping",     "s1 commit ",              "s1 0",        "failure 0"},
    {"ShutdownWaits",           "s1 shutdown", "s1 commit ",              "s1 0",        "failure 0"},
    {"EndedMeanwhile",          "end s2",      "end s2 commit ",          "end s2",      "failure failure"},
    {"UnreadableBehind",        "s1 broken",   "s1 commit ",              "s1",          "failure"},
    {"TooLongBehind",           "s1 long",     "s1 commit ",              "s1",          "failure"},
    {"CutBehind",               "s1 cut",      "s1 commit ",              "s1",          "failure"},
};
// clang-format on

std::string frameOf(const std::string& sWord) {
    if (sWord == "ping" || sWord == "shutdown") return RawClient::frame(sWord + " {}");
    if (sWord == "broken") return "\x00\x00\x00\x01\x07"s;
    if (sWord == "long") return "\xff\xff\xff\xff"s;
    if (sWord == "cut") return setFrame("cut").substr(0, 7);
    return sWord[0] == 'g' ? getFrame(sWord) : setFrame(sWord, sWord[0] == 'd');
}

class Pipeline : public Dispatcher, public testing::WithParamInterface<PipelineCaseT> {
protected:
    /// The answers to what the case sends.
    std::string answers(eErrorT committed) {
        m_handler.m_atCommit = [committed] { return committed; };
        m_handler.m_atSet = [this](const std::string& sValue) {
            if (sValue == "end") dispatcher().end();
        };
        start();
        std::istringstream words(GetParam().sent);
        std::string sBytes, sWord, sAnswers;
        while (words >> sWord) sBytes += frameOf(sWord);
        const RawClient client(socketPath());
        client.send(sBytes);
        client.end(SHUT_WR);
        while ((sWord = answer(client)) != "none") {
            sAnswers += (sAnswers.empty() ? "" : " ") + sWord.substr(0, sWord.find(' '));
        }
        EXPECT_TRUE(client.isClosed());
        EXPECT_EQ(m_handler.trace(), GetParam().trace);
        return sAnswers;
    }
};

TEST_P(Pipeline, IsAnsweredAfterTheCommit) { EXPECT_EQ(answers(kNoError), GetParam().answers); }

TEST_P(Pipeline, IsRefusedWhenTheCommitFails) {
    EXPECT_EQ(answers(kWriteError), GetParam().failures);
}

INSTANTIATE_TEST_SUITE_P(, Pipeline, testing::ValuesIn(pipelineCases), caseName);

TEST_F(Dispatcher, CommitsWhatComesDuringACommitAtOnceAndLetsReadersInBetween) {
    start();
    std::deque<RawClient> clients;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(answer(clients.emplace_back(socketPath()), RawClient::ping()), "0");
    }
    const RawClient reader(socketPath());
    EXPECT_EQ(answer(reader, RawClient::ping()), "0");
    int nCommits = 0;
    m_handler.m_atCommit = [&] {
        // the first client never stops; the others come once
        if (++nCommits < 4) clients[0].send(setFrame("s0"));
        for (std::size_t i = 1; nCommits == 1 && i < clients.size(); ++i) {
            clients[i].send(setFrame("s" + std::to_string(i)));
        }
        if (nCommits == 1) reader.send(getFrame("g"));
        return kNoError;
    };
    for (int i = 0; i < 4; ++i) EXPECT_EQ(answer(clients[0], i == 0 ? setFrame("s0") : ""), "s0");
    for (std::size_t i = 1; i < clients.size(); ++i) {
        EXPECT_EQ(answer(clients[i]), "s" + std::to_string(i));
    }
    EXPECT_THAT(answer(reader), HasSubstr("g "));
    EXPECT_EQ(m_handler.trace(),
              "s0 commit s0 s1 s2 s3 s4 s5 s6 s7 s8 s9 commit g s0 commit s0 commit ");
}

TEST_F(Dispatcher, TellsWatchersAfterTheCommitAndNothingWhenItFails) {
    start();
    const RawClient watcher(socketPath()), maker(socketPath());
    EXPECT_EQ(answer(watcher, RawClient::frame("watch { pattern: '*' }")), "0");
    m_handler.m_atCommit = [&] { return watcher.hasAnswer() ? kBadState : kWriteError; };
    EXPECT_EQ(answer(maker, setFrame("lost") + setFrame("too")), "failure");
    EXPECT_EQ(answer(maker), "failure");
    m_handler.m_atCommit = [&] { return watcher.hasAnswer() ? kBadState : kNoError; };
    EXPECT_EQ(answer(maker, setFrame("kept")), "kept");
    pbcommon::Reply news;
    ASSERT_TRUE(watcher.receive(news));
    EXPECT_EQ(news.change().client(), "kept");
    // one that watches and changes hears of its own change, too
    m_handler.m_atCommit = [] { return kNoError; };
    watcher.send(setFrame("own"));
    ASSERT_TRUE(watcher.receive(news));
    EXPECT_EQ(news.change().client(), "own");
    EXPECT_EQ(answer(watcher), "own");
}

}  // namespace
