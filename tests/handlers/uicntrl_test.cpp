#include "UICntrlConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

using AppConfigProvider::UICntrlConfigHandler;

// clang-format off
const std::string kApps = "uicontrol.apps.", kControl = "security.accesscontrol/";
const std::string kRecent = kApps + "recentcalls/enabled", kMenu = kApps + "menu/showsysteminfo";
const std::string kTimeMode = kApps + "inacalllayout/timemode";
const std::string kLogin = kControl + "userloginrequired";
const Lines kOtherNames = {
    kApps + "recentcalls/Enabled", kApps + "RecentCalls/enabled", kApps + "menu/enabled",
    kApps + "recentcalls/userloginrequired", kApps + "menu/ShowSystemInfo", kControl + "enabled",
    kControl + "UserLoginRequired", "Security.accesscontrol/userloginrequired"};

TEST(UICntrl, SecondarySystemsForbidRecentCallsAndLogin) {
    const std::string read = "int system.systemmode/noofsecondary\n";
    const auto proposed = [](const ChangeT& change) {
        call(UICntrlConfigHandler(), change, true);
        return "log debug appconfig: UICntrlConfigHandler::isValid() \n\n";
    };
    expectRows({"system.systemmode/noofsecondary"}, proposed, {
        {{"1"},  {kRecent, kLogin},  kTrue,    read + kRefused},
        {{"2"},  {kRecent, kLogin},  kTrue,    read + kRefused},
        {{"0"},  {kRecent, kLogin},  kTrue,    read + kAccepted},
        {{"-1"}, {kRecent, kLogin},  kTrue,    read + kAccepted},
        {{"1"},  {kRecent, kLogin},  kNotTrue, read + kAccepted},
        {{"1"},  {kTimeMode, kMenu}, kTrue,    read + kAccepted},
        {{"1"},  kOtherNames,        kTrue,    read + kAccepted},
        {{"1"},  {kRecent, kLogin},  kNone,    std::string(kEmptyLog) + kUntouched},
    });
}

TEST(UICntrl, ReactionsReadAndWriteInOrder) {
    const std::string whenToShow = ": uicontrol.apps.inacalllayout/whentoshow\n";
    const std::string menuLog = "log debug appconfig: updateMenuSettings() isEnabled ";
    const std::string place = kApps + "home/placeacallfunc";
    const std::string numberAndOptions = ": uicontrol.apps.recentcalls/maxnumbertodisplay\n"
        "defaults " + place + "\noptions " + place + "=";
    const std::string addresses = ": uicontrol.apps.menu/showsipaddress"
        " uicontrol.apps.menu/showipaddress uicontrol.apps.menu/showh323extension\n";
    const auto stored = [&place](const ChangeT& change) {
        recording().defaultOptions[place] =
            {"recentcalls", "keypad", "RecentCalls", "recentcalls", "contacts"};
        call(UICntrlConfigHandler(), change, false);
        return "log debug appconfig: UICntrlConfigHandler::onSet() \n\n";
    };
    expectRows({}, stored, {
        {{}, {kTimeMode}, {"off", "OFF"}, "access system/system" + whenToShow},
        {{}, {kTimeMode}, {"on", "off ", "false", ""}, "access user/user" + whenToShow},
        {{}, {kRecent},   kTrue,    "access user/user" + numberAndOptions +
            "recentcalls,keypad,RecentCalls,recentcalls,contacts\n"},
        {{}, {kRecent},   kNotTrue, "access user/system" + numberAndOptions +
            "keypad,RecentCalls,contacts\n"},
        {{}, {kMenu},     kTrue,    menuLog + "1\n\naccess user/user" + addresses},
        {{}, {kMenu},     kNotTrue, menuLog + "0\n\naccess system/system" + addresses},
        {{}, {kLogin},    kTrue,    ""},
        {{}, kOtherNames, kTrue,    ""},
        {{}, {kApps + "inacalllayout/TimeMode", kApps + "InACallLayout/timemode"}, {"off"}, ""},
        {{}, {kTimeMode, kRecent, kMenu}, kNone, kEmptyLog},
    });
}

TEST(UICntrl, StartUpLocksSixSettingsForOffice365OnTheTouchPanel) {
    const std::string office = "uicontrol.apps.home/office365uienabled";
    const std::string controller = "uicontrol.apps.home/skypemodecontroller";
    const std::string reads = "bool " + office + "\nget " + controller + "\n";
    const std::string locked = reads + "access user/system:"
        " uicontrol.apps.home.addressbar/itemright uicontrol.apps.home.addressbar/itemleft"
        " security.accesscontrol/userloginrequired"
        " uicontrol.apps.home/kioskmode pm/selfviewauto uicontrol.apps.home/showappshortcuts\n";
    const auto started = [](const ChangeT&) {
        UICntrlConfigHandler().ValidateUIControlOptions();
        return "";
    };
    expectRows({office, controller}, started, {
        {{on,  "vantor_touch"},  {""}, kNone, locked},
        {{on,  "Vantor_Touch"},  {""}, kNone, reads},
        {{on,  "vantor_touch "}, {""}, kNone, reads},
        {{on,  ""},              {""}, kNone, reads},
        {{off, "vantor_touch"},  {""}, kNone, "bool " + office + "\n"},
    });
}

TEST(UICntrl, StartUpEndsWithoutAStore) {
    recording() = {};
    recording().bStoreMissing = true;
    UICntrlConfigHandler().ValidateUIControlOptions();
    EXPECT_THAT(recording().trace, testing::ElementsAre(
        "log debug appconfig: ValidateUIControlOptions() Config Manager not initialised"));
}
// clang-format on

}  // namespace
}  // namespace PolicyCase
