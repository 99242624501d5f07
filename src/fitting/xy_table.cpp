#include "fitting/xy_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr size_t shownCell = 30;  // characters

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The layout that the text seems to have.
RowFormat FormatOf(TextReader& text, char decimal) {
    bool hasPoint = false, hasComma = false, hasOthers = false;
    char before = ' ', at = ' ';
    for (std::string_view piece = text.NextPiece(); !piece.empty(); piece = text.NextPiece())
        for (const char next : piece) {
            hasPoint |= at == '.' && (IsDigit(before) || IsDigit(next));
            hasComma |= at == ',' && IsDigit(before) && IsDigit(next);
            hasOthers |= next == '\t' || next == ';';
            before = std::exchange(at, next);
        }
    const bool isDecimalComma = !hasPoint && hasComma && (hasOthers || decimal == ',');
    return isDecimalComma ? RowFormat::Of(',') : RowFormat::Points();
}

std::optional<double> NumberAt(const std::vector<std::string>& cells, size_t column, char decimal) {
    return column < cells.size() ? ReadNumber(cells[column], decimal) : std::nullopt;
}

// Of a line that has both columns, or two cells that are numbers.
std::optional<std::pair<size_t, size_t>> ColumnsOf(const std::vector<std::string>& cells, int columnX,
                                                   int columnY, char decimal) {
    std::vector<size_t> found;
    for (size_t i = 0; i < cells.size(); ++i)
        if (NumberAt(cells, i, decimal)) found.push_back(i);
    const auto choose = [&](int column, size_t taken) -> std::optional<size_t> {
        if (column > 0) {
            const auto at = static_cast<size_t>(column) - 1;
            return NumberAt(cells, at, decimal) ? std::optional(at) : std::nullopt;
        }
        for (const size_t at : found)
            if (at != taken) return at;
        return std::nullopt;
    };
    constexpr size_t none = static_cast<size_t>(-1);
    const auto x = choose(columnX, columnX == 0 && columnY > 0 ? static_cast<size_t>(columnY) - 1 : none);
    const auto y = choose(columnY, x.value_or(none));
    if (!x || !y) return std::nullopt;
    return std::pair(*x, *y);
}

std::string BadCell(int64_t row, const std::vector<std::string>& cells, size_t column) {
    const std::string cell = column < cells.size() ? cells[column].substr(0, shownCell) : std::string();
    return cell.empty() ? fmt::format("Row {} has no number in column {}.", row, column + 1)
                        : fmt::format("Row {}: \"{}\" is no number that can be fitted.", row, cell);
}

// A blank in a heading parts no number from its word: "Trace 1" is none.
bool HoldsNumber(std::string_view line, const std::vector<std::string>& cells, const RowFormat& format) {
    const auto isNumber = [&](const std::string& cell) {
        return ReadNumber(cell, format.decimal).has_value();
    };
    return (!cells.empty() && isNumber(cells.front())) ||
           std::ranges::any_of(SplitCells(line, format.LabelSeparators()), isNumber);
}

// The first that is asked for and has no number.
size_t MissingColumn(const std::vector<std::string>& cells, int columnX, int columnY, char decimal) {
    for (const int column : {columnX, columnY})
        if (column > 0 && !NumberAt(cells, static_cast<size_t>(column) - 1, decimal))
            return static_cast<size_t>(column) - 1;
    size_t at = 0;
    while (NumberAt(cells, at, decimal)) ++at;
    return at;
}

}  // namespace

XYTable ReadXYTable(TextReader& text, int columnX, int columnY, char decimal) {
    const RowFormat format = FormatOf(text, decimal);
    text.Rewind();
    XYTable table;
    std::optional<std::pair<size_t, size_t>> columns;
    bool mayBeHeading = false;  // the one row so far: "Trace 1" is no number where other rows begin with one
    int64_t row = 0;
    for (std::string line; text.NextLine(line);) {
        ++row;
        if (line.find_first_not_of(" \t\r,;") == std::string::npos) continue;
        const std::vector<std::string> cells = SplitCells(line, format.separators);
        const bool holdsNumber = (!columns || mayBeHeading) && HoldsNumber(line, cells, format);
        if (mayBeHeading && holdsNumber) {
            table = {};
            columns.reset();
        }
        mayBeHeading = false;
        if (!columns) {
            columns = ColumnsOf(cells, columnX, columnY, format.decimal);
            mayBeHeading = columns && !holdsNumber;
        }
        if (!columns && holdsNumber) {
            table.fault = BadCell(row, cells, MissingColumn(cells, columnX, columnY, format.decimal));
            return table;
        }
        if (!columns) continue;
        if (table.x.size() == mostTableRows) {
            table.fault = fmt::format("The table has more than {} rows.", mostTableRows);
            return table;
        }
        double pair[2] = {};
        const size_t at[2] = {columns->first, columns->second};
        for (int k = 0; k < 2; ++k) {
            const auto number = NumberAt(cells, at[k], format.decimal);
            if (!number || !std::isfinite(*number)) {
                table.fault = BadCell(row, cells, at[k]);
                return table;
            }
            pair[k] = *number;
        }
        table.x.push_back(pair[0]);
        table.y.push_back(pair[1]);
    }
    if (table.x.empty())
        table.fault = columnX > 0 || columnY > 0
                          ? "The table has no row with numbers in the columns that are set."
                          : "The table has no row with two numbers.";
    return table;
}

bool SortByX(XYTable& table) {
    if (std::ranges::is_sorted(table.x)) return false;
    std::vector<size_t> order(table.x.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, [&](size_t a, size_t b) { return table.x[a] < table.x[b]; });
    XYTable sorted;
    for (const size_t i : order) {
        sorted.x.push_back(table.x[i]);
        sorted.y.push_back(table.y[i]);
    }
    table = std::move(sorted);
    return true;
}

}  // namespace kymora
