#ifndef CONFIG_STORE_DATABASEFILE_H
#define CONFIG_STORE_DATABASEFILE_H

#include <string>

#include "ErrTypes.h"
#include "filelock.h"
#include "sqlite.h"

namespace AppConfig {

/// Finds, guards and opens the store's database: "appconfig.db" in the state directory, for this
/// user alone (directory 0700, file 0600), with the lock "appconfig.lock" beside it.
/// docs/database.md describes what it holds.
///
/// Nothing that is there is ever destroyed. A file that is damaged, somebody else's, or of a later
/// version than this is moved aside under a dated name, and a new one begun. One of an earlier
/// version is brought to this one, in one transaction. Where nothing can be written, what is there
/// is opened for reading. Each of these is logged as critical, with the file's name.
class DatabaseFile {
public:
    static constexpr int kVersion = 2;  ///< of what the tables hold

    /// One in memory, gone with the object.
    DatabaseFile();
    /// @param sDirectory  made if need be; empty: there is none
    /// @param vfs         SQLite's name of the file system layer to use; null: the system's
    DatabaseFile(const std::string& sDirectory, const char* vfs);

    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;

    /// Null where there is nothing that could be opened. Lives as long as this.
    [[nodiscard]] sqlite3* connection() const { return m_connection.get(); }
    [[nodiscard]] bool isWritable() const { return m_bWritable; }
    /// Whether another process works on this directory; then nothing has been touched.
    [[nodiscard]] bool isHeldByAnother() const { return m_bHeldByAnother; }
    [[nodiscard]] const std::string& path() const { return m_sPath; }

private:
    /// What a file turned out to be.
    enum class Condition { kOurs, kEmpty, kEarlier, kDamaged, kForeign, kNewer, kUnusable };

    [[nodiscard]] bool claim(const std::string& sDirectory);
    [[nodiscard]] Condition open(const char* vfs);
    [[nodiscard]] Condition examine();
    [[nodiscard]] Condition bringUp();
    [[nodiscard]] Condition bringUpCopy();
    void openForReading();
    [[nodiscard]] int connect(const std::string& sName, int nFlags, const char* vfs);
    [[nodiscard]] int execute(const char* sql);
    [[nodiscard]] int read(const char* sql, std::string& text);
    [[nodiscard]] Condition conditionAfter(int nCode) const;
    [[nodiscard]] bool moveAside(const char* what);

    std::string m_sPath;
    pbcommon::FileLock m_lock;
    sqlite::ConnectionT m_connection;
    int m_nVersion = 0;  ///< that the tables were found in; 0: there were none
    bool m_bWritable = false;
    bool m_bHeldByAnother = false;
};

}  // namespace AppConfig

#endif
