#include "disk/database.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "disk/databasefile.h"
#include "disk/layout.h"
#include "disk/secrethistory.h"
#include "disk/sqlite.h"
#include "logmsg.h"
#include "names.h"

namespace AppConfig {

namespace {

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

/// Addresses of what a change touches, each once, a blank between them.
std::string touchedBy(const Record& change) {
    std::vector<std::string_view> variables;
    for (const RecordedAssignment& assignment : change.assignments) {
        variables.emplace_back(assignment.sVariable);
    }
    for (const RecordedEffect& effect : change.effects) {
        variables.emplace_back(effect.sVariable);
    }
    std::sort(variables.begin(), variables.end());
    variables.erase(std::unique(variables.begin(), variables.end()), variables.end());
    std::string sTouched;
    for (const std::string_view variable : variables) {
        sTouched.append(sTouched.empty() ? "" : " ").append(variable);
    }
    return sTouched;
}

}  // namespace

struct Database::Handle {
    DatabaseFile file;
    sqlite::Statement begin{}, commit{}, rollBack{}, overwrite{};
    sqlite::Statement putSetting{}, putChange{}, dropChange{};
    sqlite::Statement getSetting{}, getChange{}, getFields{};
};

Database::Database(const HistoryBounds& bounds)
    : m_handle(new Handle{.file = {}}), m_bounds(bounds) {
    prepare();
}

Database::Database(const std::string& sDirectory, const HistoryBounds& bounds)
    : m_handle(new Handle{.file = DatabaseFile(sDirectory)}), m_bounds(bounds) {
    prepare();
}

Database::~Database() = default;

bool Database::isHeldByAnother() const { return m_handle->file.isHeldByAnother(); }

const std::string& Database::path() const { return m_handle->file.path(); }

bool Database::isWritable() { return m_handle->file.isWritable(); }

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
    m_handle->putChange = {db, "INSERT INTO change VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"};
    m_handle->dropChange = {db, "DELETE FROM change WHERE revision BETWEEN ? AND ?"};
    m_handle->getSetting = {
        db, "SELECT content, revision FROM setting WHERE variable = ? AND aspect = ?"};
    m_handle->getChange = {
        db, "SELECT time_us, client, uid, pid, role, size FROM change WHERE revision = ?"};
    // as the view `detail`, whose texts are parsed once only
    m_handle->getFields = {db,
                           "SELECT field.value FROM change, json_tree(details) AS field "
                           "WHERE revision = ? AND field.type = 'text' ORDER BY field.id"};
    int nCode = SQLITE_OK;
    for (const sqlite::Statement* const statement :
         {&m_handle->begin, &m_handle->commit, &m_handle->rollBack, &m_handle->overwrite,
          &m_handle->putSetting, &m_handle->putChange, &m_handle->dropChange, &m_handle->getSetting,
          &m_handle->getChange, &m_handle->getFields}) {
        nCode = nCode == SQLITE_OK ? statement->code() : nCode;
    }
    const auto read = [this] {
        m_index = HistoryIndex(m_bounds);
        return readIndex(m_index);
    };
    refuseAfter(nCode == SQLITE_OK ? readWithRetries(read) : nCode);
}

/// Without the details: long ones are on pages of their own, which are not read.
int Database::readIndex(HistoryIndex& index) {
    sqlite::Statement changes(m_handle->file.connection(),
                              "SELECT revision, uid, size, touched FROM change ORDER BY revision");
    sqlite::Query row = changes.with();
    while (row.next()) {
        index.add(static_cast<std::uint64_t>(row.integer(0)), static_cast<uid_t>(row.integer(1)),
                  static_cast<std::size_t>(row.integer(2)), row.text(3));
    }
    if (row.code() != SQLITE_OK) {
        return row.code();
    }
    sqlite::Statement settings(m_handle->file.connection(),
                               "SELECT variable, aspect, revision FROM setting");
    sqlite::Query setting = settings.with();
    while (setting.next()) {
        if (const auto aspect = aspectNamed(setting.text(1))) {
            index.hold(setting.text(0), *aspect, static_cast<std::uint64_t>(setting.integer(2)));
        }
    }
    return setting.code();
}

/// What cannot be read at the start is not written over.
void Database::refuseAfter(int nCode) {
    if (nCode != SQLITE_OK) {
        m_handle->file.refuseChanges(m_handle->file.path(), sqlite3_errstr(nCode));
    }
}

void Database::maskHistory(const std::set<std::string>& secrets) {
    // what a first start would have to remember costs it a commit; the second is early enough
    if (m_handle->file.isWritable() && !m_index.empty() &&
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
    const std::vector<std::uint64_t> dropped = m_index.excess();
    int nCode = m_handle->begin.run();
    nCode = nCode == SQLITE_OK ? write(changes, settings) : nCode;
    nCode = nCode == SQLITE_OK ? drop(dropped) : nCode;
    nCode = nCode == SQLITE_OK ? m_handle->commit.run() : nCode;
    if (nCode != SQLITE_OK) {
        const eErrorT result = failed("write", kWriteError);
        (void)m_handle->rollBack.run();  // some failures have rolled it back already
        // after a failed sync all of it may be in the "-wal", and would hold after a restart: a
        // synced commit of the same page writes over it
        (void)m_handle->overwrite.run();
        return result;
    }
    m_index.remove(dropped);
    for (std::size_t i = 0; i < changes.size(); ++i) {
        m_index.add(changes[i].nRevision, changes[i].requester.uid, m_written[i].nBytes,
                    m_written[i].sTouched);
    }
    for (const Setting& setting : settings) {
        m_index.hold(setting.sVariable, setting.aspect, setting.nRevision);
    }
    return kNoError;
}

int Database::write(std::span<const Record> changes, std::span<const Setting> settings) {
    m_written.clear();
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
    return SQLITE_OK;
}

int Database::write(const Record& change) {
    constexpr std::size_t kKeptBytes = 16384;
    if (m_sDetails.capacity() > kKeptBytes) {
        std::string().swap(m_sDetails);
    }
    writeDetails(change, m_sDetails);
    const pbcommon::Requester& requester = change.requester;
    std::string sTouched = touchedBy(change);
    const std::size_t nBytes = m_sDetails.size() + sTouched.size() + requester.sClient.size();
    const WrittenT& written =
        m_written.emplace_back(WrittenT{.nBytes = nBytes, .sTouched = std::move(sTouched)});
    return m_handle->putChange
        .with(static_cast<std::int64_t>(change.nRevision), change.nTimeUs, requester.sClient,
              requester.uid, requester.pid, pbcommon::roleName(requester.role),
              static_cast<std::int64_t>(nBytes), written.sTouched, m_sDetails)
        .run();
}

int Database::write(const Setting& setting) {
    const char* const aspect = aspectName(setting.aspect);
    const auto nRevision = static_cast<std::int64_t>(setting.nRevision);
    sqlite::Statement& put = m_handle->putSetting;
    return setting.content ? put.with(setting.sVariable, aspect, *setting.content, nRevision).run()
                           : put.with(setting.sVariable, aspect, nullptr, nRevision).run();
}

int Database::drop(std::span<const std::uint64_t> changes) {
    for (auto first = changes.begin(); first != changes.end();) {
        const auto gap = std::adjacent_find(
            first, changes.end(), [](std::uint64_t a, std::uint64_t b) { return b != a + 1; });
        const auto end = gap == changes.end() ? gap : std::next(gap);
        const int nCode =
            m_handle->dropChange
                .with(static_cast<std::int64_t>(*first), static_cast<std::int64_t>(*std::prev(end)))
                .run();
        if (nCode != SQLITE_OK) {
            return nCode;
        }
        first = end;
    }
    return SQLITE_OK;
}

eErrorT Database::readHistory(std::uint64_t nFrom, std::uint64_t nTo, Order order,
                              const std::function<bool(const std::string&)>& isWanted,
                              const std::function<bool(const Record&)>& visit) {
    const HistoryIndex::WantedT wanted = m_index.wanted(isWanted);
    const bool bUp = order == Order::kOldestFirst;
    std::uint64_t nRevision = m_index.next(bUp ? nFrom : nTo, order, wanted);
    while (nRevision != 0 && nRevision >= nFrom && nRevision <= nTo) {
        Record record;
        const eErrorT result = readChange(nRevision, record);
        if (result != kNoError) {
            return result;
        }
        if (!visit(record)) {
            break;
        }
        nRevision = m_index.next(bUp ? nRevision + 1 : nRevision - 1, order, wanted);
    }
    return kNoError;
}

eErrorT Database::readChange(std::uint64_t nRevision, Record& record) {
    sqlite::Query row = m_handle->getChange.with(static_cast<std::int64_t>(nRevision));
    if (!row.next()) {
        return row.code() == SQLITE_OK ? kItemNotFound : failed("read", kServerError);
    }
    record = {.nRevision = nRevision,
              .nTimeUs = row.integer(0),
              .requester = {.role = roleKept(row.text(4)),
                            .uid = static_cast<uid_t>(row.integer(2)),
                            .pid = static_cast<pid_t>(row.integer(3)),
                            .sClient = row.text(1)},
              .nMaxBytes = static_cast<std::size_t>(row.integer(5))};
    return readDetails(record) == SQLITE_OK ? kNoError : failed("read", kServerError);
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
