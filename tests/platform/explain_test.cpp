// What a refusal is said to rest on, and what is found to help.
#include <functional>

#include "storefixture.h"

namespace {

using namespace AppConfig;

/// Decides by what it reads of the store, and does as the test wants.
struct Rule : public ProviderConfigHandler {
    using Text = const std::string&;

    bool isValid(Text, int, Text, int, const std::list<std::string>&, SecurityRole,
                 ConfigResult& result) override {
        return result.fillConfigResult(verdict(), kBadParameter, false);
    }
    void onSet(Text, int, Text, int, const std::list<std::string>& values, SecurityRole,
               ConfigResult&) override {
        reaction(values.front() == "true");
    }
    std::function<bool()> verdict = [] { return true; };
    std::function<void(bool)> reaction = [](bool) {};
};

class Explain : public StoreFixture {
protected:
    Explain() {
        start(kSchema + R"(
            variable { node: "n" name: "many" instances: 40 kind: BOOLEAN default_value: "false" }
            variable { node: "n" name: "locked" kind: BOOLEAN default_value: "false" write: kSystem }
            variable { node: "n" name: "target" kind: TEXT max_length: 9 })");
        EXPECT_EQ(registerHandler("n", "target", &m_target, &manager()), kNoError);
        EXPECT_EQ(registerHandler("n", "open", &m_open, &manager()), kNoError);
        m_open.reaction = [this](bool bOpen) {  // takes an option away and closes two settings
            const SecurityRole system = kSystem;
            std::list<std::pair<ConfigVar, eErrorT>> errors;
            if (!bOpen) return;
            manager().setConfigOptions("n", 0, "choice", 0, {"a", "b"});
            manager().setAccessLevels({{"n", "text"}, {"n", "other"}}, nullptr, &system, errors);
        };
    }
    AppCfgManager& manager() { return m_service->manager(); }
    bool isOn(const char* variable, int nInstance = 0) {
        return manager().getConfigVarBool("n", 0, variable, nInstance);
    }
    std::string refusalOf(SecurityRole role, const std::string& sAssignments) {
        pbcommon::Reply reply = ask(role, "set { " + sAssignments + " }");
        pbcommon::Change& change =
            *reply.mutable_set()->mutable_refusal()->mutable_obstacle()->mutable_change();
        EXPECT_EQ(change.time_us() == 0, change.revision() == 0) << "one that was not made";
        change.clear_time_us();
        if (change.ByteSizeLong() == 0)
            reply.mutable_set()->mutable_refusal()->mutable_obstacle()->clear_change();
        if (!reply.set().refusal().obstacle().has_change() &&
            reply.set().refusal().obstacle().now().empty()) {
            reply.mutable_set()->mutable_refusal()->clear_obstacle();
        }
        return reply.set().refusal().ShortDebugString();
    }
    static std::string assigned(const char* variable, const char* value) {
        return "assignment { " + address(variable) + " value: '" + value + "' } ";
    }

    Rule m_target, m_open;
};

const std::string kBy = R"(client: "me" uid: 7 pid: 8 role: )";
const std::string kOpened =
    R"(effect { variable: "n.open" before: "false" after: "true" cause: REQUEST })";

TEST_F(Explain, ARefusalNamesWhatItsHandlerLookedAtAsFarAsTheRoleMaySeeIt) {
    ASSERT_EQ(
        set(kSystem, {{"password", "secret"}, {"hidden", "h"}, {"text", std::string(300, 'x')}}),
        "kNoError (0) n.password=******** n.hidden=h n.text=" + std::string(300, 'x'));
    m_target.verdict = [this] {
        for (const char* const variable :
             {"target", "open", "password", "hidden", "text", "open"}) {
            (void)manager().getConfigVar("n", 0, variable, 0);
        }
        return false;
    };
    const std::string sHead = R"(now: "" read { name: "n.open" value: "false" } )"
                              R"(read { name: "n.password" value: "********" } )";
    const std::string sTail =
        R"(read { name: "n.text" value: ")" + std::string(200, 'x') + "...\" }";
    EXPECT_EQ("now: \"\" " + refusalOf(kUser, assigned("target", "x")), sHead + sTail);
    EXPECT_EQ("now: \"\" " + refusalOf(kSystem, assigned("target", "x")),
              sHead + R"(read { name: "n.hidden" value: "h" } )" + sTail);
}

TEST_F(Explain, ARefusalNamesWhatClosedTheVariableOrTookTheOptionAway) {
    const std::string sClosed =
        R"(effect { variable: "n.text" aspect: ACCESS before: "user" before: "user" )"
        R"(after: "user" after: "system" cause: ON_SET trigger: "n.open" } )" +
        kOpened;
    const std::string sObstacle = R"(obstacle { aspect: ACCESS now: "user" now: "system" )";
    EXPECT_EQ(refusalOf(kAdmin, assigned("locked", "true")), R"(now: "false" )" + sObstacle + "}")
        << "the schema";
    EXPECT_EQ(refusalOf(kAdmin, assigned("open", "true") + assigned("text", "x")),
              sObstacle + "change { " + kBy + "kAdmin " + sClosed + " } }")
        << "the request itself";
    m_others.bHeld = true;
    ASSERT_EQ(set(kAdmin, {{"open", "true"}}), "kNoError (0) n.open=true");
    const std::string sMade =
        R"(change { revision: 1 )" + kBy + R"(kAdmin assignment { name: "n.open" value: "true" } )";
    const std::string sText = sObstacle + "revision: 1 " + sMade + sClosed + " } }";
    EXPECT_EQ(refusalOf(kAdmin, assigned("text", "x")), sText) << "a change that waits";
    pbcommon::Reply ignored;
    ASSERT_EQ(m_others.commit(m_service->requests(), ignored), kNoError);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(refusalOf(kAdmin, assigned("text", "x")), sText) << "a durable one";
    EXPECT_EQ(
        refusalOf(kAdmin, assigned("choice", "c")),
        R"(now: "a" obstacle { aspect: OPTIONS now: "a" now: "b" revision: 1 )" + sMade +
            R"(effect { variable: "n.choice" aspect: OPTIONS before: "a" before: "b" before: "c" after: "a" )"
            R"(after: "b" cause: ON_SET trigger: "n.open" } )" +
            kOpened + " } }");
    EXPECT_EQ(refusalOf(kAdmin, assigned("choice", "d")), R"(now: "a")")
        << "not a matter of what is offered";
}

TEST_F(Explain, SearchesPageByPageLeavesNoTraceAndPrefersTheShortest) {
    std::function<bool()> helps = [] { return false; };
    m_target.verdict = [&] {
        for (int i = 0; i < 40; ++i) (void)isOn("many", i);
        return helps();
    };
    const auto pages = [&] {
        std::string sPages;
        int nFound = 2;  // settings that a remedy changes
        pbcommon::ExplainReply page;
        do {
            const std::string sStart = std::to_string(page.next());
            page = ask(kUser, "explain { " + assigned("target", "x") + " start: " + sStart + " }")
                       .explain();
            sPages += " " + std::to_string(page.tried());
            for (const auto& remedy : page.remedy()) {
                sPages += ":";
                for (const auto& row : remedy.assignment())
                    sPages += row.name() + "=" + row.value() + ",";
            }
            nFound = page.remedy().empty() ? nFound : page.remedy(0).assignment_size();
        } while (page.has_next() && nFound >= static_cast<int>(page.next_size()));
        return sPages;
    };
    EXPECT_EQ(pages(), " 32 8 22 22 22 22 22 22 22 22 22 18");
    EXPECT_EQ(m_log.count("refused "), 0U);
    EXPECT_EQ(m_log.count("rehearsal begins for uid 7"), 12U);
    helps = [&] { return isOn("many", 3) || (isOn("many", 1) && isOn("many", 2)); };
    EXPECT_EQ(pages(), " 32:n.many[3]=true, 8") << "nothing longer where one helps";
    helps = [&] { return isOn("many", 0) && isOn("many", 2); };
    EXPECT_EQ(pages().substr(0, 41), " 32 8 22:n.many=true,n.many[2]=true, 22 2");
    helps = [&] { return isOn("many", 0); };
    std::string sFull = assigned("target", "x");
    for (int i = 1; i < 256; ++i) sFull += assigned("count", "1");
    EXPECT_EQ(ask(kUser, "explain { " + sFull + "}").explain().tried(), 0U)
        << "a remedy has to fit into one request with them";
    EXPECT_EQ(m_service->database().newest(), 0U);
}

}  // namespace
