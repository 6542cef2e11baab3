#include "grouping.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>

#include "address.h"

namespace cfgctl {

namespace {

using InstancesT = std::set<int>;

/// Variables of one node that have the same instances, in the same instances of the node.
struct SiblingsT {
    std::string sNode;
    std::vector<std::string> variables;
    InstancesT ofNode;
    InstancesT ofVariable;
};

/// One variable of a node in all its instances.
struct FamilyT {
    std::string sNode;
    std::string sVariable;
    std::map<int, InstancesT> instances{};  ///< of the variable, by those of the node
};

std::vector<FamilyT> familiesOf(const std::vector<std::string>& names) {
    std::vector<FamilyT> families;
    for (const std::string& sName : names) {
        const pbcommon::AddressView address = pbcommon::parseAddress(sName).value_or(
            pbcommon::AddressView{.sNode = "", .sVariable = sName});
        auto found = std::ranges::find_if(families, [&address](const FamilyT& family) {
            return family.sNode == address.sNode && family.sVariable == address.sVariable;
        });
        if (found == families.end()) {
            families.push_back(
                {.sNode = std::string(address.sNode), .sVariable = std::string(address.sVariable)});
            found = std::prev(families.end());
        }
        found->instances[address.nNodeInstance].insert(address.nVarInstance);
    }
    return families;
}

/// A variable's instances as few products of node's and variable's.
std::vector<SiblingsT> productsOf(const FamilyT& family) {
    std::vector<SiblingsT> products;
    for (const auto& [nNode, ofVariable] : family.instances) {
        const auto found = std::ranges::find(products, ofVariable, &SiblingsT::ofVariable);
        if (found != products.end()) {
            found->ofNode.insert(nNode);
        } else {
            products.push_back({.sNode = family.sNode,
                                .variables = {family.sVariable},
                                .ofNode = {nNode},
                                .ofVariable = ofVariable});
        }
    }
    return products;
}

std::string text(const SiblingsT& siblings) {
    std::string sVariables;
    for (const std::string& sVariable : siblings.variables) {
        sVariables += (sVariables.empty() ? "" : ",") + sVariable;
    }
    const std::string sNode =
        siblings.sNode.empty() ? "" : siblings.sNode + instancesText(siblings.ofNode) + ".";
    return sNode + (siblings.variables.size() == 1 ? sVariables : "{" + sVariables + "}") +
           instancesText(siblings.ofVariable);
}

}  // namespace

std::string instancesText(const InstancesT& instances) {
    std::string sAll;
    for (auto first = instances.begin(); first != instances.end();) {
        auto end = first;
        int nNext = *first;
        while (end != instances.end() && *end == nNext) {
            ++end;
            ++nNext;
        }
        const int nLast = nNext - 1;
        if (nLast - *first < 2) {  // two in a row are told as two
            end = std::next(first);
        }
        sAll += (sAll.empty() ? "" : ",") + std::to_string(*first) +
                (nLast - *first < 2 ? "" : ".." + std::to_string(nLast));
        first = end;
    }
    return sAll == "0" ? "" : "[" + sAll + "]";
}

std::vector<std::string> groupedNames(const std::vector<std::string>& names) {
    std::vector<SiblingsT> all;
    for (const FamilyT& family : familiesOf(names)) {
        for (const SiblingsT& product : productsOf(family)) {
            const auto found = std::ranges::find_if(all, [&product](const SiblingsT& siblings) {
                return siblings.sNode == product.sNode && siblings.ofNode == product.ofNode &&
                       siblings.ofVariable == product.ofVariable;
            });
            if (found == all.end()) {
                all.push_back(product);
            } else {
                found->variables.push_back(product.variables.front());
            }
        }
    }
    std::vector<std::string> texts;
    std::ranges::transform(all, std::back_inserter(texts), text);
    return texts;
}

}  // namespace cfgctl
