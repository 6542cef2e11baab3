#include "disk/databasefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <utility>

#include "disk/layout.h"
#include "disk/sqlite.h"
#include "disk/writeaheadlog.h"
#include "logmsg.h"

namespace AppConfig {

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0600;
/// A database and the files that belong to it, by what follows its name.
constexpr const char* kParts[] = {"", "-wal", "-journal"};

/// So often is a database opened: one read that fails says nothing about what is on the disk.
constexpr int kTries = 5;

/// Whether a file of more than 4 MiB would be half as long without its free pages.
constexpr const char* kMostlyFree =
    "SELECT page_count > 1024 AND freelist_count > page_count / 2"
    " FROM pragma_page_count, pragma_freelist_count";

/// Tells the store's databases from others: "ACfg".
constexpr int kApplicationId = 0x41436667;

/// Makes names that have been given or taken in a directory survive a power cut. SQLite does so for
/// its own files.
bool syncDirectory(const std::filesystem::path& directory) {
    const int fd =
        open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool bSynced = fsync(fd) == 0;
    if (!bSynced) {
        logcrit("cfgCommon", "cannot sync the directory %s: %s\n", directory.c_str(),
                strerror(errno));
    }
    close(fd);
    return bSynced;
}

/// A name for what is moved aside that nothing has yet, whatever part of it.
std::string nameAside(const std::string& sPath, const char* what) {
    char stamp[32];
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::strftime(stamp, sizeof(stamp), "%Y%m%dT%H%M%SZ", gmtime_r(&now, &utc));
    const std::string sBase = sPath + "." + what + "-" + stamp;
    std::string sName = sBase;
    const auto isTaken = [&sName](const char* part) {
        return access((sName + part).c_str(), F_OK) == 0;
    };
    for (int n = 2; std::any_of(std::begin(kParts), std::end(kParts), isTaken); ++n) {
        sName = sBase + "-" + std::to_string(n);
    }
    return sName;
}

/// Gives a file another name, durably. @return whether it has that, or has not been there
bool rename(const std::string& sFrom, const std::string& sTo) {
    if (::rename(sFrom.c_str(), sTo.c_str()) == 0) {
        return syncDirectory(std::filesystem::path(sTo).parent_path());
    }
    if (errno != ENOENT) {
        logcrit("cfgCommon", "cannot move %s aside: %s\n", sFrom.c_str(), strerror(errno));
        return false;
    }
    return true;
}

/// Whether quick_check says of a page that it could not be read: SQLite has no result code for
/// that, and it is no damage.
bool isUnread(const std::string& sCheck) {
    return sCheck.find("unable to get the page") != std::string::npos ||
           sCheck.find("failed to get page") != std::string::npos;
}

/// A path within a URI.
std::string escaped(const std::string& sPath) {
    std::string sUri = sPath.starts_with('/') ? "//" : "";
    for (const char c : sPath) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        if (c == '%' || c == '?' || c == '#') {
            sUri += {'%', kDigits[c >> 4], kDigits[c & 15]};
        } else {
            sUri += c;
        }
    }
    return sUri;
}

/// What a path leads to. Not by stat(): that asks for the file's times, too, and a file whose times
/// somebody has looked at has them written to the disk with the next change, not once in a while.
DatabaseFile::IdentityT identityOf(const std::string& sPath) {
    struct statx found {};
    if (statx(AT_FDCWD, sPath.c_str(), 0, STATX_INO, &found) != 0) {
        return {};
    }
    return {{found.stx_dev_major, found.stx_dev_minor, found.stx_ino}};
}

}  // namespace

void ConnectionCloser::operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }

DatabaseFile::DatabaseFile() : m_sPath(":memory:") {
    m_bWritable =
        connect(m_sPath, SQLITE_OPEN_READWRITE) == SQLITE_OK && bringUp() == Condition::kOurs;
}

DatabaseFile::DatabaseFile(const std::string& sDirectory) : m_sPath(sDirectory + "/appconfig.db") {
    if (sDirectory.empty()) {
        logcrit("cfgCommon", "no state directory: set STATE_DIRECTORY; nothing can be changed\n");
        return;
    }
    m_bWritable = claim(sDirectory) && open();
    if (m_bWritable) {
        (void)isWritable();  // learns what the files are
    } else if (!m_bHeldByAnother) {
        openForReading();
    }
}

bool DatabaseFile::isWritable() {
    for (std::size_t i = 0; i < m_known.size() && m_bWritable; ++i) {
        const std::string sPart = m_sPath + kParts[i];
        const auto identity = identityOf(sPart);
        if (m_known[i] && identity != m_known[i]) {
            refuseChanges(sPart, "it has been removed or replaced");
        }
        m_known[i] = m_known[i] ? m_known[i] : identity;  // the log comes with the first change
    }
    return m_bWritable;
}

void DatabaseFile::refuseChanges(const std::string& sFile, const char* reason) {
    logcrit("cfgCommon", "cannot go on with %s: %s; changes are refused until the next start\n",
            sFile.c_str(), reason);
    m_bWritable = false;
    // SQLite would delete whatever has the name of its log by then
    sqlite3_db_config(m_connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

/// Makes sure that this process alone works in the directory, and that nobody else looks into it.
bool DatabaseFile::claim(const std::string& sDirectory) {
    const std::filesystem::path path(sDirectory);
    std::error_code ignored;  // the directory itself says what is wrong
    std::filesystem::create_directories(path.parent_path(), ignored);
    if (mkdir(sDirectory.c_str(), kDirectoryMode) == 0) {
        if (!syncDirectory(path.parent_path())) {
            return false;
        }
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

/// Opens the file for reading and writing; what cannot be used is moved aside for a new one.
/// @return false where nothing may be changed
bool DatabaseFile::open() {
    for (int nTry = 0; nTry < kTries; ++nTry) {
        m_connection.reset();
        if (!prepareFiles()) {
            return false;
        }
        const Condition condition = tryToOpen();
        const char* const aside = condition == Condition::kDamaged   ? "damaged"
                                  : condition == Condition::kForeign ? "foreign"
                                  : condition == Condition::kNewer   ? "newer"
                                                                     : nullptr;
        if (condition == Condition::kOurs) {
            return true;
        }
        if ((aside != nullptr && !moveAside(aside)) ||
            (condition == Condition::kStrayLog &&
             !moveAside("stray", "-wal", "does not belong to its database"))) {
            return false;
        }
    }
    return false;
}

/// Sees to what SQLite would wait for, or delete, when it opens the database; makes one if need be.
bool DatabaseFile::prepareFiles() {
    std::array<struct stat, std::size(kParts)> found{};
    for (std::size_t i = 0; i < found.size(); ++i) {
        const bool bFound = lstat((m_sPath + kParts[i]).c_str(), &found[i]) == 0;
        if (bFound ? !S_ISREG(found[i].st_mode) : errno != ENOENT) {
            logcrit("cfgCommon", "cannot use %s%s: %s\n", m_sPath.c_str(), kParts[i],
                    bFound ? "it is not a file" : strerror(errno));
            return false;
        }
    }
    const auto& [database, log, journal] = found;
    const bool bOrphans = database.st_size == 0;
    const bool bJournal = journal.st_size != 0;
    if ((bOrphans && log.st_size != 0 && !moveAside("orphaned", "-wal", "has no database")) ||
        (bOrphans && bJournal && !moveAside("orphaned", "-journal", "has no database")) ||
        (!bOrphans && bJournal && journal.st_nlink == 1 && !keepJournal())) {
        return false;
    }
    // SQLite gives the files beside it the same mode
    const int fd = ::open(m_sPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode);
    const bool bOpened = fd >= 0 && fchmod(fd, kFileMode) == 0;
    if (!bOpened) {
        logcrit("cfgCommon", "cannot open %s: %s\n", m_sPath.c_str(), strerror(errno));
    }
    close(fd);
    return bOpened;
}

/// Gives a journal a second name: SQLite rolls back what it says, if it is one, and deletes it.
bool DatabaseFile::keepJournal() const {
    const std::string sJournal = m_sPath + "-journal";
    const std::string sKept = nameAside(m_sPath, "unfinished") + "-journal";
    const bool bKept = link(sJournal.c_str(), sKept.c_str()) == 0;
    logcrit("cfgCommon", "%s: there is an unfinished change; %s %s: %s\n", m_sPath.c_str(),
            bKept ? "its journal is kept as" : "cannot keep its journal as", sKept.c_str(),
            bKept ? "it is undone" : strerror(errno));
    return bKept;
}

/// Tells of a file that cannot be used why.
DatabaseFile::Condition DatabaseFile::tryToOpen() {
    const int nCode = connect(m_sPath, SQLITE_OPEN_READWRITE);
    Condition condition = nCode == SQLITE_OK ? examine() : conditionAfter(nCode);
    if (condition == Condition::kEarlier) {
        loginfo("cfgCommon", "%s: bringing version %d to version %d\n", m_sPath.c_str(), m_nVersion,
                kLayoutVersion);
    }
    if (condition == Condition::kEmpty || condition == Condition::kEarlier) {
        condition = bringUp();
    }
    if (condition == Condition::kOurs) {
        std::string sMode;
        condition = conditionAfter(read("PRAGMA journal_mode = WAL", sMode));
        if (condition == Condition::kOurs && sMode != "wal") {
            condition = Condition::kUnusable;
        }
    }
    if (condition == Condition::kOurs) {
        sqlite3_db_config(m_connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        shrink();
    }
    return condition;
}

/// Looks at what is there without changing it.
DatabaseFile::Condition DatabaseFile::examine() {
    sqlite::Statement identity(m_connection.get(),
                               "SELECT application_id, user_version, (SELECT count(*) FROM "
                               "sqlite_schema) FROM pragma_application_id, pragma_user_version");
    sqlite::Query row = identity.with();
    if (!row.next()) {
        return conditionAfter(row.code());
    }
    const std::int64_t nId = row.integer(0);
    m_nVersion = static_cast<int>(row.integer(1));
    const bool bEmpty = nId == 0 && m_nVersion == 0 && row.integer(2) == 0;
    if (!bEmpty && nId != kApplicationId) {
        return Condition::kForeign;
    }
    if (m_nVersion > kLayoutVersion) {
        return Condition::kNewer;
    }
    bool bStrayLog = false;
    const int nCode = examineLog(m_connection.get(), bStrayLog);
    return nCode != SQLITE_OK ? conditionAfter(nCode)
           : bStrayLog        ? Condition::kStrayLog
           : bEmpty           ? Condition::kEmpty
                              : check();
}

/// Looks for damage in what is ours.
DatabaseFile::Condition DatabaseFile::check() {
    bool bTables = false;
    std::string sCheck;
    int nCode = m_nVersion < 1 ? SQLITE_OK : compareTables(m_connection.get(), m_nVersion, bTables);
    nCode = nCode == SQLITE_OK ? read("PRAGMA quick_check(1)", sCheck) : nCode;
    if (nCode != SQLITE_OK) {
        return conditionAfter(nCode);
    }
    if (!bTables || sCheck != "ok") {
        logcrit("cfgCommon", "%s: %s\n", m_sPath.c_str(),
                bTables ? sCheck.c_str() : "its tables are not those of its version");
        return bTables && isUnread(sCheck) ? Condition::kUnread : Condition::kDamaged;
    }
    return m_nVersion == kLayoutVersion ? Condition::kOurs : Condition::kEarlier;
}

/// Writes a file anew most of which is no longer needed. Not while it is in use: pages that can be
/// given back at any time would cost each commit one more page.
void DatabaseFile::shrink() {
    std::string sMostlyFree;
    if (read(kMostlyFree, sMostlyFree) == SQLITE_OK && sMostlyFree == "1" &&
        execute("VACUUM; PRAGMA wal_checkpoint(TRUNCATE)") != SQLITE_OK) {
        logwarn("cfgCommon", "cannot shrink %s: %s\n", m_sPath.c_str(),
                sqlite3_errmsg(m_connection.get()));
    }
}

/// Brings the tables to this version. Either all of it is there afterwards, or nothing.
DatabaseFile::Condition DatabaseFile::bringUp() {
    const std::string sId = "PRAGMA application_id = " + std::to_string(kApplicationId);
    int nCode = execute("BEGIN");
    nCode = nCode == SQLITE_OK ? execute(sId.c_str()) : nCode;
    nCode = nCode == SQLITE_OK ? makeTables(m_connection.get(), m_nVersion) : nCode;
    nCode = nCode == SQLITE_OK ? execute("COMMIT") : nCode;
    return conditionAfter(nCode);
}

/// Goes on with a copy in memory of what can only be read, brought to this version.
DatabaseFile::Condition DatabaseFile::bringUpCopy() {
    const ConnectionT file = std::move(m_connection);
    int nCode = connect(":memory:", SQLITE_OPEN_READWRITE);
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
    m_connection.reset();
    std::error_code error;
    const auto isFile = [&](const char* part) {
        return std::filesystem::is_regular_file(m_sPath + part, error);
    };
    // as it is, with what waits in its "-wal"; without such a file SQLite would want to make one
    const bool bLog = isFile("-wal");
    const std::string sUri = "file:" + escaped(m_sPath) + (bLog ? "?mode=ro" : "?immutable=1");
    if (isFile("") && bLog == std::filesystem::exists(m_sPath + "-wal", error) &&
        connect(sUri, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, "unix-none") == SQLITE_OK) {
        Condition condition = examine();
        condition = condition == Condition::kStrayLog ? check() : condition;
        if (condition == Condition::kEarlier) {
            condition = bringUpCopy();
        }
        if (condition == Condition::kOurs || condition == Condition::kUnread) {
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
    if (nCode != SQLITE_OK) {
        return nCode;
    }
    // until it is known to be ours: leaves a log where it is, and what is in it
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // exclusive before all else: SQLite then keeps the index of the "-wal" in memory of its own; a
    // "-wal" that one large commit has left longer than the limit is cut by the next
    return execute(
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
    // the database goes first: alone it could be taken for a sound one, of an earlier day; what is
    // left of the others the next start knows for orphans
    for (const char* const part : kParts) {
        if (!rename(m_sPath + part, sAside + part)) {
            return false;
        }
    }
    logcrit("cfgCommon", "%s is %s; moved aside to %s, defaults hold\n", m_sPath.c_str(), what,
            sAside.c_str());
    return true;
}

/// Moves a file aside that has lost its database.
bool DatabaseFile::moveAside(const char* what, const char* part, const char* reason) {
    m_connection.reset();
    const std::string sFile = m_sPath + part;
    const std::string sAside = nameAside(m_sPath, what) + part;
    if (!rename(sFile, sAside)) {
        return false;
    }
    logcrit("cfgCommon", "%s %s; moved aside to %s\n", sFile.c_str(), reason, sAside.c_str());
    return true;
}

}  // namespace AppConfig
