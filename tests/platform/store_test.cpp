// The store from both sides: requesters through messages, the service through the contract.
#include <gmock/gmock.h>

#include <functional>
#include <set>

#include "frame.h"
#include "storefixture.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSchema = R"(
    variable { node: "n" name: "open" kind: BOOLEAN default_value: "false" }
    variable { node: "n" name: "other" kind: BOOLEAN default_value: "false" }
    variable { node: "n" name: "choice" kind: ENUMERATION option: "a" option: "b" option: "c" default_value: "a" }
    variable { node: "n" name: "text" kind: TEXT max_length: 4 }
    variable { node: "n" name: "locked" kind: BOOLEAN default_value: "false" write: kSystem }
    variable { node: "n" name: "hidden" kind: BOOLEAN default_value: "false" read: kSystem write: kSystem }
    variable { node: "n" name: "count" kind: INTEGER maximum: 5000 default_value: "0" }
    variable { node: "n" name: "password" kind: SECRET max_length: 16 }
)";

/// Writes what it is told into a trace shared by all, then does what the test wants.
struct TracingHandler : public ProviderConfigHandler, public ConsumerConfigHandler {
    using Values = std::list<std::string>;
    using Text = const std::string&;

    TracingHandler(std::string sHandler, std::vector<std::string>& shared)
        : sName(std::move(sHandler)), trace(shared) {}

    bool isValid(Text sNode, int, Text sVariable, int, const Values& sValues, SecurityRole role,
                 ConfigResult& cfgResult) override {
        note("isValid", sNode, sVariable, sValues, std::to_string(role));
        cfgResult.addResultMessage("ERR_ONE");
        cfgResult.addResultMessage("ERR_TWO");
        return cfgResult.fillConfigResult(bAccepts, refusalCode, true);
    }
    void onSet(Text sNode, int, Text sVariable, int, const Values& sValues, SecurityRole role,
               ConfigResult&) override {
        note("onSet", sNode, sVariable, sValues, std::to_string(role));
        reaction(sValues.front());
        trace.push_back(sName + " returns");
    }
    void change(Text sNode, int, Text sVariable, int, const Values& sValues, Text client) override {
        note("change", sNode, sVariable, sValues, client);
    }
    void note(Text call, Text sNode, Text sVariable, const Values& sValues, Text who) {
        trace.push_back(sName + " " + call + " " + sNode + "." + sVariable + " " + sValues.front() +
                        " " + who);
    }

    const std::string sName;
    std::vector<std::string>& trace;
    bool bAccepts = true;
    eErrorT refusalCode = kNoError;
    std::function<void(Text)> reaction = [](Text) {};
};

class Store : public StoreFixture {
protected:
    Store() { start(kSchema); }

    AppCfgManager& manager() { return m_store->manager(); }
    std::string value(const std::string& sVariable) {
        return manager().getConfigVar("n", 0, sVariable, 0);
    }
    eErrorT write(const std::string& sVariable, const std::string& sValue) {
        return manager().setConfigVar("n", 0, sVariable, 0, sValue, nullptr);
    }
    eErrorT provide(const char* sVariable, ProviderConfigHandler* handler) {
        return registerHandler("n", sVariable, handler, &manager());
    }
    eErrorT consume(const char* sVariable, ConsumerConfigHandler* handler) {
        return registerHandler("n", sVariable, handler, &manager());
    }

    std::vector<std::string> m_trace;
    TracingHandler m_first{"first", m_trace};
    TracingHandler m_second{"second", m_trace};
    const SecurityRole m_system = kSystem;
    std::list<std::pair<ConfigVar, eErrorT>> m_errors;
};

TEST_F(Store, RefusesInTheOrderOfItsChecksAndLogsEachRefusalOnce) {
    manager().setConfigOptions("n", 0, "choice", 0, {"a", "b"});
    const std::string sUnknown = "kItemNotFound (-25) ERR_UNKNOWN_VARIABLE";
    const std::string sBad = "kBadParameter (-3) ";
    // clang-format off
    const struct { SecurityRole role; const char *variable, *value; std::string sReason, sShown; } cases[] = {
        {kSystem,       "nosuch", "true",     sUnknown,                             ""},
        {kProvisioning, "hidden", "true",     sUnknown,                             ""},
        {kUser,         "a\nb",   "true",     sUnknown,                             ""},
        {kProvisioning, "locked", "nonsense", "kNotAuthorized (-41) ERR_READ_ONLY", " n.locked=nonsense"},
        {kUser,         "open",   "\x1b\xff", sBad + "ERR_INVALID_VALUE",           " n.open=\\x1b\\xff"},
        {kUser,         "choice", "d",        sBad + "ERR_INVALID_VALUE",           " n.choice=d"},
        {kUser,         "choice", "c",        sBad + "ERR_NOT_OFFERED",             " n.choice=c"},
        {kUser,         "text",   "fives",    sBad + "ERR_TOO_LONG",                " n.text=fives"},
    };
    // clang-format on
    for (const auto& c : cases) {
        provide(c.variable, &m_first);
        EXPECT_EQ(set(c.role, {{c.variable, c.value}}), c.sReason + c.sShown + " failed 0");
        EXPECT_EQ(m_log.count("refused n." + pbcommon::printable(c.variable, 80) +
                              " to uid 7, process 8 (me), role " + pbcommon::roleName(c.role) +
                              ": " + c.sReason + "\n"),
                  1U);
    }
    EXPECT_EQ(m_log.count("refused"), std::size(cases));
    EXPECT_THAT(m_trace, IsEmpty()) << "the provider was asked about what the store refuses";
    EXPECT_EQ(get(kProvisioning, "hidden"), sUnknown);
    EXPECT_EQ(get(kSystem, "hidden"), "kNoError (0) n.hidden=false");
    EXPECT_EQ(list(kProvisioning, "*hidden"), "kNoError (0)");
}

TEST_F(Store, ShowsASecretOnlyToWhoAsksForItByName) {
    EXPECT_EQ(list(kUser, "*password"), "kNoError (0) n.password=") << "unset is no secret";
    EXPECT_EQ(set(kUser, {{"password", "swordfish"}}), "kNoError (0) n.password=********");
    EXPECT_EQ(set(kUser, {{"password", "swordfishswordfish"}}),
              "kBadParameter (-3) ERR_TOO_LONG n.password=******** failed 0");
    EXPECT_EQ(list(kUser, "*password"), "kNoError (0) n.password=********");
    EXPECT_EQ(get(kUser, "password"), "kNoError (0) n.password=swordfish");
    EXPECT_EQ(m_log.count("swordfish"), 0U);
}

TEST_F(Store, ListsALargeSchemaPageByPageWithoutGapOrDoubling) {
    start(
        "variable { node: 'n' name: 'long' node_instances: 900 kind: TEXT"
        " max_length: 1000 default_value: '" +
        std::string(1000, 'x') + "' }");
    std::vector<std::string> names;
    int nPages = 0;
    pbcommon::Reply reply;
    do {
        reply = ask(kUser, "list { pattern: 'n*l*' start: " + std::to_string(reply.next()) + " }");
        EXPECT_LT(reply.ByteSizeLong(), pbcommon::kMaxMessageBytes);
        for (const auto& variable : reply.variable()) names.push_back(variable.name());
    } while (reply.has_next() && ++nPages < 100);
    EXPECT_THAT(nPages, testing::AllOf(testing::Gt(0), testing::Lt(100)));
    EXPECT_EQ(names.size(), 900U);
    EXPECT_EQ(std::set(names.begin(), names.end()).size(), 900U);
}

TEST_F(Store, AsksTheProviderThenStoresThenTellsProviderAndConsumersInOrder) {
    TracingHandler unwilling("unwilling", m_trace);
    unwilling.register_change = false;
    EXPECT_EQ(provide("open", &m_first), kNoError);
    for (TracingHandler* handler : {&m_second, &m_first, &unwilling}) consume("open", handler);
    EXPECT_EQ(provide("OPEN", &m_second), kAlreadyExists);
    EXPECT_EQ(consume("nosuch", &m_first), kItemNotFound);
    m_first.reaction = [this](const std::string&) { m_trace.push_back("has " + value("open")); };
    EXPECT_EQ(set(kAdmin, {{"open", "TRUE"}, {"text", "x"}}),
              "kNoError (0) n.open=TRUE n.text=x reboot");
    EXPECT_THAT(m_trace, ElementsAre("first isValid n.open TRUE 1", "first onSet n.open TRUE 1",
                                     "has TRUE", "first returns", "second change n.open TRUE me",
                                     "first change n.open TRUE me"));
}

TEST_F(Store, KeepsTheOldValueWhenTheProviderRefuses) {
    provide("open", &m_first);
    m_first.bAccepts = false;
    for (const auto& [code, answer] :
         {std::pair{kOutOfRange, "kOutOfRange (-54)"}, std::pair{kNoError, "kRejected (-51)"}}) {
        m_first.refusalCode = code;
        EXPECT_THAT(set(kUser, {{"open", "true"}}),
                    testing::StartsWith(answer + std::string(" ERR_ONE ERR_TWO n.open=true")));
        EXPECT_EQ(value("open"), "false");
    }
}

TEST_F(Store, RunsTheNotificationsOfHandlersWritesOneAfterTheOther) {
    manager().setSecurityRole(kStartup);
    provide("open", &m_first);
    provide("other", &m_second);
    consume("locked", &m_second);
    m_first.reaction = [this](const std::string&) {
        write("other", "true");
        write("locked", "true");  // no access level holds the service back
        m_trace.push_back("already " + value("locked"));
    };
    set(kUser, {{"open", "true"}});
    EXPECT_THAT(m_trace, ElementsAre("first isValid n.open true 0", "first onSet n.open true 0",
                                     "already true", "first returns", "second onSet n.other true 4",
                                     "second returns", "second change n.locked true "));
}

TEST_F(Store, TakesBackEverythingThatARefusedRequestDid) {
    provide("open", &m_first);
    m_first.reaction = [&](const std::string&) {
        write("choice", "c");
        write("choice", "b");
        manager().setConfigOptions("n", 0, "choice", 0, {"b"});
        manager().setAccessLevels({{"n", "text"}}, nullptr, &m_system, m_errors);
    };
    EXPECT_EQ(set(kUser, {{"text", "new"}, {"open", "true"}, {"locked", "true"}}),
              "kNotAuthorized (-41) ERR_READ_ONLY n.locked=true failed 2");
    EXPECT_EQ(value("text") + value("open") + value("choice"), "falsea");
    EXPECT_EQ(set(kUser, {{"choice", "c"}, {"text", "x"}}), "kNoError (0) n.choice=c n.text=x");
}

TEST_F(Store, EndsACascadeThatChasesItself) {
    provide("count", &m_first);
    m_first.reaction = [this](const std::string& sValue) {
        write("count", std::to_string(std::stoi(sValue) + 1));
    };
    EXPECT_EQ(set(kUser, {{"count", "1"}}),
              "kServerError (-61) ERR_CASCADE_TOO_LONG n.count=1 failed 0");
    EXPECT_EQ(value("count"), "0");
    EXPECT_EQ(m_log.count("<2>test: hd[0]: cfgCommon: more than 1024 notifications"), 1U);
    m_first.reaction = [](const std::string&) {};
    EXPECT_EQ(set(kUser, {{"count", "1"}}), "kNoError (0) n.count=1 reboot");
}

TEST_F(Store, KeepsWhatTheServiceWroteBeforeTheFirstRequestWhenThatIsRefused) {
    provide("other", &m_first);
    write("other", "true");
    EXPECT_THAT(m_trace, IsEmpty()) << "a handler was called back during start-up";
    set(kUser, {{"nosuch", "1"}});
    EXPECT_THAT(m_trace, ElementsAre("first onSet n.other true 0", "first returns"));
    EXPECT_EQ(value("other"), "true");
}

TEST_F(Store, GivesAccessLevelsToAllThatExistAndReportsTheOthers) {
    const std::list<ConfigVar> vars = {{"n", "nosuch"}, {"N", "Open"}};
    EXPECT_EQ(manager().setAccessLevels(vars, nullptr, &m_system, m_errors), kItemNotFound);
    EXPECT_THAT(m_errors, ElementsAre(std::pair{vars.front(), kItemNotFound}));
    EXPECT_THAT(set(kProvisioning, {{"open", "true"}}), HasSubstr("ERR_READ_ONLY"));
}

TEST_F(Store, TellsAWatcherOfWhatItsRoleMaySeeAndOfNothingElse) {
    start(
        "variable { node: 'n' name: 'open' kind: TEXT max_length: 9 }"
        "variable { node: 'n' name: 'hidden' kind: TEXT max_length: 9 read: kAdmin }"
        "variable { node: 'n' name: 'secret' kind: SECRET max_length: 9 }");
    // clang-format off
    const struct { SecurityRole role; const char* pattern; std::vector<const char*> of; const char* told; } rows[] = {
        {kUser,   "*",     {"open", "hidden"}, " n.open=1 n.open:1"},
        {kAdmin,  "*",     {"open", "hidden"}, " n.open=2 n.hidden=2 n.open:2 n.hidden:2"},
        {kUser,   "*",     {"hidden"},         ""},
        {kUser,   "*hid*", {"open", "hidden"}, ""},
        {kUser,   "n.o*",  {"open"},           " n.open=5 n.open:5"},
        {kSystem, "*",     {"secret"},         " n.secret=******** n.secret:********"},
    };
    // clang-format on
    std::string sValue = "0";
    for (const auto& c : rows) {
        m_others.watcher = {.role = c.role, .sPattern = c.pattern};
        ++sValue.front();
        std::string sText;
        for (const char* const name : c.of) {
            sText += "assignment { " + address(name) + " value: '" + sValue + "' }";
        }
        // a rehearsal is no news, the change is, and the same again changes nothing
        for (const auto& [sMode, told] :
             {std::pair{"dry_run: true ", ""}, {"", c.told}, {"", ""}}) {
            m_others.told.Clear();
            EXPECT_EQ(ask(kSystem, "set { " + (sMode + sText) + " }").code(), pbcommon::kNoError);
            const pbcommon::Change& change = m_others.told;
            std::string sTold;
            for (const auto& row : change.assignment())
                sTold += " " + row.name() + "=" + row.value();
            for (const auto& row : change.effect())
                sTold += " " + row.variable() + ":" + row.after(0);
            EXPECT_EQ(sTold, told) << sValue;
        }
    }
}

}  // namespace
