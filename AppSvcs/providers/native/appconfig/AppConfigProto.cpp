#include "AppConfigProto.h"

#include <cstring>

#include "appcfgmanager.h"
#include "logmsg.h"

namespace AppConfigProvider {

const std::string appconfigEndPoint = "appconfig";

void HandleLog(google::protobuf::LogLevel /*level*/, const char* /*filename*/, int /*line*/,
               const std::string& /*message*/) {}

AppConfigProto::AppConfigProto() : m_pbHandler(appconfigEndPoint, 2) {}

AppConfigProto::~AppConfigProto() = default;

void AppConfigProto::init() {
    logdebug("appconfig", "%s %s Setting the loghandler\n", basename(__FILE__), __func__);
    m_pbHandler.start();
    AppConfig::AppCfgManager::getInstance()->setPbInterface(&m_pbHandler);
    google::protobuf::SetLogHandler(HandleLog);
}

eErrorT AppConfigProto::processMessages() {
    logdebug("appconfig", "%s %s\n", basename(__FILE__), __func__);
    m_pbHandler.readyToDispatchMessages(true);
    m_pbHandler.join();
    return kNoError;
}

}  // namespace AppConfigProvider
