#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Terminal.h"

namespace vdictl {

/// Rows of text in columns that fit a terminal.
///
/// Every column is as wide as its widest cell. When that is wider than the terminal, the columns that may shrink do,
/// the widest first, and cut what does not fit; the others are never cut. Where that is not enough, or would leave too
/// little of a text, each row is broken into several lines, which have columns and titles too.
class Table {
public:
    enum class Align { Left, Right };

    enum class Shrink {
        Never,
        Name,  ///< down to some letters
        Text   ///< as long as it can be read; then it has a line of its own
    };

    struct Column {
        std::string title;
        Align align = Align::Left;
        Shrink shrink = Shrink::Never;
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
    /// The columns that stand on one line, and what is before them.
    struct Part {
        std::size_t first;
        std::size_t end;
        std::size_t indentation;
    };

    /// How wide the columns are, and on which lines.
    struct Layout {
        std::vector<std::size_t> widths;
        std::vector<Part> parts;
    };

    std::vector<std::size_t> naturalWidths() const;
    bool shrink(std::vector<std::size_t>& widths, std::size_t limit) const;
    Layout broken(std::vector<std::size_t> widths, std::size_t limit) const;
    Layout layout(std::size_t limit) const;
    std::string line(const std::vector<Cell>& row, const Layout& layout, const Part& part,
                     const Terminal& terminal) const;
    std::string lines(const std::vector<Cell>& row, const Layout& layout, const Terminal& terminal) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace vdictl
