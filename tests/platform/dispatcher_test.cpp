#include "dispatcher.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <future>

#include "casename.h"
#include "logfile.h"
#include "pbUtils.h"
#include "rawclient.h"

namespace {

using namespace PbUtility;
using namespace std::string_literals;
using testing::HasSubstr;

/// Answers a `get` with what it saw of the request.
class EchoHandler : public RequestHandler {
public:
    void dispatchingBegins() override {}
    void handle(const Requester& requester, const pbcommon::Request& request,
                pbcommon::Reply& reply, Publisher& publisher) override {
        publisher.publish([&](const Watcher& watcher, pbcommon::Reply& message) {
            message.mutable_change()->set_client(request.get().address().node());
            return watcher.sPattern == "*";
        });
        reply.add_tag(request.get().address().node() + " " + requester.sClient + " " +
                      std::to_string(requester.role));
    }
};

std::string getFrame(const std::string& sNode, const std::string& sRole = "") {
    return RawClient::frame("client: 'me\\033' " + sRole + " get { address { node: '" + sNode +
                            "' } }");
}

class Dispatcher : public testing::Test {
protected:
    Dispatcher() { setenv("RUNTIME_DIRECTORY", m_directory.path("run").c_str(), 1); }
    ~Dispatcher() override { unsetenv("RUNTIME_DIRECTORY"); }

    void start(bool bReady = true) {
        ASSERT_EQ(m_pbUtils.start(), kNoError);
        PbUtilsImpl::of(m_pbUtils).setRequestHandler(m_handler);
        m_pbUtils.readyToDispatchMessages(bReady);
    }
    [[nodiscard]] std::string socketPath() const { return m_directory.path("run/echo.sock"); }

    /// The first tag of the answer, or its code; "none" without an answer.
    static std::string answer(const RawClient& client, const std::string& sFrame = "") {
        client.send(sFrame);
        pbcommon::Reply reply;
        if (!client.receive(reply)) return "none";
        return reply.tag_size() > 0 ? reply.tag(0) : std::to_string(reply.code());
    }
    /// Whether a new client gets an answer.
    [[nodiscard]] bool serves() const {
        return answer(RawClient(socketPath()), RawClient::ping()) == "0";
    }

    LogFile m_log;
    TemporaryDirectory m_directory;
    EchoHandler m_handler;
    PbUtils m_pbUtils{"echo", 2};
};

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
        maker.send(getFrame(name));
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
        maker.send(getFrame(std::to_string(i) + sMuch));
        ASSERT_TRUE(maker.receive(reply));
    }
    std::uint64_t nSeen = 0;
    while (watcher.receive(reply) && !reply.has_missed()) {
        EXPECT_EQ(reply.change().client(), std::to_string(nSeen++) + sMuch);
    }
    EXPECT_EQ(nSeen + reply.missed(), kNews);
    EXPECT_GT(reply.missed(), 0U);
    maker.send(getFrame("next"));
    ASSERT_TRUE(watcher.receive(reply));
    EXPECT_EQ(reply.change().client(), "next");
}

}  // namespace
