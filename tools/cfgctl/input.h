#ifndef CFGCTL_INPUT_H
#define CFGCTL_INPUT_H

#include <string>

namespace cfgctl {

/// The value of `sName` from standard input: all of it without one newline at its end. On a
/// terminal: one line, asked for on standard error and not shown; the terminal is left as it was,
/// also when a signal ends the program meanwhile. A value too long for any message is cut to a
/// length that is still too long.
/// @throws Failure  kUsage (nothing typed on a terminal, or input that cannot be read)
[[nodiscard]] std::string readValue(const std::string& sName);

}  // namespace cfgctl

#endif
