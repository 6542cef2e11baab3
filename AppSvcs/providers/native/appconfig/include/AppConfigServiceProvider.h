#ifndef APPCONFIG_INCLUDE_APPCONFIGSERVICEPROVIDER_H
#define APPCONFIG_INCLUDE_APPCONFIGSERVICEPROVIDER_H

#include <memory>

#include "AppConfigProto.h"
#include "SNMPConfigHandler.h"
#include "StringMatches.h"  // declared with the provider, for whoever includes it
#include "UICntrlConfigHandler.h"
#include "VantorTouchConfigHandler.h"
#include "appcfgmanager.h"

namespace AppConfigProvider {

/// Owner of everything that the service is made of: the message endpoint and the configuration
/// handlers. `main` drives it: getInstance, initialize, runProvider, once each, in that order, on
/// the main thread. In normal operation it is never destroyed.
class AppConfigServiceProvider {
public:
    /// The only instance; made on the first call.
    static AppConfigServiceProvider* getInstance();

    virtual ~AppConfigServiceProvider();

    /// Starts the endpoint, registers the handlers with the store and brings the touch panel's and
    /// the user interface's settings into line. No handler is called back before runProvider().
    void initialize();

    /// Runs the dispatch loop on the calling thread; returns when the dispatcher ends.
    void runProvider();

private:
    AppConfigServiceProvider();
    // a second one would register every handler twice
    AppConfigServiceProvider(const AppConfigServiceProvider&) = delete;
    AppConfigServiceProvider& operator=(const AppConfigServiceProvider&) = delete;

    void registerHandlers();

    static AppConfigServiceProvider* instance;

    AppConfig::AppCfgManager* m_configManager;
    std::unique_ptr<AppConfigProto> m_messageHandler;
    // their addresses are what the store is given at registration
    SNMPConfigHandler m_snmpConfigHandler;
    UICntrlConfigHandler m_uiCntrlConfigHandler;
    VantorTouchConfigHandler m_vantorTouchConfigHandler;
    VantorTouchConfigNotificationHandler m_vantorTouchConfigNotificationHandler;
};

}  // namespace AppConfigProvider

#endif
