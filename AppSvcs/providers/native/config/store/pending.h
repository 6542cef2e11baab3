#ifndef CONFIG_STORE_PENDING_H
#define CONFIG_STORE_PENDING_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "disk/database.h"
#include "model/state.h"

namespace AppConfig {

/// Changes that hold in memory and wait for one commit. Their records' memory is used again.
class Pending {
public:
    /// @param database  borrowed
    explicit Pending(Database& database) : m_database(database) {}

    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;

    [[nodiscard]] bool empty() const { return m_nWaiting == 0; }
    /// To be filled with the next change; the same one until add() or drop(). Its address holds as
    /// long.
    [[nodiscard]] Record& next();
    /// The one from next() waits from now on. @param effects  all that it has made different
    /// @return its revision
    std::uint64_t add(std::span<const Effect> effects);
    /// The one from next() comes to nothing: if it is large its memory is freed.
    void drop();

    /// Those that wait, in order; valid until the next operation.
    [[nodiscard]] std::span<const Record> waiting() const { return {m_records.data(), m_nWaiting}; }
    /// Makes all that wait durable at once, what they have made different as it is now. Nothing
    /// waits afterwards.
    /// @return kNoError; kWriteError (logged; none of them is kept)
    [[nodiscard]] eErrorT commit();
    /// Those that the last commit() has made durable; valid until release().
    [[nodiscard]] std::span<const Record> committed() const {
        return {m_records.data(), m_nCommitted};
    }
    /// Everybody has been told of them.
    void release();

private:
    /// An aspect of a variable that is different, and the change that last made it so.
    struct Touched {
        const Cell* cell;
        pbcommon::Aspect aspect;
        std::uint64_t nRevision;
    };
    [[nodiscard]] std::vector<Setting> settings();

    Database& m_database;
    std::vector<Record> m_records;   ///< those that wait, then some to be used again
    std::vector<Touched> m_touched;  ///< by those that wait
    std::size_t m_nWaiting = 0;
    std::size_t m_nCommitted = 0;
};

}  // namespace AppConfig

#endif
