#ifndef CONFIG_REQUESTS_PAGE_H
#define CONFIG_REQUESTS_PAGE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "clientlimits.h"
#include "messages.pb.h"
#include "model/record.h"
#include "requests/audience.h"

namespace AppConfig {

/// Collects a page of history, in the order in which it is visited. The next request continues, and
/// others come in between.
class Page {
public:
    /// @param audience  borrowed, as the pattern and `changes`, which are filled
    /// @param nLimit    most changes; 0: as many as there is room for
    Page(const Audience& audience, const std::string& sPattern, std::uint32_t nLimit,
         google::protobuf::RepeatedPtrField<pbcommon::Change>& changes)
        : m_audience(audience), m_sPattern(sPattern), m_nLimit(nLimit), m_changes(changes) {}

    /// What the role may not see of it is left out. @return whether there is room for more
    [[nodiscard]] bool add(const Record& record);
    /// Of the change that was added last; 0: none.
    [[nodiscard]] std::uint64_t revision() const { return m_nRevision; }
    [[nodiscard]] bool isFull() const { return m_bFull; }
    [[nodiscard]] bool isWanted(const std::string& sVariable) const;

private:
    const Audience& m_audience;
    const std::string& m_sPattern;
    const std::uint32_t m_nLimit;
    google::protobuf::RepeatedPtrField<pbcommon::Change>& m_changes;
    std::uint64_t m_nRevision = 0;
    std::size_t m_nBytes = 0;
    bool m_bFull = false;
};

}  // namespace AppConfig

#endif
