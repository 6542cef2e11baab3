#include "disk/historyindex.h"

#include <algorithm>
#include <iterator>

namespace AppConfig {

namespace {

/// So many changes over the bound, or such a part of it in bytes, are dropped together.
constexpr std::size_t kDroppedTogether = 100;
constexpr std::size_t kDroppedShare = 64;

}  // namespace

void HistoryIndex::Share::add(const Entry& entry) {
    ++nChanges;
    nBytes += entry.nBytes;
}

void HistoryIndex::Share::remove(const Entry& entry) {
    --nChanges;
    nBytes -= entry.nBytes;
}

void HistoryIndex::add(std::uint64_t nRevision, uid_t uid, std::size_t nBytes,
                       std::string_view sTouched) {
    if (nRevision != newest() + 1) {
        m_nCompleteFrom = nRevision;
    }
    Entry entry{.nRevision = nRevision,
                .uid = uid,
                .nBytes = static_cast<std::uint32_t>(nBytes),
                .nHolds = 0,
                .variables = {}};
    while (!sTouched.empty()) {
        const std::string_view variable = sTouched.substr(0, sTouched.find(' '));
        entry.variables += numberOf(variable);
        sTouched.remove_prefix(std::min(variable.size() + 1, sTouched.size()));
    }
    m_all.add(entry);
    m_shares[uid].add(entry);
    m_entries.push_back(std::move(entry));
}

char32_t HistoryIndex::numberOf(std::string_view sVariable) {
    const auto known = m_numbers.find(sVariable);
    if (known != m_numbers.end()) {
        return known->second;
    }
    const auto nNumber = static_cast<char32_t>(m_variables.size());
    m_variables.push_back({.sAddress = std::string(sVariable)});
    m_numbers.emplace(sVariable, nNumber);
    return nNumber;
}

std::size_t HistoryIndex::placeOf(std::uint64_t nRevision) const {
    const auto found = std::ranges::lower_bound(m_entries, nRevision, {}, &Entry::nRevision);
    return static_cast<std::size_t>(found - m_entries.begin());
}

std::uint32_t* HistoryIndex::holdsOf(std::uint64_t nRevision) {
    const std::size_t nPlace = placeOf(nRevision);
    const bool bFound = nPlace < m_entries.size() && m_entries[nPlace].nRevision == nRevision;
    return bFound ? &m_entries[nPlace].nHolds : nullptr;
}

void HistoryIndex::hold(const std::string& sVariable, pbcommon::Aspect aspect,
                        std::uint64_t nRevision) {
    std::uint64_t& nHeld = m_variables[numberOf(sVariable)].held[static_cast<std::size_t>(aspect)];
    if (std::uint32_t* const nHolds = holdsOf(nHeld)) {
        --*nHolds;
    }
    nHeld = nRevision;
    if (std::uint32_t* const nHolds = holdsOf(nHeld)) {
        ++*nHolds;
    }
}

HistoryIndex::WantedT HistoryIndex::wanted(
    const std::function<bool(const std::string&)>& isWanted) const {
    WantedT wanted;
    for (const Variable& variable : m_variables) {
        wanted.push_back(isWanted(variable.sAddress));
    }
    return wanted;
}

std::uint64_t HistoryIndex::next(std::uint64_t nRevision, Order order,
                                 const WantedT& wanted) const {
    if (std::ranges::find(wanted, true) == wanted.end()) {
        return 0;
    }
    const auto touches = [&wanted](const Entry& entry) {
        return std::ranges::any_of(entry.variables, [&](char32_t n) { return wanted[n]; });
    };
    if (order == Order::kOldestFirst) {
        const auto first = m_entries.begin() + static_cast<std::ptrdiff_t>(placeOf(nRevision));
        const auto found = std::find_if(first, m_entries.end(), touches);
        return found == m_entries.end() ? 0 : found->nRevision;
    }
    const auto after = static_cast<std::ptrdiff_t>(m_entries.size() - placeOf(nRevision + 1));
    const auto found = std::find_if(m_entries.rbegin() + after, m_entries.rend(), touches);
    return found == m_entries.rend() ? 0 : found->nRevision;
}

std::vector<std::uint64_t> HistoryIndex::excess() const {
    std::vector<std::uint64_t> dropped;
    if (m_all.nChanges < m_bounds.nChanges + kDroppedTogether && m_all.nBytes <= m_bounds.nBytes) {
        return dropped;
    }
    const std::size_t nWantedBytes = m_bounds.nBytes - m_bounds.nBytes / kDroppedShare;
    struct Holder {
        Share share;
        std::deque<Entry>::const_iterator next;  ///< the oldest of his that may be dropped
    };
    std::map<uid_t, Holder> holders;
    const auto advance = [this](Holder& holder, uid_t uid) {
        holder.next = std::find_if(holder.next, m_entries.end(), [uid](const Entry& entry) {
            return entry.uid == uid && entry.nHolds == 0;
        });
    };
    for (const auto& [uid, share] : m_shares) {
        Holder& holder = holders[uid] = {.share = share, .next = m_entries.begin()};
        advance(holder, uid);
    }
    Share all = m_all;
    while (all.nBytes > nWantedBytes || all.nChanges > m_bounds.nChanges) {
        const auto ofWhat = all.nBytes > nWantedBytes ? &Share::nBytes : &Share::nChanges;
        std::erase_if(holders,
                      [this](const auto& entry) { return entry.second.next == m_entries.end(); });
        const auto most = std::ranges::max_element(
            holders, {}, [ofWhat](const auto& entry) { return entry.second.share.*ofWhat; });
        if (most == holders.end()) {
            break;
        }
        Holder& holder = most->second;
        dropped.push_back(holder.next->nRevision);
        all.remove(*holder.next);
        holder.share.remove(*holder.next);
        ++holder.next;
        advance(holder, most->first);
    }
    std::ranges::sort(dropped);
    return dropped;
}

void HistoryIndex::remove(std::span<const std::uint64_t> revisions) {
    if (revisions.empty()) {
        return;
    }
    m_nCompleteFrom = std::max(m_nCompleteFrom, revisions.back() + 1);
    const auto isRemoved = [&](const Entry& entry) {
        const bool bRemoved = std::ranges::binary_search(revisions, entry.nRevision);
        if (bRemoved) {
            m_all.remove(entry);
            m_shares[entry.uid].remove(entry);
        }
        return bRemoved;
    };
    // the oldest, mostly: what is left of those before the last one moves, not all that come after
    const auto last = m_entries.begin() + static_cast<std::ptrdiff_t>(placeOf(revisions.back()));
    const auto kept =
        std::remove_if(std::make_reverse_iterator(std::next(last)), m_entries.rend(), isRemoved);
    m_entries.erase(m_entries.begin(), kept.base());
    std::erase_if(m_shares, [](const auto& entry) { return entry.second.nChanges == 0; });
}

}  // namespace AppConfig
