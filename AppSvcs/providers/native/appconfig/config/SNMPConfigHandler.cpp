#include "SNMPConfigHandler.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <vector>

#include "ConfigHelpers.h"
#include "logmsg.h"

namespace AppConfigProvider {

namespace {

const std::string SNMP_NODE = "management.snmp";
const std::string TRAP_TARGET_NODE = "management.snmp.traptarget";
const std::string CALL_FEATURES_NODE = "comm.callsetting.callfeatures";

constexpr int DEFAULT_LISTENING_PORT = 161;
constexpr int DEFAULT_TRAP_PORT = 162;

/// Ports of the system's other services, both ends included. The web server's is a setting.
struct PortRangeParamT {
    int first;
    int last;
};
constexpr PortRangeParamT usedPortTable[] = {
    {1720, 1720}, {3230, 3301}, {5001, 5001}, {5060, 5061}, {7070, 7071},
};

/// The SNMP versions, in the order in which their switches are read.
struct VersionParamT {
    const char* varName;  ///< switch
    const char* option;   ///< entry in the trap targets' choices
};
// clang-format off
constexpr VersionParamT versionTable[] = {
    {"versionone",   "v1" },
    {"versiontwo",   "v2c"},
    {"versionthree", "v3" },
};
// clang-format on

/// What switching one SNMP version does to the trap targets' choices. Rows are tried in order; the
/// first whose other switch is off, or that names none, applies.
struct VersionOptionParamT {
    const char* changed;   ///< version whose switch was stored
    const char* ifOff;     ///< other version's switch, read when the row is tried; null: always
    const char* removed;   ///< entry taken out of the offered list; null: none
    const char* fallback;  ///< version given to trap targets that used `changed`
};
// clang-format off
constexpr VersionOptionParamT versionOptionTable[] = {
    // changed  ifOff           removed  fallback
    {"v1",      "versionthree", "v3",    "v2c"},
    {"v1",      "versiontwo",   "v2c",   "v3" },
    {"v1",      nullptr,        nullptr, "v3" },
    {"v2c",     "versionthree", "v3",    "v1" },
    {"v2c",     "versionone",   "v1",    "v3" },
    {"v2c",     nullptr,        nullptr, "v3" },
    {"v3",      "versiontwo",   "v2c",   "v1" },
    {"v3",      "versionone",   "v1",    "v2c"},
    {"v3",      nullptr,        nullptr, "v2c"},
};
// clang-format on
static_assert(std::size(versionOptionTable) == 9, "three rows per SNMP version");

constexpr int TRAP_TARGETS = 3;

/// Algorithms that SNMPv3 is given when FIPS 140 mode is switched, whatever was chosen before.
struct AlgorithmParamT {
    bool isFipsEnabled;
    const char* varName;
    const char* algorithm;
};
// clang-format off
constexpr AlgorithmParamT algorithmTable[] = {
    {true,  "authenticationalgorithm", "SHA"       },
    {true,  "privacyalgorithm",        "CFB-AES128"},
    {false, "authenticationalgorithm", "MD5"       },
    {false, "privacyalgorithm",        "CBC-DES"   },
};
// clang-format on

template <typename Table>
void appendInstanceZero(const Table& table, std::list<ConfigVar>& cfgVars) {
    for (const ConfigParamT& row : table) {
        cfgVars.emplace_back(row.nodeName, row.varName);
    }
}

const char* optionAt(const std::vector<std::string>& options, std::size_t nIndex) {
    return nIndex < options.size() ? options[nIndex].c_str() : "<none>";
}

/// The number that the text starts with, 0 without one. A number beyond int becomes the nearest
/// int, so that it is refused and does not wrap round to an allowed port.
int portOf(const std::string& sValue) {
    const long nValue = std::strtol(sValue.c_str(), nullptr, 10);
    return static_cast<int>(
        std::clamp<long>(nValue, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

// clang-format off
const ConfigSNMPParamT snmpConfigTable[26] = {
    {"management.snmp.legacynotification", 0, "enabled",           0},
    {"management.snmp.newnotification",    0, "enabled",           0},
    {"management.snmp",                    0, "versionone",        0},
    {"management.snmp",                    0, "versiontwo",        0},
    {"management.snmp",                    0, "versionthree",      0},
    {"management.snmp",                    0, "admin",             0},
    {"management.snmp",                    0, "community",         0},
    {"management.snmp",                    0, "location",          0},
    {"management.snmp",                    0, "systemdesc",        0},
    {"management.snmp",                    0, "listeningport",     0},
    {"management.snmp",                    0, "transportprotocol", 0},
    {"management.snmp.traptarget",         0, "targetaddress",     0},
    {"management.snmp.traptarget",         0, "targetport",        0},
    {"management.snmp.traptarget",         0, "protocolversion",   0},
    {"management.snmp.traptarget",         0, "messagetype",       0},
    {"management.snmp.traptarget",         0, "traptargetenable",  0},
    {"management.snmp.traptarget",         0, "targetaddress",     1},
    {"management.snmp.traptarget",         0, "targetport",        1},
    {"management.snmp.traptarget",         0, "protocolversion",   1},
    {"management.snmp.traptarget",         0, "messagetype",       1},
    {"management.snmp.traptarget",         0, "traptargetenable",  1},
    {"management.snmp.traptarget",         0, "targetaddress",     2},
    {"management.snmp.traptarget",         0, "targetport",        2},
    {"management.snmp.traptarget",         0, "protocolversion",   2},
    {"management.snmp.traptarget",         0, "messagetype",       2},
    {"management.snmp.traptarget",         0, "traptargetenable",  2},
};

const ConfigParamT snmpV3ConfigTable[4] = {
    {"management.snmp", "authenticationpassword"},
    {"management.snmp", "engineid"              },
    {"management.snmp", "id"                    },
    {"management.snmp", "privacypassword"       },
};

const ConfigParamT snmpV3AlgorithmTable[2] = {
    {"management.snmp", "authenticationalgorithm"},
    {"management.snmp", "privacyalgorithm"       },
};
// clang-format on

const std::string SNMPConfigHandler::ERR_INVALID_PORT = "ERR_SNMP_INVALID_PORT";
const std::string SNMPConfigHandler::ERR_ATLEAST_ONE_VERSION = "ERR_SNMP_VERSION_DISABLE";
const std::string SNMPConfigHandler::EMPTYSTRING;

SNMPConfigHandler::SNMPConfigHandler() : m_configManager(AppConfig::AppCfgManager::getInstance()) {}

SNMPConfigHandler::~SNMPConfigHandler() = default;

bool SNMPConfigHandler::isValid(const std::string& sNode, int /*nNodeInstance*/,
                                const std::string& sVariable, int /*nVarInstance*/,
                                const std::list<std::string>& sValues,
                                AppConfig::SecurityRole /*role*/, ConfigResult& cfgResult) {
    logdebug("appconfig", "SNMPConfigHandler::isValid() \n");
    if (sValues.empty()) {
        logerr("appconfig", "returning bcz sValue.empty() \n");
        return false;
    }
    const std::string& sValue = sValues.front();

    std::string errorString = EMPTYSTRING;
    if (sNode == SNMP_NODE) {
        if (sVariable == "listeningport" && !isListeningPortValid(portOf(sValue))) {
            errorString = ERR_INVALID_PORT;
        }
        // asked for every variable of the node: the reads are part of the rule
        if (isLastVersionDisabled(sVariable, sValue)) {
            errorString = ERR_ATLEAST_ONE_VERSION;
        }
    } else if (sNode == TRAP_TARGET_NODE && sVariable == "targetport" &&
               !isTrapPortValid(portOf(sValue))) {
        errorString = ERR_INVALID_PORT;
    }

    const bool bResult = errorString == EMPTYSTRING;
    const eErrorT err = bResult ? kNoError : kBadParameter;
    cfgResult.fillConfigResult(bResult, err, false);
    if (!bResult) {
        cfgResult.addResultMessage(errorString);
    }
    return bResult;
}

bool SNMPConfigHandler::isListeningPortValid(int nPort) {
    const int listeningPort = m_configManager->getConfigVarInt(SNMP_NODE, 0, "listeningport", 0);
    logdebug("appconfig", "isValid? : CFGVAR_LISTENINGPORT = %d, to set %d \n", listeningPort,
             nPort);
    if (nPort == DEFAULT_LISTENING_PORT || nPort == listeningPort || SNMPPortValidate(nPort)) {
        return true;
    }
    logdebug("appconfig", "listening port %d is NOT allowed \n", nPort);
    return false;
}

bool SNMPConfigHandler::isTrapPortValid(int nPort) {
    const int targetport0 = m_configManager->getConfigVarInt(TRAP_TARGET_NODE, 0, "targetport", 0);
    const int targetport1 = m_configManager->getConfigVarInt(TRAP_TARGET_NODE, 0, "targetport", 1);
    const int targetport2 = m_configManager->getConfigVarInt(TRAP_TARGET_NODE, 0, "targetport", 2);
    // a port that any trap target uses already is accepted for every other one too
    return nPort == DEFAULT_TRAP_PORT || nPort == targetport0 || nPort == targetport1 ||
           nPort == targetport2 || SNMPPortValidate(nPort);
}

bool SNMPConfigHandler::isLastVersionDisabled(const std::string& sVariable,
                                              const std::string& sValue) {
    const bool isSNMPEnabled = m_configManager->getConfigVarBool(SNMP_NODE, 0, "enabled", 0);
    if (!isSNMPEnabled) {
        return false;
    }
    bool bVersion = false;
    bool bOtherEnabled = false;
    for (const VersionParamT& row : versionTable) {
        const bool bEnabled = m_configManager->getConfigVarBool(SNMP_NODE, 0, row.varName, 0);
        const bool bAsked = sVariable == row.varName;
        bVersion = bVersion || bAsked;
        bOtherEnabled = bOtherEnabled || (bEnabled && !bAsked);
    }
    return bVersion && !bOtherEnabled && isFalse(sValue);
}

bool SNMPConfigHandler::SNMPPortValidate(int snmpPort) {
    return snmpPort >= 1024 && snmpPort <= 65535 && !isPortUsed(snmpPort);
}

bool SNMPConfigHandler::isPortUsed(int port) {
    // read first, also when the table decides
    const int httpPort =
        m_configManager->getConfigVarInt("security.remoteaccess.web", 0, "httpport", 0);
    return port == httpPort || std::any_of(std::begin(usedPortTable), std::end(usedPortTable),
                                           [port](const PortRangeParamT& range) {
                                               return port >= range.first && port <= range.last;
                                           });
}

void SNMPConfigHandler::onSet(const std::string& sNode, int nNodeInstance,
                              const std::string& sVariable, int nVarInstance,
                              const std::list<std::string>& sValues,
                              AppConfig::SecurityRole /*role*/, ConfigResult& /*cfgResult*/) {
    const std::string sValue = sValues.empty() ? EMPTYSTRING : sValues.front();
    logdebug("appconfig", "SNMPConfigHandler::onSet() %s[%d].%s[%d]: %s\n", sNode.c_str(),
             nNodeInstance, sVariable.c_str(), nVarInstance, sValue.c_str());
    if (sValues.empty()) {
        logerr("appconfig", "returning bcz sValue.empty() \n");
        return;
    }
    if (sNode == CALL_FEATURES_NODE && sVariable == "fips140enable") {
        onFipsSet(isTrue(sValue));
    } else if (sNode == SNMP_NODE && sVariable == "enabled") {
        onSnmpSet(isNotFalse(sValue));
    } else if (sNode == SNMP_NODE) {
        onVersionSet(sVariable, isTrue(sValue));
    }
}

void SNMPConfigHandler::onFipsSet(bool isFipsEnabled) {
    const bool snmpV3Enabled = m_configManager->getConfigVarBool(SNMP_NODE, 0, "versionthree", 0);
    const bool snmpEnabled = m_configManager->getConfigVarBool(SNMP_NODE, 0, "enabled", 0);
    for (const AlgorithmParamT& row : algorithmTable) {
        if (row.isFipsEnabled == isFipsEnabled) {
            // also while SNMP is off: they are right when it comes on
            m_configManager->setConfigVar(SNMP_NODE, 0, row.varName, 0, row.algorithm, nullptr);
        }
    }
    if (snmpEnabled) {
        setSNMPAlgsAccessLevels(isFipsEnabled, snmpV3Enabled);
    }
}

void SNMPConfigHandler::onSnmpSet(bool enableSNMP) {
    const bool snmpV3Enabled = m_configManager->getConfigVarBool(SNMP_NODE, 0, "versionthree", 0);
    if (!enableSNMP) {
        setSNMPConfigsVisibility(false, snmpV3Enabled);
        return;
    }
    const bool fipsEnabled =
        m_configManager->getConfigVarBool(CALL_FEATURES_NODE, 0, "fips140enable", 0);
    setSNMPConfigsVisibility(true, snmpV3Enabled);
    setSNMPAlgsAccessLevels(fipsEnabled, snmpV3Enabled);
}

/// Applies whether SNMP is on or off.
void SNMPConfigHandler::onVersionSet(const std::string& sVariable, bool versionEnabled) {
    const bool isVersion3 = sVariable == "versionthree";
    // read before anything is changed
    const bool fipsEnabled =
        isVersion3 && m_configManager->getConfigVarBool(CALL_FEATURES_NODE, 0, "fips140enable", 0);
    for (const VersionParamT& row : versionTable) {
        if (sVariable == row.varName) {
            updateSNMPConfigOptions(row.option, versionEnabled, TRAP_TARGET_NODE,
                                    "protocolversion");
        }
    }
    if (isVersion3) {
        updateSNMPV3ConfigAccessLevels(versionEnabled);
        setSNMPAlgsAccessLevels(fipsEnabled, versionEnabled);
    }
}

void SNMPConfigHandler::updateSNMPConfigOptions(std::string snmpVersion, bool versionEnabled,
                                                const std::string& sNode,
                                                const std::string& sVarName) {
    std::vector<std::string> options;
    m_configManager->getConfigDefaultOptions(sNode, 0, sVarName, 0, options);
    logdebug("appconfig",
             "updateSNMPConfigOptions : snmpVersion = %s , versionEnabled = %d , DefaultOptions = "
             "%s - %s - %s\n",
             snmpVersion.c_str(), versionEnabled, optionAt(options, 0), optionAt(options, 1),
             optionAt(options, 2));
    // read before anything is changed
    std::string snmpInstance[TRAP_TARGETS];
    for (int i = 0; i < TRAP_TARGETS; ++i) {
        snmpInstance[i] = m_configManager->getConfigVar(sNode, 0, sVarName, i);
    }
    std::string value = "v3";
    for (const VersionOptionParamT& row : versionOptionTable) {
        if (strcasecmp(row.changed, snmpVersion.c_str()) != 0 ||
            (row.ifOff != nullptr &&
             m_configManager->getConfigVarBool(SNMP_NODE, 0, row.ifOff, 0))) {
            continue;
        }
        value = row.fallback;
        if (row.removed != nullptr) {
            removeOption(options, row.removed);
        }
        break;
    }
    if (!versionEnabled) {
        removeOption(options, snmpVersion);
        for (int i = 0; i < TRAP_TARGETS; ++i) {
            if (snmpInstance[i] == snmpVersion) {
                m_configManager->setConfigVar(sNode, 0, sVarName, i, value, nullptr);
            }
        }
    }
    for (int i = 0; i < TRAP_TARGETS; ++i) {
        m_configManager->setConfigOptions(sNode, 0, sVarName, i, options);
    }
}

void SNMPConfigHandler::setSNMPConfigsVisibility(bool enableSNMP, bool snmpV3Enabled) {
    std::list<ConfigVar> cfgVars;
    for (const ConfigSNMPParamT& row : snmpConfigTable) {
        cfgVars.emplace_back(row.nodeName, row.nodeInstance, row.varName, row.varInstance);
    }
    setAccessLevel(*m_configManager, cfgVars, enableSNMP ? kEditable : kHidden);
    cfgVars.clear();
    appendInstanceZero(snmpV3ConfigTable, cfgVars);
    appendInstanceZero(snmpV3AlgorithmTable, cfgVars);
    setAccessLevel(*m_configManager, cfgVars, enableSNMP && snmpV3Enabled ? kEditable : kHidden);
}

void SNMPConfigHandler::updateSNMPV3ConfigAccessLevels(bool snmpV3Enabled) {
    std::list<ConfigVar> cfgVars;
    appendInstanceZero(snmpV3ConfigTable, cfgVars);
    setAccessLevel(*m_configManager, cfgVars, snmpV3Enabled ? kEditable : kHidden);
}

void SNMPConfigHandler::setSNMPAlgsAccessLevels(bool fipsEnabled, bool snmpV3Enabled) {
    logdebug("appconfig", "setSNMPAlgsAccessLevels : FIPSEnabled = %d, SNMPV3Enabled= %d \n",
             fipsEnabled, snmpV3Enabled);
    std::list<ConfigVar> cfgVars;
    appendInstanceZero(snmpV3AlgorithmTable, cfgVars);
    setAccessLevel(*m_configManager, cfgVars,
                   !snmpV3Enabled ? kHidden
                   : fipsEnabled  ? kReadOnly
                                  : kEditable);
}

}  // namespace AppConfigProvider
