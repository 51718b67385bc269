#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Terminal.h"

namespace vdictl {

/// Rows of text in columns that fit a terminal.
///
/// Every column is as wide as its widest cell. When that is wider than the terminal, the columns that may shrink do,
/// the widest first, and cut what does not fit; the others are never cut.
class Table {
public:
    enum class Align { Left, Right };

    struct Column {
        std::string title;
        Align align = Align::Left;
        bool mayShrink = false;
    };

    struct Cell {
        Cell(std::string content, Style look = Style::Plain) : text(std::move(content)), style(look) {}
        Cell(const char* content, Style look = Style::Plain) : text(content), style(look) {}

        std::string text;  ///< printable
        Style style;
    };

    explicit Table(std::vector<Column> columns);

    /// Appends a row. Cells that are missing at its end are empty; there must not be more than columns.
    void add(std::vector<Cell> row);

    bool isEmpty() const { return rows_.empty(); }

    /// The titles and the rows as lines, without spaces at their ends. Empty without rows.
    std::string text(const Terminal& terminal) const;

private:
    std::vector<std::size_t> widths(std::size_t limit) const;
    std::string line(const std::vector<Cell>& row, const std::vector<std::size_t>& widths,
                     const Terminal& terminal) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace vdictl
