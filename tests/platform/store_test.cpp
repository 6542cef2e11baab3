// The store from both sides: requesters through messages, the service through the contract.
#include <functional>
#include <set>

#include "frame.h"
#include "nomemory.h"
#include "storefixture.h"
#include "tags.h"
#include "text.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;
using namespace std::string_literals;

/// Writes what it is told into a trace shared by all, then does what the test wants.
struct TracingHandler : public ProviderConfigHandler, public ConsumerConfigHandler {
    using Values = std::list<std::string>;
    using Text = const std::string&;

    TracingHandler(std::string sHandler, std::vector<std::string>& shared)
        : sName(std::move(sHandler)), trace(shared) {}

    bool isValid(Text sNode, int, Text sVariable, int, const Values& sValues, SecurityRole role,
                 ConfigResult& cfgResult) override {
        note("isValid", sNode, sVariable, sValues, std::to_string(role));
        sContext = cfgResult.getClientName() + ": " + cfgResult.getServerContext();
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
    std::string sContext;
    bool bAccepts = true;
    std::function<void(Text)> reaction = [](Text) {};
};

class Store : public StoreFixture {
protected:
    Store() { start(kSchema); }

    AppCfgManager& manager() { return m_service->manager(); }
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
    EXPECT_EQ(value("nosuch") + value("other"), "false");
    for (const char* const purpose : {"read", "set the access level of"}) {
        EXPECT_EQ(m_log.count(std::string("the service cannot ") + purpose + " n.nosuch: "), 1U);
    }
    ConfigResult result;
    EXPECT_EQ(manager().setConfigVar("n", 0, "nosuch", 0, "x", &result), kItemNotFound);
    EXPECT_EQ(result.getErrorCode(), kItemNotFound);
    EXPECT_THAT(result.getErrorTags(), ElementsAre(pbcommon::ERR_UNKNOWN_VARIABLE));
    const std::string sUnknown = "kItemNotFound (-25) ERR_UNKNOWN_VARIABLE";
    const std::string sBad = "kBadParameter (-3) ";
    const std::string sMask(pbcommon::kMaskedSecret), sLong(65537, '0');
    // clang-format off
    const struct { SecurityRole role; const char* variable; std::string sValue, sReason, sShown; const char* asked = nullptr; } cases[] = {
        {kSystem,       "nosuch",   "true",     sUnknown,                             ""},
        {kProvisioning, "hidden",   "true",     sUnknown,                             ""},
        {kUser,         "a\nb",     "true",     sUnknown,                             ""},
        {kProvisioning, "other",    "nonsense", "kNotAuthorized (-41) ERR_READ_ONLY", " n.other=nonsense"},
        {kUser,         "open",     "\x1b\xff", sBad + "ERR_INVALID_VALUE",           " n.open=\uFFFD\uFFFD"},
        {kUser,         "count",    sLong,      sBad + "ERR_TOO_LONG",                " n.count=" + sLong.substr(0, 200) + "..."},
        {kUser,         "password", sMask,      sBad + "ERR_MASKED_VALUE",            " n.password=********"},
        {kUser,         "open",     "2",        sBad + "ERR_INVALID_VALUE",           " n.open=2",            "2"},
        {kUser,         "count",    " 20001",   sBad + "ERR_INVALID_VALUE",           " n.count= 20001",      " 20001"},
        {kUser,         "choice",   "d",        sBad + "ERR_INVALID_VALUE",           " n.choice=d",          "d"},
        {kUser,         "choice",   "C",        sBad + "ERR_NOT_OFFERED",             " n.choice=C",          "c"},
        {kUser,         "password", "swordfishswordfish", sBad + "ERR_TOO_LONG",      " n.password=********", "swordfishswordfish"},
    };
    // clang-format on
    std::vector<std::string> asked;
    for (const auto& c : cases) {
        provide(c.variable, &m_first);
        EXPECT_EQ(set(c.role, {{c.variable, c.sValue}}), c.sReason + c.sShown + " failed 0");
        EXPECT_GE(m_log.count("refused change of n." + pbcommon::printable(c.variable, 80) +
                              " by uid 7 (lp), process 8 (me), role " + pbcommon::roleName(c.role) +
                              ": " + c.sReason + "\n"),
                  1U);
        if (c.asked != nullptr) {
            asked.push_back(std::string("first isValid n.") + c.variable + " " + c.asked + " 0");
        }
    }
    EXPECT_EQ(m_log.count("refused change of n."), std::size(cases) + 1);
    EXPECT_EQ(m_trace, asked)
        << "whatever the requester may propose, in canonical form if it has one";
    m_first.bAccepts = false;
    EXPECT_EQ(set(kUser, {{"open", "2"}}), "kRejected (-51) ERR_OURS n.open=2 failed 0");
    m_first.bAccepts = true;
    EXPECT_EQ(list(kProvisioning, "*hidden"), "kNoError (0)");
    const std::string sUnset = "kNoError (0) n.password=", sMasked = sUnset + "********";
    EXPECT_EQ(list(kUser, "*password") + get(kUser, "password"), sUnset + sUnset);
    EXPECT_EQ(list(kUser, "*password", true), "kNoError (0)");
    set(kUser, {{"password", "swordfish"}});
    EXPECT_EQ(list(kUser, "*password", true), sMasked);
    EXPECT_EQ(get(kAdmin, "password") + get(kUser, "password", true), sMasked + sMasked);
    EXPECT_EQ(get(kAdmin, "password", true), sUnset + "swordfish");
}

TEST_F(Store, ListsALargeSchemaPageByPageWithoutGapOrDoubling) {
    start(
        "variable { node: 'n' name: 'hideous' node_instances: 7 kind: TEXT max_length: 1 read: "
        "kSystem }"
        "variable { node: 'n' name: 'long' node_instances: 900 kind: TEXT"
        " max_length: 2000 default_value: '" +
        std::string(2000, 'x') + "' }");
    for (const char* const instance : {"0", "31", "899"}) {
        (void)ask(kUser, std::string("set { assignment { address { node: 'n' variable: 'long' "
                                     "node_instance: ") +
                             instance + " } value: 'y' } }");
    }
    for (const auto& [changed, nListed] : {std::pair{"false", 900U}, {"true", 3U}}) {
        std::set<std::string> names;
        pbcommon::ListReply reply;
        do {
            reply = ask(kUser, "list { pattern: 'n*l*' changed: " + std::string(changed) +
                                   " start: " + std::to_string(reply.next()) + " }")
                        .list();
            EXPECT_LT(reply.ByteSizeLong(), pbcommon::kMaxMessageBytes);
            for (const auto& row : reply.variable()) EXPECT_TRUE(names.insert(row.name()).second);
            if (nListed == 900U) {
                EXPECT_EQ(reply.next(), reply.has_next() ? names.size() : 0) << "counts the hidden";
            }
        } while (reply.has_next() && !HasFailure());
        EXPECT_EQ(names.size(), nListed);
    }
}

TEST_F(Store, RefusesAChangeThatDoesNotFitIntoAMessageAndCanTellOfEveryOther) {
    const std::string sLong(60000, 'x'), sOther(60000, 'y'), sOption(15000, 'o');
    start(
        "variable { node: 'n' name: 'text' kind: TEXT max_length: 65536 }"
        "variable { node: 'n' name: 'more' kind: TEXT max_length: 65536 }"
        "variable { node: 'n' name: 'choice' kind: ENUMERATION option: 'a' option: '" +
        sOption + "' default_value: 'a' }");
    const std::string sRefused = "kOutOfRange (-54) ERR_ANSWER_TOO_LONG";
    const auto told = [this] { return m_others.told.revision(); };
    m_others.watcher = {.role = kUser, .sPattern = "*"};
    // clang-format off
    const struct { Assignments assignments; bool bAccepted; } cases[] = {
        {{{"text", sLong}, {"more", sLong}},   true},   // from empty: each is in it twice
        {{{"text", sOther}, {"more", sOther}}, false},  // with what was before it is too much
        {{{"text", sOther}},                   true},
        {Assignments(100, {"choice", sOption}), false}, // the answer repeats what is offered
        {Assignments(30, {"choice", "A"}),     true},
    };
    // clang-format on
    std::uint64_t nRevision = 0;
    for (const auto& c : cases) {
        for (const bool bDryRun : {true, false}) {
            const std::string sAnswer = set(kUser, c.assignments, bDryRun);
            EXPECT_EQ(sAnswer == sRefused, !c.bAccepted) << sAnswer.substr(0, 100);
        }
        nRevision += c.bAccepted && c.assignments.size() < 30 ? 1 : 0;
        EXPECT_EQ(told(), nRevision);
        for (const std::string& sRequest :
             {"why { " + address("text") + " }", "list { pattern: '*' }"s,
              "history { pattern: '*' }"s, "watch { pattern: '*' since: 0 }"s}) {
            const pbcommon::Reply reply = ask(kUser, sRequest);
            EXPECT_LE(reply.ByteSizeLong(), pbcommon::kMaxMessageBytes);
            EXPECT_EQ(reply.code(), pbcommon::kNoError);
        }
    }
    EXPECT_EQ(value("text") + value("more"), sOther + sLong);
}

TEST_F(Store, AsksTheProviderThenStoresThenTellsOneHandlerAfterTheOther) {
    manager().setSecurityRole(kStartup);
    TracingHandler unwilling("unwilling", m_trace);
    unwilling.register_change = false;
    EXPECT_EQ(provide("open", &m_first), kNoError);
    EXPECT_EQ(provide("OPEN", &m_second), kAlreadyExists);
    EXPECT_EQ(consume("nosuch", &m_first), kItemNotFound);
    for (TracingHandler* handler : {&m_second, &m_first, &unwilling}) consume("open", handler);
    provide("other", &m_second);
    consume("hidden", &m_second);
    write("other", "YES");  // as the service starts: told of before the first request
    m_first.reaction = [this](const std::string&) {
        write("other", "true");
        write("hidden", "x");  // no access level holds the service back
        m_trace.push_back("stored " + value("open") + " " + value("hidden"));
    };
    EXPECT_EQ(set(kAdmin, {{"open", "TRUE"}, {"text", "x"}}),
              "kNoError (0) n.open=true n.text=x reboot");
    EXPECT_EQ(m_first.sContext, "me: uid 7, process 8 (me), role admin");
    EXPECT_THAT(m_trace, ElementsAre("second onSet n.other true 4", "first isValid n.open true 1",
                                     "first onSet n.open true 1", "stored true x",
                                     "second change n.open true me", "first change n.open true me",
                                     "second onSet n.other true 4", "second change n.hidden x "));
}

TEST_F(Store, KeepsAllOldValuesWhenAProviderRefusesEvenWithoutACode) {
    provide("open", &m_first);
    m_first.bAccepts = false;
    EXPECT_EQ(set(kUser, {{"text", "x"}, {"open", "true"}}),
              "kRejected (-51) ERR_OURS n.open=true failed 1");
    EXPECT_EQ(value("text") + value("open"), "false");
}

TEST_F(Store, RefusesAChangeWhoseHandlerHadNoMemoryToCarryItOn) {
    provide("open", &m_first);
    m_first.reaction = [this](const std::string&) {
        const std::string sLong(1000, 'x');
        gNoMemory = true;
        const eErrorT result = write("text", sLong);
        gNoMemory = false;
        EXPECT_EQ(result, kOutOfMemory);
        EXPECT_EQ(write("other", "true"), kNoError);
    };
    EXPECT_EQ(set(kUser, {{"open", "true"}}), "kOutOfMemory (-2) n.open=true failed 0");
    EXPECT_EQ(value("open") + value("other") + value("text"), "falsefalse");
    EXPECT_EQ(m_log.count("<2>test: hd[0]: cfgCommon: cannot set a value: out of memory"), 1U);
    m_first.reaction = [](const std::string&) {};
    EXPECT_EQ(set(kUser, {{"open", "true"}}), "kNoError (0) n.open=true reboot");
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
    const std::string sBy = " by uid 7 (lp), process 8 (me), role system: ";
    EXPECT_EQ(m_log.count("revision 2" + sBy + "n.text n.hidden\n"), 1U);
    EXPECT_EQ(m_log.count("revision "), std::size(rows));
}

TEST_F(Store, ShowsOfAChangeWhatItsOwnMomentShowsWhateverSharesItsCommit) {
    for (const bool bHiddenFirst : {false, true}) {
        start(kSchema);
        for (const char* const variable : {"open", "other"}) provide(variable, &m_first);
        m_first.reaction = [this](const std::string& sValue) {
            const SecurityRole system = kSystem;
            std::list<std::pair<ConfigVar, eErrorT>> errors;
            if (sValue == "true")
                manager().setConfigVar("n", 0, "choice", 0, "b", nullptr);
            else
                manager().setAccessLevels({{"n", "open"}}, &system, nullptr, errors);
        };
        m_others.watcher = {.role = kUser, .sPattern = "*choice"};
        m_others.all.clear();
        m_others.bHeld = true;
        for (const bool bHide : {bHiddenFirst, !bHiddenFirst}) {
            set(kSystem, {bHide ? std::pair{"other", "false"} : std::pair{"open", "true"}});
        }
        pbcommon::Reply failure;
        ASSERT_EQ(m_others.commit(m_service->requests(), failure), kNoError);
        m_others.bHeld = false;
        ASSERT_EQ(m_others.all.size(), 1U);
        EXPECT_EQ(m_others.told.effect(m_others.told.effect_size() - 1).trigger(),
                  bHiddenFirst ? "" : "n.open");
        const pbcommon::Reply reply = ask(kUser, "history { pattern: '*choice' }");
        const pbcommon::Change& later = reply.history().change(0);
        EXPECT_EQ(textOf(later), std::to_string(1 + bHiddenFirst) + " me: | n.choice:b");
        EXPECT_EQ(later.effect(0).trigger(), "") << "it is hidden now";
    }
}

}  // namespace
