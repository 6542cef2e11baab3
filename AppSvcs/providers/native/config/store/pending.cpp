#include "store/pending.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "model/aspects.h"

namespace AppConfig {

namespace {

/// Large records are freed rather than reused, so that a burst does not pin memory.
bool isLarge(const Record& record) {
    constexpr std::size_t kMaxKeptBytes = 4096;
    return record.nMaxBytes > kMaxKeptBytes;
}

}  // namespace

Record& Pending::next() {
    if (m_nWaiting == m_records.size()) {
        m_records.emplace_back();
    }
    return m_records[m_nWaiting];
}

std::uint64_t Pending::add(std::span<const Effect> effects) {
    const std::uint64_t nRevision = m_database.newest() + m_nWaiting + 1;
    for (const Effect& effect : effects) {
        m_touched.push_back(
            {.cell = effect.cell, .aspect = aspectOf(effect.before), .nRevision = nRevision});
    }
    m_records[m_nWaiting++].nRevision = nRevision;
    return nRevision;
}

void Pending::drop() {
    if (m_nWaiting < m_records.size() && isLarge(m_records[m_nWaiting])) {
        m_records.resize(m_nWaiting);
    }
}

eErrorT Pending::commit() {
    const std::size_t nWaiting = std::exchange(m_nWaiting, 0);
    const eErrorT result = m_database.commit({m_records.data(), nWaiting}, settings());
    m_nCommitted = result == kNoError ? nWaiting : 0;
    m_touched.clear();
    return result;
}

/// Each aspect once, with the last change that touched it.
std::vector<Setting> Pending::settings() {
    const auto latestFirst = [](const Touched& touched) {
        return std::tuple(touched.cell, touched.aspect, ~touched.nRevision);
    };
    std::ranges::sort(m_touched, {}, latestFirst);
    std::vector<Setting> settings;
    const Touched* before = nullptr;
    for (const Touched& touched : m_touched) {
        if (before == nullptr || before->cell != touched.cell || before->aspect != touched.aspect) {
            settings.push_back(settingOf(*touched.cell, touched.aspect));
            settings.back().nRevision = touched.nRevision;
        }
        before = &touched;
    }
    return settings;
}

void Pending::release() {
    m_nCommitted = 0;
    std::erase_if(m_records, isLarge);
}

}  // namespace AppConfig
