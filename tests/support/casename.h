#ifndef TESTS_SUPPORT_CASENAME_H
#define TESTS_SUPPORT_CASENAME_H

#include <string>

/// Names a parameterised test after the `name` of its row.
inline constexpr auto caseName = [](const auto& row) { return std::string(row.param.name); };

#endif
