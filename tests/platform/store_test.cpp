// The store from both sides: requesters through messages, the service through the contract.
#include <functional>
#include <set>

#include "frame.h"
#include "storefixture.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;
using testing::IsEmpty;

/// Writes what it is told into a trace shared by all, then does what the test wants.
struct TracingHandler : public ProviderConfigHandler, public ConsumerConfigHandler {
    using Values = std::list<std::string>;
    using Text = const std::string&;

    TracingHandler(std::string sHandler, std::vector<std::string>& shared)
        : sName(std::move(sHandler)), trace(shared) {}

    bool isValid(Text sNode, int, Text sVariable, int, const Values& sValues, SecurityRole role,
                 ConfigResult& cfgResult) override {
        note("isValid", sNode, sVariable, sValues, std::to_string(role));
        cfgResult.addResultMessage("ERR_OURS");
        return cfgResult.fillConfigResult(bAccepts, kNoError, true);
    }
    void onSet(Text sNode, int, Text sVariable, int, const Values& sValues, SecurityRole role,
               ConfigResult&) override {
        note("onSet", sNode, sVariable, sValues, std::to_string(role));
        reaction(sValues.front());
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
};

TEST_F(Store, RefusesInTheOrderOfItsChecksAndLogsEachRefusalOnce) {
    manager().setConfigOptions("n", 0, "choice", 0, {"a", "b"});
    const std::list<ConfigVar> vars = {{"n", "nosuch"}, {"N", "Other"}};
    const SecurityRole system = kSystem;
    std::list<std::pair<ConfigVar, eErrorT>> errors;
    EXPECT_EQ(manager().setAccessLevels(vars, nullptr, &system, errors), kItemNotFound);
    EXPECT_THAT(errors, ElementsAre(std::pair{vars.front(), kItemNotFound}));
    const std::string sUnknown = "kItemNotFound (-25) ERR_UNKNOWN_VARIABLE";
    const std::string sBad = "kBadParameter (-3) ";
    // clang-format off
    const struct { SecurityRole role; const char *variable, *value; std::string sReason, sShown; } cases[] = {
        {kSystem,       "nosuch",   "true",     sUnknown,                             ""},
        {kProvisioning, "hidden",   "true",     sUnknown,                             ""},
        {kUser,         "a\nb",     "true",     sUnknown,                             ""},
        {kProvisioning, "other",    "nonsense", "kNotAuthorized (-41) ERR_READ_ONLY", " n.other=nonsense"},
        {kUser,         "open",     "\x1b\xff", sBad + "ERR_INVALID_VALUE",           " n.open=\\x1b\\xff"},
        {kUser,         "choice",   "d",        sBad + "ERR_INVALID_VALUE",           " n.choice=d"},
        {kUser,         "choice",   "c",        sBad + "ERR_NOT_OFFERED",             " n.choice=c"},
        {kUser,         "password", "swordfishswordfish", sBad + "ERR_TOO_LONG",      " n.password=********"},
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
    EXPECT_EQ(list(kProvisioning, "*hidden"), "kNoError (0)");
    EXPECT_EQ(list(kUser, "*password"), "kNoError (0) n.password=") << "unset is no secret";
}

TEST_F(Store, ListsALargeSchemaPageByPageWithoutGapOrDoubling) {
    start(
        "variable { node: 'n' name: 'long' node_instances: 900 kind: TEXT"
        " max_length: 2000 default_value: '" +
        std::string(2000, 'x') + "' }");
    std::set<std::string> names;
    pbcommon::Reply reply;
    do {
        reply = ask(kUser, "list { pattern: 'n*l*' start: " + std::to_string(reply.next()) + " }");
        EXPECT_LT(reply.ByteSizeLong(), pbcommon::kMaxMessageBytes);
        for (const auto& row : reply.variable()) EXPECT_TRUE(names.insert(row.name()).second);
    } while (reply.has_next() && !HasFailure());
    EXPECT_EQ(names.size(), 900U);
}
        "variable { node: 'n' name: 'hideous' node_instances: 7 kind: TEXT max_length: 1 read: "
        "kSystem }"

TEST_F(Store, AsksTheProviderThenStoresThenTellsOneHandlerAfterTheOther) {
    manager().setSecurityRole(kStartup);
    TracingHandler unwilling("unwilling", m_trace);
    unwilling.register_change = false;
    EXPECT_EQ(provide("open", &m_first), kNoError);
    EXPECT_EQ(provide("OPEN", &m_second), kAlreadyExists);
    EXPECT_EQ(consume("nosuch", &m_first), kItemNotFound);
    for (TracingHandler* handler : {&m_second, &m_first, &unwilling}) consume("open", handler);
        EXPECT_EQ(reply.next(), reply.has_next() ? names.size() : 0) << "counts what is hidden";
    provide("other", &m_second);
    consume("hidden", &m_second);
    write("other", "true");  // as the service starts: told of before the first request
    m_first.reaction = [this](const std::string&) {
        write("other", "true");
        write("hidden", "x");  // no access level holds the service back
        m_trace.push_back("stored " + value("open") + " " + value("hidden"));
    };
    EXPECT_EQ(set(kAdmin, {{"open", "TRUE"}, {"text", "x"}}),
              "kNoError (0) n.open=TRUE n.text=x reboot");
    EXPECT_THAT(m_trace, ElementsAre("second onSet n.other true 4", "first isValid n.open TRUE 1",
                                     "first onSet n.open TRUE 1", "stored TRUE x",
                                     "second change n.open TRUE me", "first change n.open TRUE me",
                                     "second onSet n.other true 4", "second change n.hidden x "));
}

TEST_F(Store, KeepsAllOldValuesWhenAProviderRefusesEvenWithoutACode) {
    provide("open", &m_first);
    m_first.bAccepts = false;
    EXPECT_EQ(set(kUser, {{"text", "x"}, {"open", "true"}}),
              "kRejected (-51) ERR_OURS n.open=true failed 1");
    EXPECT_EQ(value("text") + value("open"), "false");
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

TEST_F(Store, TellsAWatcherOfWhatItsRoleMaySeeAndOfNothingElse) {
    // clang-format off
    const struct { SecurityRole role; const char* pattern; Assignments assignments; const char* told; } rows[] = {
        {kUser,   "*",     {{"text", "1"}, {"hidden", "1"}}, "1 me: n.text=1 | n.text:1"},
        {kSystem, "*",     {{"text", "2"}, {"hidden", "2"}}, "2 me: n.text=2 n.hidden=2 | n.text:2 n.hidden:2"},
        {kUser,   "*",     {{"hidden", "3"}},                "0 : |"},
        {kUser,   "*hid*", {{"text", "4"}, {"hidden", "4"}}, "0 : |"},
        {kUser,   "n.t*",  {{"text", "5"}},                  "5 me: n.text=5 | n.text:5"},
        {kSystem, "*",     {{"password", "6"}},              "6 me: n.password=******** | n.password:********"},
    };
    // clang-format on
    for (const auto& c : rows) {
        m_others.watcher = {.role = c.role, .sPattern = c.pattern};
        // a rehearsal is no news, the change is, and the same again changes nothing
        for (const auto& [bDryRun, told] :
             {std::pair{true, "0 : |"}, {false, c.told}, {false, "0 : |"}}) {
            m_others.told.Clear();
            EXPECT_THAT(set(kSystem, c.assignments, bDryRun), testing::StartsWith("kNoError"));
            EXPECT_EQ(textOf(m_others.told), told);
        }
    }
}

}  // namespace
