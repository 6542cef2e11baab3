#include "cfgresult.h"

ConfigResult::ConfigResult() { fillDefaults(*this); }

void ConfigResult::fillDefaults(ConfigResult& result) {
    result.m_nErrCode = kNoError;
    result.m_bIsRebootNeeded = false;
    result.m_listErrTags.clear();
    result.m_serverContext.clear();
    result.m_clientName.clear();
}

bool ConfigResult::fillConfigResult(bool valid, eErrorT code, bool rebootNeeded) {
    m_nErrCode = code;
    m_bIsRebootNeeded = rebootNeeded;
    return valid;
}

void ConfigResult::addResultMessage(const std::string& tag) { m_listErrTags.push_back(tag); }

void ConfigResult::setServerContext(const std::string& context) { m_serverContext = context; }

void ConfigResult::setClientName(const std::string& name) { m_clientName = name; }

eErrorT ConfigResult::getErrorCode() { return m_nErrCode; }

bool ConfigResult::getIsRebootNeeded() { return m_bIsRebootNeeded; }

std::list<std::string> ConfigResult::getErrorTags() { return m_listErrTags; }

std::string ConfigResult::getServerContext() { return m_serverContext; }

std::string ConfigResult::getClientName() { return m_clientName; }
