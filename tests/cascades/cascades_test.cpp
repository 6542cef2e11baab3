#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <regex>
#include <set>

#include "AppConfigServiceProvider.h"
#include "address.h"
#include "casename.h"
#include "everything.h"
#include "logfile.h"
#include "onewatcher.h"
#include "service.h"
#include "setrequest.h"

namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using TextsT = std::vector<std::string>;

/// What followed from a change, "variable: what it is now" each; of its access, the two roles.
TextsT consequences(const google::protobuf::RepeatedPtrField<pbcommon::Effect>& effects) {
    TextsT texts;
    for (const pbcommon::Effect& effect : effects) {
        if (effect.cause() == pbcommon::REQUEST) continue;
        std::string& sText = texts.emplace_back(effect.variable() + ":");
        for (const std::string& sAfter : effect.after()) sText += " " + sAfter;
    }
    return texts;
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
        EXPECT_EQ(m_log.count(" by the service: ") + m_log.count("the service cannot "), 0U)
            << m_log.content() << "a rule uses what the schema lacks";
        m_provider.reset();
        AppConfig::Service::discardProcess();
    }

    /// Starts it on a store that begins with these values instead of the defaults.
    void start(const TextsT& presets = {}) {
        std::string sText;
        const pbcommon::Request values = setRequest(presets);
        for (const pbcommon::Assignment& preset : values.set().assignment()) {
            const pbcommon::AddressView address = pbcommon::viewOf(preset.address());
            sText.append("preset { node: '").append(address.sNode);
            sText.append("' name: '").append(address.sVariable);
            sText.append("' default_value: '" + preset.value() + "' }\n");
        }
        (void)m_directory.file("presets.textproto", sText);
        m_provider.reset(AppConfigProvider::AppConfigServiceProvider::getInstance());
        m_provider->initialize();
        std::size_t nRegistrations = 0;
        for (const AppConfig::Cell& cell : AppConfig::Service::process().store().cells()) {
            const AppConfig::Handlers& handlers =
                AppConfig::Service::process().store().handlersOf(cell);
            if (cell.nNodeInstance + cell.nVarInstance > 0) continue;
            nRegistrations += handlers.consumers.size() + (handlers.provider == nullptr ? 0 : 1);
        }
        EXPECT_EQ(nRegistrations, 15U) << "the schema lacks a variable";
        AppConfig::Service::process().store().commitServiceWrites();
    }
    pbcommon::Reply ask(const pbcommon::Request& request,
                        AppConfig::SecurityRole role = AppConfig::kSystem) {
        return m_others.ask(AppConfig::Service::process().requests(),
                            {.role = role, .sClient = "test"}, request);
    }
    /// All pages in one.
    pbcommon::ExplainReply explain(const pbcommon::Request& change, AppConfig::SecurityRole role) {
        pbcommon::Request request;
        *request.mutable_explain()->mutable_assignment() = change.set().assignment();
        pbcommon::ExplainReply all = ask(request, role).explain();
        while (all.has_next()) {
            request.mutable_explain()->set_start(all.next());
            const pbcommon::ExplainReply page = ask(request, role).explain();
            all.clear_next();
            all.mutable_remedy()->MergeFrom(page.remedy());
            all.set_tried(all.tried() + page.tried());
            if (page.has_next()) all.set_next(page.next());
        }
        return all;
    }
    pbcommon::Reply set(const TextsT& assignments, bool bDryRun = false) {
        pbcommon::Request request = setRequest(assignments);
        request.mutable_set()->set_dry_run(bDryRun);
        return ask(request);
    }
    LogFile m_log;
    TemporaryDirectory m_directory;
    OneWatcher m_others;
    std::unique_ptr<AppConfigProvider::AppConfigServiceProvider> m_provider;
};

/// Every text of `a` with every text of `b` behind it.
TextsT each(const TextsT& a, const TextsT& b) {
    TextsT all;
    for (const std::string& sFirst : a) {
        for (const std::string& sSecond : b) all.push_back(sFirst + sSecond);
    }
    return all;
}

TextsT operator+(TextsT a, const TextsT& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const std::string kSnmp = "management.snmp.";
const std::string kApps = "uicontrol.apps.";
const std::string kHome = kApps + "home.";
const std::string kRecent = kApps + "recentcalls.";
const std::string kScreen = "uicontrol.vantortouch.homescreen";
const std::string kSubPages = "uicontrol.vantortouch.placeacallsubpages";

const TextsT kInstances = {"", "[1]", "[2]"};
const TextsT kButtons = each(each({kScreen}, kInstances), each({".button"}, kInstances));
const TextsT kVersions = each({kSnmp + "traptarget.protocolversion"}, kInstances);
const TextsT kTargets = each(
    each({kSnmp + "traptarget."},
         {"targetaddress", "targetport", "protocolversion", "messagetype", "traptargetenable"}),
    kInstances);
const TextsT kSettings =
    each({kSnmp}, {"legacynotification.enabled", "newnotification.enabled", "versionone",
                   "versiontwo", "versionthree", "admin", "community", "location", "systemdesc",
                   "listeningport", "transportprotocol"});
const TextsT kAlgorithms = each({kSnmp}, {"authenticationalgorithm", "privacyalgorithm"});
const TextsT kVersion3 =
    kAlgorithms + each({kSnmp}, {"authenticationpassword", "engineid", "id", "privacypassword"});
const TextsT kHidden = {": system system"}, kReadOnly = {": user system"};

struct CascadeCaseT {
    const char* name;
    TextsT before;  ///< assignments made one by one
    TextsT change;
    TextsT effects;  ///< besides the assigned values
};

// clang-format off
const CascadeCaseT cascadeCases[] = {
    {"SnmpOffHides", {}, {kSnmp + "enabled=false"}, each(kSettings + kTargets + kVersion3, kHidden)},
    {"SnmpV3OffMovesTargetsAndHides", {kVersions[1] + "=v3"}, {kSnmp + "versionthree=false"},
     TextsT{kVersions[1] + ": v2c"} + each(kVersions, {": v1 v2c"}) + each(kVersion3, kHidden)},
    {"FipsForcesAlgorithms", {}, {"comm.callsetting.callfeatures.fips140enable=true"},
     TextsT{kAlgorithms[0] + ": SHA", kAlgorithms[1] + ": CFB-AES128"} + each(kAlgorithms, kReadOnly)},
    {"RecentCallsAndSpeedDialOff",
     {kButtons[5] + "=Recent", kButtons[0] + "=Speed_Dial", kSubPages + "=recent_calls"},
     {kRecent + "enabled=false", kHome + "showspeeddial=false"},
     TextsT{kRecent + "maxnumbertodisplay" + kReadOnly[0], kHome + "placeacallfunc: keypad contacts speeddials",
            kSubPages + ": keypad", kSubPages + ": keypad contacts", kButtons[5] + ": None", kButtons[0] + ": None"} +
         each(kButtons, {": None Keypad Contacts Calendar Content"})},
    {"HomeScreenChainRunsDown", {}, {kScreen + "[1].enabled=NO"}, each({kScreen}, each({"[2]", "[3]", "[4]"}, {".enabled: false"}))},
    {"MenuAndTimeModeHide", {}, each({kApps}, {"menu.showsysteminfo=false", "inacalllayout.timemode=off"}),
     each(each({kApps}, {"menu.showsipaddress", "menu.showipaddress", "menu.showh323extension", "inacalllayout.whentoshow"}), kHidden)},
    {"SecondOfTwoAssignmentsIsTheLastWord", {}, {kRecent + "enabled=false", kRecent + "enabled=true"}, {}},
};
// clang-format on

class Cascade : public Service, public testing::WithParamInterface<CascadeCaseT> {};

TEST_P(Cascade, HasTheseEffectsAndNoOther) {
    start();
    for (const std::string& sAssignment : GetParam().before) {
        ASSERT_EQ(set({sAssignment}).code(), pbcommon::kNoError) << sAssignment;
    }
    const pbcommon::Reply reply = set(GetParam().change);
    EXPECT_EQ(reply.code(), pbcommon::kNoError);
    EXPECT_THAT(consequences(reply.set().effect()), UnorderedElementsAreArray(GetParam().effects));
    EXPECT_THAT(set(GetParam().change).set().effect(), IsEmpty())
        << "done twice, it does something more";
}

INSTANTIATE_TEST_SUITE_P(, Cascade, testing::ValuesIn(cascadeCases), caseName);

TEST_F(Service, DefaultsFitTheRules) {
    start();
    EXPECT_EQ(AppConfig::Service::process().database().newest(), 0U)
        << "the start changed something";
    for (const AppConfig::Cell& cell : AppConfig::Service::process().store().cells()) {
        const pbcommon::Reply reply = set({cell.sAddress + "=" + cell.row->default_value()});
        EXPECT_EQ(reply.code(), pbcommon::kNoError) << cell.sAddress;
        EXPECT_THAT(reply.set().effect(), IsEmpty()) << cell.sAddress;
    }
}

/// Every setting of the room system is there for some rule, and every rule's settings are there:
/// the names in the handlers' sources are those of the schema's rows.
TEST_F(Service, NamesTheVariablesThatTheSchemaHasAndNoOther) {
    std::set<std::string> literals, names, nodes;
    for (const auto& file : std::filesystem::recursive_directory_iterator(POLICY_SOURCES)) {
        const std::string text =
            file.is_regular_file() ? TemporaryDirectory::contentOf(file.path()) : "";
        const std::regex literal("\"([a-z0-9.]+)\"");
        for (std::sregex_iterator at(text.begin(), text.end(), literal), end; at != end; ++at) {
            literals.insert((*at)[1]);
        }
    }
    start();
    for (const AppConfig::Cell& cell : AppConfig::Service::process().store().cells()) {
        nodes.insert(cell.row->node());
        names.insert(cell.row->node());
        names.insert(cell.row->name());
    }
    EXPECT_THAT(literals, testing::IsSupersetOf(names));
    std::erase_if(literals, [](const std::string& s) {
        return s.find('.') == std::string::npos || s.ends_with(".h");
    });
    EXPECT_THAT(nodes, testing::IsSupersetOf(literals));
}

TEST_F(Service, StartUpBringsADirtyStateIntoLine) {
    start({kHome + "office365uienabled=true", kHome + "skypemodecontroller=vantor_touch",
           kRecent + "enabled=false", kButtons[0] + "=Recent", kSubPages + "=recent_calls"});
    pbcommon::Request request;
    request.mutable_history()->set_pattern("*");
    const pbcommon::Reply reply = ask(request);
    ASSERT_EQ(reply.history().change_size(), 1);
    const TextsT locked = each({kHome}, {"addressbar.itemright", "addressbar.itemleft", "kioskmode",
                                         "showappshortcuts"}) +
                          TextsT{"security.accesscontrol.userloginrequired", "pm.selfviewauto"};
    // presets hold for every instance
    EXPECT_THAT(
        consequences(reply.history().change(0).effect()),
        UnorderedElementsAreArray(
            each(locked, kReadOnly) +
            TextsT{kSubPages + ": keypad", kSubPages + ": keypad contacts speed_dials"} +
            each(kButtons, {": None", ": None Keypad Contacts Speed_Dial Calendar Content"})));
}

TEST_F(Service, RehearsesExactlyWhatAChangeThenDoesAndLeavesNoTrace) {
    start();
    const std::vector<AppConfig::Cell>& cells = AppConfig::Service::process().store().cells();
    std::mt19937 random(20261122);
    const auto anyOf = [&random](const auto& all) { return all[random() % all.size()]; };
    int nAccepted = 0, nCascades = 0;
    for (int i = 0; i < 2500; ++i) {
        TextsT change;
        for (std::size_t n = 1 + random() % 3; n > 0; --n) {
            const AppConfig::Cell& cell = anyOf(cells);
            TextsT values(cell.row->option().begin(), cell.row->option().end());
            if (values.empty()) values = {"true", "false", "TRUE", "161", "5060", "8080", ""};
            change.push_back(cell.sAddress + "=" + anyOf(values));
        }
        const std::string sBefore = everythingOf(AppConfig::Service::process().store());
        const pbcommon::Reply rehearsed = set(change, true);
        ASSERT_EQ(everythingOf(AppConfig::Service::process().store()), sBefore)
            << testing::PrintToString(change);
        pbcommon::Reply done = set(change);
        if (done.has_set()) done.mutable_set()->clear_revision();
        ASSERT_EQ(rehearsed.SerializeAsString(), done.SerializeAsString())
            << testing::PrintToString(change);
        ASSERT_EQ(everythingOf(AppConfig::Service::process().store()) == sBefore,
                  done.set().effect().empty())
            << testing::PrintToString(change);
        nAccepted += done.code() == pbcommon::kNoError ? 1 : 0;
        nCascades += done.set().effect_size() > static_cast<int>(change.size()) ? 1 : 0;
    }
    EXPECT_GT(nAccepted, 500) << "too few changes were accepted to say much";
    EXPECT_GT(nCascades, 50) << "too few cascades to say much";
}

/// Whether the handler refuses a value also where a setting that its refusal does not name has
/// another one, written past all rules.
void expectSameVerdict(const pbcommon::Refusal& refusal, const AppConfig::Cell& refused,
                       const std::string& sProposed, std::mt19937& random) {
    std::set<std::string> named{refused.sAddress};
    for (const pbcommon::Read& read : refusal.read()) named.insert(read.name());
    AppConfig::ConfigStore& store = AppConfig::Service::process().store();
    for (const AppConfig::Cell& other : store.cells()) {
        if (named.contains(other.sAddress)) continue;
        TextsT values(other.row->option().begin(), other.row->option().end());
        if (values.empty()) values = {"true", "false", sProposed, other.row->default_value()};
        std::string& sValue = store.find(other.sAddress)->sValue;
        const std::string sBefore = std::exchange(sValue, values[random() % values.size()]);
        ConfigResult result;
        EXPECT_FALSE(store.handlersOf(refused).provider->isValid(
            refused.row->node(), refused.nNodeInstance, refused.row->name(), refused.nVarInstance,
            {sProposed}, AppConfig::kSystem, result))
            << refused.sAddress << "=" << sProposed << " with " << other.sAddress << "=" << sValue;
        sValue = sBefore;
    }
}

TEST_F(Service, ARefusalNamesAllThatDecidesAndItsRemediesHold) {
    start();
    AppConfig::ConfigStore& store = AppConfig::Service::process().store();
    std::mt19937 random(20261123);
    const auto anyOf = [&random](const auto& all) { return all[random() % all.size()]; };
    const char* const sRounds = getenv("REFUSAL_ROUNDS");
    const int nRounds = sRounds == nullptr ? 200 : std::stoi(sRounds);
    int nRefused = 0, nByHandler = 0, nRemedied = 0, nRemedies = 0, nTried = 0;
    while (nRefused < nRounds) {
        const AppConfig::Cell& cell = anyOf(store.cells());
        TextsT values(cell.row->option().begin(), cell.row->option().end());
        if (cell.row->kind() == pbcommon::BOOLEAN) values = {"true", "false"};
        if (values.empty()) values = {"80", "5060", "8080"};
        const std::string sProposed = anyOf(values);
        const auto role = random() % 2 == 0 ? AppConfig::kSystem : AppConfig::kAdmin;
        const pbcommon::Request change = setRequest({cell.sAddress + "=" + sProposed});
        const pbcommon::ExplainReply explained = explain(change, role);
        const pbcommon::Reply reply = ask(change, role);
        ASSERT_EQ(reply.code(), explained.code());
        ASSERT_EQ(reply.set().refusal().SerializeAsString(),
                  explained.set().refusal().SerializeAsString());
        if (reply.code() == pbcommon::kNoError || !reply.set().has_refusal()) continue;
        ++nRefused;
        nTried += static_cast<int>(explained.tried());
        if (reply.set().refusal().read_size() > 0) {
            ++nByHandler;
            expectSameVerdict(reply.set().refusal(), cell, sProposed, random);
        }
        nRemedied += explained.remedy_size() > 0 ? 1 : 0;
        for (const pbcommon::Remedy& remedy : explained.remedy()) {
            TextsT remedied;
            for (const pbcommon::Assigned& assigned : remedy.assignment()) {
                remedied.push_back(assigned.name() + "=" + assigned.value());
            }
            remedied.push_back(cell.sAddress + "=" + sProposed);
            pbcommon::Request request = setRequest(remedied);
            request.mutable_set()->set_dry_run(++nRemedies % 4 != 0);  // a fourth of them is made
            pbcommon::Remedy done;
            const pbcommon::Reply outcome = ask(request, role);
            EXPECT_EQ(outcome.code(), pbcommon::kNoError) << testing::PrintToString(remedied);
            *done.mutable_effect() = outcome.set().effect();
            *done.mutable_assignment() = remedy.assignment();
            EXPECT_EQ(done.SerializeAsString(), remedy.SerializeAsString());
            if (!request.set().dry_run()) break;  // the others are remedies of the state before it
        }
    }
    std::cout << nRefused << " refusals, " << nByHandler << " by a handler; " << nTried
              << " rehearsals found " << nRemedies << " remedies for " << nRemedied << "\n";
    EXPECT_GT(nByHandler * nRemedied, 0) << "too few refusals to say much";
}

}  // namespace
