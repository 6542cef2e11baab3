#include "store/pending.h"

#include <utility>

#include "model/aspects.h"

namespace AppConfig {

namespace {

/// Large records are freed rather than reused, so that a burst does not pin memory.
bool isLarge(const PendingChange& change) {
    constexpr std::size_t kMaxKeptBytes = 4096;
    return change.record.maxBytes() > kMaxKeptBytes;
}

}  // namespace

Record& Pending::next() {
    if (m_nWaiting == m_records.size()) {
        m_records.emplace_back();
    }
    return m_records[m_nWaiting].record;
}

std::uint64_t Pending::add(std::span<const Effect> effects) {
    PendingChange& change = m_records[m_nWaiting];
    change.settings.clear();
    for (const Effect& effect : effects) {
        change.settings.push_back(
            settingOf(*effect.cell, static_cast<pbcommon::Aspect>(effect.before.index())));
    }
    change.record.nRevision = m_database.newest() + ++m_nWaiting;
    return change.record.nRevision;
}

void Pending::drop() {
    if (m_nWaiting < m_records.size() && isLarge(m_records[m_nWaiting])) {
        m_records.resize(m_nWaiting);
    }
}

eErrorT Pending::commit() {
    const std::size_t nWaiting = std::exchange(m_nWaiting, 0);
    const eErrorT result = m_database.commit({m_records.data(), nWaiting});
    m_nCommitted = result == kNoError ? nWaiting : 0;
    return result;
}

void Pending::release() {
    m_nCommitted = 0;
    std::erase_if(m_records, isLarge);
}

}  // namespace AppConfig
