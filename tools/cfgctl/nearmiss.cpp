#include "nearmiss.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <set>
#include <utility>

#include "address.h"
#include "grouping.h"
#include "text.h"

namespace cfgctl {

namespace {

using pbcommon::equalIgnoringCase;

/// Fewest insertions, deletions, replacements of a letter and exchanges of two neighbours that turn
/// `a` into `b`.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before;  // the row before `above`
    std::vector<std::size_t> above(b.size() + 1);
    std::iota(above.begin(), above.end(), std::size_t{0});
    const auto same = [&](std::size_t i, std::size_t j) {
        return pbcommon::lower(a[i]) == pbcommon::lower(b[j]);
    };
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::vector<std::size_t> row = {i + 1};
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t nReplaced = above[j] + (same(i, j) ? 0 : 1);
            row.push_back(std::min({nReplaced, above[j + 1] + 1, row[j] + 1}));
            if (i > 0 && j > 0 && same(i, j - 1) && same(i - 1, j)) {
                row.back() = std::min(row.back(), before[j - 1] + 1);
            }
        }
        before = std::exchange(above, std::move(row));
    }
    return above.back();
}

bool isInNode(std::string_view sName, std::string_view sNode) {
    return sName.size() > sNode.size() && sName[sNode.size()] == '.' &&
           equalIgnoringCase(sName.substr(0, sNode.size()), sNode);
}

std::string countText(const std::set<int>& instances) {
    const int nFirst = *instances.begin();
    const int nLast = *instances.rbegin();
    if (nFirst == nLast) {
        return "only instance " + std::to_string(nFirst);
    }
    return std::cmp_equal(nLast - nFirst + 1, instances.size())
               ? "instances " + std::to_string(nFirst) + " to " + std::to_string(nLast)
               : "instances " + instancesText(instances);
}

/// Which instances there are, where a name differs from one of `names` in its instances only.
std::string instancesHint(const std::string& sWritten, const std::vector<std::string>& names) {
    const auto written = pbcommon::parseAddress(sWritten);
    std::set<int> ofNode;      // all there are
    std::set<int> having;      // the variable
    std::set<int> ofVariable;  // in that instance of the node
    for (const std::string& sName : names) {
        const auto known = pbcommon::parseAddress(sName);
        if (!written || !known || !equalIgnoringCase(known->sNode, written->sNode)) {
            continue;
        }
        ofNode.insert(known->nNodeInstance);
        if (equalIgnoringCase(known->sVariable, written->sVariable)) {
            having.insert(known->nNodeInstance);
            if (known->nNodeInstance == written->nNodeInstance) {
                ofVariable.insert(known->nVarInstance);
            }
        }
    }
    if (having.empty()) {
        return "";
    }
    const std::string sVariable(written->sVariable);
    const std::string sNode(written->sNode.substr(written->sNode.rfind('.') + 1));
    if (!ofVariable.empty()) {
        return sVariable + " has " + countText(ofVariable);
    }
    return ofNode.contains(written->nNodeInstance)
               ? sNode + " has " + sVariable + " in " + countText(having)
               : sNode + " has " + countText(ofNode);
}

}  // namespace

std::string nearestName(std::string_view name, const std::vector<std::string>& names) {
    // one slip, and one more for every eight letters: further away it is another name
    std::size_t nNear = 2 + name.size() / 8;
    std::string nearest;
    for (const std::string& candidate : names) {
        const std::size_t nDistance = editDistance(name, candidate);
        if (nDistance < nNear) {
            nNear = nDistance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string hintOn(const std::string& sWritten, const std::vector<std::string>& names) {
    if (std::ranges::any_of(
            names, [&](const auto& sName) { return equalIgnoringCase(sName, sWritten); })) {
        return "an assignment before it hides it";
    }
    if (std::ranges::any_of(names, [&](const auto& sName) { return isInNode(sName, sWritten); })) {
        return "did you mean '" + sWritten + ".*'?";
    }
    const std::string sInstances = instancesHint(sWritten, names);
    const std::string sNearest = nearestName(sWritten, names);
    return !sInstances.empty() || sNearest.empty() ? sInstances : "did you mean " + sNearest + "?";
}

}  // namespace cfgctl
