#include "store/pending.h"

#include <utility>

#include "model/aspects.h"

namespace AppConfig {

namespace {

/// Large records are freed rather than reused, so that a burst does not pin memory.
bool isLarge(const Committed& committed) {
    constexpr std::size_t kMaxKeptBytes = 4096;
    return static_cast<std::size_t>(committed.change.GetCachedSize()) > kMaxKeptBytes;
}

}  // namespace

pbcommon::Change& Pending::next() {
    if (m_nWaiting == m_records.size()) {
        m_records.emplace_back();
    }
    return m_records[m_nWaiting].change;
}

std::uint64_t Pending::add(std::span<const Effect> effects) {
    Committed& record = m_records[m_nWaiting];
    record.settings.clear();
    for (const Effect& effect : effects) {
        record.settings.push_back(
            settingOf(*effect.cell, static_cast<pbcommon::Aspect>(effect.before.index())));
    }
    record.change.set_revision(m_database.newest() + ++m_nWaiting);
    return record.change.revision();
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
