#ifndef CONFIG_DISK_DATABASE_H
#define CONFIG_DISK_DATABASE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ErrTypes.h"
#include "disk/historyindex.h"
#include "model/aspects.h"
#include "model/record.h"

namespace AppConfig {

/// What the store keeps for good: every setting that is not as the schema has it, and the history
/// of changes. After any crash or power cut it holds the state after some whole change, and after
/// every one that commit() has accepted. Main thread until message dispatching is enabled, then the
/// dispatcher's.
class Database {
public:
    /// In memory, gone with the object.
    explicit Database(const HistoryBounds& bounds = {});
    /// In a directory. See DatabaseFile, also for what happens where it cannot be used: without a
    /// file there is nothing to read, and where it cannot be written, or not all of it be read,
    /// every commit fails.
    explicit Database(const std::string& sDirectory, const HistoryBounds& bounds = {});
    ~Database();

    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Whether another process works on this state, which is then not for this one.
    [[nodiscard]] bool isHeldByAnother() const;
    /// Of the file; empty: in memory, or there is none.
    [[nodiscard]] const std::string& path() const;
    /// See DatabaseFile.
    [[nodiscard]] bool isWritable();

    /// Masks what history holds in clear of variables that a new schema makes secrets. A failure is
    /// logged. @param secrets  addresses of all that are secrets now
    void maskHistory(const std::set<std::string>& secrets);
    void readSettings(const std::function<void(const Setting&)>& visit);
    /// Completes a setting by what is kept of its variable and aspect.
    /// @return false: no change has set it
    [[nodiscard]] bool find(Setting& setting);

    /// Makes changes durable, all or none, in one synced write. Their revisions follow on newest().
    /// @param settings  all that they have made different, each once, as the last of them left it
    /// @return kNoError; kWriteError (nothing of them is kept; logged)
    [[nodiscard]] eErrorT commit(std::span<const Record> changes,
                                 std::span<const Setting> settings);

    // history
    /// Revisions that it reaches from and to; 0 for the newest while there is none.
    [[nodiscard]] std::uint64_t oldest() const { return m_index.oldest(); }
    [[nodiscard]] std::uint64_t newest() const { return m_index.newest(); }
    /// From here on no change is missing.
    [[nodiscard]] std::uint64_t completeFrom() const { return m_index.completeFrom(); }
    using Order = HistoryIndex::Order;
    /// Visits the changes from revision `nFrom` to `nTo` that touch a variable that is wanted,
    /// until `visit` returns false. Others are not read.
    /// @return kNoError; kServerError (it cannot be read; logged)
    [[nodiscard]] eErrorT readHistory(std::uint64_t nFrom, std::uint64_t nTo, Order order,
                                      const std::function<bool(const std::string&)>& isWanted,
                                      const std::function<bool(const Record&)>& visit);
    /// @return as readHistory(); kItemNotFound (history has no such change)
    [[nodiscard]] eErrorT readChange(std::uint64_t nRevision, Record& record);

private:
    struct Handle;
    /// What the index keeps of a change.
    struct WrittenT {
        std::size_t nBytes;
        std::string sTouched;
    };

    void prepare();
    [[nodiscard]] int readIndex(HistoryIndex& index);
    [[nodiscard]] int readSettings(std::vector<Setting>& settings);
    void refuseAfter(int nCode);
    [[nodiscard]] int write(std::span<const Record> changes, std::span<const Setting> settings);
    [[nodiscard]] int write(const Record& change);
    [[nodiscard]] int write(const Setting& setting);
    [[nodiscard]] int drop(std::span<const std::uint64_t> changes);
    [[nodiscard]] int readDetails(Record& record);
    [[nodiscard]] eErrorT failed(const char* what, eErrorT code) const;

    const std::unique_ptr<Handle> m_handle;  ///< the file, and the statements on it
    const HistoryBounds m_bounds;
    HistoryIndex m_index{m_bounds};
    std::string m_sDetails;             ///< its memory is used again
    std::vector<WrittenT> m_written{};  ///< of the changes that are being written
};

}  // namespace AppConfig

#endif
