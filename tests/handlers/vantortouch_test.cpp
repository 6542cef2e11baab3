#include "VantorTouchConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

using AppConfigProvider::VantorTouchConfigNotificationHandler;

// clang-format off
const std::string kApps = "uicontrol.apps.", kTouch = "uicontrol.vantortouch";
const std::string kScreen = kTouch + ".homescreen", kEnabled = kScreen + "/enabled";
const std::string kRecent = kApps + "recentcalls/enabled", kDial = kApps + "home/showspeeddial";
const std::string kPages = kTouch + "/placeacallsubpages";
const Lines kOtherNames = {
    kScreen + "/button", kScreen + "/Enabled", kTouch + ".HomeScreen/enabled",
    kApps + "recentcalls/Enabled", kApps + "recentcalls/showspeeddial", kApps + "home/enabled",
    kApps + "RecentCalls/enabled", kApps + "home/ShowSpeedDial", kApps + "Home/showspeeddial"};

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
    // beyond the rule
    recording().values[button(3, 0)] = recording().values[button(0, 3)] = "Recent";
}

std::string changed(const ChangeT& change) {
    const auto& [node, variable, values, nNode] = change;
    fillOptionsAndButtons();
    VantorTouchConfigNotificationHandler().change(node, nNode, variable, 5, values, "context");
    return "log debug appConfig::VantorTouchConfigHandler: In  change: " + node + " " + variable +
           " " + std::to_string(nNode) + " 5 \n\n";
}

// options of the sub-page, and of a button
const Lines kAll = {"recent_calls,keypad,speed_dials,Recent_Calls,recent_calls",
                    "None,Speed_Dial,Recent,recent,Recent,speed_dial"};
const Lines kNoRecent = {"keypad,speed_dials,Recent_Calls", "None,Speed_Dial,recent,speed_dial"};
const Lines kNoDial = {"recent_calls,keypad,Recent_Calls,recent_calls",
                       "None,Recent,recent,Recent,speed_dial"};
const Lines kNeither = {"keypad,Recent_Calls", "None,recent,speed_dial"};

/// What comes of a feature's new state.
/// @param moved  1 for each moved button, nine in all, and for the sub-page; empty: it is on
std::string reconciled(const std::string& read, const Lines& offered, const std::string& moved) {
    const Lines fallbacks = {"keypad", "None"};
    std::string lines =
        "defaults " + button(0, 0) + "\ndefaults " + kPages + "\nbool " + read + "\n";
    for (size_t i = 0; i < 10; ++i) {
        const std::string setting = i == 0 ? kPages : button((i - 1) / 3, (i - 1) % 3);
        if (!moved.empty()) lines += "get " + setting + "\n";
        if (!moved.empty() && moved.at((i + 9) % 10) == '1') {
            lines += "set " + setting + "=" + fallbacks[i > 0] + "\n";
        }
        lines += "options " + setting + "=" + offered[i > 0] + "\n";
    }
    return lines;
}

TEST(TouchPanel, AHomeScreenNeedsTheOneBeforeItOn) {
    const std::string log = "log err appconfig: VantorTouchConfigHandler::isValid";
    const auto proposed = [](const ChangeT& change) {
        call(AppConfigProvider::VantorTouchConfigHandler(), change, true);
        return "";
    };
    expectRows({kEnabled, kScreen + "[1]/enabled"}, proposed, {
        {{on,  off}, {kEnabled}, kTrue, "bool " + kEnabled + "\n" + kAccepted, 1},
        {{on,  off}, {kEnabled}, kTrue, "bool " + kScreen + "[1]/enabled\n" + log +
            " : error::Previous Home Screen is not Enable\n\n" + kRefused, 2},
        {{off, off}, {kEnabled}, kTrue, kAccepted, 0},
        {{off, off}, {kEnabled}, kTrue, kAccepted, -1},
        {{off, off}, {kEnabled}, kNotTrue, kAccepted, 2},
        {{off, off}, kOtherNames, kTrue,    kAccepted, 2},
        {{off, off}, {kEnabled}, kNone,
            log + ": returning false.Reason sValue.empty() \n\n" + kUntouched, 2},
    });
}

TEST(TouchPanel, ChangesReachTheNextScreenAndTheFeaturesSettings) {
    expectRows({kRecent, kDial, kPages}, changed, {  // the changed one's state is not read
        {{on,  on}, {kEnabled}, {"false"}, "set " + kScreen + "/enabled=false\n", -1},
        {{on,  on}, {kEnabled}, {"FaLSE"}, "set " + kScreen + "[1]/enabled=FaLSE\n", 0},
        {{on,  on}, {kEnabled}, {"false"}, "set " + kScreen + "[4]/enabled=false\n", 3},
        {{on,  on}, {kEnabled}, kFalse,    "", 4},
        {{on,  on}, {kEnabled}, kNotFalse, "", 0},
        {{on,  on}, kOtherNames, kFalse,    "", 0},
        {{on,  on}, {kEnabled, kRecent, kDial}, kNone, "", 0},
        {{on,  on, "recent_calls"}, {kRecent}, kFalse, reconciled(kDial, kNoRecent, "1001000101")},
        {{on,  off, "RECENT_calls"}, {kRecent}, kFalse, reconciled(kDial, kNeither, "1001000101")},
        {{on,  off, "speed_dials"}, {kRecent}, kFalse, reconciled(kDial, kNeither, "1001000100")},
        {{off, on, "recent_calls"}, {kRecent}, kNotFalse, reconciled(kDial, kAll, "")},
        {{off, off, "speed_dials"}, {kRecent}, kNotFalse, reconciled(kDial, kNoDial, "")},
        {{on,  on, "Speed_Dials"}, {kDial}, kFalse, reconciled(kRecent, kNoDial, "0100000011")},
        {{off, on, "recent_calls"}, {kDial}, kFalse, reconciled(kRecent, kNeither, "0100000010")},
        {{on,  off, "speed_dials"}, {kDial}, kNotFalse, reconciled(kRecent, kAll, "")},
        {{off, off, "recent_calls"}, {kDial}, kNotFalse, reconciled(kRecent, kNoRecent, "")},
    });
}

TEST(TouchPanel, StartUpReconcilesWhatIsOffSpeedDialFirst) {
    const auto started = [](const ChangeT&) {
        fillOptionsAndButtons();
        VantorTouchConfigNotificationHandler().ValidateVantorTouchOptions();
        return "bool " + kDial + "\nbool " + kRecent + "\n";
    };
    expectRows({kRecent, kDial, kPages}, started, {
        {{on,  on, "recent_calls"}, {""}, kNone, ""},
        {{on,  off, "recent_calls"}, {""}, kNone, reconciled(kRecent, kNoDial, "0100000010")},
        {{off, on, "recent_calls"}, {""}, kNone, reconciled(kDial, kNoRecent, "1001000101")},
        {{off, off, "recent_calls"}, {""}, kNone, reconciled(kRecent, kNeither, "0100000010") +
            reconciled(kDial, kNeither, "1001000101")},
    });
}
// clang-format on

}  // namespace
}  // namespace PolicyCase
