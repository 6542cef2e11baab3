#include "appcfgmanager.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "cfghandler.h"
#include "configstore.h"
#include "dispatcher.h"

namespace AppConfig {

/// Ends the process, in order, where another one works on this state: that is known before the
/// dispatcher starts, which would take the endpoint from whoever has the state.
AppCfgManager* AppCfgManager::getInstance() {
    ConfigStore& store = ConfigStore::process();
    if (store.database().isHeldByAnother()) {
        std::exit(EXIT_SUCCESS);
    }
    return &store.manager();
}

eErrorT AppCfgManager::setSecurityRole(AppConfig::SecurityRole role) {
    m_impl->setServiceRole(role);
    return kNoError;
}

eErrorT AppCfgManager::setPbInterface(PbUtility::PbUtils* pbInterface) {
    if (pbInterface == nullptr) {
        return kBadParameter;
    }
    PbUtility::PbUtilsImpl::of(*pbInterface).setRequestHandler(m_impl->requests());
    return kNoError;
}

std::string AppCfgManager::getConfigVar(const std::string& node, int nodeInstance,
                                        const std::string& var, int varInstance) {
    const Cell* const cell = m_impl->find({node, nodeInstance, var, varInstance});
    return cell == nullptr ? "" : cell->sValue;
}

bool AppCfgManager::getConfigVarBool(const std::string& node, int nodeInstance,
                                     const std::string& var, int varInstance) {
    return strcasecmp(getConfigVar(node, nodeInstance, var, varInstance).c_str(), "true") == 0;
}

int AppCfgManager::getConfigVarInt(const std::string& node, int nodeInstance,
                                   const std::string& var, int varInstance) {
    const std::string sValue = getConfigVar(node, nodeInstance, var, varInstance);
    return static_cast<int>(std::clamp<long>(std::strtol(sValue.c_str(), nullptr, 10),
                                             std::numeric_limits<int>::min(),
                                             std::numeric_limits<int>::max()));
}

eErrorT AppCfgManager::setConfigVar(const std::string& node, int nodeInstance,
                                    const std::string& var, int varInstance,
                                    const std::string& value, ConfigResult* result) {
    return m_impl->write({node, nodeInstance, var, varInstance}, value, result);
}

eErrorT AppCfgManager::setConfigVar(const std::string& node, int nodeInstance,
                                    const std::string& var, int varInstance, const char* value,
                                    ConfigResult* result) {
    return m_impl->write({node, nodeInstance, var, varInstance}, value, result);
}

eErrorT AppCfgManager::getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                               const std::string& var, int varInstance,
                                               std::vector<std::string>& options) {
    const Cell* const cell = m_impl->find({node, nodeInstance, var, varInstance});
    if (cell == nullptr) {
        return kItemNotFound;
    }
    options.assign(cell->row->option().begin(), cell->row->option().end());
    return kNoError;
}

eErrorT AppCfgManager::setConfigOptions(const std::string& node, int nodeInstance,
                                        const std::string& var, int varInstance,
                                        const std::vector<std::string>& options) {
    return m_impl->offer({node, nodeInstance, var, varInstance}, options);
}

eErrorT AppCfgManager::setAccessLevels(const std::list<ConfigVar>& vars,
                                       const AppConfig::SecurityRole* roleRead,
                                       const AppConfig::SecurityRole* roleWrite,
                                       std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    eErrorT result = kNoError;
    for (ConfigVar var : vars) {  // a copy: the readers are not const
        const eErrorT code = m_impl->grant(
            {var.getNodeName(), var.getNodeInstance(), var.getVarName(), var.getVarInstance()},
            roleRead, roleWrite);
        if (code != kNoError) {
            errors.emplace_back(var, code);
            result = code;
        }
    }
    return result;
}

}  // namespace AppConfig

eErrorT registerHandler(std::string nodeName, std::string varName, ProviderConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return AppConfig::ConfigStore::of(manager).add(nodeName, varName, handler);
}

eErrorT registerHandler(std::string nodeName, std::string varName, ConsumerConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return AppConfig::ConfigStore::of(manager).add(nodeName, varName, handler);
}
