#include "Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vdictl {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowest = 4;  // of a column that shrinks

}  // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
}

void Table::add(std::vector<Cell> row) {
    row.resize(columns_.size(), Cell(""));
    rows_.push_back(std::move(row));
}

std::vector<std::size_t> Table::widths(std::size_t limit) const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        std::size_t width = columnsOf(columns_[i].title);
        for (const auto& row : rows_) {
            width = std::max(width, columnsOf(row[i].text));
        }
        widths.push_back(width);
    }
    const auto total = [&] { return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1)); };
    while (limit != 0 && total() > limit) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (columns_[i].mayShrink && widths[i] > narrowest && (widest == nullptr || widths[i] > *widest)) {
                widest = &widths[i];
            }
        }
        if (widest == nullptr) {
            break;
        }
        --*widest;
    }
    return widths;
}

std::string Table::line(const std::vector<Cell>& row, const std::vector<std::size_t>& widths,
                        const Terminal& terminal) const {
    std::string result;
    std::size_t owed = 0;  // spaces before the next text
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const std::string text = cutToColumns(row[i].text, widths[i]);
        const std::size_t padding = widths[i] - columnsOf(text);
        const bool right = columns_[i].align == Align::Right;
        owed += right ? padding : 0;
        if (!text.empty()) {
            result += std::string(owed, ' ') + terminal.paint(row[i].style, text);
            owed = 0;
        }
        owed += (right ? 0 : padding) + gap;
    }
    return result + '\n';
}

std::string Table::text(const Terminal& terminal) const {
    if (rows_.empty()) {
        return {};
    }
    const std::vector<std::size_t> fitting = widths(terminal.width());
    std::vector<Cell> titles;
    for (const Column& column : columns_) {
        titles.emplace_back(column.title, Style::Heading);
    }
    std::string result = line(titles, fitting, terminal);
    for (const auto& row : rows_) {
        result += line(row, fitting, terminal);
    }
    return result;
}

}  // namespace vdictl
