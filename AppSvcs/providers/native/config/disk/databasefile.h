#ifndef CONFIG_DISK_DATABASEFILE_H
#define CONFIG_DISK_DATABASEFILE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "ErrTypes.h"
#include "filelock.h"

struct sqlite3;

namespace AppConfig {

/// Ends a connection with the object that owns it.
struct ConnectionCloser {
    void operator()(sqlite3* connection) const;
};
using ConnectionT = std::unique_ptr<sqlite3, ConnectionCloser>;

/// Finds, guards and opens the store's database: "appconfig.db" in the state directory, for this
/// user alone (directory 0700, file 0600), with the lock "appconfig.lock" beside it.
/// docs/database.md describes what it holds.
///
/// Nothing that is there is ever destroyed. A file that is damaged, somebody else's, or of a later
/// version than this is moved aside under a dated name, and a new one begun; so is a "-wal" or
/// "-journal" that does not belong to the database. One of an earlier version is brought to this
/// one, in one transaction. Where nothing can be written, or something cannot be read, what is
/// there is opened for reading. Each of these is logged as critical, with the file's name.
class DatabaseFile {
public:
    /// A file's device and number, by which it is known again; nothing: there is none.
    using IdentityT = std::optional<std::tuple<std::uint32_t, std::uint32_t, std::uint64_t>>;

    /// One in memory, gone with the object.
    DatabaseFile();
    /// @param sDirectory  made if need be; empty: there is none
    explicit DatabaseFile(const std::string& sDirectory);

    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;

    /// Null where there is nothing that could be opened. Lives as long as this.
    [[nodiscard]] sqlite3* connection() const { return m_connection.get(); }
    /// Whether a commit would be there at the next start: also not when the file, or the directory
    /// that it is in, has been removed or replaced since. Says so the first time.
    [[nodiscard]] bool isWritable();
    /// From now on nothing may be changed. Logged, with the reason.
    void refuseChanges(const std::string& sFile, const char* reason);
    /// Whether another process works on this directory; then nothing has been touched.
    [[nodiscard]] bool isHeldByAnother() const { return m_bHeldByAnother; }
    [[nodiscard]] const std::string& path() const { return m_sPath; }

private:
    /// What a file turned out to be.
    enum class Condition {
        kOurs,
        kEmpty,
        kEarlier,   ///< ours, of an earlier version
        kStrayLog,  ///< not looked at further: its log is not its own
        kUnread,    ///< ours, but not all of it can be read
        kDamaged,
        kForeign,
        kNewer,
        kUnusable,
    };

    [[nodiscard]] bool claim(const std::string& sDirectory);
    [[nodiscard]] bool open();
    [[nodiscard]] bool prepareFiles();
    [[nodiscard]] bool keepJournal() const;
    [[nodiscard]] Condition tryToOpen();
    [[nodiscard]] Condition examine();
    [[nodiscard]] Condition check();
    [[nodiscard]] Condition bringUp();
    void shrink();
    [[nodiscard]] Condition bringUpCopy();
    void openForReading();
    [[nodiscard]] int connect(const std::string& sName, int nFlags, const char* vfs = nullptr);
    [[nodiscard]] int execute(const char* sql);
    [[nodiscard]] int read(const char* sql, std::string& text);
    [[nodiscard]] Condition conditionAfter(int nCode) const;
    [[nodiscard]] bool moveAside(const char* what);
    [[nodiscard]] bool moveAside(const char* what, const char* part, const char* reason);

    std::string m_sPath;
    pbcommon::FileLock m_lock;
    ConnectionT m_connection;
    int m_nVersion = 0;                ///< that the tables were found in; 0: there were none
    std::array<IdentityT, 2> m_known;  ///< of the database and its log
    bool m_bWritable = false;
    bool m_bHeldByAnother = false;
};

}  // namespace AppConfig

#endif
