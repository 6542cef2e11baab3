#include <gmock/gmock.h>

#include <random>

#include "AppConfigServiceProvider.h"
#include "address.h"
#include "casename.h"
#include "configstore.h"
#include "logfile.h"
#include "onewatcher.h"

namespace {

using AppConfig::ConfigStore;
using testing::IsEmpty;

/// What was taken out of a list, and what was put in: "-v3 +v1".
std::string difference(const pbcommon::Effect& effect) {
    std::string text;
    const auto add = [&text](char sign, const auto& from, const auto& without) {
        for (const std::string& sEntry : from) {
            if (std::find(without.begin(), without.end(), sEntry) == without.end()) {
                text += std::string(" ") + sign + sEntry;
            }
        }
    };
    add('-', effect.before(), effect.after());
    add('+', effect.after(), effect.before());
    return text;
}

std::string levelName(const pbcommon::Effect& effect) {
    const std::string sLevels = effect.after(0) + "/" + effect.after(1);
    return sLevels == "user/user"       ? "editable"
           : sLevels == "user/system"   ? "read-only"
           : sLevels == "system/system" ? "hidden"
                                        : sLevels;
}

/// "variable=value", "variable -option +option" or "variable: access level".
std::string text(const pbcommon::Effect& effect) {
    return effect.variable() + (effect.aspect() == pbcommon::VALUE     ? "=" + effect.after(0)
                                : effect.aspect() == pbcommon::OPTIONS ? difference(effect)
                                                                       : ": " + levelName(effect));
}

/// The whole service on a store of its own, but for its clients.
class Service : public testing::Test {
protected:
    Service() {
        setenv("RUNTIME_DIRECTORY", m_directory.path("run").c_str(), 1);
        setenv("STATE_DIRECTORY", m_directory.path("state").c_str(), 1);
        setenv("CONFIGURATION_DIRECTORY", m_directory.path().c_str(), 1);
    }
    ~Service() override {
        m_provider.reset();
        ConfigStore::discardProcess();
    }

    /// Starts it on a store that begins with these values instead of the defaults.
    void start(const std::vector<std::string>& presets = {}) {
        std::string sText;
        for (const std::string& sPreset : presets) {
            const std::size_t equals = sPreset.find('=');
            const auto address = pbcommon::parseAddress(sPreset.substr(0, equals));
            sText += "preset { node: '" + address->sNode + "' name: '" + address->sVariable +
                     "' default_value: '" + sPreset.substr(equals + 1) + "' }\n";
        }
        (void)m_directory.file("presets.textproto", sText);
        m_provider.reset(AppConfigProvider::AppConfigServiceProvider::getInstance());
        m_provider->initialize();
        ConfigStore::process().settle();
    }
    pbcommon::Reply ask(const pbcommon::Request& request) {
        return m_others.ask(ConfigStore::process().requests(),
                            {.role = AppConfig::kSystem, .sClient = "test"}, request);
    }
    pbcommon::Reply set(const std::vector<std::string>& assignments, bool bDryRun = false) {
        pbcommon::Request request;
        request.mutable_set()->set_dry_run(bDryRun);
        for (const std::string& sAssignment : assignments) {
            const std::size_t equals = sAssignment.find('=');
            const auto address = pbcommon::parseAddress(sAssignment.substr(0, equals));
            pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
            assignment.mutable_address()->set_node(address->sNode);
            assignment.mutable_address()->set_node_instance(address->nNodeInstance);
            assignment.mutable_address()->set_variable(address->sVariable);
            assignment.mutable_address()->set_instance(address->nVarInstance);
            assignment.set_value(sAssignment.substr(equals + 1));
        }
        return ask(request);
    }
    /// Every value, option list and access level there is.
    [[nodiscard]] static std::string everything() {
        std::string sAll;
        for (const AppConfig::Cell& cell : ConfigStore::process().cells()) {
            sAll += cell.sAddress + "=" + cell.sValue + " " + std::to_string(cell.access.read) +
                    std::to_string(cell.access.write);
            for (const std::string& sOption : cell.offered) sAll += " " + sOption;
            sAll += "\n";
        }
        return sAll;
    }

    LogFile m_log;
    TemporaryDirectory m_directory;
    OneWatcher m_others;
    std::unique_ptr<AppConfigProvider::AppConfigServiceProvider> m_provider;
};

using TextsT = std::vector<std::string>;

struct CascadeCaseT {
    const char* name;
    TextsT presets;  ///< of the start
    TextsT before;   ///< assignments made one by one
    TextsT change;
    TextsT effects;  ///< besides the assigned values
};

TextsT forEach(const TextsT& names, const std::string& sEffect) {
    TextsT all;
    for (const std::string& sName : names) all.push_back(sName + sEffect);
    return all;
}

TextsT operator+(TextsT a, const TextsT& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const std::string kSnmp = "management.snmp.";
const std::string kTouch = "uicontrol.vantortouch.";
const std::string kVersion = kSnmp + "traptarget.protocolversion";
const std::string kRecent = "uicontrol.apps.recentcalls.";
const std::string kHome = "uicontrol.apps.home.";
const TextsT kVersions = {kVersion, kVersion + "[1]", kVersion + "[2]"};
const TextsT kV3User = {kSnmp + "authenticationpassword", kSnmp + "engineid", kSnmp + "id",
                        kSnmp + "privacypassword"};
const TextsT kV3Algorithms = {kSnmp + "authenticationalgorithm", kSnmp + "privacyalgorithm"};
const TextsT kMenu = {"uicontrol.apps.menu.showsipaddress", "uicontrol.apps.menu.showipaddress",
                      "uicontrol.apps.menu.showh323extension"};

TextsT buttons(const std::string& sEffect) {
    TextsT all;
    for (const char* const screen : {"homescreen", "homescreen[1]", "homescreen[2]"}) {
        for (const char* const button : {".button", ".button[1]", ".button[2]"}) {
            all.push_back(kTouch + screen + button + sEffect);
        }
    }
    return all;
}

// clang-format off
const CascadeCaseT cascadeCases[] = {
    {"SnmpV3OffMovesTargetsAndHides", {}, {kVersion + "[1]=v3"}, {kSnmp + "versionthree=false"},
     TextsT{kVersion + "[1]=v2c"} + forEach(kVersions, " -v3") + forEach(kV3User + kV3Algorithms, ": hidden")},
    {"BothOtherVersionsOffTakeOnlyOneOut", {}, {kSnmp + "enabled=false", kSnmp + "versiontwo=false", kSnmp + "versionthree=false", kVersion + "=v1"},
     {kSnmp + "versionone=false"}, forEach(kVersions, "=v2c") + forEach(kVersions, " -v1 +v2c")},
    {"FipsForcesAlgorithms", {}, {}, {"comm.callsetting.callfeatures.fips140enable=true"},
     {kV3Algorithms[0] + "=SHA", kV3Algorithms[1] + "=CFB-AES128", kV3Algorithms[0] + ": read-only", kV3Algorithms[1] + ": read-only"}},
    {"FipsForcesAlgorithmsWhileSnmpIsOff", {}, {kSnmp + "enabled=false"}, {"comm.callsetting.callfeatures.fips140enable=true"},
     {kV3Algorithms[0] + "=SHA", kV3Algorithms[1] + "=CFB-AES128"}},
    {"RecentCallsOff", {}, {kTouch + "homescreen[1].button[2]=Recent", kTouch + "placeacallsubpages=recent_calls", kHome + "placeacallfunc=recentcalls"},
     {kRecent + "enabled=false"},
     TextsT{kRecent + "maxnumbertodisplay: read-only", kHome + "placeacallfunc -recentcalls", kTouch + "placeacallsubpages=keypad",
            kTouch + "placeacallsubpages -recent_calls", kTouch + "homescreen[1].button[2]=None"} + buttons(" -Recent")},
    {"RecentCallsOnAgain", {}, {kRecent + "enabled=false", kHome + "showspeeddial=false"}, {kRecent + "enabled=TRUE"},
     TextsT{kRecent + "maxnumbertodisplay: editable", kHome + "placeacallfunc +recentcalls", kTouch + "placeacallsubpages +recent_calls"} + buttons(" +Recent")},
    {"SpeedDialOffMovesOnlyItsOwn", {}, {kTouch + "homescreen.button=Recent", kTouch + "homescreen.button[1]=Speed_Dial"}, {kHome + "showspeeddial=false"},
     TextsT{kTouch + "placeacallsubpages -speed_dials", kTouch + "homescreen.button[1]=None"} + buttons(" -Speed_Dial")},
    {"HomeScreenChainRunsDown", {}, {}, {kTouch + "homescreen[1].enabled=False"},
     {kTouch + "homescreen[2].enabled=False", kTouch + "homescreen[3].enabled=False", kTouch + "homescreen[4].enabled=False"}},
    {"LastHomeScreenEndsTheChain", {}, {}, {kTouch + "homescreen[4].enabled=false"}, {}},
    {"MenuHides", {}, {}, {"uicontrol.apps.menu.showsysteminfo=false"}, forEach(kMenu, ": hidden")},
    {"TimeModeHides", {}, {}, {"uicontrol.apps.inacalllayout.timemode=off"}, {"uicontrol.apps.inacalllayout.whentoshow: hidden"}},
    {"SecondOfTwoAssignmentsIsTheLastWord", {}, {}, {kRecent + "enabled=false", kRecent + "enabled=true"}, {}},
};

const CascadeCaseT refusedCases[] = {
    {"HomeScreenAfterOneThatIsOff", {}, {kTouch + "homescreen[1].enabled=false"}, {kTouch + "homescreen[2].enabled=true"}, {}},
    {"RecentCallsWithASecondary", {}, {kRecent + "enabled=false", "system.systemmode.noofsecondary=1"}, {kRecent + "enabled=true"}, {}},
    {"LoginWithASecondary", {}, {"system.systemmode.noofsecondary=2"}, {"security.accesscontrol.userloginrequired=True"}, {}},
    {"FirstAssignmentWithItsCascade", {}, {kSnmp + "versionone=false"}, {kSnmp + "versionthree=false", kRecent + "enabled=false", kSnmp + "versiontwo=false"}, {}},
};
// clang-format on

class Cascade : public Service, public testing::WithParamInterface<CascadeCaseT> {
protected:
    void prepare() {
        start(GetParam().presets);
        for (const std::string& sAssignment : GetParam().before) {
            ASSERT_EQ(set({sAssignment}).code(), pbcommon::kNoError) << sAssignment;
        }
    }
};

TEST_P(Cascade, HasTheseEffectsAndNoOther) {
    prepare();
    const pbcommon::Reply reply = set(GetParam().change);
    EXPECT_EQ(reply.code(), pbcommon::kNoError);
    TextsT actual;
    for (const pbcommon::Effect& effect : reply.effect()) {
        if (effect.cause() != "request") actual.push_back(text(effect));
    }
    EXPECT_THAT(actual, testing::UnorderedElementsAreArray(GetParam().effects));
    EXPECT_THAT(set(GetParam().change).effect(), IsEmpty()) << "done twice, it does something more";
}

INSTANTIATE_TEST_SUITE_P(, Cascade, testing::ValuesIn(cascadeCases), caseName);

class RefusedCascade : public Cascade {};

TEST_P(RefusedCascade, ChangesNothing) {
    prepare();
    const std::string sBefore = everything();
    const pbcommon::Reply reply = set(GetParam().change);
    EXPECT_EQ(reply.code(), pbcommon::kBadParameter);
    EXPECT_EQ(reply.failed(), GetParam().change.size() - 1);
    EXPECT_THAT(reply.effect(), IsEmpty());
    EXPECT_EQ(everything(), sBefore);
}

INSTANTIATE_TEST_SUITE_P(, RefusedCascade, testing::ValuesIn(refusedCases), caseName);

TEST_F(Service, DefaultsFitTheRules) {
    start();
    const std::string sFresh = everything();
    ConfigStore& store = ConfigStore::process();
    for (const AppConfig::Cell& cell : store.cells()) {
        EXPECT_THAT(set({cell.sAddress + "=" + cell.row->default_value()}).effect(), IsEmpty())
            << cell.sAddress;
    }
    EXPECT_EQ(everything(), sFresh);
    EXPECT_EQ(m_log.count("no handler for"), 0U);
    for (const AppConfig::Cell& cell : store.cells()) {
        EXPECT_EQ(cell.sValue, cell.row->default_value()) << "the start changed it";
    }
}

TEST_F(Service, StartUpBringsADirtyStateIntoLine) {
    start({kHome + "office365uienabled=true", kHome + "skypemodecontroller=vantor_touch",
           kRecent + "enabled=false", kTouch + "homescreen.button=Recent",
           kTouch + "placeacallsubpages=recent_calls"});
    const std::string sAll = everything();
    // clang-format off
    for (const std::string sLine : {
             "uicontrol.apps.home.addressbar.itemright=ipaddress 03",
             "uicontrol.apps.home.addressbar.itemleft=systemname 03",
             "security.accesscontrol.userloginrequired=false 03", "uicontrol.apps.home.kioskmode=false 03",
             "pm.selfviewauto=true 03", "uicontrol.apps.home.showappshortcuts=true 03",
             "uicontrol.vantortouch.homescreen[2].button[2]=None 00 None Keypad Contacts Speed_Dial Calendar Content",
             "uicontrol.vantortouch.placeacallsubpages=keypad 00 keypad contacts speed_dials"}) {
        EXPECT_THAT(sAll, testing::HasSubstr("\n" + sLine));
    }
    // clang-format on
    EXPECT_THAT(sAll, testing::HasSubstr("recentcalls.maxnumbertodisplay=25 00\n"))
        << "no rule of the start locks it";
}

TEST_F(Service, RehearsesExactlyWhatAChangeThenDoesAndLeavesNoTrace) {
    start();
    const std::vector<AppConfig::Cell>& cells = ConfigStore::process().cells();
    std::mt19937 random(20261122);
    const auto below = [&random](std::size_t n) { return random() % n; };
    const auto anyValue = [&](const AppConfig::Cell& cell) -> std::string {
        switch (below(10) == 0 ? pbcommon::TEXT : cell.row->kind()) {
            case pbcommon::BOOLEAN:
                return TextsT{"true", "false", "FALSE", "True"}[below(4)];
            case pbcommon::INTEGER:
                return TextsT{"0", "1", "161", "5060", "8080", "30000"}[below(6)];
            case pbcommon::ENUMERATION:
                return cell.row->option(
                    static_cast<int>(below(static_cast<std::size_t>(cell.row->option_size()))));
            default:
                return TextsT{"", "x", "off"}[below(3)];
        }
    };
    int nAccepted = 0, nCascades = 0;
    for (int i = 0; i < 2500; ++i) {
        TextsT change;
        for (std::size_t n = 1 + below(3); n > 0; --n) {
            const AppConfig::Cell& cell = cells[below(cells.size())];
            change.push_back(cell.sAddress + "=" + anyValue(cell));
        }
        const std::string sBefore = everything();
        const pbcommon::Reply rehearsed = set(change, true);
        ASSERT_EQ(everything(), sBefore) << testing::PrintToString(change);
        pbcommon::Reply done = set(change);
        done.clear_revision();
        ASSERT_EQ(rehearsed.SerializeAsString(), done.SerializeAsString())
            << testing::PrintToString(change);
        ASSERT_EQ(everything() == sBefore, done.effect().empty()) << testing::PrintToString(change);
        nAccepted += done.code() == pbcommon::kNoError ? 1 : 0;
        nCascades += done.effect_size() > static_cast<int>(change.size()) ? 1 : 0;
    }
    EXPECT_GT(nAccepted, 500) << "too few changes were accepted to say much";
    EXPECT_GT(nCascades, 50) << "too few cascades to say much";
}

}  // namespace
