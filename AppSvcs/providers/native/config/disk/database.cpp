#include "disk/database.h"

#include <algorithm>
#include <optional>

#include "disk/databasefile.h"
#include "disk/layout.h"
#include "disk/secrethistory.h"
#include "disk/sqlite.h"
#include "logmsg.h"
#include "names.h"

namespace AppConfig {

namespace {

/// So many changes over its length does the history grow before they are dropped together.
constexpr std::uint64_t kPruneBatch = 100;

/// Reads once more, a few times, where a disk fails to give what it may give the next time.
template <typename Read>
int readWithRetries(const Read& read) {
    int nCode = read();
    for (int nTry = 1; nTry < 3 && nCode != SQLITE_OK; ++nTry) {
        nCode = read();
    }
    return nCode;
}

std::optional<std::string> contentIn(const sqlite::Query& row, int nColumn) {
    return row.isNull(nColumn) ? std::nullopt : std::optional(row.text(nColumn));
}

}  // namespace

struct Database::Handle {
    DatabaseFile file;
    sqlite::Statement begin{}, commit{}, rollBack{}, overwrite{};
    sqlite::Statement putSetting{}, putChange{}, dropChanges{};
    sqlite::Statement getSetting{}, getUp{}, getDown{}, getFields{};
};

Database::Database() : m_handle(new Handle{.file = {}}) { prepare(); }

Database::Database(const std::string& sDirectory)
    : m_handle(new Handle{.file = DatabaseFile(sDirectory)}) {
    prepare();
}

Database::~Database() = default;

bool Database::isHeldByAnother() const { return m_handle->file.isHeldByAnother(); }

void Database::prepare() {
    sqlite3* const db = m_handle->file.connection();
    if (db == nullptr) {
        return;
    }
    m_handle->begin = {db, "BEGIN IMMEDIATE"};
    m_handle->commit = {db, "COMMIT"};
    m_handle->rollBack = {db, "ROLLBACK"};
    m_handle->overwrite = {db, ("PRAGMA user_version = " + std::to_string(kLayoutVersion)).c_str()};
    m_handle->putSetting = {db, "INSERT OR REPLACE INTO setting VALUES (?, ?, ?, ?)"};
    m_handle->putChange = {db, "INSERT INTO change VALUES (?, ?, ?, ?, ?, ?, ?)"};
    m_handle->dropChanges = {db, "DELETE FROM change WHERE revision < ?"};
    m_handle->getSetting = {
        db, "SELECT content, revision FROM setting WHERE variable = ? AND aspect = ?"};
    m_handle->getUp = {db, "SELECT * FROM change WHERE revision BETWEEN ? AND ? ORDER BY revision"};
    m_handle->getDown = {
        db, "SELECT * FROM change WHERE revision BETWEEN ? AND ? ORDER BY revision DESC"};
    // as the view `detail`, whose texts are parsed once only
    m_handle->getFields = {db,
                           "SELECT field.value FROM change, json_tree(details) AS field "
                           "WHERE revision = ? AND field.type = 'text' ORDER BY field.id"};
    int nCode = SQLITE_OK;
    for (const sqlite::Statement* const statement :
         {&m_handle->begin, &m_handle->commit, &m_handle->rollBack, &m_handle->overwrite,
          &m_handle->putSetting, &m_handle->putChange, &m_handle->dropChanges,
          &m_handle->getSetting, &m_handle->getUp, &m_handle->getDown, &m_handle->getFields}) {
        nCode = nCode == SQLITE_OK ? statement->code() : nCode;
    }
    refuseAfter(nCode == SQLITE_OK ? readWithRetries([this] { return readBounds(); }) : nCode);
}

int Database::readBounds() {
    sqlite::Statement bounds(m_handle->file.connection(),
                             "SELECT max(revision), min(revision) FROM change");
    sqlite::Query ends = bounds.with();
    if (ends.next() && !ends.isNull(0)) {
        m_nNewest = static_cast<std::uint64_t>(ends.integer(0));
        m_nOldest = static_cast<std::uint64_t>(ends.integer(1));
    }
    return ends.code() == SQLITE_ROW ? SQLITE_OK : ends.code();
}

/// What cannot be read at the start is not written over.
void Database::refuseAfter(int nCode) {
    if (nCode != SQLITE_OK) {
        m_handle->file.refuseChanges(m_handle->file.path(), sqlite3_errstr(nCode));
    }
}

void Database::maskHistory(const std::set<std::string>& secrets) {
    // what a first start would have to remember costs it a commit; the second is early enough
    if (m_handle->file.isWritable() && m_nNewest > 0 &&
        maskSecretHistory(m_handle->file.connection(), secrets) != SQLITE_OK) {
        (void)failed("mask secrets in", kWriteError);
    }
}

void Database::readSettings(const std::function<void(const Setting&)>& visit) {
    if (m_handle->file.connection() == nullptr) {
        return;
    }
    std::vector<Setting> settings;
    refuseAfter(readWithRetries([&] {
        settings.clear();
        return readSettings(settings);
    }));
    std::for_each(settings.begin(), settings.end(), visit);
}

int Database::readSettings(std::vector<Setting>& settings) {
    sqlite::Statement all(m_handle->file.connection(),
                          "SELECT variable, aspect, content FROM setting");
    sqlite::Query rows = all.with();
    while (rows.next()) {
        if (const auto aspect = aspectNamed(rows.text(1))) {
            settings.push_back(
                {.sVariable = rows.text(0), .aspect = *aspect, .content = contentIn(rows, 2)});
        } else {
            logerr("cfgCommon", "ignoring stored %s of %s: unknown aspect\n", rows.text(1).c_str(),
                   rows.text(0).c_str());
        }
    }
    return rows.code();
}

bool Database::find(Setting& setting) {
    sqlite::Query rows = m_handle->getSetting.with(setting.sVariable, aspectName(setting.aspect));
    if (!rows.next()) {
        if (rows.code() != SQLITE_OK) {
            (void)failed("read", kServerError);
        }
        return false;
    }
    setting.content = contentIn(rows, 0);
    setting.nRevision = static_cast<std::uint64_t>(rows.integer(1));
    return true;
}

eErrorT Database::commit(std::span<const Record> changes, std::span<const Setting> settings) {
    if (changes.empty()) {
        return kNoError;
    }
    if (!m_handle->file.isWritable()) {
        return kWriteError;  // the log says why, once
    }
    if (write(changes, settings) != SQLITE_OK) {
        const eErrorT result = failed("write", kWriteError);
        (void)m_handle->rollBack.run();  // some failures have rolled it back already
        // after a failed sync all of it may be in the "-wal", and would hold after a restart: a
        // synced commit of the same page writes over it
        (void)m_handle->overwrite.run();
        return result;
    }
    m_nNewest = changes.back().nRevision;
    return kNoError;
}

int Database::write(std::span<const Record> changes, std::span<const Setting> settings) {
    if (const int nCode = m_handle->begin.run(); nCode != SQLITE_OK) {
        return nCode;
    }
    for (const Record& change : changes) {
        if (const int nCode = write(change); nCode != SQLITE_OK) {
            return nCode;
        }
    }
    for (const Setting& setting : settings) {
        if (const int nCode = write(setting); nCode != SQLITE_OK) {
            return nCode;
        }
    }
    if (const int nCode = prune(changes.back().nRevision); nCode != SQLITE_OK) {
        return nCode;
    }
    return m_handle->commit.run();
}

int Database::write(const Record& change) {
    constexpr std::size_t kKeptBytes = 16384;
    if (m_sDetails.capacity() > kKeptBytes) {
        std::string().swap(m_sDetails);
    }
    writeDetails(change, m_sDetails);
    const pbcommon::Requester& requester = change.requester;
    return m_handle->putChange
        .with(static_cast<std::int64_t>(change.nRevision), change.nTimeUs, requester.sClient,
              requester.uid, requester.pid, pbcommon::roleName(requester.role), m_sDetails)
        .run();
}

int Database::write(const Setting& setting) {
    const char* const aspect = aspectName(setting.aspect);
    const auto nRevision = static_cast<std::int64_t>(setting.nRevision);
    sqlite::Statement& put = m_handle->putSetting;
    return setting.content ? put.with(setting.sVariable, aspect, *setting.content, nRevision).run()
                           : put.with(setting.sVariable, aspect, nullptr, nRevision).run();
}

int Database::prune(std::uint64_t nNewest) {
    if (nNewest < m_nOldest + kHistoryLength + kPruneBatch) {
        return SQLITE_OK;
    }
    const std::uint64_t nFirst = nNewest - kHistoryLength + 1;
    const int nCode = m_handle->dropChanges.with(static_cast<std::int64_t>(nFirst)).run();
    if (nCode == SQLITE_OK) {
        m_nOldest = nFirst;  // too late at worst: what a failure has kept is dropped with the next
    }
    return nCode;
}

std::uint64_t Database::oldest() const {
    return m_nNewest < m_nOldest + kHistoryLength ? m_nOldest : m_nNewest - kHistoryLength + 1;
}

eErrorT Database::readHistory(std::uint64_t nFrom, std::uint64_t nTo, Order order,
                              const std::function<bool(const Record&)>& visit) {
    if (m_handle->file.connection() == nullptr) {
        return kNoError;
    }
    sqlite::Statement& changes = order == Order::kOldestFirst ? m_handle->getUp : m_handle->getDown;
    sqlite::Query rows = changes.with(static_cast<std::int64_t>(std::max(nFrom, oldest())),
                                      static_cast<std::int64_t>(std::min(nTo, m_nNewest)));
    while (rows.next()) {
        Record record{.nRevision = static_cast<std::uint64_t>(rows.integer(0)),
                      .nTimeUs = rows.integer(1),
                      .requester = {.role = roleKept(rows.text(5)),
                                    .uid = static_cast<uid_t>(rows.integer(3)),
                                    .pid = static_cast<pid_t>(rows.integer(4)),
                                    .sClient = rows.text(2)}};
        if (readDetails(record) != SQLITE_OK) {
            return failed("read", kServerError);
        }
        if (!visit(record)) {
            return kNoError;
        }
    }
    return rows.code() == SQLITE_OK ? kNoError : failed("read", kServerError);
}

int Database::readDetails(Record& record) {
    DetailT detail;
    std::size_t nField = 0;
    sqlite::Query fields = m_handle->getFields.with(static_cast<std::int64_t>(record.nRevision));
    while (fields.next()) {
        detail[nField] = fields.text(0);
        if (++nField == detail.size()) {
            addDetail(record, detail);
            nField = 0;
        }
    }
    return fields.code();
}

eErrorT Database::failed(const char* what, eErrorT code) const {
    logcrit("cfgCommon", "cannot %s %s: %s\n", what, m_handle->file.path().c_str(),
            sqlite3_errmsg(m_handle->file.connection()));
    return code;
}

}  // namespace AppConfig
