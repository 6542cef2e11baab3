#include "cfgvar.h"

#include <algorithm>
#include <cctype>
#include <tuple>

namespace {

void toLower(std::string& text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
}

}  // namespace

ConfigVar::ConfigVar(const std::string& sNode, int nNodeInstance, const std::string& sVar,
                     int nVarInstance) {
    init(0, sNode, nNodeInstance, sVar, nVarInstance);
}

ConfigVar::ConfigVar(const std::string& sNode, const std::string& sVar) {
    init(0, sNode, 0, sVar, 0);
}

ConfigVar::ConfigVar(int cfgNamespace, const std::string& sNode, int nNodeInstance,
                     const std::string& sVar, int nVarInstance) {
    init(cfgNamespace, sNode, nNodeInstance, sVar, nVarInstance);
}

ConfigVar::ConfigVar(int cfgNamespace, const ConfigVar& other) {
    init(cfgNamespace, other.m_sNodeName, other.m_nNodeInstance, other.m_sVarName,
         other.m_nVarInstance);
}

void ConfigVar::init(int cfgNamespace, const std::string& sNode, int nNodeInstance,
                     const std::string& sVar, int nVarInstance) {
    m_namespace = cfgNamespace;
    m_sNodeName = sNode;
    toLower(m_sNodeName);
    m_nNodeInstance = nNodeInstance;
    m_sVarName = sVar;
    toLower(m_sVarName);
    m_nVarInstance = nVarInstance;
    m_bIsMultiStringVar = false;
}

void ConfigVar::setAsMultiStringVar(bool bIsMultiStringVar) {
    m_bIsMultiStringVar = bIsMultiStringVar;
}

bool ConfigVar::isMultiStringVar() { return m_bIsMultiStringVar; }

int ConfigVar::getNamespace() { return m_namespace; }

std::string ConfigVar::getNodeName() { return m_sNodeName; }

int ConfigVar::getNodeInstance() { return m_nNodeInstance; }

std::string ConfigVar::getVarName() { return m_sVarName; }

int ConfigVar::getVarInstance() { return m_nVarInstance; }

bool ConfigVar::operator==(const ConfigVar& other) const {
    return !(*this < other) && !(other < *this);
}

bool ConfigVar::operator<(const ConfigVar& other) const {
    return std::tie(m_namespace, m_sNodeName, m_nNodeInstance, m_sVarName, m_nVarInstance) <
           std::tie(other.m_namespace, other.m_sNodeName, other.m_nNodeInstance, other.m_sVarName,
                    other.m_nVarInstance);
}
