// The real daemon, killed at any moment while clients change what hangs together.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <semaphore>

#include "daemon.h"
#include "names.h"
#include "setrequest.h"

namespace {

using TextsT = std::vector<std::string>;

const std::string kSnmp = "management.snmp.";
const std::string kScreen = "uicontrol.vantortouch.homescreen";
const std::string kRecent = "uicontrol.apps.recentcalls.enabled";
const std::string kFips = "comm.callsetting.callfeatures.fips140enable";

/// Sends requests until the daemon is gone, and keeps what it has been told. No two assign the same
/// variable.
struct LoadClient {
    void run(const std::string& sSocket, std::counting_semaphore<>& answers) {
        const RawClient connection(sSocket);
        pbcommon::Reply reply;
        for (;; ++nNumber) {
            inFlight = requests[nNumber % requests.size()];
            for (std::string& sAssignment : inFlight) {
                if (sAssignment.back() == '#') sAssignment += std::to_string(nNumber);
            }
            std::string sFrame;
            pbcommon::Request request = setRequest(inFlight);
            request.set_role(pbcommon::kSystem);  // which is told of all that changes
            EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
            connection.send(sFrame);
            if (!connection.receive(reply)) return;
            EXPECT_EQ(reply.code(), pbcommon::kNoError) << reply.ShortDebugString();
            accepted.emplace_back(inFlight, reply);
            answers.release();
        }
    }

    std::vector<TextsT> requests;  ///< one after the other, again and again; '#': a number follows
    std::size_t nNumber = 0;
    TextsT inFlight{};                                           ///< sent last, and not answered
    std::vector<std::pair<TextsT, pbcommon::Reply>> accepted{};  ///< since the last start
};

// clang-format off
const LoadClient loadClients[] = {
    {.requests = {{kRecent + "=false"}, {kRecent + "=true"}}},
    {.requests = {{kSnmp + "versionthree=false"}, {kSnmp + "versionthree=true"}}},
    {.requests = {{kFips + "=true"}, {kFips + "=false"}}},
    {.requests = {{kScreen + "[1].enabled=false"}, {kScreen + "[1].enabled=true", kScreen + "[2].enabled=true",
                                                    kScreen + "[3].enabled=true", kScreen + "[4].enabled=true"}}},
    {.requests = {{kSnmp + "location=#", kSnmp + "systemdesc=#"}}},
    {.requests = {{kSnmp + "traptarget.targetaddress=#", kSnmp + "traptarget.targetaddress[2]=#"}}},
};
// clang-format on

/// An answer of the service to a request of the test itself.
pbcommon::Reply ask(const std::string& sSocket, const std::string& sRequest) {
    const RawClient connection(sSocket);
    pbcommon::Reply reply;
    connection.send(RawClient::frame("role: kSystem " + sRequest));
    EXPECT_TRUE(connection.receive(reply)) << sRequest;
    return reply;
}

class Kill : public testing::Test {
protected:
    /// What each aspect of each variable is.
    using StateT = std::map<std::pair<std::string, pbcommon::Aspect>, TextsT>;

    void killSoon(Daemon& daemon) {
        std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 8000));
        daemon.kill();
    }
    /// Lets all clients work until the daemon is killed in the midst of it.
    void load(Daemon& daemon) {
        std::counting_semaphore<> answers(0);
        std::vector<std::thread> threads;
        for (LoadClient& client : m_clients) {
            threads.emplace_back([&] { client.run(m_sSocket, answers); });
        }
        for (std::size_t n = m_random() % 300; n > 0; --n) {
            EXPECT_TRUE(answers.try_acquire_for(std::chrono::seconds(10))) << daemon.log();
        }
        killSoon(daemon);
        for (std::thread& thread : threads) thread.join();
    }

    [[nodiscard]] StateT state() const {
        const pbcommon::ListReply page = ask(m_sSocket, "list { pattern: '*' }").list();
        EXPECT_FALSE(page.has_next()) << "they no longer fit into one page";
        StateT all;
        for (const pbcommon::Variable& row : page.variable()) {
            all[{row.name(), pbcommon::VALUE}] = {row.value()};
            all[{row.name(), pbcommon::OPTIONS}] = {row.offered().begin(), row.offered().end()};
            all[{row.name(), pbcommon::ACCESS}] = {pbcommon::roleName(row.read()),
                                                   pbcommon::roleName(row.write())};
        }
        return all;
    }
    /// The changes after the last that is known, the oldest first.
    [[nodiscard]] pbcommon::WatchReply news() const {
        pbcommon::WatchReply all, page;
        do {
            const std::uint64_t nSince = std::max(m_nKnown, page.revision());
            page = ask(m_sSocket, "watch { pattern: '*' since: " + std::to_string(nSince) + " }")
                       .watch();
            all.MergeFrom(page);
        } while (page.change_size() > 0);
        return all;
    }
    static std::string effectsOf(const auto& message) {
        pbcommon::SetReply effects;
        *effects.mutable_effect() = message.effect();
        return effects.DebugString();
    }
    static bool holds(const StateT& now, const TextsT& assignments) {
        return std::all_of(assignments.begin(), assignments.end(), [&](const std::string& sText) {
            const std::size_t equals = sText.find('=');
            return now.at({sText.substr(0, equals), pbcommon::VALUE})[0] ==
                   sText.substr(equals + 1);
        });
    }

    static void expect(bool bHolds, std::size_t& nBroken, const std::string& sWhat) {
        EXPECT_TRUE(bHolds) << sWhat;
        nBroken += bHolds ? 0 : 1;
    }

    /// Compares what there is after a restart with what the clients have been told.
    void examine() {
        const StateT now = state();
        if (m_known.empty()) m_known = now;
        std::map<std::uint64_t, std::string> effects;
        const pbcommon::WatchReply all = news();
        for (const auto& change : all.change()) {
            expect(change.revision() == ++m_nKnown, m_nTorn, change.ShortDebugString());
            effects[m_nKnown] = effectsOf(change);
            for (const auto& effect : change.effect()) {
                m_known[{effect.variable(), effect.aspect()}] = {effect.after().begin(),
                                                                 effect.after().end()};
            }
        }
        for (const auto& [aspect, texts] : now) {
            expect(texts == m_known[aspect], m_nTorn, aspect.first);
        }
        for (LoadClient& client : m_clients) {
            expect(client.accepted.empty() || holds(now, client.inFlight) ||
                       holds(now, client.accepted.back().first),
                   m_nLost, testing::PrintToString(client.inFlight));
            m_nAcknowledged += client.accepted.size();
            for (const auto& [assignments, reply] : std::exchange(client.accepted, {})) {
                EXPECT_EQ(reply.set().has_revision(), reply.set().effect_size() > 0);
                if (!reply.set().has_revision()) continue;  // nothing was different
                const std::string& sKept = effects[reply.set().revision()];
                expect(sKept == effectsOf(reply.set()), sKept.empty() ? m_nLost : m_nTorn,
                       testing::PrintToString(assignments));
            }
        }
    }

    TemporaryDirectory m_home;
    const std::string m_sSocket = m_home.path("run/appconfig.sock");
    std::random_device m_random;
    std::vector<LoadClient> m_clients{std::begin(loadClients), std::end(loadClients)};
    StateT m_known;
    std::uint64_t m_nKnown = 0;
    std::size_t m_nAcknowledged = 0, m_nLost = 0, m_nTorn = 0;
};

TEST_F(Kill, LosesNothingThatWasAcknowledged) {
    const char* const rounds = std::getenv("KILL_ROUNDS");
    const int nRounds = rounds == nullptr ? 5 : std::atoi(rounds);
    for (int n = nRounds; n >= 0; --n) {
        if (m_random() % 4 == 0) {
            Daemon unborn(m_home);
            killSoon(unborn);
        }
        Daemon daemon(m_home);
        ASSERT_TRUE(daemon.serves()) << daemon.log();
        examine();
        if (n > 0) load(daemon);
    }
    printf("kills under load %d, requests acknowledged %zu, lost %zu, torn %zu\n", nRounds,
           m_nAcknowledged, m_nLost, m_nTorn);
}

}  // namespace
