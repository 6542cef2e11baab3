// What the store keeps across restarts, and what it does where it cannot.
#include <unistd.h>

#include "storefixture.h"
#include "version1.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;
using testing::HasSubstr;

/// A store on a disk, with a rule that narrows, locks and follows when n.text is set.
class Durable : public StoreFixture, public ProviderConfigHandler {
protected:
    void restart(const std::string& sSchema = kSchema) { start(sSchema, state()); }
    /// Makes two changes, the second with all that its rule does.
    void change() {
        restart();
        registerHandler("n", "text", this, &m_service->manager());
        EXPECT_EQ(set(kUser, {{"count", "77"}, {"password", "swordfish"}}),
                  "kNoError (0) n.count=77 n.password=********");
        EXPECT_EQ(set(kUser, {{"text", "two\nlines"}}), "kNoError (0) n.text=two\nlines");
    }
    [[nodiscard]] std::string state() const { return m_home.path("state"); }
    /// What history tells a role, newest first.
    std::vector<std::string> history(SecurityRole role) {
        std::vector<std::string> lines;
        const pbcommon::Reply reply = ask(role, "history { pattern: '*' }");
        for (const pbcommon::Change& change : reply.history().change())
            lines.push_back(textOf(change));
        return lines;
    }

    /// Runs a shell command where the state directory is.
    void shell(const std::string& sCommand) const {
        ASSERT_EQ(system(("cd " + m_home.path() + " && " + sCommand).c_str()), 0);
    }

    TemporaryDirectory m_home;

private:
    void onSet(const std::string&, int, const std::string&, int, const std::list<std::string>&,
               SecurityRole, ConfigResult&) override {
        AppCfgManager& manager = m_service->manager();
        const SecurityRole system = kSystem;
        std::list<std::pair<ConfigVar, eErrorT>> errors;
        manager.setConfigVar("n", 0, "choice", 0, "b", nullptr);
        manager.setConfigOptions("n", 0, "choice", 0, {"b", "c"});
        manager.setAccessLevels({{"n", "count"}}, nullptr, &system, errors);
        manager.setAccessLevels({{"n", "password"}}, &system, &system, errors);
    }
};

TEST_F(Durable, KeepsValuesOptionsAndAccessLevelsForThisUserAlone) {
    change();
    restart();
    EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=two\nlines");
    EXPECT_EQ(list(kSystem, "*password"), "kNoError (0) n.password=********");
    EXPECT_THAT(set(kUser, {{"choice", "a"}}), HasSubstr("ERR_NOT_OFFERED n.choice=a"));
    EXPECT_THAT(set(kProvisioning, {{"count", "1"}}), HasSubstr("ERR_READ_ONLY"));
    using std::filesystem::perms, std::filesystem::status;
    EXPECT_EQ(status(state()).permissions(), perms(0700));
    EXPECT_EQ(status(state() + "/appconfig.db").permissions(), perms(0600));
    EXPECT_EQ(status(state() + "/appconfig.db-wal").permissions(), perms(0600));
}

TEST_F(Durable, TellsOfEachAspectWhatHasChangedItAndNothingOfWhatIsHiddenNow) {
    change();
    restart();
    const std::string sFirst = "1 me: n.count=77 | n.count:77";
    const std::string sSecond =
        "2 me: n.text=two\nlines | n.text:two\nlines n.choice:b n.choice:b:c n.count:user:system";
    EXPECT_THAT(history(kUser), ElementsAre(sSecond, sFirst));
    EXPECT_THAT(
        history(kSystem),
        ElementsAre(sSecond + " n.password:system:system",
                    "1 me: n.count=77 n.password=******** | n.count:77 n.password:********"));
    const pbcommon::Reply count = ask(kUser, "why { " + address("count") + " }");
    ASSERT_EQ(count.why().reason_size(), 2) << "an integer has no options";
    EXPECT_EQ(textOf(count.why().reason(0).change()), sFirst);
    const pbcommon::Change& second = count.why().reason(1).change();
    EXPECT_EQ(textOf(second), sSecond);
    EXPECT_EQ(std::tuple(second.uid(), second.pid(), second.role()),
              std::tuple(7U, 8, pbcommon::kUser));
    EXPECT_THAT(count.why().reason(1).now(), ElementsAre("user", "system"));
    const pbcommon::Reply choice = ask(kUser, "why { " + address("choice") + " }");
    ASSERT_EQ(choice.why().reason_size(), 3);
    ASSERT_EQ(textOf(choice.why().reason(1).change()), sSecond);
    EXPECT_EQ(choice.why().reason(1).change().effect(1).trigger(), "n.text");
    EXPECT_EQ(choice.why().reason(2).revision(), 0U);
}

TEST_F(Durable, MovesAFileAsideThatItCannotUseAndBeginsAnother) {
    // clang-format off
    const struct { std::string sDirectory; const char* make; std::string sAside; } cases[] = {
        {"garbage",  "head -c 9000 /dev/urandom > appconfig.db",                                        "damaged"},
        {"holed",    "dd if=/dev/zero of=appconfig.db bs=1 seek=5000 count=3000 conv=notrunc 2>dd.log", "damaged"},
        {"cutshort", "truncate -s 8192 appconfig.db",                                                   "damaged"},
        {"foreign",  "rm appconfig.db; sqlite3 appconfig.db 'CREATE TABLE t (x); INSERT INTO t VALUES (1)'", "foreign"},
        {"newer",    "sqlite3 appconfig.db 'PRAGMA user_version = 4'",                                  "newer"},
        {"noversion", "sqlite3 appconfig.db 'PRAGMA user_version = -1'",                                "damaged"},
    };
    // clang-format on
    for (const auto& [sDirectory, make, sAside] : cases) {
        const std::string sState = m_home.path(sDirectory);
        start(kSchema, sState);
        set(kUser, {{"text", std::string(9000, 'x')}});
        m_service.reset();
        shell("cd " + sDirectory + " && " + make + " && cp appconfig.db ../before");
        start(kSchema, sState);
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=") << sDirectory;
        EXPECT_EQ(set(kUser, {{"text", "new"}}), "kNoError (0) n.text=new");
        const std::string sMoved = sState + "/appconfig.db." + sAside + "-20";
        EXPECT_EQ(m_log.count(" is " + sAside + "; moved aside to " + sMoved), 1U) << sDirectory;
        shell("cmp before " + sMoved + "*Z");
    }
}

TEST_F(Durable, BringsAnEarlierVersionToThisOneAlsoWhereItCanOnlyBeRead) {
    const std::string sFile = m_home.file("version1.sql", kVersion1);
    for (const std::string sPlace : {"readable", "writable"}) {
        std::filesystem::create_directories(m_home.path(sPlace));
        shell("sqlite3 " + sPlace + "/appconfig.db < " + sFile + " > journal_mode");
        if (sPlace == "readable")
            std::filesystem::create_directory(m_home.path("readable/appconfig.lock"));
        start(kSchema, m_home.path(sPlace));
        EXPECT_THAT(history(kUser), ElementsAre("1 me: n.text=a\"b | n.text:a\"b n.count:007"))
            << sPlace;
        EXPECT_EQ(get(kUser, "count"), "kNoError (0) n.count=7") << "canonical since then";
        EXPECT_EQ(ask(kUser, "why { " + address("count") + " }").why().reason(0).revision(), 1U);
    }
    EXPECT_EQ(set(kUser, {{"text", "new"}}), "kNoError (0) n.text=new");
    EXPECT_EQ(m_log.count("/writable/appconfig.db: bringing version 1 to version 3\n"), 1U);
    m_service.reset();
    shell(
        "sqlite3 writable/appconfig.db 'SELECT group_concat(trigger_reader) FROM detail "
        "WHERE revision = 1; SELECT touched, size FROM change WHERE revision = 1; "
        "SELECT * FROM secret; PRAGMA user_version' > columns");
    EXPECT_EQ(TemporaryDirectory::contentOf(m_home.path("columns")),
              "user,user,user\nn.text n.count|178\nn.password\n3\n");
}

TEST_F(Durable, ShowsButDoesNotChangeWhatItCannotWrite) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become a user without the right to write";
    restart();
    set(kUser, {{"text", "kept"}});
    const std::string sCopy = m_home.path("c?p#y%41");
    // what a killed service leaves: the last changes are in the "-wal" alone
    for (const bool bKilled : {true, false}) {
        if (!bKilled) m_service.reset();
        shell("chmod 755 . && rm -rf c* && cp -r state 'c?p#y%41' && chown -R 65534 c*");
        shell("chmod 400 c*/* && chmod 500 c*");
        ASSERT_EQ(seteuid(65534), 0);
        start(kSchema, sCopy);
        ASSERT_EQ(seteuid(0), 0);
        EXPECT_EQ(set(kUser, {{"text", "lost"}}), "kWriteError (-55) ERR_NOT_STORED");
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=kept") << bKilled;
        EXPECT_THAT(history(kUser), ElementsAre("1 me: n.text=kept | n.text:kept"));
        EXPECT_GE(m_log.count("<2>test: hd[0]: cfgCommon: " + sCopy + "/appconfig.db is read only"),
                  1U);
        restart();
    }
}

TEST_F(Durable, RefusesChangesWhereThereIsNoPlaceForThem) {
    m_others.watcher = {.role = kSystem, .sPattern = "*"};
    (void)m_home.file("file");
    shell("mkdir -p taken/appconfig.db pipe log device && mkfifo pipe/appconfig.db");
    shell("mkfifo log/appconfig.db-wal && ln -s /dev/zero device/appconfig.db");
    for (const std::string sPlace : {"file/state", "taken", "pipe", "log", "device"}) {
        start(kSchema, m_home.path(sPlace));
        EXPECT_EQ(set(kUser, {{"text", "x"}}), "kWriteError (-55) ERR_NOT_STORED");
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=");
        EXPECT_THAT(history(kSystem), testing::IsEmpty());
        EXPECT_GE(m_log.count("<2>test: hd[0]: cfgCommon: cannot "), 1U) << sPlace;
    }
    EXPECT_EQ(m_others.told.revision(), 0U) << "a watcher was told of what was undone";
}

TEST_F(Durable, RefusesChangesOnceItsFilesAreNoLongerWhereTheNextStartLooks) {
    const char* const losses[] = {"rm -r state",
                                  "mv state moved",
                                  "mv state moved && cp -r moved state",
                                  "rm state/appconfig.db",
                                  "rm state/appconfig.db-wal",
                                  "cp state/appconfig.db moved && mv moved state/appconfig.db"};
    std::size_t nRefusals = 0;
    for (const char* const loss : losses) {
        shell("rm -rf state moved");
        restart();
        set(kUser, {{"text", "kept"}});
        set(kUser, {{"count", "1"}});
        shell(loss);
        EXPECT_EQ(set(kUser, {{"text", "lost"}}), "kWriteError (-55) ERR_NOT_STORED") << loss;
        EXPECT_EQ(set(kUser, {{"text", "lost"}}), "kWriteError (-55) ERR_NOT_STORED") << loss;
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=kept");
        EXPECT_EQ(history(kUser).size(), 2U);
        EXPECT_EQ(m_log.count("; changes are refused until the next start\n"), ++nRefusals) << loss;
        const bool bLog = std::filesystem::exists(state() + "/appconfig.db-wal");
        m_service.reset();
        EXPECT_EQ(std::filesystem::exists(state() + "/appconfig.db-wal"), bLog) << loss;
    }
}

TEST_F(Durable, FallsBackWhereTheSchemaHasChangedAndReturnsWithIt) {
    change();
    restart(R"(
        variable { node: "n" name: "choice" kind: ENUMERATION option: "a" option: "c" default_value: "c" }
        variable { node: "n" name: "count" kind: INTEGER maximum: 50 default_value: "5" }
        variable { node: "n" name: "password" kind: SECRET max_length: 4 })");
    EXPECT_EQ(list(kSystem, "*"), "kNoError (0) n.choice=c n.count=5 n.password=");
    const std::string sNone = " is no longer valid; using the default\n";
    EXPECT_EQ(m_log.count("<3>test: hd[0]: cfgCommon: stored options of n.choice" + sNone), 1U);
    EXPECT_EQ(m_log.count(sNone), 4U) << "value of n.choice, n.count, n.password";
    EXPECT_EQ(
        m_log.count("<4>test: hd[0]: cfgCommon: ignoring stored value of unknown variable n.text"),
        1U);
    EXPECT_EQ(m_log.count("swordfish"), 0U);
    restart();
    EXPECT_EQ(get(kSystem, "count") + get(kSystem, "password", true),
              "kNoError (0) n.count=77kNoError (0) n.password=swordfish");
}

/// As often as the schema changes its mind, in what is shown and in what the file holds.
TEST_F(Durable, MasksTheHistoryOfATextThatTheSchemaMakesASecret) {
    std::string sSecret = kSchema;
    sSecret.replace(sSecret.find("kind: TEXT max_length: 9000"), 10, "kind: SECRET");
    const auto inFile = [this](const std::string& sText) {
        m_service.reset();
        shell("sqlite3 state/appconfig.db 'SELECT details FROM change' > details");
        return TemporaryDirectory::contentOf(m_home.path("details")).find(sText) !=
               std::string::npos;
    };
    restart();
    for (const char* const value : {"first \"\n", "second", ""})
        set(kUser, {{"text", value}, {"count", "7"}});
    EXPECT_TRUE(inFile("second"));
    restart(sSecret);
    EXPECT_THAT(history(kUser),
                ElementsAre("3 me: n.text= n.count=7 | n.text:",
                            "2 me: n.text=******** n.count=7 | n.text:********",
                            "1 me: n.text=******** n.count=7 | n.text:******** n.count:7"));
    EXPECT_FALSE(inFile("first") || inFile("second"));
    restart();
    set(kUser, {{"text", "third"}});
    restart(sSecret);
    EXPECT_EQ(history(kUser).front(), "4 me: n.text=******** | n.text:********");
    EXPECT_FALSE(inFile("third"));
}

TEST_F(Durable, KeepsTheNewestTenThousandChangesAndTellsThemPageByPage) {
    constexpr std::uint64_t kChanges = 10'350, kOldest = 301;
    start(kSchema);
    for (std::uint64_t i = 1; i <= kChanges; ++i) set(kUser, {{"count", std::to_string(i)}});
    std::uint64_t nNext = kChanges;
    pbcommon::HistoryReply page;
    do {
        page = ask(kUser, "history { pattern: 'n.c*' before: " + std::to_string(nNext + 1) + " }")
                   .history();
        for (const auto& change : page.change()) EXPECT_EQ(change.revision(), nNext--);
    } while (page.has_revision() && !HasFailure());
    EXPECT_EQ(nNext + 1, kOldest);
    // whoever watches on from an old revision is told what is gone, then all else once
    std::uint64_t nSince = 100;
    do {
        const pbcommon::WatchReply reply =
            ask(kUser, "watch { pattern: '*' since: " + std::to_string(nSince) + " }").watch();
        EXPECT_EQ(reply.oldest(), nSince == 100 ? kOldest : 0);
        for (const auto& change : reply.change()) {
            EXPECT_EQ(change.revision(), std::max(nSince + 1, kOldest));
            nSince = change.revision();
        }
        EXPECT_EQ(reply.revision(), nSince);
    } while (m_others.watcher.sPattern.empty() && !HasFailure());
    EXPECT_EQ(nSince, kChanges);
    EXPECT_FALSE(ask(kUser, "watch { pattern: '*' since: 300 }").watch().has_oldest()) << "no gap";
    EXPECT_EQ(textOf(ask(kUser, "watch { pattern: '*' since: 10351 }")),
              "kBadParameter (-3) ERR_UNKNOWN_REVISION");
}

/// A page of history that is left before its end, as most are, must not keep the log from being
/// started over, nor must one large commit leave a large log behind.
TEST_F(Durable, KeepsTheLogSmallWhateverIsReadBetweenChanges) {
    restart();
    const std::string sLog = state() + "/appconfig.db-wal";
    std::uintmax_t nLongest = 0;
    for (int i = 1; i <= 300; ++i) {
        set(kUser, {{"text", std::string(9000, i % 2 == 0 ? 'a' : 'b')}});
        (void)ask(kUser, "history { pattern: '*' limit: 1 }");
        (void)ask(kUser, "watch { pattern: '*' since: " + std::to_string(i / 2) + " }");
        (void)ask(kUser, "why { " + address("text") + " }");
        nLongest = std::max(nLongest, std::filesystem::file_size(sLog));
    }
    EXPECT_LT(nLongest, 8U << 20);

    const Record change{.nRevision = m_service->database().newest() + 1};
    const Setting large{"n.text", pbcommon::VALUE, std::string(20 << 20, 'x')};
    ASSERT_EQ(m_service->database().commit({&change, 1}, {&large, 1}), kNoError);
    EXPECT_GT(std::filesystem::file_size(sLog), 16U << 20);
    set(kUser, {{"count", "1"}});
    EXPECT_LE(std::filesystem::file_size(sLog), 8U << 20);
}

}  // namespace
