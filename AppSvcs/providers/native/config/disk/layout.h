#ifndef CONFIG_DISK_LAYOUT_H
#define CONFIG_DISK_LAYOUT_H

#include <sqlite3.h>

namespace AppConfig {

/// The version of the tables that this service works with, as the database keeps it
/// (`PRAGMA user_version`). docs/database.md describes them.
inline constexpr int kLayoutVersion = 3;

/// Brings a database's tables from one version to a later one.
/// @param nFrom  0: it has no tables
/// @return SQLite's code; after a failure the caller's transaction has to be rolled back
[[nodiscard]] int makeTables(sqlite3* connection, int nFrom, int nTo = kLayoutVersion);

/// Finds out whether a database has the tables that makeTables() has made in it. What else it has,
/// somebody has added to it.
/// @param bSame  set on SQLITE_OK only
/// @return SQLite's code
[[nodiscard]] int compareTables(sqlite3* connection, int nVersion, bool& bSame);

}  // namespace AppConfig

#endif
