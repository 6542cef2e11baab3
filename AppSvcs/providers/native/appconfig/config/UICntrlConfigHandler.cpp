#include "UICntrlConfigHandler.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "ConfigHelpers.h"
#include "logmsg.h"

namespace AppConfigProvider {

namespace {

struct SettingParamT {
    const char* nodeName;
    const char* varName;
};

// clang-format off
/// Settings that cannot be switched on on a system that has secondary systems.
constexpr SettingParamT primaryOnlyTable[] = {
    {"uicontrol.apps.recentcalls", "enabled"          },
    {"security.accesscontrol",     "userloginrequired"},
};

/// Settings that the Office 365 interface takes over when the touch panel controls it.
constexpr SettingParamT office365Table[] = {
    {"uicontrol.apps.home.addressbar", "itemright"        },
    {"uicontrol.apps.home.addressbar", "itemleft"         },
    {"security.accesscontrol",         "userloginrequired"},
    {"uicontrol.apps.home",            "kioskmode"        },
    {"pm",                             "selfviewauto"     },
    {"uicontrol.apps.home",            "showappshortcuts" },
};
// clang-format on

}  // namespace

const ConfigMenuSettingsParamT menuSettingsTable[3] = {
    {"showsipaddress"},
    {"showipaddress"},
    {"showh323extension"},
};

UICntrlConfigHandler::UICntrlConfigHandler()
    : m_configManager(AppConfig::AppCfgManager::getInstance()) {}

UICntrlConfigHandler::~UICntrlConfigHandler() = default;

bool UICntrlConfigHandler::isValid(const std::string& sNode, int /*nNodeInstance*/,
                                   const std::string& sVariable, int /*nVarInstance*/,
                                   const std::list<std::string>& sValues,
                                   AppConfig::SecurityRole /*role*/, ConfigResult& cfgResult) {
    logdebug("appconfig", "UICntrlConfigHandler::isValid() \n");
    if (sValues.empty()) {
        logerr("appconfig", "returning bcz sValue.empty() \n");
        return false;
    }
    // read for every setting, also where no rule asks for it
    const int noOfSecondary =
        m_configManager->getConfigVarInt("system.systemmode", 0, "noofsecondary", 0);
    const bool bPrimaryOnly = std::any_of(
        std::begin(primaryOnlyTable), std::end(primaryOnlyTable), [&](const SettingParamT& row) {
            return sNode == row.nodeName && sVariable == row.varName;
        });
    const bool bResult = !(bPrimaryOnly && noOfSecondary >= 1 && isTrue(sValues.front()));
    cfgResult.fillConfigResult(bResult, bResult ? kNoError : kBadParameter, false);
    return bResult;
}

void UICntrlConfigHandler::onSet(const std::string& sNode, int /*nNodeInstance*/,
                                 const std::string& sVariable, int /*nVarInstance*/,
                                 const std::list<std::string>& sValues,
                                 AppConfig::SecurityRole /*role*/, ConfigResult& /*cfgResult*/) {
    /// A stored change and what it sets in motion, run top to bottom.
    struct ReactionParamT {
        const char* nodeName;
        const char* varName;
        bool (*test)(const std::string& sValue);
        void (UICntrlConfigHandler::*reaction)(bool bTested);
    };
    using Handler = UICntrlConfigHandler;
    // clang-format off
    static constexpr ReactionParamT reactionTable[] = {
        {"uicontrol.apps.inacalllayout", "timemode",       isOff,  &Handler::updateWhenToShowConfigAccessLevels},
        {"uicontrol.apps.recentcalls",   "enabled",        isTrue, &Handler::updateMaxNumToDisplayAccessLevel  },
        {"uicontrol.apps.recentcalls",   "enabled",        isTrue, &Handler::updatePlaceCallNavigationOptions  },
        {"uicontrol.apps.menu",          "showsysteminfo", isTrue, &Handler::updateMenuSettings                },
    };
    // clang-format on
    logdebug("appconfig", "UICntrlConfigHandler::onSet() \n");
    if (sValues.empty()) {
        logerr("appconfig", "returning bcz sValue.empty() \n");
        return;
    }
    for (const ReactionParamT& row : reactionTable) {
        if (sNode == row.nodeName && sVariable == row.varName) {
            (this->*row.reaction)(row.test(sValues.front()));
        }
    }
}

void UICntrlConfigHandler::ValidateUIControlOptions() {
    if (m_configManager == nullptr) {
        logdebug("appconfig", "ValidateUIControlOptions() Config Manager not initialised");
        return;
    }
    if (!m_configManager->getConfigVarBool("uicontrol.apps.home", 0, "office365uienabled", 0) ||
        m_configManager->getConfigVar("uicontrol.apps.home", 0, "skypemodecontroller", 0) !=
            "vantor_touch") {
        return;
    }
    std::list<ConfigVar> cfgVars;
    for (const SettingParamT& row : office365Table) {
        cfgVars.emplace_back(row.nodeName, row.varName);
    }
    setAccessLevel(*m_configManager, cfgVars, kReadOnly);
}

void UICntrlConfigHandler::updateAccessLevel(const std::string& sNode, const std::string& sVariable,
                                             AppConfig::SecurityRole roleRead,
                                             AppConfig::SecurityRole roleWrite) {
    setAccessLevel(*m_configManager, {ConfigVar(sNode, sVariable)}, {roleRead, roleWrite});
}

void UICntrlConfigHandler::updateWhenToShowConfigAccessLevels(bool timeInCallisOff) {
    const AccessLevelT& level = timeInCallisOff ? kHidden : kEditable;
    updateAccessLevel("uicontrol.apps.inacalllayout", "whentoshow", level.read, level.write);
}

void UICntrlConfigHandler::updateMaxNumToDisplayAccessLevel(bool isEnabled) {
    const AccessLevelT& level = isEnabled ? kEditable : kReadOnly;
    updateAccessLevel("uicontrol.apps.recentcalls", "maxnumbertodisplay", level.read, level.write);
}

void UICntrlConfigHandler::updatePlaceCallNavigationOptions(bool isEnabled) {
    std::vector<std::string> options;
    m_configManager->getConfigDefaultOptions("uicontrol.apps.home", 0, "placeacallfunc", 0,
                                             options);
    if (!isEnabled) {
        removeOption(options, "recentcalls");
    }
    // also when nothing was removed: an earlier call may have
    m_configManager->setConfigOptions("uicontrol.apps.home", 0, "placeacallfunc", 0, options);
}

void UICntrlConfigHandler::updateMenuSettings(bool isEnabled) {
    logdebug("appconfig", "updateMenuSettings() isEnabled %d\n", isEnabled);
    std::list<ConfigVar> cfgVars;
    for (const ConfigMenuSettingsParamT& row : menuSettingsTable) {
        cfgVars.emplace_back("uicontrol.apps.menu", row.varName);
    }
    setAccessLevel(*m_configManager, cfgVars, isEnabled ? kEditable : kHidden);
}

}  // namespace AppConfigProvider
