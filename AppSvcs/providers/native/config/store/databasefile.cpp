#include "databasefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <utility>

#include "logmsg.h"

namespace AppConfig {

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0600;
/// Files that belong to a database, by what stands behind its name.
constexpr const char* kCompanions[] = {"", "-wal", "-journal"};

/// Tells the store's databases from others: "ACfg".
constexpr int kApplicationId = 0x41436667;

/// What each version has added to the one before it, from an empty file on. Files of every version
/// are about: no text of an earlier one ever changes. docs/database.md explains the columns.
constexpr const char* kLayouts[] = {
    "CREATE TABLE setting ("
    "  variable TEXT NOT NULL,"
    "  aspect   TEXT NOT NULL,"  // value, options, access
    "  content  TEXT,"
    "  revision INTEGER NOT NULL,"
    "  PRIMARY KEY (variable, aspect)"
    ") STRICT, WITHOUT ROWID;"
    "CREATE TABLE change ("
    "  revision INTEGER PRIMARY KEY,"
    "  time_us  INTEGER NOT NULL,"
    "  client   TEXT NOT NULL,"
    "  uid      INTEGER NOT NULL,"
    "  pid      INTEGER NOT NULL,"
    "  role     TEXT NOT NULL,"
    "  details  TEXT NOT NULL"
    ") STRICT;"
    "CREATE VIEW detail AS SELECT"
    "  revision,"
    "  detail.key              AS place,"
    "  detail.value ->> '$[0]' AS variable,"
    "  detail.value ->> '$[1]' AS aspect,"  // assigned, value, options, access
    "  detail.value ->> '$[2]' AS before,"
    "  detail.value ->> '$[3]' AS after,"
    "  detail.value ->> '$[4]' AS cause,"
    "  detail.value ->> '$[5]' AS trigger,"
    "  detail.value ->> '$[6]' AS reader "
    "FROM change, json_each(change.details) AS detail;",

    // details that are no JSON stay as unreadable as they were
    "UPDATE change SET details = (SELECT json_group_array(json_insert(value, '$[#]', 'user'))"
    "  FROM json_each(change.details)) WHERE json_valid(details);"
    "DROP VIEW detail;"
    "CREATE VIEW detail AS SELECT"
    "  revision,"
    "  detail.key              AS place,"
    "  detail.value ->> '$[0]' AS variable,"
    "  detail.value ->> '$[1]' AS aspect,"  // assigned, value, options, access
    "  detail.value ->> '$[2]' AS before,"
    "  detail.value ->> '$[3]' AS after,"
    "  detail.value ->> '$[4]' AS cause,"
    "  detail.value ->> '$[5]' AS trigger,"
    "  detail.value ->> '$[6]' AS reader,"
    "  detail.value ->> '$[7]' AS trigger_reader "
    "FROM change, json_each(change.details) AS detail;"
    "CREATE TABLE secret (variable TEXT PRIMARY KEY) STRICT, WITHOUT ROWID;",
};
static_assert(std::size(kLayouts) == DatabaseFile::kVersion);

/// Makes what has been created in a directory survive a power cut. SQLite does so for its own
/// files.
void syncDirectory(const std::filesystem::path& directory) {
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    (void)fsync(fd);
    close(fd);
}

/// A name for what is moved aside that nothing has yet.
std::string nameAside(const std::string& sPath, const char* what) {
    char stamp[32];
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::strftime(stamp, sizeof(stamp), "%Y%m%dT%H%M%SZ", gmtime_r(&now, &utc));
    const std::string sBase = sPath + "." + what + "-" + stamp;
    std::string sName = sBase;
    for (int n = 2; access(sName.c_str(), F_OK) == 0; ++n) {
        sName = sBase + "-" + std::to_string(n);
    }
    return sName;
}

}  // namespace

DatabaseFile::DatabaseFile() : m_sPath(":memory:") {
    m_bWritable = connect(m_sPath, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
                  bringUp() == Condition::kOurs;
}

DatabaseFile::DatabaseFile(const std::string& sDirectory, const char* vfs)
    : m_sPath(sDirectory + "/appconfig.db") {
    if (sDirectory.empty()) {
        logcrit("cfgCommon", "no state directory: set STATE_DIRECTORY; nothing can be changed\n");
        return;
    }
    if (!claim(sDirectory)) {
        if (!m_bHeldByAnother) {
            openForReading();
        }
        return;
    }
    Condition condition = open(vfs);
    if ((condition == Condition::kDamaged && moveAside("damaged")) ||
        (condition == Condition::kForeign && moveAside("foreign")) ||
        (condition == Condition::kNewer && moveAside("newer"))) {
        condition = open(vfs);
    }
    m_bWritable = condition == Condition::kOurs;
    if (!m_bWritable) {
        openForReading();
    }
}

/// Makes sure that this process alone works in the directory, and that nobody else looks into it.
bool DatabaseFile::claim(const std::string& sDirectory) {
    const std::filesystem::path path(sDirectory);
    std::error_code ignored;  // the directory itself says what is wrong
    std::filesystem::create_directories(path.parent_path(), ignored);
    if (mkdir(sDirectory.c_str(), kDirectoryMode) == 0) {
        syncDirectory(path.parent_path());
    } else if (errno != EEXIST) {
        logcrit("cfgCommon", "cannot create the state directory %s: %s\n", sDirectory.c_str(),
                strerror(errno));
        return false;
    }
    pid_t holder = 0;
    const std::string sLock = sDirectory + "/appconfig.lock";
    const eErrorT locked = m_lock.take(sLock, holder);
    m_bHeldByAnother = locked == kAlreadyInUse;
    if (m_bHeldByAnother) {
        logcrit("cfgCommon", "%s\n", pbcommon::inUseBy(sDirectory, holder).c_str());
    } else if (locked != kNoError) {
        logcrit("cfgCommon", "cannot lock %s: %s\n", sLock.c_str(), strerror(errno));
    } else if (chmod(sDirectory.c_str(), kDirectoryMode) != 0) {
        logcrit("cfgCommon", "cannot close the state directory %s to others: %s\n",
                sDirectory.c_str(), strerror(errno));
    } else {
        return true;
    }
    return false;
}

/// Opens the file for reading and writing, or tells why it is none of ours.
DatabaseFile::Condition DatabaseFile::open(const char* vfs) {
    // SQLite gives the files beside it the same mode
    const int fd = ::open(m_sPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode);
    if (fd < 0 || fchmod(fd, kFileMode) != 0) {
        logcrit("cfgCommon", "cannot open %s: %s\n", m_sPath.c_str(), strerror(errno));
        close(fd);
        return Condition::kUnusable;
    }
    close(fd);
    const int nCode = connect(m_sPath, SQLITE_OPEN_READWRITE, vfs);
    Condition condition = nCode == SQLITE_OK ? examine() : conditionAfter(nCode);
    if (condition == Condition::kEarlier) {
        loginfo("cfgCommon", "%s: bringing version %d to version %d\n", m_sPath.c_str(), m_nVersion,
                kVersion);
    }
    if (condition == Condition::kEmpty || condition == Condition::kEarlier) {
        condition = bringUp();
    }
    if (condition == Condition::kOurs) {
        sqlite3_db_config(m_connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        condition = conditionAfter(execute("PRAGMA journal_mode = WAL"));
    }
    return condition;
}

/// Looks at what is there without changing it.
DatabaseFile::Condition DatabaseFile::examine() {
    // until it is known to be ours: leaves what it has not written back where it is
    sqlite3_db_config(m_connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    std::string sId;
    std::string sVersion;
    std::string sTables;
    std::string sCheck;
    int nCode = read("PRAGMA application_id", sId);
    nCode = nCode == SQLITE_OK ? read("PRAGMA user_version", sVersion) : nCode;
    nCode = nCode == SQLITE_OK ? read("SELECT count(*) FROM sqlite_schema", sTables) : nCode;
    if (nCode != SQLITE_OK) {
        return conditionAfter(nCode);
    }
    m_nVersion = std::atoi(sVersion.c_str());
    if (sId == "0" && m_nVersion == 0 && sTables == "0") {
        return Condition::kEmpty;
    }
    if (sId != std::to_string(kApplicationId)) {
        return Condition::kForeign;
    }
    if (m_nVersion > kVersion) {
        return Condition::kNewer;
    }
    nCode = read("PRAGMA quick_check(1)", sCheck);
    if (nCode != SQLITE_OK) {
        return conditionAfter(nCode);
    }
    if (m_nVersion < 1 || sCheck != "ok") {
        return Condition::kDamaged;
    }
    return m_nVersion == kVersion ? Condition::kOurs : Condition::kEarlier;
}

/// Brings the tables to this version. Either all of it is there afterwards, or nothing.
DatabaseFile::Condition DatabaseFile::bringUp() {
    std::string sql = "BEGIN;";
    for (auto nVersion = static_cast<std::size_t>(m_nVersion); nVersion < kVersion; ++nVersion) {
        sql += kLayouts[nVersion];
    }
    sql += "PRAGMA application_id = " + std::to_string(kApplicationId) +
           "; PRAGMA user_version = " + std::to_string(kVersion) + "; COMMIT";
    return conditionAfter(execute(sql.c_str()));
}

/// Goes on with a copy in memory of what can only be read, brought to this version.
DatabaseFile::Condition DatabaseFile::bringUpCopy() {
    const sqlite::ConnectionT file = std::move(m_connection);
    int nCode = connect(":memory:", SQLITE_OPEN_READWRITE, nullptr);
    if (nCode == SQLITE_OK) {
        sqlite3_backup* const copy =
            sqlite3_backup_init(m_connection.get(), "main", file.get(), "main");
        (void)sqlite3_backup_step(copy, -1);
        (void)sqlite3_backup_finish(copy);
        nCode = sqlite3_errcode(m_connection.get());
    }
    return nCode == SQLITE_OK ? bringUp() : conditionAfter(nCode);
}

/// For values that can still be shown where nothing can be written. No lock can be taken then, and
/// none is needed: nobody else can write either.
void DatabaseFile::openForReading() {
    const std::string sUri = "file:" + m_sPath;
    std::string sIgnored;
    std::error_code error;
    if (!std::filesystem::exists(m_sPath, error)) {
        m_connection.reset();
        return;
    }
    // as it is, with what waits in its "-wal"; without such a file SQLite would want to make one
    for (const char* const mode : {"?mode=ro", "?immutable=1"}) {
        const bool bWal = std::filesystem::exists(m_sPath + "-wal", error);
        if ((mode == std::string("?mode=ro")) != bWal ||
            connect(sUri + mode, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, "unix-none") !=
                SQLITE_OK) {
            continue;
        }
        Condition condition = examine();
        if (condition == Condition::kEarlier) {
            condition = bringUpCopy();
        }
        if (condition == Condition::kOurs) {
            logcrit("cfgCommon", "%s is read only: settings hold, nothing can be changed\n",
                    m_sPath.c_str());
            return;
        }
    }
    m_connection.reset();
    logcrit("cfgCommon", "%s cannot be used: defaults hold, nothing can be changed\n",
            m_sPath.c_str());
}

int DatabaseFile::connect(const std::string& sName, int nFlags, const char* vfs) {
    // nobody reads SQLite's statistics, and one thread uses the connection: no locks for either
    (void)sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    sqlite3* connection = nullptr;
    const int nCode =
        sqlite3_open_v2(sName.c_str(), &connection, nFlags | SQLITE_OPEN_NOMUTEX, vfs);
    m_connection.reset(connection);
    // exclusive before all else: SQLite then keeps the index of the "-wal" in memory of its own; a
    // "-wal" that one large commit has left longer than the limit is cut by the next
    return nCode != SQLITE_OK ? nCode
                              : execute(
                                    "PRAGMA locking_mode = EXCLUSIVE;"
                                    "PRAGMA synchronous = FULL;"
                                    "PRAGMA journal_size_limit = 8388608;"
                                    "PRAGMA cache_size = -64;"
                                    "PRAGMA temp_store = MEMORY");
}

int DatabaseFile::execute(const char* sql) {
    return sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr);
}

/// The first column of the first row.
int DatabaseFile::read(const char* sql, std::string& text) {
    sqlite::Statement statement(m_connection.get(), sql);
    sqlite::Query rows = statement.with();
    if (rows.next()) {
        text = rows.text(0);
    }
    return rows.code() == SQLITE_ROW ? SQLITE_OK : rows.code();
}

DatabaseFile::Condition DatabaseFile::conditionAfter(int nCode) const {
    if (nCode == SQLITE_OK) {
        return Condition::kOurs;
    }
    logcrit("cfgCommon", "%s: %s\n", m_sPath.c_str(), sqlite3_errmsg(m_connection.get()));
    const int nKind = nCode & 0xff;
    return nKind == SQLITE_CORRUPT || nKind == SQLITE_NOTADB ? Condition::kDamaged
                                                             : Condition::kUnusable;
}

/// @return whether the way is free for a new one
bool DatabaseFile::moveAside(const char* what) {
    m_connection.reset();
    const std::string sAside = nameAside(m_sPath, what);
    for (const char* const companion : kCompanions) {
        if (rename((m_sPath + companion).c_str(), (sAside + companion).c_str()) != 0 &&
            errno != ENOENT) {
            logcrit("cfgCommon", "cannot move %s%s aside: %s\n", m_sPath.c_str(), companion,
                    strerror(errno));
            return false;
        }
    }
    logcrit("cfgCommon", "%s is %s; moved aside to %s, defaults hold\n", m_sPath.c_str(), what,
            sAside.c_str());
    return true;
}

}  // namespace AppConfig
