#include "VantorTouchConfigHandler.h"

#include <strings.h>

#include <vector>

#include "ConfigHelpers.h"
#include "logmsg.h"

namespace AppConfigProvider {

namespace {

const std::string HOME_SCREEN_NODE = "uicontrol.vantortouch.homescreen";
const std::string TOUCH_NODE = "uicontrol.vantortouch";

constexpr int LAST_CHAINED_SCREEN = 3;  ///< switched off, it still switches off the next one
constexpr int SCREENS_WITH_BUTTONS = 3;
constexpr int BUTTONS = 3;

constexpr const char* BUTTON_FALLBACK = "None";
constexpr const char* SUB_PAGE_FALLBACK = "keypad";

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

}  // namespace

using NotificationHandler = VantorTouchConfigNotificationHandler;

const std::string NotificationHandler::RECENT = "Recent";
const std::string NotificationHandler::RECENT_CALLS = "recent_calls";
const std::string NotificationHandler::SPEED_DIAL = "Speed_Dial";
const std::string NotificationHandler::SPEED_DIALS = "speed_dials";

namespace {

/// A feature's switch, and the option entries that depend on it.
struct FeatureParamT {
    const char* nodeName;
    const char* varName;
    const std::string& button;
    const std::string& subPage;
};
// clang-format off
const FeatureParamT featureTable[] = {
    // nodeName                    varName          button                           subPage
    {"uicontrol.apps.recentcalls", "enabled",       NotificationHandler::RECENT,     NotificationHandler::RECENT_CALLS},
    {"uicontrol.apps.home",        "showspeeddial", NotificationHandler::SPEED_DIAL, NotificationHandler::SPEED_DIALS },
};
// clang-format on
const FeatureParamT& recentCalls = featureTable[0];
const FeatureParamT& speedDial = featureTable[1];

}  // namespace

VantorTouchConfigHandler::VantorTouchConfigHandler()
    : m_configManager(AppConfig::AppCfgManager::getInstance()) {}

VantorTouchConfigHandler::~VantorTouchConfigHandler() = default;

bool VantorTouchConfigHandler::isValid(const std::string& sNode, int nNodeInstance,
                                       const std::string& sVariable, int /*nVarInstance*/,
                                       const std::list<std::string>& sValues,
                                       AppConfig::SecurityRole /*role*/, ConfigResult& cfgResult) {
    if (sValues.empty()) {
        logerr("appconfig",
               "VantorTouchConfigHandler::isValid: returning false.Reason sValue.empty() \n");
        return false;
    }
    const bool bNeedsPrevious = sNode == HOME_SCREEN_NODE && sVariable == "enabled" &&
                                nNodeInstance >= 1 && isTrue(sValues.front());
    bool bResult = true;
    if (bNeedsPrevious) {
        const bool isPrevHomeScreenEnable =
            m_configManager->getConfigVarBool(HOME_SCREEN_NODE, nNodeInstance - 1, "enabled", 0);
        bResult = isPrevHomeScreenEnable;
    }
    if (!bResult) {
        logerr("appconfig",
               "VantorTouchConfigHandler::isValid : error::Previous Home Screen is not Enable\n");
    }
    cfgResult.fillConfigResult(bResult, bResult ? kNoError : kBadParameter, false);
    return bResult;
}

VantorTouchConfigNotificationHandler::VantorTouchConfigNotificationHandler()
    : m_configManager(AppConfig::AppCfgManager::getInstance()) {}

VantorTouchConfigNotificationHandler::~VantorTouchConfigNotificationHandler() = default;

void VantorTouchConfigNotificationHandler::change(const std::string& sNode, int nNodeInstance,
                                                  const std::string& sVariable, int nVarInstance,
                                                  const std::list<std::string>& sValues,
                                                  const std::string& /*user_context*/) {
    logdebug("appConfig::VantorTouchConfigHandler", "In  %s: %s %s %d %d \n", __func__,
             sNode.c_str(), sVariable.c_str(), nNodeInstance, nVarInstance);
    if (sValues.empty()) {
        return;
    }
    const std::string& sValue = sValues.front();
    if (sNode == HOME_SCREEN_NODE && sVariable == "enabled") {
        if (nNodeInstance <= LAST_CHAINED_SCREEN && isFalse(sValue)) {
            // the store notifies of this write in turn, and so the chain runs down
            m_configManager->setConfigVar(HOME_SCREEN_NODE, nNodeInstance + 1, "enabled", 0,
                                          sValue.c_str(), nullptr);
        }
        return;
    }
    for (const FeatureParamT& feature : featureTable) {
        if (sNode == feature.nodeName && sVariable == feature.varName) {
            const bool isEnable = isNotFalse(sValue);
            ValidateConfigVar(isEnable, &feature == &recentCalls);
        }
    }
}

void VantorTouchConfigNotificationHandler::ValidateVantorTouchOptions() {
    const bool isSpeedDialEnable =
        m_configManager->getConfigVarBool(speedDial.nodeName, 0, speedDial.varName, 0);
    const bool isRecentEnable =
        m_configManager->getConfigVarBool(recentCalls.nodeName, 0, recentCalls.varName, 0);
    if (!isSpeedDialEnable) {
        ValidateConfigVar(false, false);
    }
    if (!isRecentEnable) {
        ValidateConfigVar(false, true);
    }
}

void VantorTouchConfigNotificationHandler::ValidateConfigVar(bool isEnabled, bool isRecentConfig) {
    const FeatureParamT& changed = isRecentConfig ? recentCalls : speedDial;
    const FeatureParamT& other = isRecentConfig ? speedDial : recentCalls;
    const std::string& hsButtonsDeletedOption = changed.button;
    const std::string& placeACallSubpageDeletedOption = changed.subPage;
    // always from the defaults: what an earlier call removed comes back
    std::vector<std::string> hsButtonOptions;
    m_configManager->getConfigDefaultOptions(HOME_SCREEN_NODE, 0, "button", 0, hsButtonOptions);
    std::vector<std::string> optionsPlaceACallSubpage;
    m_configManager->getConfigDefaultOptions(TOUCH_NODE, 0, "placeacallsubpages", 0,
                                             optionsPlaceACallSubpage);
    const auto removeEntriesOf = [&](const FeatureParamT& feature) {
        removeOption(hsButtonOptions, feature.button);
        removeOption(optionsPlaceACallSubpage, feature.subPage);
    };
    if (!isEnabled) {
        removeEntriesOf(changed);
    }
    if (!m_configManager->getConfigVarBool(other.nodeName, 0, other.varName, 0)) {
        removeEntriesOf(other);
    }
    const auto publish = [&](const std::string& sNode, int nNodeInstance, const char* varName,
                             int nVarInstance, const std::string& deletedOption,
                             const char* fallback, const std::vector<std::string>& options) {
        if (!isEnabled && equalsIgnoringCase(m_configManager->getConfigVar(sNode, nNodeInstance,
                                                                           varName, nVarInstance),
                                             deletedOption)) {
            m_configManager->setConfigVar(sNode, nNodeInstance, varName, nVarInstance, fallback,
                                          nullptr);
        }
        m_configManager->setConfigOptions(sNode, nNodeInstance, varName, nVarInstance, options);
    };
    publish(TOUCH_NODE, 0, "placeacallsubpages", 0, placeACallSubpageDeletedOption,
            SUB_PAGE_FALLBACK, optionsPlaceACallSubpage);
    for (int i = 0; i < SCREENS_WITH_BUTTONS; ++i) {
        for (int j = 0; j < BUTTONS; ++j) {
            publish(HOME_SCREEN_NODE, i, "button", j, hsButtonsDeletedOption, BUTTON_FALLBACK,
                    hsButtonOptions);
        }
    }
}

}  // namespace AppConfigProvider
