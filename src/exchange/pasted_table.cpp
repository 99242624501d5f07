#include "exchange/pasted_table.h"

#include <fmt/format.h>

#include <algorithm>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";
constexpr int64_t rowsBetweenUpdates = 1024;

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view Unquoted(std::string_view text) {
    text = Trimmed(text);
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? Trimmed(text.substr(1, text.size() - 2)) : text;
}

// The rows of the preview that hold data.
std::vector<std::string_view> DataRows(std::span<const std::string> first) {
    std::vector<std::string_view> rows;
    for (const std::string& line : first.subspan(static_cast<size_t>(GuessTopRows(first))))
        if (!IsBlankRow(line)) rows.emplace_back(line);
    return rows;
}

bool EachHolds(const std::vector<std::string_view>& rows, char c) {
    return !rows.empty() && std::all_of(rows.begin(), rows.end(), [c](std::string_view row) {
        return row.find(c) != std::string_view::npos;
    });
}

// Whether the first number with a decimal separator has a point. The cells may be apart by any separator.
bool HasPoints(const std::vector<std::string_view>& rows, char separator) {
    TableRow row;
    for (const std::string_view line : rows) {
        row.Split(line, separator);
        for (const std::string_view cell : row.Cells()) {
            double value = 0.0;
            if (cell.find(',') != std::string_view::npos) return false;
            if (cell.find('.') != std::string_view::npos && CellNumber(cell, '.', value)) return true;
        }
    }
    return false;
}

char SeparatorOf(std::span<const std::string> first, const std::vector<std::string_view>& rows,
                 char decimal) {
    const bool hasTabs = std::any_of(first.begin(), first.end(), [](const std::string& line) {
        return line.find('\t') != std::string::npos;
    });
    if (hasTabs) return '\t';
    if (EachHolds(rows, ';')) return ';';
    const bool mayBeCommas = decimal == '.' || HasPoints(rows, ',');
    return mayBeCommas && EachHolds(rows, ',') ? ',' : '\t';
}

}  // namespace

TableOutline Outline(TextReader& text) {
    TableOutline outline;
    text.Rewind();
    std::string line;
    for (int64_t row = 1; text.NextLine(line, longestRow); ++row) {
        if (!IsBlankRow(line)) outline.rows = row;
        if (row > static_cast<int64_t>(previewRows)) continue;
        line.resize(line.find_last_not_of(blanks) + 1);
        outline.first.push_back(line);
    }
    return outline;
}

std::optional<TableFormat> AskTableFormat(Session& session, std::span<const std::string> first) {
    const auto rows = DataRows(first);
    TableFormat format{SeparatorOf(first, rows, session.decimalSeparator), session.decimalSeparator};
    if (format.decimal == '.' || !HasPoints(rows, format.separator)) return format;
    if (!session.host.Confirm("The text seems to use '.' as the decimal separator (the locale uses ','). "
                              "Continue, using '.' as separator?"))
        return {};
    format.decimal = '.';
    return format;
}

int32_t GuessTopRows(std::span<const std::string> first) {
    const std::vector<std::string_view> lines(first.begin(), first.end());
    return static_cast<int32_t>(CountTopRows(lines, RowFormat::Points()));
}

bool TableRow::Split(std::string_view line, char separator) {
    cells_.clear();
    places_ = 0;
    startsEmpty_ = !line.empty() && line.front() == separator;
    if (IsBlankRow(line)) return false;
    size_t empty = 0;  // separators that stand before the next cell
    for (size_t at = 0; at < line.size();) {
        const char c = line[at];
        if (c == separator || c == '\r') {
            ++empty;
            ++at;
            continue;
        }
        size_t end = at;
        if (c == '"') {
            const size_t closing = line.find('"', at + 1);
            end = closing == std::string_view::npos ? at : closing + 1;
            while (end < line.size() && line[end] == '"') {  // a doubled one stands for itself
                const size_t next = line.find('"', end + 1);
                if (next == std::string_view::npos) break;
                end = next + 1;
            }
        }
        while (end < line.size() && line[end] != separator && line[end] != '\r') ++end;
        cells_.push_back(line.substr(at, end - at));
        places_ = places_ * 1000003 + empty;
        empty = 0;
        at = end;
    }
    return !cells_.empty();
}

bool IsBlankRow(std::string_view line) { return line.find_first_not_of(blanks) == std::string_view::npos; }

std::string PlainCell(std::string_view cell) { return std::string(Trimmed(UnquotedCell(Trimmed(cell)))); }

bool CellNumber(std::string_view cell, char decimal, double& value) {
    if (cell.empty()) return false;
    if (cell.front() <= ' ' || cell.back() <= ' ' || cell.front() == '"') cell = Unquoted(cell);
    const std::optional<double> number = ReadNumber(cell, decimal);
    value = number.value_or(0.0);
    return number.has_value();
}

std::string ShownCell(std::string_view cell, size_t most) {
    if (cell.size() <= most) return ToDisplayText(cell);
    size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(cell[end]) & 0xC0) == 0x80) --end;
    return ToDisplayText(cell.substr(0, end)) + "...";
}

std::string NotANumberText(int64_t row, std::string_view cell) {
    return fmt::format("Error reading datum as float: row {}, text: '{}'", row, ShownCell(cell));
}

TableReader::TableReader(Session& session, TextReader& text, std::string_view label)
    : text_(text), progress_(session.host, label, text.Length()) {
    text_.Rewind();
}

bool TableReader::Next(std::string_view& line) {
    if (row_ % rowsBetweenUpdates == 0) progress_.At(text_.BytesRead());
    if (!text_.NextLine(line_, longestRow)) return false;
    ++row_;
    if (line_.size() >= longestRow)
        throw TableError(fmt::format("Row {} is longer than {} characters. Abandoning.", row_, longestRow));
    line = line_;
    return true;
}

void EmptyCellCheck::Look(const TableRow& row, int64_t number) {
    if (!places_) places_ = row.Places();
    if (asked_ || row.Places() == *places_) return;
    asked_ = true;
    if (!session_.host.Confirm(
            fmt::format("Row {} has its empty cells in other places than the rows before it, "
                        "so that values may come into the wrong columns. Continue?",
                        number)))
        throw Cancelled();
}

}  // namespace kymora
