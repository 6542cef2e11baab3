#ifndef CONFIG_INCLUDE_CFGVAR_H
#define CONFIG_INCLUDE_CFGVAR_H

#include <string>

/// Identity of one configuration variable: node name, node instance, variable name, variable
/// instance, all in a numbered namespace (the service uses namespace 0 only). Names are stored in
/// lower case, so that Management.SNMP and management.snmp name the same node. A value type: copied
/// freely, any thread. The readers are not `const`, as everywhere in the platform's library.
class ConfigVar {
public:
    ConfigVar(const std::string& sNode, int nNodeInstance, const std::string& sVar,
              int nVarInstance);
    /// Both instances 0.
    ConfigVar(const std::string& sNode, const std::string& sVar);
    ConfigVar(int cfgNamespace, const std::string& sNode, int nNodeInstance,
              const std::string& sVar, int nVarInstance);
    /// From an address as getFQName() writes it. A text that is not an address gives a variable
    /// with two empty names, which no store holds.
    ConfigVar(const std::string& sFQName);
    /// The same variable in another namespace.
    ConfigVar(int cfgNamespace, const ConfigVar& other);

    /// Whether the variable holds several strings; false after construction.
    void setAsMultiStringVar(bool bIsMultiStringVar);
    bool isMultiStringVar();

    int getNamespace();
    std::string getNodeName();
    int getNodeInstance();
    std::string getVarName();
    int getVarInstance();

    /// "node.variable", with "[n]" after the node or the variable whose instance is not 0.
    std::string getFQName();
    /// getFQName() after the namespace number and a colon: "0:management.snmp.listeningport".
    std::string getFullyQualifiedName();

    /// Same namespace, names and instances; whether it holds several strings is ignored.
    bool operator==(const ConfigVar& other) const;
    /// Orders by namespace, node name, node instance, variable name, variable instance.
    bool operator<(const ConfigVar& other) const;

private:
    void init(int cfgNamespace, const std::string& sNode, int nNodeInstance,
              const std::string& sVar, int nVarInstance);

    int m_namespace;
    std::string m_sNodeName;
    int m_nNodeInstance;
    std::string m_sVarName;
    int m_nVarInstance;
    bool m_bIsMultiStringVar;
};

#endif
