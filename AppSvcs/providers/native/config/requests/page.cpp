#include "requests/page.h"

#include <algorithm>
#include <utility>

#include "address.h"

namespace AppConfig {

bool Page::isWanted(const std::string& sVariable) const {
    return pbcommon::matchesPattern(m_sPattern, sVariable) && m_audience.mayRead(sVariable);
}

bool Page::add(const Record& record) {
    pbcommon::Change told;
    m_nBytes += record.nMaxBytes;
    if (m_audience.tell(record, m_sPattern, told)) {
        *m_changes.Add() = std::move(told);
    }
    m_nRevision = record.nRevision;
    const bool bEnough = static_cast<std::uint32_t>(m_changes.size()) == m_nLimit;
    m_bFull = m_nBytes >= pbcommon::kPageBytes || (m_nLimit != 0 && bEnough);
    return !m_bFull;
}

}  // namespace AppConfig
