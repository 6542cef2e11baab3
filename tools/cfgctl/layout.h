#ifndef CFGCTL_LAYOUT_H
#define CFGCTL_LAYOUT_H

#include <cstddef>
#include <string>
#include <vector>

#include "terminal.h"

namespace cfgctl {

using CellsT = std::vector<std::string>;  ///< of one row; they may be painted
using RowsT = std::vector<CellsT>;

/// Between two cells: on a terminal so many blanks that columns are aligned, elsewhere a tab, which
/// is in no text that is shown.
[[nodiscard]] std::string gapText(std::size_t nBlanks, const StreamT& stream);

/// A line for each row. On a terminal the cells are in columns, where the row then fits into a
/// line. A row too wide for any line is broken between cells, then at blanks and commas, and goes
/// on four blanks further in; it widens no column.
[[nodiscard]] std::string rowLines(const RowsT& rows, std::size_t nIndent, const StreamT& stream);

}  // namespace cfgctl

#endif
