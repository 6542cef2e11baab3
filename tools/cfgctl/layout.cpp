#include "layout.h"

#include <algorithm>

#include "display.h"

namespace cfgctl {

namespace {

constexpr std::size_t kFurtherIn = 4;  // of a line that goes on

using WidthsT = std::vector<std::size_t>;  // of the columns

/// Columns that a line takes with the cells of a row in columns, or without any side by side.
std::size_t lineWidth(const CellsT& row, const WidthsT& widths, std::size_t nIndent) {
    std::size_t nTotal = nIndent;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool bPadded = i < widths.size() && i + 1 < row.size();
        nTotal += std::max(displayWidth(row[i]), bPadded ? widths[i] : 0);
    }
    return nTotal + (row.size() - 1) * kColumnGap;
}

/// Of the rows that fit into a line.
WidthsT widthsOf(const RowsT& rows, std::size_t nIndent, const StreamT& stream) {
    WidthsT widths;
    for (const CellsT& row : rows) {
        if (lineWidth(row, {}, nIndent) > stream.nColumns) {
            continue;
        }
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    return widths;
}

std::string rowText(const CellsT& row, const WidthsT& widths, std::size_t nIndent,
                    const StreamT& stream) {
    const bool bInColumns = lineWidth(row, widths, nIndent) <= stream.nColumns;
    std::string text(nIndent, ' ');
    std::size_t nUsed = nIndent;  // columns of the last line
    std::size_t nGap = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t nWidth = displayWidth(row[i]);
        if (i > 0 && stream.bTerminal && nUsed + nGap + nWidth > stream.nColumns) {
            nUsed = nIndent + kFurtherIn;
            text += "\n" + std::string(nUsed, ' ');
        } else {
            nUsed += nGap;
            text += i == 0 ? "" : gapText(nGap, stream);
        }
        const std::string sCell = wrapped(row[i], nUsed, nIndent + kFurtherIn, stream.nColumns);
        const std::size_t lastLine = sCell.rfind('\n');
        nUsed = lastLine == std::string::npos ? nUsed + nWidth
                                              : displayWidth(sCell.substr(lastLine + 1));
        text += sCell;
        nGap = kColumnGap + (bInColumns ? widths[i] - nWidth : 0);
    }
    return text;
}

}  // namespace

std::string gapText(std::size_t nBlanks, const StreamT& stream) {
    return stream.bTerminal ? std::string(nBlanks, ' ') : "\t";
}

std::string rowLines(const RowsT& rows, std::size_t nIndent, const StreamT& stream) {
    const WidthsT widths = widthsOf(rows, nIndent, stream);
    std::string text;
    for (const CellsT& row : rows) {
        text += rowText(row, widths, nIndent, stream) + "\n";
    }
    return text;
}

}  // namespace cfgctl
