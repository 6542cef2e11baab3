#ifndef CONFIG_DISK_SECRETHISTORY_H
#define CONFIG_DISK_SECRETHISTORY_H

#include <set>
#include <string>

#include "disk/sqlite.h"

namespace AppConfig {

/// Masks what the history in a database holds in clear of variables that a new schema makes
/// secrets. The table `secret` remembers whose history is masked already, so that nothing is looked
/// through at any other start. All of it is done, or nothing.
/// @param secrets  addresses of all variables that are secrets now
/// @return SQLITE_OK, or what went wrong
[[nodiscard]] int maskSecretHistory(sqlite3* connection, const std::set<std::string>& secrets);

}  // namespace AppConfig

#endif
