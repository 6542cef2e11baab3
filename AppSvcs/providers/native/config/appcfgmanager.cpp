#include "appcfgmanager.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "cfghandler.h"
#include "control.h"
#include "exceptions.h"
#include "service.h"

namespace {

/// Runs an operation of the contract, out of which nothing may be thrown.
/// @return what it returns; for an exception, which is logged, kOutOfMemory or kFuncReturnedError
template <typename Operation>
eErrorT guarded(const char* name, Operation operation) noexcept {
    try {
        return operation();
    } catch (...) {
        return pbcommon::logException("cfgCommon", name, kFuncReturnedError);
    }
}

/// The same for what a handler does within a change, which is refused then.
template <typename Operation>
eErrorT guarded(AppConfig::ConfigStore& store, const char* name, Operation operation) noexcept {
    bool bThrown = true;
    const eErrorT result = guarded(name, [&] {
        const eErrorT code = operation();
        bThrown = false;
        return code;
    });
    if (bThrown) {
        store.fault(result);
    }
    return result;
}

}  // namespace

namespace AppConfig {

/// The callers rely on a store, so that without one there is nothing to go on with: the process
/// exits, in order and before its dispatcher starts. So it does where another one works on the
/// state, whose endpoint the dispatcher might take.
AppCfgManager* AppCfgManager::getInstance() {
    Service* service = nullptr;
    const eErrorT result = guarded("make the store", [&service] {
        service = &Service::process();
        return service->database().isHeldByAnother() ? kAlreadyInUse : kNoError;
    });
    if (result != kNoError) {
        std::exit(EXIT_SUCCESS);
    }
    return &service->manager();
}

eErrorT AppCfgManager::setSecurityRole(AppConfig::SecurityRole role) {
    m_impl->setServiceRole(role);
    return kNoError;
}

eErrorT AppCfgManager::setPbInterface(PbUtility::PbUtils* pbInterface) {
    return pbInterface == nullptr
               ? kBadParameter
               : PbUtility::setRequestHandler(*pbInterface, Service::process().requests());
}

std::string AppCfgManager::getConfigVar(const std::string& node, int nodeInstance,
                                        const std::string& var, int varInstance) {
    std::string sValue;
    (void)guarded(*m_impl, "read a value", [&] {
        const Cell* const cell = m_impl->read({node, nodeInstance, var, varInstance});
        if (cell != nullptr) {
            sValue = cell->sValue;
        }
        return kNoError;
    });
    return sValue;
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
    return guarded(*m_impl, "set a value", [&] {
        return m_impl->write({node, nodeInstance, var, varInstance}, value, result);
    });
}

eErrorT AppCfgManager::setConfigVar(const std::string& node, int nodeInstance,
                                    const std::string& var, int varInstance, const char* value,
                                    ConfigResult* result) {
    return guarded(*m_impl, "set a value", [&] {
        return m_impl->write({node, nodeInstance, var, varInstance}, value, result);
    });
}

eErrorT AppCfgManager::getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                               const std::string& var, int varInstance,
                                               std::vector<std::string>& options) {
    return guarded(*m_impl, "read options", [&] {
        const Cell* const cell = m_impl->readDefaults({node, nodeInstance, var, varInstance});
        if (cell == nullptr) {
            return kItemNotFound;
        }
        options.assign(cell->row->option().begin(), cell->row->option().end());
        return kNoError;
    });
}

eErrorT AppCfgManager::setConfigOptions(const std::string& node, int nodeInstance,
                                        const std::string& var, int varInstance,
                                        const std::vector<std::string>& options) {
    return guarded(*m_impl, "offer options", [&] {
        return m_impl->offer({node, nodeInstance, var, varInstance}, options);
    });
}

eErrorT AppCfgManager::setAccessLevels(const std::list<ConfigVar>& vars,
                                       const AppConfig::SecurityRole* roleRead,
                                       const AppConfig::SecurityRole* roleWrite,
                                       std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    return guarded(*m_impl, "set access levels", [&] {
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
    });
}

}  // namespace AppConfig

namespace {

template <typename Handler>
eErrorT addHandler(const std::string& sNode, const std::string& sVariable, Handler* handler,
                   AppConfig::AppCfgManager* manager) {
    return guarded("register a handler", [&] {
        AppConfig::ConfigStore& store = manager == nullptr ? AppConfig::Service::process().store()
                                                           : AppConfig::ConfigStore::of(*manager);
        return store.add(sNode, sVariable, handler);
    });
}

}  // namespace

eErrorT registerHandler(std::string nodeName, std::string varName, ProviderConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return addHandler(nodeName, varName, handler, manager);
}

eErrorT registerHandler(std::string nodeName, std::string varName, ConsumerConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return addHandler(nodeName, varName, handler, manager);
}
