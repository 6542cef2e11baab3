#include "VantorTouchConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

using AppConfigProvider::VantorTouchConfigNotificationHandler;

// clang-format off
const std::string kScreen = "uicontrol.vantortouch.homescreen", kScreenEnabled = kScreen + "/enabled";
const std::string kRecent = "uicontrol.apps.recentcalls/enabled", kDial = "uicontrol.apps.home/showspeeddial";
const std::string kPages = "uicontrol.vantortouch/placeacallsubpages";
const Lines kOtherNames = {kScreen + "/button", kScreen + "/Enabled", "uicontrol.vantortouch.HomeScreen/enabled",
    "uicontrol.apps.recentcalls/Enabled", "uicontrol.apps.recentcalls/showspeeddial",
    "uicontrol.apps.RecentCalls/enabled", "uicontrol.apps.home/enabled", "uicontrol.apps.home/ShowSpeedDial",
    "uicontrol.apps.Home/showspeeddial"};

std::string button(size_t screen, size_t nButton) {
    const char* const instance[] = {"", "[1]", "[2]", "[3]"};
    return kScreen + instance[screen] + "/button" + instance[nButton];
}

void fillOptionsAndButtons() {
    recording().defaultOptions = {
        {kPages, {"recent_calls", "keypad", "speed_dials", "Recent_Calls", "recent_calls"}},
        {button(0, 0), {"None", "Speed_Dial", "Recent", "recent", "Recent", "speed_dial"}}};
    const Lines shown = {"Recent", "Speed_Dial", "None", "RECENT", "Recents", "",
                         "recent_calls", "recent", "SPEED_DIAL"};
    for (size_t i = 0; i < 9; ++i) recording().values[button(i / 3, i % 3)] = shown[i];
    recording().values[button(3, 0)] = recording().values[button(0, 3)] = "Recent";  // beyond the rule
}

std::string changed(const ChangeT& change) {
    const auto& [node, variable, values, nNode] = change;
    fillOptionsAndButtons();
    VantorTouchConfigNotificationHandler().change(node, nNode, variable, 5, values, "context");
    return "log debug appConfig::VantorTouchConfigHandler: In  change: " + node + " " + variable + " " +
           std::to_string(nNode) + " 5 \n\n";
}

// options of the sub-page, and of a button
const Lines kAll = {"recent_calls,keypad,speed_dials,Recent_Calls,recent_calls",
                    "None,Speed_Dial,Recent,recent,Recent,speed_dial"};
const Lines kNoRecent = {"keypad,speed_dials,Recent_Calls", "None,Speed_Dial,recent,speed_dial"};
const Lines kNoDial = {"recent_calls,keypad,Recent_Calls,recent_calls", "None,Recent,recent,Recent,speed_dial"};
const Lines kNeither = {"keypad,Recent_Calls", "None,recent,speed_dial"};

/// What comes of a feature's new state.
/// @param moved  1 for each moved button, nine in all, and another for the sub-page; empty: it is on
std::string reconciled(const std::string& read, const Lines& offered, const std::string& moved) {
    std::string lines = "defaults " + button(0, 0) + "\ndefaults " + kPages + "\nbool " + read + "\n";
    const auto publish = [&](const std::string& setting, size_t i, const std::string& options) {
        if (!moved.empty()) lines += "get " + setting + "\n";
        if (!moved.empty() && moved.at(i) == '1') lines += "set " + setting + (i < 9 ? "=None\n" : "=keypad\n");
        lines += "options " + setting + "=" + options + "\n";
    };
    publish(kPages, 9, offered[0]);
    for (size_t i = 0; i < 9; ++i) publish(button(i / 3, i % 3), i, offered[1]);
    return lines;
}

TEST(TouchPanel, AHomeScreenNeedsTheOneBeforeItOn) {
    const std::string log = "log err appconfig: VantorTouchConfigHandler::isValid";
    const auto proposed = [](const ChangeT& change) {
        call(AppConfigProvider::VantorTouchConfigHandler(), change, true);
        return "";
    };
    expectRows({kScreenEnabled, kScreen + "[1]/enabled"}, proposed, {
        {"+,-", {kScreenEnabled}, kTrue,    "bool " + kScreenEnabled + "\n" + kAccepted, 1},
        {"+,-", {kScreenEnabled}, kTrue,    "bool " + kScreen + "[1]/enabled\n" + log +
            " : error::Previous Home Screen is not Enable\n\n" + kRefused, 2},
        {"-,-", {kScreenEnabled}, kTrue,    kAccepted, 0},
        {"-,-", {kScreenEnabled}, kTrue,    kAccepted, -1},
        {"-,-", {kScreenEnabled}, kNotTrue, kAccepted, 2},
        {"-,-", kOtherNames,      kTrue,    kAccepted, 2},
        {"-,-", {kScreenEnabled}, kNone,    log + ": returning false.Reason sValue.empty() \n\n" + kUntouched, 2},
    });
}

TEST(TouchPanel, ChangesReachTheNextScreenAndTheFeaturesSettings) {
    expectRows({kRecent, kDial, kPages}, changed, {  // the changed one's state is not read
        {"+,+,", {kScreenEnabled}, {"false"}, "set " + kScreen + "/enabled=false\n", -1},
        {"+,+,", {kScreenEnabled}, {"FaLSE"}, "set " + kScreen + "[1]/enabled=FaLSE\n", 0},
        {"+,+,", {kScreenEnabled}, {"false"}, "set " + kScreen + "[4]/enabled=false\n", 3},
        {"+,+,", {kScreenEnabled}, kFalse,    "", 4},
        {"+,+,", {kScreenEnabled}, kNotFalse, "", 0},
        {"+,+,", kOtherNames,      kFalse,    "", 0},
        {"+,+,", {kScreenEnabled, kRecent, kDial}, kNone, "", 0},
        {"+,+,recent_calls", {kRecent}, kFalse,    reconciled(kDial, kNoRecent, "1001000101")},
        {"+,-,RECENT_calls", {kRecent}, kFalse,    reconciled(kDial, kNeither, "1001000101")},
        {"+,-,speed_dials",  {kRecent}, kFalse,    reconciled(kDial, kNeither, "1001000100")},
        {"-,+,recent_calls", {kRecent}, kNotFalse, reconciled(kDial, kAll, "")},
        {"-,-,speed_dials",  {kRecent}, kNotFalse, reconciled(kDial, kNoDial, "")},
        {"+,+,Speed_Dials",  {kDial},   kFalse,    reconciled(kRecent, kNoDial, "0100000011")},
        {"-,+,recent_calls", {kDial},   kFalse,    reconciled(kRecent, kNeither, "0100000010")},
        {"+,-,speed_dials",  {kDial},   kNotFalse, reconciled(kRecent, kAll, "")},
        {"-,-,recent_calls", {kDial},   kNotFalse, reconciled(kRecent, kNoRecent, "")},
    });
}

TEST(TouchPanel, StartUpReconcilesWhatIsOffSpeedDialFirst) {
    const auto started = [](const ChangeT&) {
        fillOptionsAndButtons();
        VantorTouchConfigNotificationHandler().ValidateVantorTouchOptions();
        return "bool " + kDial + "\nbool " + kRecent + "\n";
    };
    expectRows({kRecent, kDial, kPages}, started, {
        {"+,+,recent_calls", {""}, kNone, ""},
        {"+,-,recent_calls", {""}, kNone, reconciled(kRecent, kNoDial, "0100000010")},
        {"-,+,recent_calls", {""}, kNone, reconciled(kDial, kNoRecent, "1001000101")},
        {"-,-,recent_calls", {""}, kNone, reconciled(kRecent, kNeither, "0100000010") +
            reconciled(kDial, kNeither, "1001000101")},
    });
}
// clang-format on

}  // namespace
}  // namespace PolicyCase
