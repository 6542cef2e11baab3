// A power cut, or a disk that takes no more, at each single write of a day's work.
#include <gmock/gmock.h>

#include <filesystem>

#include "AppConfigServiceProvider.h"
#include "casename.h"
#include "disk/databasefile.h"
#include "everything.h"
#include "faultyvfs.h"
#include "logfile.h"
#include "service.h"
#include "setrequest.h"
#include "version1.h"

namespace {

using namespace std::string_literals;
using AppConfig::Service;
using TextsT = std::vector<std::string>;

struct StepT {
    std::vector<TextsT> requests;  ///< all before one commit; none: the service starts again
    std::size_t nChanges;          ///< that they are to make
};

const std::string kSnmp = "management.snmp.";
const std::string kTouch = "uicontrol.vantortouch.";
const std::string kRecent = "uicontrol.apps.recentcalls.enabled=";

// clang-format off
const StepT script[] = {
    {{}, 1},  // of the start, which brings the presets into line
    {{{kTouch + "homescreen[1].button[2]=Recent", kTouch + "placeacallsubpages=recent_calls"}}, 1},
    {{{kRecent + "false"}}, 1},
    {{{kSnmp + "versionthree=false", kRecent + "true", kSnmp + "admin="  + std::string(200, 'a')}}, 1},
    {{{kSnmp + "admin=nobody", kTouch + "homescreen[1].enabled=false", kTouch + "homescreen[2].enabled=true"}}, 0},
    {{{kRecent + "true"}}, 0},
    {{{"comm.callsetting.callfeatures.fips140enable=true"}, {kTouch + "homescreen[1].enabled=false"},
      {kTouch + "homescreen[2].enabled=true"}, {kSnmp + "versionthree=true"}}, 3},
    {{}, 0},
    {{{kSnmp + "privacypassword=swordfish"}, {kRecent + "false"}}, 2},
    {{{kRecent + "true"}}, 1},
    {{{kRecent + "false"}}, 1},
    {{{kRecent + "true"}}, 1},
};
// clang-format on
constexpr std::size_t kSteps = std::size(script);

/// The whole service, but for its clients, on a disk that fails when it is told to.
class Durability : public testing::Test {
protected:
    Durability() {
        // clients are not needed, nor the time that a dispatcher takes to end
        setenv("RUNTIME_DIRECTORY", "/dev/null/none", 1);
        setenv("STATE_DIRECTORY", m_sState.c_str(), 1);
        setenv("CONFIGURATION_DIRECTORY", m_home.path().c_str(), 1);
        (void)m_home.file("presets.textproto",
                          "preset { node: 'uicontrol.apps.home' name: 'office365uienabled' "
                          "default_value: 'true' } preset { node: 'uicontrol.apps.home' name: "
                          "'skypemodecontroller' default_value: 'vantor_touch' }");
        m_schema = AppConfig::loadSchema();
        std::filesystem::create_directory(m_sCopy);
    }
    ~Durability() override {
        stop();
        printf(
            "power cuts %zu, failing writes %zu, failing reads %zu, requests acknowledged %zu, "
            "lost %zu, torn %zu, "
            "refused but there %zu\n",
            m_nPowerCuts, m_nFailingWrites, m_nFailingReads, m_nAcknowledged, m_nLost, m_nTorn,
            m_nRevived);
    }

    void stop() {
        m_provider.reset();
        Service::discardProcess();
    }
    /// Carries out a step. @return kNoError; kWriteError
    eErrorT take(const StepT& step) {
        if (step.requests.empty()) {
            stop();
            m_provider.reset(AppConfigProvider::AppConfigServiceProvider::getInstance());
            m_provider->initialize();
            Service::process().store().commitServiceWrites();
            return kNoError;
        }
        PbUtility::RequestHandler& handler = Service::process().requests();
        bool bWaits = false;
        std::size_t nAccepted = 0;
        for (const TextsT& assignments : step.requests) {
            pbcommon::Reply reply;
            bWaits |= handler
                          .handle({.role = AppConfig::kSystem, .sClient = "test"},
                                  setRequest(assignments), reply)
                          .bUncommitted;
            nAccepted += reply.code() == pbcommon::kNoError ? 1 : 0;
        }
        PbUtility::Revisions revisions;
        pbcommon::Reply failure;
        const eErrorT result = bWaits ? handler.commit(revisions, failure) : kNoError;
        handler.release();
        m_nAcknowledged += result == kNoError ? nAccepted : 0;
        return result;
    }
    static bool isInMemory(const std::string& sContent) {
        return sContent.starts_with(everythingOf(Service::process().store()));
    }
    /// A new state directory on a disk that will fail.
    void begin(const Fault& fault) {
        stop();
        std::filesystem::remove_all(m_sState);
        m_disk.arm(fault);
    }

    // what there would be after a new start, when the power is cut now, and when the process ends
    std::string afterPowerCut(std::mt19937* random) {
        clearCopy();
        m_disk.writeSurvivors(m_sCopy, random);
        return contentOfCopy();
    }
    std::string afterKill() {
        clearCopy();
        std::filesystem::copy(m_sState, m_sCopy);
        return contentOfCopy();
    }

    /// Judges what is there: it has to be what one of these steps of the script has led to.
    void expectStep(const std::string& sContent, std::size_t nFirst, std::size_t nLast,
                    const std::string& sWhen) {
        std::size_t nFound = m_contents.size();
        for (std::size_t i = 0; i < m_contents.size(); ++i) {
            if (m_contents[i] != sContent) continue;
            if (i >= nFirst && i <= nLast) return;
            nFound = i;
        }
        const bool bTorn = nFound == m_contents.size();
        ++(bTorn ? m_nTorn : nFound < nFirst ? m_nLost : m_nRevived);
        if (m_nTorn + m_nLost + m_nRevived > 3) return;  // how many there are is told in the end
        const std::string& sExpected = m_contents[nFirst];
        const auto [expected, actual] =
            std::mismatch(sExpected.begin(), sExpected.end(), sContent.begin(), sContent.end());
        ADD_FAILURE() << sWhen << ": behind step " << nFirst << " there is "
                      << (bTorn ? "no state of the script" : "step " + std::to_string(nFound))
                      << "\n... " << std::string(actual, sContent.end()).substr(0, 300)
                      << "\ninstead of\n... "
                      << std::string(expected, sExpected.end()).substr(0, 300);
    }

    /// The script on a disk that never fails: what each step leads to. The first is nothing at all.
    void learn() {
        begin({});
        m_contents.push_back(contentOfCopy());
        std::size_t nNewest = 0;
        std::size_t nCheckpoints = 0;
        for (const StepT& step : script) {
            const std::size_t nSyncs = m_disk.databaseSyncs();
            ASSERT_EQ(take(step), kNoError);
            m_contents.push_back(afterKill());
            ASSERT_THAT(m_contents.back(), testing::HasSubstr("\n1|start-up|startup|\n"));
            ASSERT_TRUE(isInMemory(m_contents.back()));
            nCheckpoints += step.requests.empty() ? 0 : m_disk.databaseSyncs() - nSyncs;
            nNewest += step.nChanges;
            ASSERT_EQ(Service::process().database().newest(), nNewest);
        }
        stop();
        m_nOperations = m_disk.operations();
        ASSERT_GT(nCheckpoints, 2U) << "the log has been written back too seldom";
        expectStep(afterKill(), kSteps, kSteps, "undisturbed");
        m_nAcknowledged = 0;
    }

    LogFile m_log;
    TemporaryDirectory m_home;
    const std::string m_sState = m_home.path("state");
    const std::string m_sCopy = m_home.path("copy");
    FaultyVfs m_disk{m_sState};
    std::mt19937 m_random{20261123};
    AppConfig::Schema m_schema;
    std::unique_ptr<AppConfigProvider::AppConfigServiceProvider> m_provider;
    std::vector<std::string> m_contents;  ///< before the script, and behind each of its steps
    std::size_t m_nOperations = 0;        ///< of the script and the end of the service
    std::size_t m_nPowerCuts = 0, m_nFailingWrites = 0, m_nFailingReads = 0, m_nAcknowledged = 0;
    std::size_t m_nLost = 0, m_nTorn = 0, m_nRevived = 0;

private:
    void clearCopy() const {
        for (const auto& entry : std::filesystem::directory_iterator(m_sCopy)) {
            std::filesystem::remove(entry.path());
        }
    }
    /// The variables as a store has them, and the rows of the database but for times.
    [[nodiscard]] std::string contentOfCopy() const {
        std::string sContent =
            everythingOf(Service(m_schema, std::make_unique<AppConfig::Database>(m_sCopy)).store());
        sqlite3* opened = nullptr;
        sqlite3_open((m_sCopy + "/appconfig.db").c_str(), &opened);
        const AppConfig::ConnectionT connection(opened);
        const auto add = [](void* rows, int nColumns, char** texts, char**) {
            for (int i = 0; i < nColumns; ++i) {
                *static_cast<std::string*>(rows) += texts[i] == nullptr ? "-|" : texts[i] + "|"s;
            }
            *static_cast<std::string*>(rows) += "\n";
            return 0;
        };
        sqlite3_exec(opened,
                     "PRAGMA locking_mode = EXCLUSIVE; PRAGMA quick_check; SELECT * FROM setting;"
                     "SELECT revision, client, role FROM change; SELECT * FROM detail",
                     add, &sContent, nullptr);
        return sContent;
    }
};

TEST_F(Durability, OutlivesAPowerCutAtEveryWrite) {
    learn();
    for (std::size_t nCut = 1; nCut <= m_nOperations; ++nCut) {
        begin({.kind = Fault::kPowerCut, .nAt = nCut});
        std::size_t nDone = 0;
        std::size_t nBegun = 0;
        while (nBegun < kSteps && !m_disk.hasStruck()) {
            const StepT& step = script[nBegun++];
            // nobody is told that the service has started
            if (take(step) == kNoError && (!m_disk.hasStruck() || !step.requests.empty())) {
                nDone = nBegun;
            }
        }
        stop();
        ASSERT_TRUE(m_disk.hasStruck());
        const std::string sWhen = "cut at " + std::to_string(nCut);
        expectStep(afterKill(), nDone, nBegun, sWhen + ", all written");
        expectStep(afterPowerCut(nullptr), nDone, nBegun, sWhen + ", nothing unsynced");
        for (int i = 0; i < 6; ++i) {
            expectStep(afterPowerCut(&m_random), nDone, nBegun, sWhen + ", some unsynced");
        }
        ++m_nPowerCuts;
    }
}

struct DiskFaultCaseT {
    const char* name;
    Fault fault;
    bool bRestarts;  ///< the service ends behind the refusal, and starts again
};

// clang-format off
const DiskFaultCaseT diskFaultCases[] = {
    {"Full",            {.kind = Fault::kFull},                  false},
    {"FullThenRestart", {.kind = Fault::kFull,  .bOnce = true},  true },
    {"Error",           {.kind = Fault::kError},                 false},
    {"ErrorOnce",       {.kind = Fault::kError, .bOnce = true},  false},
};
// clang-format on

class DiskFault : public Durability, public testing::WithParamInterface<DiskFaultCaseT> {
protected:
    /// The fault has come within this step. @return the outcome of the step once it is repaired
    eErrorT recover(std::size_t nStep, eErrorT result, const std::string& sWhen) {
        const bool bStart = script[nStep].requests.empty();
        const bool bRefused = result == kWriteError;
        const std::size_t nNow = nStep + (bRefused ? 0 : 1);
        EXPECT_TRUE(isInMemory(m_contents[nNow])) << sWhen;
        AppConfig::Database& database = Service::process().database();
        std::uint64_t nRead = 0;
        (void)database.readHistory(
            1, database.newest(), AppConfig::Database::Order::kOldestFirst,
            [](const auto&) { return true; },
            [&](const auto& change) { return change.nRevision == ++nRead; });
        EXPECT_EQ(nRead, database.newest()) << sWhen;
        // nobody is told that the service has started; and a disk that has not reported a sync, nor
        // lets anything be undone, may hold what it was to sync
        const std::size_t nFirst = bStart ? nStep : nNow;
        const std::size_t nLast = bRefused && !GetParam().fault.bOnce ? nStep + 1 : nNow;
        expectStep(afterKill(), nFirst, nLast, sWhen + ", killed");
        expectStep(afterPowerCut(nullptr), nFirst, nLast, sWhen + ", power cut");
        for (int i = 0; i < 4; ++i) {
            expectStep(afterPowerCut(&m_random), nFirst, nLast,
                       sWhen + ", power cut, some unsynced");
        }
        if (bRefused && !GetParam().fault.bOnce) {
            EXPECT_EQ(take(script[nStep]), kWriteError) << sWhen;
        }
        if (bRefused) {
            EXPECT_THAT(m_log.content(),
                        testing::HasSubstr("<2>test: hd[0]: cfgCommon: cannot write "));
        }
        m_disk.repair();
        if (bRefused && GetParam().bRestarts) {
            (void)take(script[0]);
            EXPECT_TRUE(isInMemory(m_contents[nStep])) << sWhen;
        }
        return bRefused || bStart ? take(script[nStep]) : result;
    }
};

TEST_P(DiskFault, RefusesWholeAndGoesOn) {
    learn();
    for (Fault fault = GetParam().fault; fault.nAt++ < m_nOperations; ++m_nFailingWrites) {
        const std::string sWhen = "fault at " + std::to_string(fault.nAt);
        begin(fault);
        for (std::size_t i = 0; i < kSteps; ++i) {
            const bool bStruckBefore = m_disk.hasStruck();
            eErrorT result = take(script[i]);
            if (!bStruckBefore && m_disk.hasStruck()) result = recover(i, result, sWhen);
            ASSERT_EQ(result, kNoError) << sWhen << ", step " << i;
        }
        stop();
        expectStep(afterKill(), kSteps, kSteps, sWhen + ", in the end");
        expectStep(afterPowerCut(nullptr), kSteps, kSteps, sWhen + ", cut in the end");
    }
}

INSTANTIATE_TEST_SUITE_P(, DiskFault, testing::ValuesIn(diskFaultCases), caseName);

struct RecoveryCaseT {
    const char* name;
    const char* make;  ///< from what a killed service has left
    const char* kept;  ///< a row that the next start finds; null: it finds none
    TextsT aside;      ///< the parts of the database that it moves aside, whole
};

// clang-format off
const RecoveryCaseT recoveryCases[] = {
    {"Killed",     "",                                                                      "|swordfish|", {}},
    {"Large",      "sqlite3 appconfig.db 'WITH n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i < 20) "
                   "INSERT INTO setting SELECT i, 1, hex(zeroblob(1900)), 1 FROM n'",       "|swordfish|", {}},
    {"FirstStart", "rm appconfig.db*",                                                      nullptr, {}},
    {"Damaged",    "truncate -s 4096 appconfig.db", nullptr, {"", "-wal"}},
    {"Renamed",    "fold; sed -i 's/CREATE TABLE setting/CREATE TABLE setTing/' appconfig.db", nullptr, {""}},
    {"Foreign",    "rm appconfig.db*; sqlite3 appconfig.db 'CREATE TABLE t (x)'; echo x > appconfig.db-wal", nullptr, {"", "-wal"}},
    {"Newer",      "sqlite3 appconfig.db '.dbconfig no_ckpt_on_close on' 'PRAGMA user_version = 4'", nullptr, {"", "-wal"}},
    {"Orphans",    "rm appconfig.db; echo x > appconfig.db-journal",                        nullptr, {"-wal", "-journal"}},
    {"NoLog",      "fold; head -c 9000 /dev/urandom > appconfig.db-wal",                    "|swordfish|", {"-wal"}},
    {"OtherLog",   "fold; printf x | dd of=log bs=1 seek=40 conv=notrunc; mv log appconfig.db-wal", "|swordfish|", {"-wal"}},
    {"BadPage",    "fold; printf x | dd of=log bs=1 seek=99 conv=notrunc; mv log appconfig.db-wal", "|swordfish|", {"-wal"}},
    {"NoJournal",  "echo x > appconfig.db-journal",                                         "|swordfish|", {"-journal"}},
    {"Version1",   "rm appconfig.db*; sqlite3 appconfig.db < ../version1.sql",              "n.count|value|007|1|", {}},
};
// clang-format on

class Recovery : public Durability, public testing::WithParamInterface<RecoveryCaseT> {
protected:
    /// Makes what a start finds, and learns what it makes of it.
    void learnRecovery() {
        (void)m_home.file("version1.sql", kVersion1);
        begin({});
        const std::string sEmpty = afterPowerCut(nullptr);
        for (const StepT& step : script) ASSERT_EQ(take(step), kNoError);
        const std::string sMake =
            "cp -r " + m_sState + " " + m_sFound + "; cd " + m_sFound + "; exec > ../log 2>&1; " +
            "fold() { cp appconfig.db-wal log; sqlite3 appconfig.db .tables; }; ";
        ASSERT_EQ(system((sMake + GetParam().make).c_str()), 0);
        find({});
        m_contents = {afterKill()};
        if (GetParam().kept == nullptr) {
            ASSERT_EQ(m_contents[0], sEmpty);
        } else {
            ASSERT_THAT(m_contents[0], testing::HasSubstr(GetParam().kept));
        }
        ASSERT_EQ(take(script[0]), kNoError);
        m_nOperations = m_disk.operations();
        m_nReads = m_disk.reads();
        m_contents.push_back(afterKill());
        expectAllKept("undisturbed");
        ASSERT_EQ(movedAside(m_sState), GetParam().aside.size());
        m_nAcknowledged = 0;
    }
    void find(const Fault& fault) {
        stop();
        std::filesystem::remove_all(m_sState);
        std::filesystem::copy(m_sFound, m_sState);
        m_disk.arm(fault);
    }
    static std::size_t movedAside(const std::string& sDirectory) {
        std::filesystem::directory_iterator files(sDirectory);
        return static_cast<std::size_t>(std::count_if(files, {}, [](const auto& file) {
            return file.path().filename().string().starts_with("appconfig.db.") &&
                   file.file_size() > 0;
        }));
    }
    /// Whether what has been in the way is there, under whatever name.
    void expectAllKept(const std::string& sWhen) {
        TextsT all;
        for (const auto& entry : std::filesystem::directory_iterator(m_sCopy)) {
            all.push_back(TemporaryDirectory::contentOf(entry.path()));
        }
        for (const std::string& sPart : GetParam().aside) {
            EXPECT_THAT(all, testing::Contains(found(sPart))) << sWhen << ": " << sPart;
        }
    }
    [[nodiscard]] std::string found(const std::string& sPart) const {
        return TemporaryDirectory::contentOf(m_sFound + "/appconfig.db" + sPart);
    }
    void expectRecovered(const std::string& sContent, const std::string& sWhen) {
        expectStep(sContent, 0, 1, sWhen);
        expectAllKept(sWhen);
    }
    [[nodiscard]] std::size_t refusals() const {
        return m_log.count("nothing can be changed\n") +
               m_log.count("; changes are refused until ");
    }

    const std::string m_sFound = m_home.path("found");
    std::size_t m_nReads = 0;
};

TEST_P(Recovery, LosesNothingWhateverFails) {
    learnRecovery();
    for (Fault fault : {Fault{.kind = Fault::kPowerCut}, Fault{.kind = Fault::kError},
                        Fault{.kind = Fault::kError, .bOnce = true}, Fault{.kind = Fault::kFull}}) {
        while (fault.nAt++ < m_nOperations) {
            const std::string sWhen =
                "fault " + std::to_string(fault.kind) + " at " + std::to_string(fault.nAt);
            find(fault);
            (void)take(script[0]);
            stop();
            ASSERT_TRUE(m_disk.hasStruck());
            expectRecovered(afterKill(), sWhen + ", all written");
            expectRecovered(afterPowerCut(nullptr), sWhen + ", nothing unsynced");
            for (int i = 0; i < 6; ++i) {
                expectRecovered(afterPowerCut(&m_random), sWhen + ", some unsynced");
            }
            ++(fault.kind == Fault::kPowerCut ? m_nPowerCuts : m_nFailingWrites);
        }
    }
}

TEST_P(Recovery, TakesNoFailingReadForDamage) {
    learnRecovery();
    for (Fault fault :
         {Fault{.kind = Fault::kUnread, .bOnce = true}, Fault{.kind = Fault::kUnread}}) {
        while (fault.nAt++ < m_nReads) {
            const std::string sWhen =
                (fault.bOnce ? "one read, " : "bad sector, ") + std::to_string(fault.nAt);
            find(fault);
            const std::size_t nRefusals = refusals();
            (void)take(script[0]);
            ASSERT_TRUE(m_disk.hasStruck());
            const bool bRefused = refusals() > nRefusals;
            EXPECT_TRUE(bRefused || isInMemory(m_contents[1])) << sWhen;
            EXPECT_LE(movedAside(m_sState), GetParam().aside.size()) << sWhen;
            EXPECT_EQ(take({{{kSnmp + "admin=" + sWhen}}, 1}), bRefused ? kWriteError : kNoError)
                << sWhen;
            EXPECT_FALSE(bRefused && fault.bOnce) << sWhen;
            stop();
            m_disk.repair();
            if (bRefused) {
                expectRecovered(afterKill(), sWhen);
            } else {
                EXPECT_THAT(afterKill(), testing::HasSubstr("admin|value|" + sWhen + "|"));
            }
            ++m_nFailingReads;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, Recovery, testing::ValuesIn(recoveryCases), caseName);

}  // namespace
