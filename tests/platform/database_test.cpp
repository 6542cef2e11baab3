// What the store keeps across restarts, and what it does where it cannot.
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "casename.h"
#include "storefixture.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string kSchema = R"(
    variable { node: "n" name: "text" kind: TEXT max_length: 9000 }
    variable { node: "n" name: "choice" kind: ENUMERATION option: "a" option: "b" option: "c" default_value: "a" }
    variable { node: "n" name: "count" kind: INTEGER maximum: 20000 default_value: "0" }
    variable { node: "n" name: "password" kind: SECRET max_length: 16 }
)";

class Durable : public StoreFixture {
protected:
    void restart(const std::string& sSchema = kSchema) { start(sSchema, state()); }
    [[nodiscard]] std::string state() const { return m_home.path("state"); }
    [[nodiscard]] std::string file() const { return m_home.path("state/appconfig.db"); }
    /// Every byte that the store keeps.
    [[nodiscard]] std::string bytes() const {
        return TemporaryDirectory::contentOf(file()) +
               TemporaryDirectory::contentOf(file() + "-wal");
    }
    /// What history tells a role, oldest first: "revision client: assignments | effects".
    std::vector<std::string> history(SecurityRole role, const std::string& sPattern = "*") {
        std::vector<std::string> lines;
        const pbcommon::Reply reply = ask(role, "history { pattern: '" + sPattern + "' }");
        for (const pbcommon::Change& change : reply.history()) {
            std::string sLine = std::to_string(change.revision()) + " " + change.client() + ":";
            for (const auto& row : change.assignment())
                sLine += " " + row.name() + "=" + row.value();
            sLine += " |";
            for (const auto& row : change.effect()) {
                sLine += " " + row.variable();
                for (const std::string& sText : row.after()) sLine += ":" + sText;
            }
            lines.insert(lines.begin(), sLine);
        }
        return lines;
    }

    TemporaryDirectory m_home;
};

/// Narrows, locks and follows when n.text is set.
struct Rule : public ProviderConfigHandler {
    explicit Rule(AppCfgManager& store) : manager(store) {}
    void onSet(const std::string&, int, const std::string&, int, const std::list<std::string>&,
               SecurityRole, ConfigResult&) override {
        const SecurityRole system = kSystem;
        manager.setConfigVar("n", 0, "choice", 0, "b", nullptr);
        manager.setConfigOptions("n", 0, "choice", 0, {"b", "c"});
        manager.setAccessLevels({{"n", "count"}}, nullptr, &system, errors);
        manager.setAccessLevels({{"n", "password"}}, &system, &system, errors);
    }
    AppCfgManager& manager;
    std::list<std::pair<ConfigVar, eErrorT>> errors;
};

TEST_F(Durable, KeepsValuesOptionsAndAccessLevelsForThisUserAlone) {
    restart();
    Rule rule(m_store->manager());
    registerHandler("n", "text", &rule, &m_store->manager());
    EXPECT_EQ(set(kUser, {{"password", "swordfish"}}), "kNoError (0) n.password=********");
    EXPECT_EQ(set(kUser, {{"text", "two\nlines"}}), "kNoError (0) n.text=two\nlines");
    restart();
    EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=two\nlines");
    EXPECT_EQ(get(kSystem, "password"), "kNoError (0) n.password=swordfish");
    EXPECT_THAT(get(kUser, "password"), HasSubstr("ERR_UNKNOWN_VARIABLE"));
    EXPECT_THAT(set(kUser, {{"choice", "a"}}), HasSubstr("ERR_NOT_OFFERED n.choice=a"));
    EXPECT_THAT(set(kProvisioning, {{"count", "1"}}), HasSubstr("ERR_READ_ONLY"));
    EXPECT_THAT(history(kSystem),
                ElementsAre("1 me: n.password=******** | n.password:********",
                            "2 me: n.text=two\nlines | n.text:two\nlines n.choice:b n.choice:b:c "
                            "n.count:user:system n.password:system:system"));
    EXPECT_THAT(history(kUser), ElementsAre("2 me: n.text=two\nlines | n.text:two\nlines "
                                            "n.choice:b n.choice:b:c n.count:user:system"))
        << "what is hidden now shows in no history";
    EXPECT_EQ(m_log.count("swordfish"), 0U);
    const auto modeOf = [](const std::string& sPath) {
        return static_cast<int>(std::filesystem::status(sPath).permissions());
    };
    EXPECT_EQ(modeOf(state()), 0700);
    for (const char* const name : {"", "-wal"}) EXPECT_EQ(modeOf(file() + name), 0600);
}

TEST_F(Durable, WritesNothingWhenNothingChanges) {
    restart();
    set(kUser, {{"text", "x"}});
    restart();
    const std::string sBefore = bytes();
    EXPECT_EQ(set(kUser, {{"text", "x"}}), "kNoError (0) n.text=x");
    EXPECT_EQ(set(kUser, {{"text", "y"}, {"text", "x"}}), "kNoError (0) n.text=y n.text=x");
    EXPECT_THAT(set(kUser, {{"text", "y"}, {"count", "x"}}), StartsWith("kBadParameter"));
    ask(kUser, "set { dry_run: true assignment { " + address("text") + " value: 'y' } }");
    m_store->settle();
    EXPECT_TRUE(bytes() == sBefore);
    EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=x");
}

struct FileCaseT {
    const char* name;
    const char* make;  ///< shell command that leaves "appconfig.db"
    const char* aside;
};
// clang-format off
const FileCaseT fileCases[] = {
    {"Garbage",  "head -c 9000 /dev/urandom > appconfig.db",                                        "damaged"},
    {"Text",     "echo 'no database, and longer than the header of one, which has a hundred bytes; "
                 "so it goes on for a while' > appconfig.db",                                       "damaged"},
    {"Holed",    "dd if=/dev/zero of=appconfig.db bs=1 seek=5000 count=3000 conv=notrunc 2>dd.log", "damaged"},
    {"CutShort", "truncate -s 8192 appconfig.db",                                                   "damaged"},
    {"Foreign",  "rm appconfig.db; sqlite3 appconfig.db 'CREATE TABLE t (x); INSERT INTO t VALUES (1)'", "foreign"},
    {"Newer",    "sqlite3 appconfig.db 'PRAGMA user_version = 2'",                                  "newer"},
};
// clang-format on

class UnusableFile : public Durable, public testing::WithParamInterface<FileCaseT> {};

TEST_P(UnusableFile, IsMovedAsideWholeAndAnotherBegun) {
    restart();
    set(kUser, {{"text", std::string(9000, 'x')}});
    m_store.reset();
    ASSERT_EQ(system(("cd " + state() + " && " + GetParam().make).c_str()), 0);
    const std::string sBytes = bytes();
    restart();
    EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=");
    EXPECT_EQ(set(kUser, {{"text", "new"}}), "kNoError (0) n.text=new");
    std::string sAside;
    for (const auto& entry : std::filesystem::directory_iterator(state())) {
        const std::string sPath = entry.path();
        if (sPath.starts_with(file() + "." + GetParam().aside + "-20") && sPath.ends_with("Z")) {
            sAside = sPath;
        }
    }
    EXPECT_TRUE(TemporaryDirectory::contentOf(sAside) == sBytes);
    EXPECT_EQ(m_log.count(file() + " is " + GetParam().aside + "; moved aside to " + sAside +
                          ", defaults hold\n"),
              1U);
    restart();
    EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=new");
}

INSTANTIATE_TEST_SUITE_P(, UnusableFile, testing::ValuesIn(fileCases), caseName);

TEST_F(Durable, ShowsButDoesNotChangeWhatItCannotWrite) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become a user without the right to write";
    restart();
    set(kUser, {{"text", "kept"}});
    // what a killed service leaves: the last changes are in the "-wal" alone
    const std::string sCopy = m_home.path("copy");
    for (const bool bKilled : {true, false}) {
        if (!bKilled) m_store.reset();
        std::filesystem::remove_all(sCopy);
        std::filesystem::copy(state(), sCopy);
        ASSERT_EQ(system(("chmod 755 " + m_home.path() + "; chown -R 65534 " + sCopy +
                          "; chmod 500 " + sCopy + "; chmod 400 " + sCopy + "/*")
                             .c_str()),
                  0);
        ASSERT_EQ(seteuid(65534), 0);
        start(kSchema, sCopy);
        ASSERT_EQ(seteuid(0), 0);
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=kept") << bKilled;
        EXPECT_EQ(set(kUser, {{"text", "lost"}}), "kWriteError (-55) ERR_NOT_STORED");
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=kept");
        EXPECT_THAT(history(kUser), ElementsAre("1 me: n.text=kept | n.text:kept"));
        EXPECT_GE(m_log.count("<2>test: hd[0]: cfgCommon: " + sCopy + "/appconfig.db is read only"),
                  1U);
        restart();
    }
}

TEST_F(Durable, RefusesChangesWhereThereIsNoPlaceForThem) {
    (void)m_home.file("file");
    std::filesystem::create_directories(m_home.path("taken/appconfig.db"));
    for (const std::string sPlace : {"file/state", "taken"}) {
        start(kSchema, m_home.path(sPlace));
        EXPECT_EQ(set(kUser, {{"text", "x"}}), "kWriteError (-55) ERR_NOT_STORED");
        EXPECT_EQ(get(kUser, "text"), "kNoError (0) n.text=");
        EXPECT_THAT(history(kSystem), IsEmpty());
        EXPECT_GE(m_log.count("<2>test: hd[0]: cfgCommon: cannot "), 1U) << sPlace;
    }
}

TEST_F(Durable, UndoesAndReportsWhatTheDiskDoesNotTake) {
    restart();
    set(kUser, {{"text", "before"}});
    m_others.watcher = {.role = kSystem, .sPattern = "*"};
    m_others.told.Clear();
    // a full disk, as far as a process may have one of its own
    (void)signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{.rlim_cur = std::filesystem::file_size(file() + "-wal"),
                      .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    const std::string sRefused = set(kUser, {{"text", "lost"}, {"choice", "b"}});
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(sRefused, "kWriteError (-55) ERR_NOT_STORED");
    EXPECT_EQ(get(kUser, "text") + get(kUser, "choice"),
              "kNoError (0) n.text=beforekNoError (0) n.choice=a");
    EXPECT_EQ(m_others.told.revision(), 0U) << "a watcher was told of what was undone";
    EXPECT_EQ(m_log.count("<2>test: hd[0]: cfgCommon: cannot write " + file()), 1U);
    EXPECT_EQ(set(kUser, {{"text", "later"}}), "kNoError (0) n.text=later");
    restart();
    EXPECT_THAT(history(kUser), ElementsAre("1 me: n.text=before | n.text:before",
                                            "2 me: n.text=later | n.text:later"));
}

TEST_F(Durable, FallsBackWhereTheSchemaHasChangedAndReturnsWithIt) {
    restart();
    Rule rule(m_store->manager());
    registerHandler("n", "text", &rule, &m_store->manager());
    set(kUser, {{"count", "77"}, {"password", "swordfish"}, {"text", "x"}});
    restart(R"(
        variable { node: "n" name: "choice" kind: ENUMERATION option: "a" option: "c" default_value: "c" }
        variable { node: "n" name: "count" kind: INTEGER maximum: 50 default_value: "5" }
        variable { node: "n" name: "password" kind: SECRET max_length: 4 })");
    EXPECT_EQ(get(kSystem, "choice") + get(kSystem, "count") + get(kSystem, "password"),
              "kNoError (0) n.choice=ckNoError (0) n.count=5kNoError (0) n.password=");
    for (const char* const line :
         {"<3>test: hd[0]: cfgCommon: stored value of n.choice is none any more: the default holds",
          "stored options of n.choice is none", "stored value of n.count is none",
          "stored value of n.password is none",
          "<4>test: hd[0]: cfgCommon: stored value of n.text is left out: there is no such"}) {
        EXPECT_EQ(m_log.count(line), 1U) << line;
    }
    EXPECT_EQ(m_log.count("swordfish"), 0U);
    restart();
    EXPECT_EQ(get(kSystem, "count") + get(kSystem, "password"),
              "kNoError (0) n.count=77kNoError (0) n.password=swordfish");
}

TEST_F(Durable, KeepsTheNewestTenThousandChangesAndTellsThemPageByPage) {
    constexpr std::uint64_t kChanges = 10'350;
    start(kSchema);
    for (std::uint64_t i = 1; i <= kChanges; ++i) set(kUser, {{"count", std::to_string(i)}});
    const std::uint64_t nOldest = kChanges - 10'000 + 1;
    std::uint64_t nExpected = kChanges;
    pbcommon::Reply reply;
    reply.set_revision(kChanges + 1);
    while (reply.has_revision()) {
        reply = ask(kUser,
                    "history { pattern: 'n.c*' before: " + std::to_string(reply.revision()) + " }");
        for (const auto& change : reply.history()) EXPECT_EQ(change.revision(), nExpected--);
    }
    EXPECT_EQ(nExpected + 1, nOldest);
    // whoever watches on from an old revision is told what is gone, then all else once
    std::uint64_t nSince = 100;
    do {
        reply = ask(kUser, "watch { pattern: '*' since: " + std::to_string(nSince) + " }");
        EXPECT_EQ(reply.oldest(), nSince == 100 ? nOldest : 0);
        for (const auto& change : reply.history()) {
            EXPECT_EQ(change.revision(), std::max(nSince + 1, nOldest));
            nSince = change.revision();
        }
        EXPECT_EQ(reply.revision(), nSince);
    } while (m_others.watcher.sPattern.empty());
    EXPECT_EQ(nSince, kChanges);
    EXPECT_EQ(textOf(ask(kUser, "watch { pattern: '*' since: 10351 }")),
              "kBadParameter (-3) ERR_UNKNOWN_REVISION");
}

TEST_F(Durable, TellsWhichChangeLastSetEachAspect) {
    restart();
    Rule rule(m_store->manager());
    registerHandler("n", "text", &rule, &m_store->manager());
    set(kUser, {{"count", "3"}});
    set(kUser, {{"text", "x"}});
    for (const bool bRestarted : {false, true}) {
        if (bRestarted) restart();
        const pbcommon::Reply count = ask(kUser, "why { " + address("count") + " }");
        ASSERT_EQ(count.reason_size(), 2) << "an integer has no options";
        EXPECT_EQ(count.reason(0).revision(), 1U);
        EXPECT_EQ(count.reason(0).change().assignment(0).value(), "3");
        EXPECT_EQ(count.reason(1).revision(), 2U);
        EXPECT_THAT(count.reason(1).now(), ElementsAre("user", "system"));
        const pbcommon::Reply choice = ask(kUser, "why { " + address("choice") + " }");
        ASSERT_EQ(choice.reason_size(), 3);
        EXPECT_EQ(choice.reason(1).change().effect(1).trigger(), "n.text");
        EXPECT_EQ(choice.reason(2).revision(), 0U);
    }
    EXPECT_THAT(textOf(ask(kUser, "why { " + address("password") + " }")),
                HasSubstr("ERR_UNKNOWN_VARIABLE"));
}

}  // namespace
