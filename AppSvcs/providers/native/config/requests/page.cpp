#include "requests/page.h"

#include <utility>

namespace AppConfig {

namespace {

/// Changes that one request looks through: the next one continues, and others come in between.
constexpr int kMaxScanned = 500;

}  // namespace

bool Page::add(const Record& record) {
    pbcommon::Change told;
    if (m_audience.tell(record, m_sPattern, told)) {
        m_nBytes += told.ByteSizeLong();
        *m_changes.Add() = std::move(told);
    }
    m_nRevision = record.nRevision;
    const bool bEnough = static_cast<std::uint32_t>(m_changes.size()) == m_nLimit;
    return ++m_nScanned < kMaxScanned && m_nBytes < kPageBytes && (m_nLimit == 0 || !bEnough);
}

}  // namespace AppConfig
