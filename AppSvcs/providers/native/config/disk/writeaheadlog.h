#ifndef CONFIG_DISK_WRITEAHEADLOG_H
#define CONFIG_DISK_WRITEAHEADLOG_H

#include <sqlite3.h>

namespace AppConfig {

/// Finds out whether a "-wal" is one that SQLite would take for empty, and write over, although it
/// is not: it has no valid header, or what follows the header belongs to another log.
/// @param connection  in WAL mode or not; has read the database already, so that the log is open
/// @param bStray      set on SQLITE_OK only
/// @return SQLite's code
[[nodiscard]] int examineLog(sqlite3* connection, bool& bStray);

}  // namespace AppConfig

#endif
