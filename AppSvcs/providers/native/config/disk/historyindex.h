#ifndef CONFIG_DISK_HISTORYINDEX_H
#define CONFIG_DISK_HISTORYINDEX_H

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "clientlimits.h"
#include "messages.pb.h"

namespace AppConfig {

/// What history keeps, at most. What a present setting goes back to is kept on top of that.
struct HistoryBounds {
    std::size_t nChanges = pbcommon::kMaxHistoryChanges;
    std::size_t nBytes = pbcommon::kMaxHistoryBytes;
};

/// What decides of each change in history whether it is looked for and whether it is kept, in
/// memory: of a history of ten thousand changes those that touch a variable are found without
/// reading any of them.
class HistoryIndex {
public:
    enum class Order { kNewestFirst, kOldestFirst };
    /// Of each variable that a change touches, by its number, whether it is looked for.
    using WantedT = std::vector<bool>;

    explicit HistoryIndex(const HistoryBounds& bounds) : m_bounds(bounds) {}

    /// Revisions come in ascending order. @param sTouched  addresses, a blank between them
    void add(std::uint64_t nRevision, uid_t uid, std::size_t nBytes, std::string_view sTouched);
    /// An aspect of a variable goes back to a change from now on, and to no other.
    void hold(const std::string& sVariable, pbcommon::Aspect aspect, std::uint64_t nRevision);

    [[nodiscard]] bool empty() const { return m_entries.empty(); }
    /// Of what is there; 1 where it is empty.
    [[nodiscard]] std::uint64_t oldest() const { return empty() ? 1 : m_entries[0].nRevision; }
    [[nodiscard]] std::uint64_t newest() const { return empty() ? 0 : m_entries.back().nRevision; }
    /// From here on no change is missing.
    [[nodiscard]] std::uint64_t completeFrom() const { return m_nCompleteFrom; }

    /// Asks of each variable that history knows once whether it is looked for.
    [[nodiscard]] WantedT wanted(const std::function<bool(const std::string&)>& isWanted) const;
    /// The next change in the order that touches what is wanted, from a revision on.
    /// @return its revision; 0: there is none
    [[nodiscard]] std::uint64_t next(std::uint64_t nRevision, Order order,
                                     const WantedT& wanted) const;

    /// Changes that are to be dropped for others, in ascending order: the oldest of the user who
    /// has most of what there is too much of, one after the other, but none that is held. So many
    /// at a time that most commits drop none.
    [[nodiscard]] std::vector<std::uint64_t> excess() const;
    /// @param revisions  as excess() has given them
    void remove(std::span<const std::uint64_t> revisions);

private:
    struct Entry {
        std::uint64_t nRevision;
        uid_t uid;
        std::uint32_t nBytes;
        std::uint32_t nHolds;      ///< aspects that go back to it
        std::u32string variables;  ///< their numbers; a few need no memory of their own
    };
    struct Share {
        std::size_t nChanges = 0, nBytes = 0;

        void add(const Entry& entry);
        void remove(const Entry& entry);
    };

    /// A variable that is or was touched.
    struct Variable {
        std::string sAddress;
        std::array<std::uint64_t, pbcommon::Aspect_ARRAYSIZE> held{};  ///< what each aspect holds
    };
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    [[nodiscard]] char32_t numberOf(std::string_view sVariable);
    [[nodiscard]] std::size_t placeOf(std::uint64_t nRevision) const;
    [[nodiscard]] std::uint32_t* holdsOf(std::uint64_t nRevision);

    HistoryBounds m_bounds;
    std::deque<Entry> m_entries;  ///< by revision
    std::map<uid_t, Share> m_shares;
    Share m_all;
    std::vector<Variable> m_variables;  ///< by number
    std::unordered_map<std::string, char32_t, Hash, std::equal_to<>> m_numbers;
    std::uint64_t m_nCompleteFrom = 1;
};

}  // namespace AppConfig

#endif
