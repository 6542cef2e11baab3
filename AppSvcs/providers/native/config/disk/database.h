#ifndef CONFIG_DISK_DATABASE_H
#define CONFIG_DISK_DATABASE_H

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ErrTypes.h"
#include "disk/databasefile.h"
#include "disk/sqlite.h"
#include "model/aspects.h"
#include "model/record.h"

namespace AppConfig {

/// A change that waits to be made durable, with everything that it made different.
struct PendingChange {
    Record record;  ///< with its revision
    std::vector<Setting> settings;
};

/// What the store keeps for good: every setting that is not as the schema has it, and the history
/// of changes. After any crash or power cut it holds the state behind some whole change, and behind
/// every one that commit() has accepted. Main thread until message dispatching is enabled, then the
/// dispatcher's.
class Database {
public:
    /// In memory, gone with the object.
    Database();
    /// In a directory. See DatabaseFile, also for what happens where it cannot be used: without a
    /// file there is nothing to read, and where it cannot be written, or not all of it be read,
    /// every commit fails.
    explicit Database(const std::string& sDirectory);

    /// Whether another process works on this state, which is then not for this one.
    [[nodiscard]] bool isHeldByAnother() const { return m_file.isHeldByAnother(); }

    /// Masks what history holds in clear of variables that a new schema makes secrets. A failure is
    /// logged. @param secrets  addresses of all that are secrets now
    void maskHistory(const std::set<std::string>& secrets);
    void readSettings(const std::function<void(const Setting&)>& visit);
    /// The content of a setting, and the revision that last set it. @return false: none did
    [[nodiscard]] bool find(Setting& setting, std::uint64_t& nRevision);

    /// Makes changes durable, all or none, in one synced write. Their revisions follow on newest().
    /// @return kNoError; kWriteError (nothing of them is kept; logged)
    [[nodiscard]] eErrorT commit(std::span<const PendingChange> changes);

    // history
    static constexpr std::uint64_t kHistoryLength = 10'000;
    /// Revisions that it reaches from and to; 0 for the newest while there is none.
    [[nodiscard]] std::uint64_t oldest() const;
    [[nodiscard]] std::uint64_t newest() const { return m_nNewest; }
    enum class Order { kNewestFirst, kOldestFirst };
    /// Visits the changes from revision `nFrom` to `nTo`, until `visit` returns false.
    /// @return kNoError; kServerError (it cannot be read; logged)
    [[nodiscard]] eErrorT readHistory(std::uint64_t nFrom, std::uint64_t nTo, Order order,
                                      const std::function<bool(const Record&)>& visit);

private:
    void prepare();
    [[nodiscard]] int readBounds();
    [[nodiscard]] int readSettings(std::vector<Setting>& settings);
    void refuseAfter(int nCode);
    [[nodiscard]] int write(const PendingChange& change);
    [[nodiscard]] int prune(std::uint64_t nNewest);
    [[nodiscard]] int readDetails(Record& record);
    [[nodiscard]] eErrorT failed(const char* what, eErrorT code) const;

    DatabaseFile m_file;
    sqlite::Statement m_begin, m_commit, m_rollBack, m_overwrite;
    sqlite::Statement m_putSetting, m_putChange, m_dropChanges;
    sqlite::Statement m_getSetting, m_getUp, m_getDown, m_getFields;
    std::uint64_t m_nNewest = 0;
    std::uint64_t m_nOldest = 1;  ///< in the file, which may reach back further than is shown
};

}  // namespace AppConfig

#endif
