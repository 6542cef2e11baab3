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

/// A client and the requests that it makes in turn, again and again, with a number that counts up
/// behind '#'. No two clients assign the same variable.
struct ClientCaseT {
    const char* name;
    std::vector<TextsT> requests;
};
// clang-format off
const ClientCaseT clientCases[] = {
    {"calls",   {{kRecent + "=false"}, {kRecent + "=true"}}},
    {"snmp",    {{kSnmp + "versionthree=false"}, {kSnmp + "versionthree=true"}}},
    {"fips",    {{kFips + "=true"}, {kFips + "=false"}}},
    {"screens", {{kScreen + "[1].enabled=False"}, {kScreen + "[1].enabled=True", kScreen + "[2].enabled=True",
                                                   kScreen + "[3].enabled=True", kScreen + "[4].enabled=True"}}},
    {"texts",   {{kSnmp + "location=#", kSnmp + "systemdesc=#"}}},
    {"targets", {{kSnmp + "traptarget.targetaddress=#", kSnmp + "traptarget.targetaddress[2]=#"}}},
};

/// Rules that hold whenever the service is at rest: the option is offered while the switch is on.
const struct { std::string sSwitch, sVariable, sOption; } ruleCases[] = {
    {kRecent,                 "uicontrol.apps.home.placeacallfunc",         "recentcalls" },
    {kRecent,                 "uicontrol.vantortouch.placeacallsubpages",   "recent_calls"},
    {kRecent,                 kScreen + "[2].button[2]",                    "Recent"      },
    {kSnmp + "versionthree",  kSnmp + "traptarget.protocolversion[1]",      "v3"          },
};
// clang-format on

/// An answer of the service to a request of the test itself.
pbcommon::Reply ask(const std::string& sSocket, const std::string& sRequest) {
    const RawClient connection(sSocket);
    pbcommon::Reply reply;
    connection.send(RawClient::frame(sRequest));
    EXPECT_TRUE(connection.receive(reply)) << sRequest;
    return reply;
}

/// Sends requests until the daemon is gone, and keeps what it has been told.
struct LoadClient {
    struct AcceptedT {
        TextsT assignments;
        pbcommon::Reply reply;
    };

    void run(const std::string& sSocket, std::counting_semaphore<>& answers) {
        const RawClient connection(sSocket);
        pbcommon::Reply reply;
        for (;; ++nNumber) {
            inFlight = row.requests[nNumber % row.requests.size()];
            for (std::string& sAssignment : inFlight) {
                if (sAssignment.back() == '#') sAssignment += std::to_string(nNumber);
            }
            pbcommon::Request request = setRequest(inFlight);
            request.set_client(row.name);
            std::string sFrame;
            EXPECT_EQ(pbcommon::appendFrame(request, sFrame), kNoError);
            connection.send(sFrame);
            if (!connection.receive(reply)) return;
            EXPECT_EQ(reply.code(), pbcommon::kNoError) << reply.ShortDebugString();
            accepted.push_back({inFlight, reply});
            answers.release();
        }
    }

    const ClientCaseT& row;
    std::size_t nNumber = 0;
    TextsT inFlight{};                  ///< sent last, and not answered
    std::vector<AcceptedT> accepted{};  ///< since the last start
};

class Kill : public testing::Test {
protected:
    using VariablesT = std::map<std::string, pbcommon::Variable>;

    Kill() {
        const char* const seed = std::getenv("KILL_SEED");
        const auto nSeed =
            seed == nullptr ? std::random_device()() : static_cast<unsigned>(std::stoul(seed));
        printf("KILL_SEED=%u\n", nSeed);
        m_random.seed(nSeed);
        for (const ClientCaseT& row : clientCases) m_clients.push_back({row});
    }
    ~Kill() override {
        printf("kills %zu, requests acknowledged %zu, lost %zu, torn %zu\n", m_nKills,
               m_nAcknowledged, m_nLost, m_nTorn);
    }
    void killSoon(Daemon& daemon) {
        std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 8000));
        daemon.kill();
        ++m_nKills;
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

    VariablesT variables() {
        const pbcommon::Reply page = ask(m_sSocket, "list { pattern: '*' }");
        EXPECT_FALSE(page.has_next()) << "they no longer fit into one page";
        VariablesT all;
        for (const auto& variable : page.variable()) all[variable.name()] = variable;
        return all;
    }
    /// The changes behind the last that is known, by revision.
    std::map<std::uint64_t, pbcommon::Change> news() {
        std::map<std::uint64_t, pbcommon::Change> all;
        std::string sBefore;
        for (;;) {
            const pbcommon::Reply page = ask(m_sSocket, "history { pattern: '*' " + sBefore + " }");
            for (const auto& change : page.history()) {
                if (change.revision() <= m_nKnown) return all;
                all[change.revision()] = change;
            }
            if (!page.has_revision()) return all;
            sBefore = "before: " + std::to_string(page.revision());
        }
    }

    /// Whether history has what the answer to a request said of it.
    static bool tells(const pbcommon::Change& change, const LoadClient::AcceptedT& accepted) {
        TextsT assignments, effects, expected;
        for (const auto& row : change.assignment()) {
            assignments.push_back(row.name() + "=" + row.value());
        }
        for (const auto& row : change.effect()) effects.push_back(row.SerializeAsString());
        for (const auto& row : accepted.reply.effect()) expected.push_back(row.SerializeAsString());
        return assignments == accepted.assignments && effects == expected;
    }
    static void apply(const pbcommon::Effect& effect, pbcommon::Variable& variable) {
        if (effect.aspect() == pbcommon::VALUE) {
            variable.set_value(effect.after(0));
        } else if (effect.aspect() == pbcommon::OPTIONS) {
            *variable.mutable_offered() = effect.after();
        } else {
            variable.set_read(static_cast<pbcommon::Role>(*pbcommon::roleNamed(effect.after(0))));
            variable.set_write(static_cast<pbcommon::Role>(*pbcommon::roleNamed(effect.after(1))));
        }
    }
    static bool holds(const VariablesT& now, const TextsT& assignments) {
        return std::all_of(assignments.begin(), assignments.end(), [&](const std::string& sText) {
            const std::size_t equals = sText.find('=');
            return now.at(sText.substr(0, equals)).value() == sText.substr(equals + 1);
        });
    }

    static void expect(bool bHolds, std::size_t& nViolations, const std::string& sWhat) {
        nViolations += bHolds ? 0 : 1;
        EXPECT_TRUE(bHolds) << sWhat;
    }
    /// Compares what there is after a restart with what the clients have been told.
    void examine() {
        const auto changes = news();
        const VariablesT now = variables();
        VariablesT& expected = m_known.empty() ? m_known = now : m_known;
        for (const auto& [nRevision, change] : changes) {
            expect(nRevision == ++m_nKnown, m_nTorn, "gap at " + std::to_string(nRevision));
            for (const auto& effect : change.effect()) apply(effect, expected[effect.variable()]);
        }
        for (const auto& [sName, variable] : now) {
            expect(variable.SerializeAsString() == expected[sName].SerializeAsString(), m_nTorn,
                   variable.DebugString() + "but history says\n" + expected[sName].DebugString());
        }
        for (const auto& row : ruleCases) {
            const auto& offered = now.at(row.sVariable).offered();
            const bool bOffered =
                std::find(offered.begin(), offered.end(), row.sOption) != offered.end();
            expect(bOffered == (now.at(row.sSwitch).value() == "true"), m_nTorn, row.sVariable);
        }
        for (LoadClient& client : m_clients) examine(client, changes, now);
    }
    void examine(LoadClient& client, const std::map<std::uint64_t, pbcommon::Change>& changes,
                 const VariablesT& now) {
        for (const LoadClient::AcceptedT& accepted : client.accepted) {
            if (!accepted.reply.has_revision()) continue;  // nothing was different
            const auto change = changes.find(accepted.reply.revision());
            expect(change != changes.end(), m_nLost, accepted.reply.DebugString() + "is lost");
            expect(change == changes.end() || tells(change->second, accepted), m_nTorn,
                   accepted.reply.DebugString() + "is not what history says");
        }
        expect(client.accepted.empty() || holds(now, client.accepted.back().assignments) ||
                   holds(now, client.inFlight),
               m_nLost, std::string("what was set last by ") + client.row.name);
        m_nAcknowledged += client.accepted.size();
        client.accepted.clear();
    }

    TemporaryDirectory m_home;
    const std::string m_sSocket = m_home.path("run/appconfig.sock");
    std::mt19937 m_random;
    std::vector<LoadClient> m_clients;
    VariablesT m_known;
    std::uint64_t m_nKnown = 0;
    std::size_t m_nKills = 0, m_nAcknowledged = 0, m_nLost = 0, m_nTorn = 0;
};

TEST_F(Kill, LosesNothingThatWasAcknowledged) {
    const char* const rounds = std::getenv("KILL_ROUNDS");
    for (int n = rounds == nullptr ? 5 : std::atoi(rounds); n >= 0; --n) {
        if (m_random() % 4 == 0) {
            Daemon unborn(m_home);
            killSoon(unborn);
        }
        Daemon daemon(m_home);
        ASSERT_TRUE(daemon.serves()) << daemon.log();
        examine();
        if (n > 0) load(daemon);
    }
}

}  // namespace
