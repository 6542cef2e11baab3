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
    void add(const Cell& cell) { m_cells.push_back(&cell); }
    /// A further value is proposed.
    void begin() {
        m_cells.clear();
        m_nVerdict = 0;
    }
    /// All that has been read belongs to the verdict.
    void endVerdict() { m_nVerdict = m_cells.size(); }

    // in the order of the reads; a variable as often as it was read
    [[nodiscard]] std::span<const Cell* const> ofVerdict() const {
        return std::span(m_cells).first(m_nVerdict);
    }
    [[nodiscard]] std::span<const Cell* const> ofEffects() const {
        return std::span(m_cells).subspan(m_nVerdict);
    }

private:
    std::vector<const Cell*> m_cells;
    std::size_t m_nVerdict = 0;
};

}  // namespace AppConfig

#endif
