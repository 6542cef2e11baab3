#ifndef CONFIG_STORE_SQLITE_H
#define CONFIG_STORE_SQLITE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace AppConfig::sqlite {

/// Ends what SQLite made with the object that owns it.
struct Closer {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using ConnectionT = std::unique_ptr<sqlite3, Closer>;

/// One prepared statement, used again and again: `statement.with(1, "text").run()`. The texts given
/// have to live until it has run. Where it could not be prepared, running it gives the reason.
class Statement {
public:
    Statement() = default;
    Statement(sqlite3* connection, const char* sql) {
        sqlite3_stmt* prepared = nullptr;
        m_nPrepared =
            sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        m_statement.reset(prepared);
    }

    /// Its parameters, in order.
    template <typename... Values>
    Statement& with(const Values&... values) {
        sqlite3_reset(m_statement.get());
        int nPlace = 0;
        (bind(++nPlace, values), ...);
        return *this;
    }

    /// The next row. @return whether there is one; else code() says why not
    bool next() {
        m_nCode = m_nPrepared == SQLITE_OK ? sqlite3_step(m_statement.get()) : m_nPrepared;
        if (m_nCode != SQLITE_ROW) {
            sqlite3_reset(m_statement.get());
        }
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
        return sqlite3_column_int64(m_statement.get(), nColumn);
    }
    [[nodiscard]] std::string text(int nColumn) const {
        const void* const bytes = sqlite3_column_blob(m_statement.get(), nColumn);
        const auto nBytes =
            static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), nColumn));
        return bytes == nullptr ? "" : std::string(static_cast<const char*>(bytes), nBytes);
    }
    [[nodiscard]] bool isNull(int nColumn) const {
        return sqlite3_column_type(m_statement.get(), nColumn) == SQLITE_NULL;
    }

private:
    void bind(int nPlace, std::int64_t value) {
        sqlite3_bind_int64(m_statement.get(), nPlace, value);
    }
    void bind(int nPlace, std::string_view text) {
        sqlite3_bind_text(m_statement.get(), nPlace, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
    }
    void bind(int nPlace, const char* text) { bind(nPlace, std::string_view(text)); }
    void bind(int nPlace, const std::string& text) { bind(nPlace, std::string_view(text)); }
    void bind(int nPlace, std::nullptr_t) { sqlite3_bind_null(m_statement.get(), nPlace); }

    std::unique_ptr<sqlite3_stmt, Closer> m_statement;
    int m_nPrepared = SQLITE_MISUSE;
    int m_nCode = SQLITE_MISUSE;
};

}  // namespace AppConfig::sqlite

#endif
