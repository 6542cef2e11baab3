#include "disk/layout.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "disk/databasefile.h"
#include "disk/sqlite.h"

namespace AppConfig {

namespace {

// Files of every version are about: no text of an earlier one ever changes. docs/database.md
// explains the columns.

constexpr const char* kSetting =
    "CREATE TABLE setting ("
    "  variable TEXT NOT NULL,"
    "  aspect   TEXT NOT NULL,"  // value, options, access
    "  content  TEXT,"
    "  revision INTEGER NOT NULL,"
    "  PRIMARY KEY (variable, aspect)"
    ") STRICT, WITHOUT ROWID;";
constexpr const char* kChange1 =
    "CREATE TABLE change ("
    "  revision INTEGER PRIMARY KEY,"
    "  time_us  INTEGER NOT NULL,"
    "  client   TEXT NOT NULL,"
    "  uid      INTEGER NOT NULL,"
    "  pid      INTEGER NOT NULL,"
    "  role     TEXT NOT NULL,"
    "  details  TEXT NOT NULL"
    ") STRICT;";
/// The columns that are read at each start come before the details.
constexpr const char* kChange3 =
    "CREATE TABLE change ("
    "  revision INTEGER PRIMARY KEY,"
    "  time_us  INTEGER NOT NULL,"
    "  client   TEXT NOT NULL,"
    "  uid      INTEGER NOT NULL,"
    "  pid      INTEGER NOT NULL,"
    "  role     TEXT NOT NULL,"
    "  size     INTEGER NOT NULL,"
    "  touched  TEXT NOT NULL,"
    "  details  TEXT NOT NULL"
    ") STRICT;";
constexpr const char* kDetail1 =
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
    "FROM change, json_each(change.details) AS detail;";
constexpr const char* kDetail2 =
    "CREATE VIEW detail AS SELECT  revision,  detail.key              AS place,"
    "  detail.value ->> '$[0]' AS variable,  detail.value ->> '$[1]' AS aspect,"
    "  detail.value ->> '$[2]' AS before,  detail.value ->> '$[3]' AS after,"
    "  detail.value ->> '$[4]' AS cause,  detail.value ->> '$[5]' AS trigger,"
    "  detail.value ->> '$[6]' AS reader,  detail.value ->> '$[7]' AS trigger_reader "
    "FROM change, json_each(change.details) AS detail;";
constexpr const char* kSecret =
    "CREATE TABLE secret (variable TEXT PRIMARY KEY) STRICT, WITHOUT ROWID;";

/// Details that are no JSON stay as unreadable as they were.
constexpr const char* kAddTriggerReaders =
    "UPDATE change SET details = (SELECT json_group_array(json_insert(value, '$[#]', 'user'))"
    "  FROM json_each(change.details)) WHERE json_valid(details);";
/// Of a history of more than 64 MiB, which earlier versions could have, the rest is dropped, but
/// for what settings go back to.
constexpr const char* kBoundHistory =
    "DELETE FROM change WHERE revision NOT IN (SELECT revision FROM setting) AND revision <= ("
    "  SELECT coalesce(max(revision), 0) FROM (SELECT revision,"
    "    sum(length(CAST(details AS BLOB))) OVER (ORDER BY revision DESC) AS total FROM change)"
    "  WHERE total > 67108864);";
constexpr const char* kCopyChanges =
    "INSERT INTO change SELECT revision, time_us, client, uid, pid, role,"
    "  length(CAST(details AS BLOB)),"
    "  CASE WHEN json_valid(details) THEN coalesce((SELECT"
    "    replace(group_concat(DISTINCT value ->> '$[0]'), ',', ' ') FROM json_each(details)), '')"
    "  ELSE '' END, details FROM change2;";

/// What makes a version of the one before it, from an empty file on.
const std::vector<const char*> kSteps[] = {
    {kSetting, kChange1, kDetail1},
    {kAddTriggerReaders, "DROP VIEW detail;", kDetail2, kSecret},
    {"DROP VIEW detail;", kBoundHistory, "ALTER TABLE change RENAME TO change2;", kChange3,
     kCopyChanges, "DROP TABLE change2;", kDetail2},
};
static_assert(std::size(kSteps) == kLayoutVersion);
/// The same as all of them, without the detours.
const std::vector<const char*> kWhole = {kSetting, kChange3, kDetail2, kSecret};

int readTables(sqlite3* connection, std::set<std::string>& tables) {
    sqlite::Statement all(
        connection, "SELECT format('%s %s %s %s', type, name, tbl_name, sql) FROM sqlite_schema");
    sqlite::Query rows = all.with();
    while (rows.next()) {
        tables.insert(rows.text(0));
    }
    return rows.code();
}

}  // namespace

int makeTables(sqlite3* connection, int nFrom, int nTo) {
    std::string sql;
    const auto add = [&sql](const std::vector<const char*>& texts) {
        for (const char* const text : texts) {
            sql += text;
        }
    };
    if (nFrom == 0 && nTo == kLayoutVersion) {
        add(kWhole);
    } else {
        std::for_each(kSteps + nFrom, kSteps + nTo, add);
    }
    sql += "PRAGMA user_version = " + std::to_string(nTo);
    return sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr);
}

int compareTables(sqlite3* connection, int nVersion, bool& bSame) {
    sqlite3* opened = nullptr;
    int nCode = sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE, nullptr);
    const ConnectionT sample(opened);
    std::set<std::string> expected;
    std::set<std::string> found;
    nCode = nCode == SQLITE_OK ? makeTables(opened, 0, nVersion) : nCode;
    nCode = nCode == SQLITE_OK ? readTables(opened, expected) : nCode;
    nCode = nCode == SQLITE_OK ? readTables(connection, found) : nCode;
    bSame = std::includes(found.begin(), found.end(), expected.begin(), expected.end());
    return nCode;
}

}  // namespace AppConfig
