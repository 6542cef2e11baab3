#ifndef APPCONFIG_CONFIG_SNMPCONFIGHANDLER_H
#define APPCONFIG_CONFIG_SNMPCONFIGHANDLER_H

#include <cstdint>
#include <list>
#include <string>

#include "appcfgmanager.h"
#include "cfghandler.h"

namespace AppConfigProvider {

/// One setting of a group, with its instances.
struct ConfigSNMPParamT {
    std::string nodeName;
    int32_t nodeInstance;
    std::string varName;
    int32_t varInstance;
};

/// One setting of a group; always instance 0 of node and variable.
struct ConfigParamT {
    std::string nodeName;
    std::string varName;
};

/// The settings that are open to users only while SNMP is on. The switch of SNMP itself is not
/// among them: its access level never changes. The trap targets are told apart by the instance of
/// the variable, not of the node.
extern const ConfigSNMPParamT snmpConfigTable[26];
/// The SNMPv3 user's settings: open only while SNMPv3 is on too.
extern const ConfigParamT snmpV3ConfigTable[4];
/// The SNMPv3 algorithms: as the user's settings, and read-only under FIPS 140.
extern const ConfigParamT snmpV3AlgorithmTable[2];

/// Rules of the SNMP settings. Refuses ports that other services use and the switching off of the
/// last SNMP version; narrows the trap targets' versions to those that are on, opens the settings
/// only while they mean something, and forces the SNMPv3 algorithms under FIPS 140. Called by the
/// store, one call at a time; keeps nothing between calls: every decision reads the settings that
/// it needs from the store.
class SNMPConfigHandler : public ProviderConfigHandler {
public:
    // tags of a refusal
    static const std::string ERR_INVALID_PORT;         ///< a port that may not be used
    static const std::string ERR_ATLEAST_ONE_VERSION;  ///< the last version cannot be switched off
    static const std::string EMPTYSTRING;              ///< no tag

    SNMPConfigHandler();
    ~SNMPConfigHandler() override;

    /// Refuses with kBadParameter and one of the tags above. An empty value list is refused with
    /// `cfgResult` untouched.
    bool isValid(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
                 int nVarInstance, const std::list<std::string>& sValues,
                 AppConfig::SecurityRole role, ConfigResult& cfgResult) override;

    /// Carries a stored change over to the settings that depend on it.
    void onSet(const std::string& sNode, int nNodeInstance, const std::string& sVariable,
               int nVarInstance, const std::list<std::string>& sValues,
               AppConfig::SecurityRole role, ConfigResult& cfgResult) override;

private:
    /// Whether `port` is taken by another service of the system.
    bool isPortUsed(int port);
    /// Whether `snmpPort` may serve as an SNMP port.
    bool SNMPPortValidate(int snmpPort);
    bool isListeningPortValid(int nPort);
    bool isTrapPortValid(int nPort);
    /// Whether storing `sValue` would switch off the last version of an enabled SNMP.
    bool isLastVersionDisabled(const std::string& sVariable, const std::string& sValue);

    void onFipsSet(bool isFipsEnabled);
    void onSnmpSet(bool enableSNMP);
    void onVersionSet(const std::string& sVariable, bool versionEnabled);
    /// Rebuilds the versions that the three trap targets offer, and moves the targets that use a
    /// version that has been switched off.
    /// @param snmpVersion     version whose switch has changed, as options name it: "v2c"
    /// @param versionEnabled  its new state
    /// @param sNode,sVarName  the setting whose options are rebuilt
    void updateSNMPConfigOptions(std::string snmpVersion, bool versionEnabled,
                                 const std::string& sNode, const std::string& sVarName);
    /// Opens or hides the SNMPv3 user's settings.
    void updateSNMPV3ConfigAccessLevels(bool snmpV3Enabled);
    /// Hides the SNMPv3 algorithms without SNMPv3; read-only under FIPS 140.
    void setSNMPAlgsAccessLevels(bool fipsEnabled, bool snmpV3Enabled);
    /// Opens or hides all SNMP settings, those of SNMPv3 only with that too.
    void setSNMPConfigsVisibility(bool enableSNMP, bool snmpV3Enabled);

    AppConfig::AppCfgManager* m_configManager;  ///< borrowed
};

}  // namespace AppConfigProvider

#endif
