#ifndef APPCONFIG_INCLUDE_STRINGMATCHES_H
#define APPCONFIG_INCLUDE_STRINGMATCHES_H

#include <string>
#include <utility>

namespace AppConfigProvider {

/// Predicate for the standard algorithms over option lists: exact match, letter case included.
struct StringMatches {
    StringMatches(std::string lhs) : m_lhs(std::move(lhs)) {}
    bool operator()(std::string rhs) { return rhs == m_lhs; }

    std::string m_lhs;
};

}  // namespace AppConfigProvider

#endif
