#ifndef APPCONFIG_CONFIG_UICNTRLCONFIGHANDLER_H
#define APPCONFIG_CONFIG_UICNTRLCONFIGHANDLER_H

#include <list>
#include <string>

#include "appcfgmanager.h"
#include "cfghandler.h"

namespace AppConfigProvider {

/// One setting of the interface's menu: a variable of the node "uicontrol.apps.menu".
struct ConfigMenuSettingsParamT {
    std::string varName;
};

/// The address displays of the menu: shown only while its system information is.
extern const ConfigMenuSettingsParamT menuSettingsTable[3];

/// Rules of the local user interface's controls. Refuses recent calls and user login on a system
/// that has secondary systems; locks, opens or hides what depends on the menu's system information,
/// recent calls and the in-call time display. Called by the store, one call at a time; keeps
/// nothing between calls.
class UICntrlConfigHandler : public ProviderConfigHandler {
public:
    UICntrlConfigHandler();
    ~UICntrlConfigHandler() override;

    /// Refuses with kBadParameter and no tag. An empty value list is refused with `cfgResult`
    /// untouched.
    bool isValid(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
                 int nVarInstance, const std::list<std::string>& sValues,
                 AppConfig::SecurityRole role, ConfigResult& cfgResult) override;

    /// Carries a stored change over to the settings that depend on it.
    void onSet(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
               int nVarInstance, const std::list<std::string>& sValues,
               AppConfig::SecurityRole role, ConfigResult& cfgResult) override;

    /// Start-up pass: with the Office 365 interface on and the touch panel as its controller, six
    /// settings are read-only. Called once, before messages are dispatched. Never undoes what an
    /// earlier start has locked.
    void ValidateUIControlOptions();

private:
    /// Gives one setting, instance 0 of node and variable, an access level.
    void updateAccessLevel(const std::string& sNode, const std::string& sVariable,
                           AppConfig::SecurityRole roleRead, AppConfig::SecurityRole roleWrite);
    /// "whentoshow" is hidden while the in-call time is not displayed.
    void updateWhenToShowConfigAccessLevels(bool timeInCallisOff);
    /// The length of the recent-calls list is read-only without recent calls.
    void updateMaxNumToDisplayAccessLevel(bool isEnabled);
    /// The place-a-call function offers the recent-calls page only with recent calls. Its value
    /// stays as it is.
    void updatePlaceCallNavigationOptions(bool isEnabled);
    /// Opens or hides the address displays of the menu.
    void updateMenuSettings(bool isEnabled);

    AppConfig::AppCfgManager* m_configManager;  ///< borrowed
};

}  // namespace AppConfigProvider

#endif
