// What a consumer is notified of, by the flags that it sets.
#include "storefixture.h"

namespace {

using namespace AppConfig;
using testing::ElementsAre;

/// Writes all that it is notified of into a trace.
struct Listener : public ConsumerConfigHandler {
    using Text = const std::string&;

    using ConsumerConfigHandler::ConsumerConfigHandler;

    void change(Text, int, Text sVariable, int, const std::list<std::string>& sValues,
                Text client) override {
        trace.push_back("change " + sVariable + " " + sValues.front() + " " + client);
    }
    void submit(Text, int, Text sVariable, int, AppCfgManager::SubmitNtfyType type,
                Text client) override {
        trace.push_back("submit " + sVariable + " " + std::to_string(type) + " " + client);
    }
    void attribute(Text sAddress, std::string sName, std::string sText) override {
        trace.push_back("attribute " + sAddress + " " + sName + "=" + sText);
    }
    void options(Text, int, Text sVariable, int, std::list<std::string> options,
                 std::string client) override {
        trace.push_back("options " + sVariable + " " + options.back() + " " + client);
    }
    void accessLevel(Text, int, Text sVariable, int, SecurityRole read, SecurityRole write,
                     std::string client) override {
        trace.push_back("access " + sVariable + " " + pbcommon::roleName(read) + " " +
                        pbcommon::roleName(write) + client);
    }

    std::vector<std::string> trace;
};

/// Narrows what `choice` offers, and locks it, once `open` is stored; again and again, which is
/// once.
struct Rule : public ProviderConfigHandler {
    explicit Rule(AppCfgManager& store) : manager(store) {}

    void onSet(const std::string&, int, const std::string&, int, const std::list<std::string>&,
               SecurityRole, ConfigResult&) override {
        const SecurityRole user = kUser, system = kSystem;
        std::list<std::pair<ConfigVar, eErrorT>> errors;
        for (int i = 0; i < 3; ++i) {
            manager.setConfigOptions("n", 0, "choice", 0, {"a", "b"});
            manager.setAccessLevels({{"n", "choice"}}, &user, &system, errors);
        }
    }

    AppCfgManager& manager;
};

TEST_F(StoreFixture, NotifiesAConsumerOfWhatItsFlagsAskFor) {
    // clang-format off
    const std::vector<std::string> all = {
        "submit choice 0 me", "change choice c me",
        "options choice b ", "attribute n.choice options=a\nb",
        "access choice user system", "attribute n.choice readlevel=user", "attribute n.choice writelevel=system",
        "submit choice 1 me",
    };
    const struct { bool bChange, bSubmit, bAttribute, bOptions, bAccess; std::vector<std::size_t> heard; } cases[] = {
        {true,  true,  true,  true,  true,  {0, 1, 2, 3, 4, 5, 6, 7}},
        {false, false, false, false, false, {}},
        {true,  false, false, false, false, {1}},
        {false, true,  false, false, false, {0, 7}},
        {false, false, true,  false, false, {3, 5, 6}},
        {false, false, false, true,  false, {2}},
        {false, false, false, false, true,  {4}},
    };
    // clang-format on
    for (const auto& c : cases) {
        start(kSchema);
        Listener listener(c.bChange, c.bSubmit, c.bAttribute, c.bOptions, c.bAccess);
        Rule rule(m_service->manager());
        ASSERT_EQ(registerHandler("n", "choice", &listener, &m_service->manager()), kNoError);
        ASSERT_EQ(registerHandler("n", "open", &rule, &m_service->manager()), kNoError);
        std::vector<std::string> heard;
        for (const std::size_t nPlace : c.heard) heard.push_back(all[nPlace]);
        for (const bool bDryRun : {true, false}) {
            listener.trace.clear();
            EXPECT_EQ(set(kUser, {{"choice", "c"}, {"open", "true"}}, bDryRun),
                      "kNoError (0) n.choice=c n.open=true");
            EXPECT_EQ(listener.trace, heard);
        }
        listener.trace.clear();
        EXPECT_EQ(set(kSystem, {{"choice", "a"}, {"open", "nonsense"}}),
                  "kBadParameter (-3) ERR_INVALID_VALUE n.open=nonsense failed 1");
        EXPECT_EQ(listener.trace.size(), std::size_t{c.bSubmit} + std::size_t{c.bChange})
            << "no end of what is undone";
    }
}

}  // namespace
