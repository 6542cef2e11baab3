#ifndef CONFIG_STORE_READS_H
#define CONFIG_STORE_READS_H

#include <cstddef>
#include <span>
#include <vector>

#include "model/state.h"

namespace AppConfig {

/// The values that handlers have looked at since the last proposed value: first those of the
/// verdict on it, then those of what followed. Its memory is used again. Threads as AppCfgManager.
class Reads {
public:
    struct Read {
        const Cell* cell;
        const Cell* trigger;  ///< that the handler was notified of; null in a verdict
    };

    void add(const Read& read) { m_reads.push_back(read); }
    /// A further value is proposed.
    void begin() {
        m_reads.clear();
        m_nVerdict = 0;
    }
    /// All that has been read belongs to the verdict.
    void endVerdict() { m_nVerdict = m_reads.size(); }

    // in order; a variable as often as it was read
    [[nodiscard]] std::span<const Read> ofVerdict() const {
        return std::span(m_reads).first(m_nVerdict);
    }
    [[nodiscard]] std::span<const Read> ofEffects() const {
        return std::span(m_reads).subspan(m_nVerdict);
    }

private:
    std::vector<Read> m_reads;
    std::size_t m_nVerdict = 0;
};

}  // namespace AppConfig

#endif
