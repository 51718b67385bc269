#include "Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vdictl {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t indentationOfMore = 4;  // of what does not fit on the first line of a row

std::size_t leastOf(Table::Shrink shrink) {
    constexpr std::size_t name = 4;
    constexpr std::size_t text = 30;
    return shrink == Table::Shrink::Name ? name : text;
}

std::size_t totalOf(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
}

}  // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
}

void Table::add(std::vector<Cell> row) {
    row.resize(columns_.size(), Cell(""));
    rows_.push_back(std::move(row));
}

std::vector<std::size_t> Table::naturalWidths() const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        std::size_t width = columnsOf(columns_[i].title);
        for (const auto& row : rows_) {
            width = std::max(width, columnsOf(row[i].text));
        }
        widths.push_back(width);
    }
    return widths;
}

// False when they do not fit as long as all can be read.
bool Table::shrink(std::vector<std::size_t>& widths, std::size_t limit) const {
    while (totalOf(widths) > limit) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const Shrink way = columns_[i].shrink;
            const bool isWidest = widest == nullptr || widths[i] > *widest;
            if (way != Shrink::Never && widths[i] > leastOf(way) && isWidest) {
                widest = &widths[i];
            }
        }
        if (widest == nullptr) {
            return false;
        }
        --*widest;
    }
    return true;
}

Table::Layout Table::broken(std::vector<std::size_t> widths, std::size_t limit) const {
    const std::size_t most = std::max(limit, indentationOfMore + leastOf(Shrink::Name)) - indentationOfMore;
    Layout result{std::move(widths), {{0, 0, 0}}};
    std::size_t used = 0;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const bool mayShrink = columns_[i].shrink != Shrink::Never;
        std::size_t& width = result.widths[i];
        width = mayShrink ? std::min(width, most) : width;
        const bool isFirst = result.parts.back().first == i;
        if (!isFirst && (columns_[i].shrink == Shrink::Text || used + gap + width > limit)) {
            result.parts.push_back({i, i, indentationOfMore});
            used = indentationOfMore + width;
        } else {
            used += width + (isFirst ? 0 : gap);
        }
        result.parts.back().end = i + 1;
    }
    return result;
}

Table::Layout Table::layout(std::size_t limit) const {
    const std::vector<std::size_t> natural = naturalWidths();
    std::vector<std::size_t> widths = natural;
    if (limit == 0 || shrink(widths, limit)) {
        return {widths, {{0, columns_.size(), 0}}};
    }
    return broken(natural, limit);
}

std::string Table::line(const std::vector<Cell>& row, const Layout& layout, const Part& part,
                        const Terminal& terminal) const {
    std::string result;
    std::size_t owed = part.indentation;  // spaces before the next text
    for (std::size_t i = part.first; i < part.end; ++i) {
        const std::string text = cutToColumns(row[i].text, layout.widths[i]);
        const std::size_t padding = layout.widths[i] - columnsOf(text);
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

std::string Table::lines(const std::vector<Cell>& row, const Layout& layout, const Terminal& terminal) const {
    std::string result;
    for (const Part& part : layout.parts) {
        const std::string text = line(row, layout, part, terminal);
        result += part.first == 0 || text != "\n" ? text : "";
    }
    return result;
}

std::string Table::text(const Terminal& terminal) const {
    if (rows_.empty()) {
        return {};
    }
    const Layout fitting = layout(terminal.width());
    std::vector<Cell> titles;
    for (const Column& column : columns_) {
        titles.emplace_back(column.title, Style::Heading);
    }
    std::string result = lines(titles, fitting, terminal);
    for (const auto& row : rows_) {
        result += lines(row, fitting, terminal);
    }
    return result;
}

}  // namespace vdictl
