#ifndef APPCONFIG_CONFIG_VANTORTOUCHCONFIGHANDLER_H
#define APPCONFIG_CONFIG_VANTORTOUCHCONFIGHANDLER_H

#include <list>
#include <string>

#include "appcfgmanager.h"
#include "cfghandler.h"

namespace AppConfigProvider {

/// Rule of the touch panel's home screens, which are the node instances of
/// "uicontrol.vantortouch.homescreen": one can be switched on only while the one before it is on.
/// Called by the store, one call at a time; keeps nothing between calls.
class VantorTouchConfigHandler : public ProviderConfigHandler {
public:
    VantorTouchConfigHandler();
    ~VantorTouchConfigHandler() override;

    /// Refuses with kBadParameter and no tag. An empty value list is refused with `cfgResult`
    /// untouched.
    bool isValid(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
                 int nVarInstance, const std::list<std::string>& sValues,
                 AppConfig::SecurityRole role, ConfigResult& cfgResult) override;

private:
    AppConfig::AppCfgManager* m_configManager;  ///< borrowed
};

/// Keeps the touch panel in line with accepted changes: a home screen that is switched off
/// switches off the next one, and the home-screen buttons and the place-a-call sub-page show recent
/// calls and speed dial only while these are on. Called by the store, one call at a time; keeps
/// nothing between calls.
class VantorTouchConfigNotificationHandler : public ConsumerConfigHandler {
public:
    // options of a home-screen button, and of the place-a-call sub-page
    static const std::string RECENT;
    static const std::string RECENT_CALLS;
    static const std::string SPEED_DIAL;
    static const std::string SPEED_DIALS;

    VantorTouchConfigNotificationHandler();
    ~VantorTouchConfigNotificationHandler() override;

    /// An empty value list is ignored.
    void change(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
                int nVarInstance, const std::list<std::string>& sValues,
                const std::string& user_context) override;

    /// Start-up pass: brings the touch panel in line with the features that are off. Writes nothing
    /// when both are on. Called once, before messages are dispatched.
    void ValidateVantorTouchOptions();

private:
    /// Publishes the options of buttons and sub-page, and moves those that show a feature that has
    /// been switched off.
    /// @param isEnabled       new state of the feature that changed
    /// @param isRecentConfig  true: recent calls changed; false: speed dial
    void ValidateConfigVar(bool isEnabled, bool isRecentConfig);

    AppConfig::AppCfgManager* m_configManager;  ///< borrowed
};

}  // namespace AppConfigProvider

#endif
