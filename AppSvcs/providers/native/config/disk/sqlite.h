#ifndef CONFIG_DISK_SQLITE_H
#define CONFIG_DISK_SQLITE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace AppConfig::sqlite {

/// Ends a statement with the object that owns it.
struct Closer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

/// A statement that is being run. Whatever way its user leaves, the statement ends with this
/// object: one that were left open would keep the "-wal" from being started over. The texts given,
/// and the statement, have to outlive it.
class Query {
public:
    /// @param nCode  other than SQLITE_OK: why it cannot be run
    template <typename... Values>
    Query(sqlite3_stmt* statement, int nCode, const Values&... values)
        : m_statement(statement), m_nBound(nCode) {
        int nPlace = 0;
        (note(bind(++nPlace, values)), ...);
    }
    ~Query() { sqlite3_reset(m_statement); }

    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// The next row. @return whether there is one; else code() says why not
    bool next() {
        m_nCode = m_nBound == SQLITE_OK ? sqlite3_step(m_statement) : m_nBound;
        return m_nCode == SQLITE_ROW;
    }
    /// To its end, whatever rows there are. @return SQLITE_OK, or what went wrong
    int run() {
        while (next()) {
        }
        return code();
    }
    /// How it ended: SQLITE_OK when all rows have been read, SQLITE_ROW in the midst of them.
    [[nodiscard]] int code() const { return m_nCode == SQLITE_DONE ? SQLITE_OK : m_nCode; }

    // columns of the row, from 0
    [[nodiscard]] std::int64_t integer(int nColumn) const {
        return sqlite3_column_int64(m_statement, nColumn);
    }
    [[nodiscard]] std::string text(int nColumn) const {
        const void* const bytes = sqlite3_column_blob(m_statement, nColumn);
        const auto nBytes = static_cast<std::size_t>(sqlite3_column_bytes(m_statement, nColumn));
        return bytes == nullptr ? "" : std::string(static_cast<const char*>(bytes), nBytes);
    }
    [[nodiscard]] bool isNull(int nColumn) const {
        return sqlite3_column_type(m_statement, nColumn) == SQLITE_NULL;
    }

private:
    void note(int nCode) { m_nBound = m_nBound == SQLITE_OK ? nCode : m_nBound; }
    int bind(int nPlace, std::int64_t value) {
        return sqlite3_bind_int64(m_statement, nPlace, value);
    }
    int bind(int nPlace, std::string_view text) {
        return sqlite3_bind_text(m_statement, nPlace, text.data(), static_cast<int>(text.size()),
                                 SQLITE_STATIC);
    }
    int bind(int nPlace, const char* text) { return bind(nPlace, std::string_view(text)); }
    int bind(int nPlace, const std::string& text) { return bind(nPlace, std::string_view(text)); }
    int bind(int nPlace, std::nullptr_t) { return sqlite3_bind_null(m_statement, nPlace); }

    sqlite3_stmt* const m_statement;
    int m_nBound;
    int m_nCode = SQLITE_MISUSE;
};

/// One prepared statement, used again and again: `statement.with(1, "text").run()`. Where it could
/// not be prepared, running it gives the reason.
class Statement {
public:
    Statement() = default;
    Statement(sqlite3* connection, const char* sql) {
        sqlite3_stmt* prepared = nullptr;
        m_nPrepared =
            sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        m_statement.reset(prepared);
    }

    /// Begins to run it. @param values  its parameters, in order
    template <typename... Values>
    [[nodiscard]] Query with(const Values&... values) {
        return {m_statement.get(), m_nPrepared, values...};
    }
    /// Runs it to its end. @return SQLITE_OK, or what went wrong
    int run() { return with().run(); }

    /// SQLITE_OK, or why it could not be prepared.
    [[nodiscard]] int code() const { return m_nPrepared; }

private:
    std::unique_ptr<sqlite3_stmt, Closer> m_statement;
    int m_nPrepared = SQLITE_MISUSE;
};

}  // namespace AppConfig::sqlite

#endif
