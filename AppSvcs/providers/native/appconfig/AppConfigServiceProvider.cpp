#include "AppConfigServiceProvider.h"

#include <cstdlib>
#include <ctime>
#include <variant>

#include "cfghandler.h"
#include "logmsg.h"

namespace AppConfigProvider {

AppConfigServiceProvider* AppConfigServiceProvider::instance = nullptr;

AppConfigServiceProvider* AppConfigServiceProvider::getInstance() {
    if (instance == nullptr) {
        instance = new AppConfigServiceProvider();
    }
    return instance;
}

AppConfigServiceProvider::AppConfigServiceProvider() : m_configManager(nullptr) {}

AppConfigServiceProvider::~AppConfigServiceProvider() {
    m_messageHandler.reset();
    instance = nullptr;
}

void AppConfigServiceProvider::initialize() {
    srand48(time(nullptr));
    logdebug("appconfig", " initialize()\n");
    m_configManager = AppConfig::AppCfgManager::getInstance();
    m_messageHandler = std::make_unique<AppConfigProto>();
    m_messageHandler->init();
    m_configManager->setSecurityRole(AppConfig::kStartup);
    registerHandlers();
    m_vantorTouchConfigNotificationHandler.ValidateVantorTouchOptions();
    m_uiCntrlConfigHandler.ValidateUIControlOptions();
}

void AppConfigServiceProvider::registerHandlers() {
    struct RegistrationParamT {
        std::variant<ProviderConfigHandler*, ConsumerConfigHandler*> handler;
        const char* nodeName;
        const char* varName;
    };
    // clang-format off
    const RegistrationParamT registrationTable[] = {
        {&m_snmpConfigHandler,                    "management.snmp",                  "enabled"          },
        {&m_snmpConfigHandler,                    "management.snmp",                  "versionone"       },
        {&m_snmpConfigHandler,                    "management.snmp",                  "versiontwo"       },
        {&m_snmpConfigHandler,                    "management.snmp",                  "versionthree"     },
        {&m_snmpConfigHandler,                    "comm.callsetting.callfeatures",    "fips140enable"    },
        {&m_snmpConfigHandler,                    "management.snmp",                  "listeningport"    },
        {&m_snmpConfigHandler,                    "management.snmp.traptarget",       "targetport"       },
        {&m_uiCntrlConfigHandler,                 "uicontrol.apps.inacalllayout",     "timemode"         },
        {&m_vantorTouchConfigHandler,             "uicontrol.vantortouch.homescreen", "enabled"          },
        {&m_vantorTouchConfigNotificationHandler, "uicontrol.apps.recentcalls",       "enabled"          },
        {&m_vantorTouchConfigNotificationHandler, "uicontrol.apps.home",              "showspeeddial"    },
        {&m_vantorTouchConfigNotificationHandler, "uicontrol.vantortouch.homescreen", "enabled"          },
        {&m_uiCntrlConfigHandler,                 "uicontrol.apps.recentcalls",       "enabled"          },
        {&m_uiCntrlConfigHandler,                 "security.accesscontrol",           "userloginrequired"},
        {&m_uiCntrlConfigHandler,                 "uicontrol.apps.menu",              "showsysteminfo"   },
    };
    // clang-format on
    for (const RegistrationParamT& row : registrationTable) {
        std::visit(
            [&row](auto* handler) { registerHandler(row.nodeName, row.varName, handler, nullptr); },
            row.handler);
    }
}

void AppConfigServiceProvider::runProvider() { m_messageHandler->processMessages(); }

}  // namespace AppConfigProvider
