#include "disk/secrethistory.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "text.h"

namespace AppConfig {

namespace {

/// Of the details of every change that names a variable: what was assigned, the value before and
/// after. An address needs no escape in JSON.
constexpr const char* kMask =
    "UPDATE change SET details = ("
    "  SELECT json_group_array(CASE"
    "    WHEN value ->> '$[0]' = ?1 AND value ->> '$[1]' IN ('assigned', 'value')"
    "    THEN json_set(value, '$[2]', iif(value ->> '$[2]' = '', '', ?2),"
    "                         '$[3]', iif(value ->> '$[3]' = '', '', ?2))"
    "    ELSE json(value) END)"
    "  FROM json_each(change.details)) "
    "WHERE instr(details, ?1) > 0 AND json_valid(details)";

int readMasked(sqlite3* connection, std::set<std::string>& masked) {
    sqlite::Statement all(connection, "SELECT variable FROM secret");
    sqlite::Query rows = all.with();
    while (rows.next()) {
        masked.insert(rows.text(0));
    }
    return rows.code();
}

std::vector<std::string> difference(const std::set<std::string>& a,
                                    const std::set<std::string>& b) {
    std::vector<std::string> onlyInA;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(onlyInA));
    return onlyInA;
}

/// Runs a statement for each of the variables, until one fails.
template <typename... Values>
int runForEach(sqlite3* connection, const char* sql, const std::vector<std::string>& variables,
               const Values&... values) {
    sqlite::Statement statement(connection, sql);
    int nCode = SQLITE_OK;
    for (auto at = variables.begin(); at != variables.end() && nCode == SQLITE_OK; ++at) {
        nCode = statement.with(*at, values...).run();
    }
    return nCode;
}

}  // namespace

int maskSecretHistory(sqlite3* connection, const std::set<std::string>& secrets) {
    std::set<std::string> masked;
    int nCode = readMasked(connection, masked);
    const std::vector<std::string> added = difference(secrets, masked);
    const std::vector<std::string> dropped = difference(masked, secrets);
    if (nCode != SQLITE_OK || (added.empty() && dropped.empty())) {
        return nCode;
    }
    nCode = sqlite::Statement(connection, "BEGIN IMMEDIATE").run();
    const auto forEach = [&](const char* sql, const auto&... values) {
        nCode = nCode == SQLITE_OK ? runForEach(connection, sql, values...) : nCode;
    };
    forEach(kMask, added, pbcommon::kMaskedSecret);
    forEach("INSERT INTO secret VALUES (?)", added);
    forEach("DELETE FROM secret WHERE variable = ?", dropped);
    nCode = nCode == SQLITE_OK ? sqlite::Statement(connection, "COMMIT").run() : nCode;
    if (nCode != SQLITE_OK) {
        (void)sqlite::Statement(connection, "ROLLBACK").run();
    }
    return nCode;
}

}  // namespace AppConfig
