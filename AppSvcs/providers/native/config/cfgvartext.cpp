// The written form of a variable, apart from its identity: it is the form that clients use too.
#include "address.h"
#include "cfgvar.h"

ConfigVar::ConfigVar(const std::string& sFQName) {
    const auto address = pbcommon::parseAddress(sFQName).value_or(pbcommon::AddressView{});
    init(0, std::string(address.sNode), address.nNodeInstance, std::string(address.sVariable),
         address.nVarInstance);
}

std::string ConfigVar::getFQName() {
    return pbcommon::formatAddress({m_sNodeName, m_nNodeInstance, m_sVarName, m_nVarInstance});
}

std::string ConfigVar::getFullyQualifiedName() {
    return std::to_string(m_namespace) + ":" + getFQName();
}
