#include "cli/tags/TagsTable.h"

#include <algorithm>
#include <numeric>

#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

using media::Element;

std::string cellOf(const Element& element) {
    if (element.isSequence()) {
        return "(" + formats::counted(element.items.size(), "item)", "items)");
    }
    if (element.isBinary() && !element.isEmpty) {
        const bool isOpen = element.length == 0xFFFFFFFF;
        return isOpen ? "(compressed)" : "(" + formats::counted(element.length, "byte)", "bytes)");
    }
    return element.text;
}

/// Cuts the widest columns to one width, so that a row takes no more than `room`.
void narrow(std::vector<std::size_t>& widths, std::size_t room) {
    constexpr std::size_t kNarrowest = 8;
    const auto total = [&](std::size_t limit) {
        return std::accumulate(widths.begin(), widths.end(), std::size_t{0},
                               [&](std::size_t sum, std::size_t width) { return sum + std::min(width, limit); });
    };
    std::size_t limit = widths.empty() ? 0 : *std::ranges::max_element(widths);
    while (limit > kNarrowest && total(limit) > room) {
        --limit;
    }
    for (std::size_t& width : widths) {
        width = std::min(width, limit);
    }
}

std::vector<std::size_t> widthsOf(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], columnsOf(row[column]));
        }
    }
    return widths;
}

} // namespace

Row cellsOf(const std::vector<Element>& elements, const std::vector<TagPath>& paths, std::vector<bool>& isThere) {
    Row cells;
    isThere.clear();
    for (const TagPath& path : paths) {
        const auto found = findElements(elements, path);
        isThere.push_back(!found.empty());
        std::string cell;
        for (std::size_t index = 0; index < found.size(); ++index) {
            cell += (index == 0 ? "" : "\\") + cellOf(*found[index].element);
        }
        cells.push_back(cell);
    }
    return cells;
}

media::ElementRequest requestFor(const std::vector<TagPath>& paths) {
    const auto isWanted = [&paths](const Element& element) { // of bytes and words, cells show the length
        return !element.isBinary() &&
               std::ranges::any_of(paths, [&](const TagPath& path) { return matches(path.last(), element); });
    };
    return {.values = media::ElementValues::Text, .wants = isWanted, .binary = true};
}

std::string csvRow(const Row& row) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
        const std::string& cell = row[column];
        line += column == 0 ? "" : ",";
        const bool isQuoted = cell.find_first_of(",\"\r\n") != std::string::npos ||
                              (!cell.empty() && (cell.front() == ' ' || cell.back() == ' '));
        if (!isQuoted) {
            line += cell;
            continue;
        }
        line += '"';
        for (const char character : cell) {
            line += character == '"' ? "\"\"" : std::string(1, character);
        }
        line += '"';
    }
    return line + '\n';
}

std::string alignedTable(const std::vector<Row>& rows, const Look& look, bool whole) {
    constexpr std::size_t kGap = 2;
    std::vector<Row> shown = rows;
    for (Row& row : shown) {
        std::ranges::transform(row, row.begin(), [](const std::string& cell) { return formats::printable(cell); });
    }
    std::vector<std::size_t> widths = widthsOf(shown);
    if (look.width > 0 && !whole) {
        const std::size_t gaps = kGap * widths.size(); // with one column that stays free
        narrow(widths, look.width > gaps ? look.width - gaps : 0);
    }
    std::string text;
    for (const Row& row : shown) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += std::string(column == 0 ? 0 : kGap, ' ') +
                    padded(cutToColumns(row[column], widths[column]), widths[column]);
        }
        line.resize(line.find_last_not_of(' ') + 1);
        text += toned(line, Tone::Strong, look.isColoured && &row == &shown.front()) + '\n';
    }
    return text;
}

} // namespace radvex::cli
