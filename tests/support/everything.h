#ifndef TESTS_SUPPORT_EVERYTHING_H
#define TESTS_SUPPORT_EVERYTHING_H

#include <string>

#include "store/configstore.h"

/// Every value, access level and option list that a store has, a line for each variable.
inline std::string everythingOf(const AppConfig::ConfigStore& store) {
    std::string sAll;
    for (const AppConfig::Cell& cell : store.cells()) {
        sAll += cell.sAddress + "=" + cell.sValue + " " + std::to_string(cell.access.read) +
                std::to_string(cell.access.write);
        for (const std::string& sOption : cell.offered) sAll += " " + sOption;
        sAll += "\n";
    }
    return sAll;
}

#endif
