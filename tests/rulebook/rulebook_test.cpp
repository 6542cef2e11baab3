#include <gmock/gmock.h>

#include <sstream>

#include "logfile.h"
#include "walk.h"

namespace {

using TextsT = std::vector<std::string>;

/// Rules as the handlers' sources have them. A name "a.{b,c}" means a.b and a.c; blanks
/// separate names.
struct RuleT {
    const char* from;
    pbcommon::Link link;
    const char* to;
    const char* conditions = "";
};
// clang-format off
const RuleT ruleTable[] = {
    // SNMP: ports, and the last version
    {"security.remoteaccess.web.httpport", pbcommon::DECIDES, "management.snmp.listeningport management.snmp.traptarget.targetport"},
    {"management.snmp.traptarget.targetport", pbcommon::DECIDES, "management.snmp.traptarget.targetport"},
    {"management.snmp.{enabled,versiontwo,versionthree}", pbcommon::DECIDES, "management.snmp.versionone"},
    {"management.snmp.{enabled,versionone,versionthree}", pbcommon::DECIDES, "management.snmp.versiontwo"},
    {"management.snmp.{enabled,versionone,versiontwo}", pbcommon::DECIDES, "management.snmp.versionthree"},
    // SNMP: what is open
    {"management.snmp.enabled", pbcommon::MOVES_ACCESS,
     "management.snmp.{legacynotification.enabled,newnotification.enabled,versionone,versiontwo,versionthree,admin,community,location,systemdesc,listeningport,transportprotocol} "
     "management.snmp.traptarget.{targetaddress,targetport,protocolversion,messagetype,traptargetenable}"},
    {"management.snmp.enabled", pbcommon::MOVES_ACCESS, "management.snmp.{authenticationpassword,engineid,id,privacypassword}", "management.snmp.versionthree"},
    {"management.snmp.enabled", pbcommon::MOVES_ACCESS, "management.snmp.{authenticationalgorithm,privacyalgorithm}",
     "comm.callsetting.callfeatures.fips140enable management.snmp.versionthree"},
    {"management.snmp.versionthree", pbcommon::MOVES_ACCESS, "management.snmp.{authenticationpassword,engineid,id,privacypassword}"},
    {"management.snmp.versionthree", pbcommon::MOVES_ACCESS, "management.snmp.{authenticationalgorithm,privacyalgorithm}", "comm.callsetting.callfeatures.fips140enable"},
    {"comm.callsetting.callfeatures.fips140enable", pbcommon::MOVES_ACCESS, "management.snmp.{authenticationalgorithm,privacyalgorithm}",
     "management.snmp.enabled management.snmp.versionthree"},
    {"comm.callsetting.callfeatures.fips140enable", pbcommon::MOVES_VALUE, "management.snmp.{authenticationalgorithm,privacyalgorithm}"},
    // SNMP: the trap targets' versions
    {"management.snmp.versionone", pbcommon::MOVES_OPTIONS, "management.snmp.traptarget.protocolversion", "management.snmp.versionthree management.snmp.versiontwo"},
    {"management.snmp.versiontwo", pbcommon::MOVES_OPTIONS, "management.snmp.traptarget.protocolversion", "management.snmp.versionone management.snmp.versionthree"},
    {"management.snmp.versionthree", pbcommon::MOVES_OPTIONS, "management.snmp.traptarget.protocolversion", "management.snmp.versionone management.snmp.versiontwo"},
    {"management.snmp.{versionone,versiontwo}", pbcommon::MOVES_VALUE, "management.snmp.traptarget.protocolversion", "management.snmp.versionthree"},
    {"management.snmp.versionthree", pbcommon::MOVES_VALUE, "management.snmp.traptarget.protocolversion", "management.snmp.versiontwo"},
    // the user interface
    {"system.systemmode.noofsecondary", pbcommon::DECIDES, "uicontrol.apps.recentcalls.enabled security.accesscontrol.userloginrequired"},
    {"uicontrol.apps.inacalllayout.timemode", pbcommon::MOVES_ACCESS, "uicontrol.apps.inacalllayout.whentoshow"},
    {"uicontrol.apps.menu.showsysteminfo", pbcommon::MOVES_ACCESS, "uicontrol.apps.menu.{showsipaddress,showipaddress,showh323extension}"},
    {"uicontrol.apps.recentcalls.enabled", pbcommon::MOVES_ACCESS, "uicontrol.apps.recentcalls.maxnumbertodisplay"},
    {"uicontrol.apps.recentcalls.enabled", pbcommon::MOVES_OPTIONS, "uicontrol.apps.home.placeacallfunc"},
    {"uicontrol.apps.home.{office365uienabled,skypemodecontroller}", pbcommon::MOVES_ACCESS_AT_START,
     "pm.selfviewauto security.accesscontrol.userloginrequired uicontrol.apps.home.{kioskmode,showappshortcuts} uicontrol.apps.home.addressbar.{itemleft,itemright}"},
    // the touch panel
    {"uicontrol.vantortouch.homescreen.enabled", pbcommon::DECIDES, "uicontrol.vantortouch.homescreen.enabled"},
    {"uicontrol.vantortouch.homescreen.enabled", pbcommon::MOVES_VALUE, "uicontrol.vantortouch.homescreen.enabled"},
    {"uicontrol.apps.recentcalls.enabled", pbcommon::MOVES_OPTIONS, "uicontrol.vantortouch.{homescreen.button,placeacallsubpages}", "uicontrol.apps.home.showspeeddial"},
    {"uicontrol.apps.home.showspeeddial", pbcommon::MOVES_OPTIONS, "uicontrol.vantortouch.{homescreen.button,placeacallsubpages}", "uicontrol.apps.recentcalls.enabled"},
    {"uicontrol.apps.recentcalls.enabled uicontrol.apps.home.showspeeddial", pbcommon::MOVES_VALUE, "uicontrol.vantortouch.{homescreen.button,placeacallsubpages}"},
    {"uicontrol.apps.recentcalls.enabled uicontrol.apps.home.showspeeddial", pbcommon::MOVES_OPTIONS_AT_START, "uicontrol.vantortouch.{homescreen.button,placeacallsubpages}"},
    {"uicontrol.apps.recentcalls.enabled uicontrol.apps.home.showspeeddial", pbcommon::MOVES_VALUE_AT_START, "uicontrol.vantortouch.{homescreen.button,placeacallsubpages}"},
};
// clang-format on

TextsT expanded(const char* names) {
    TextsT all;
    std::istringstream stream(names);
    for (std::string sName; stream >> sName;) {
        const std::size_t brace = sName.find('{');
        std::istringstream parts(
            brace == std::string::npos ? "" : sName.substr(brace + 1, sName.size() - brace - 2));
        if (brace == std::string::npos) all.push_back(sName);
        for (std::string sPart; std::getline(parts, sPart, ',');) {
            all.push_back(sName.substr(0, brace) + sPart);
        }
    }
    return all;
}

std::string textOf(const rulebook::EdgeT& edge, const std::set<std::string>& conditions) {
    std::string sText = edge.sFrom + " " + pbcommon::Link_Name(edge.link) + " " + edge.sTo;
    for (const std::string& sCondition : conditions) sText += " | " + sCondition;
    return sText;
}

TEST(RuleBook, FindsEachRuleAndNoOther) {
    TextsT written, found;
    for (const RuleT& rule : ruleTable) {
        const TextsT conditions = expanded(rule.conditions);
        for (const std::string& sFrom : expanded(rule.from)) {
            for (const std::string& sTo : expanded(rule.to)) {
                written.push_back(
                    textOf({sFrom, sTo, rule.link}, {conditions.begin(), conditions.end()}));
            }
        }
    }
    const LogFile log;
    rulebook::Room room;
    const rulebook::RulesT rules = rulebook::survey(room, 400);
    for (const auto& [edge, conditions] : rules.edges) found.push_back(textOf(edge, conditions));
    EXPECT_THAT(found, testing::UnorderedElementsAreArray(written));

    // a state that nobody gets out of is found, and the shortest way to it
    const auto areas = rulebook::walk(room, rules);
    const auto locked = std::ranges::find_if(areas, [](const rulebook::AreaT& area) {
        return std::ranges::find(area.settings, "uicontrol.apps.home.skypemodecontroller") !=
               area.settings.end();
    });
    ASSERT_NE(locked, areas.end());
    const auto finding = std::ranges::find(locked->findings, std::string(rulebook::kStaysClosed),
                                           &rulebook::FindingT::sWhat);
    ASSERT_NE(finding, locked->findings.end());
    EXPECT_EQ(finding->settings.size(), 6U);
    EXPECT_EQ(finding->example,
              (TextsT{"uicontrol.apps.home.office365uienabled=true",
                      "uicontrol.apps.home.skypemodecontroller=vantor_touch", "restart"}));
}

}  // namespace
