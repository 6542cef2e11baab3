#ifndef CFGCTL_DISPLAY_H
#define CFGCTL_DISPLAY_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace cfgctl {

/// `text` as it may be shown, nothing cut off.
[[nodiscard]] std::string shown(std::string_view text);

/// JSON as it may be shown: what shown() would escape beyond ASCII is written in JSON's own way.
[[nodiscard]] std::string shownJson(std::string_view json);

/// Columns that `text` takes on a terminal: none for a combining character and for what paints,
/// two for a wide character. Needs no locale. @param text  as shown() returns it, perhaps painted
[[nodiscard]] std::size_t displayWidth(std::string_view text);

/// `text`, or, when it is wider than `nColumns`, as much of it as fits with `sEllipsis` after it.
[[nodiscard]] std::string fitText(std::string_view text, std::size_t nColumns,
                                  std::string_view sEllipsis);

/// `text` as lines of at most `nColumns`, broken at blanks and after commas where that is possible.
/// The first begins after `nUsed` columns, a further one with `nIndent` blanks.
/// @param nColumns  0: any width
[[nodiscard]] std::string wrapped(std::string_view text, std::size_t nUsed, std::size_t nIndent,
                                  std::size_t nColumns);

/// Blanks between two columns of a table.
inline constexpr std::size_t kColumnGap = 2;
/// Widths of a listing's columns: variable, value, offers, access.
using ColumnWidthsT = std::array<std::size_t, 4>;

/// Narrows the columns until the table fits into `nColumns`: value and offers first, the wider of
/// them in turn, then the variable's name, each as far as it stays readable; then whatever is
/// widest. No column is narrowed below 1.
[[nodiscard]] ColumnWidthsT fitColumns(ColumnWidthsT widths, std::size_t nColumns);

}  // namespace cfgctl

#endif
