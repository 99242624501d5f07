#include "import/text_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kymora {

namespace {

constexpr size_t mostCellBytes = 64 << 10;
constexpr size_t mostTextBytes = 1 << 20;
constexpr size_t mostFaultBytes = 60;
constexpr std::string_view blanks = " \t";

// All of them are exact.
constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int mostExactPower = 22;
constexpr uint64_t mostExactInteger = uint64_t{1} << 53;
constexpr ptrdiff_t mostDigits = 18;  // that certainly fit in 64 bits

bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

// The value of a number that is beyond the range of a double: infinite, or nothing.
double OutOfRange(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const size_t e = std::min(text.find_first_of("eE"), text.size());
    std::string_view exponent = text.substr(std::min(e + 1, text.size()));
    const bool small = exponent.starts_with('-');
    const std::string_view digits = text.substr(0, e);
    const size_t point = std::min(digits.find('.'), digits.size());
    const size_t first = std::min(digits.find_first_not_of("0."), digits.size());
    if (exponent.starts_with('+') || small) exponent.remove_prefix(1);
    double power = 0.0;
    for (const char c : exponent) power = std::min(power * 10.0 + (c - '0'), 1e18);
    const double magnitude =
        static_cast<double>(point) - static_cast<double>(first) + (small ? -power : power);
    const double size = magnitude > 0.0 ? std::numeric_limits<double>::infinity() : 0.0;
    return negative ? -size : size;
}

// The end of the cell that begins at the start of the text. Quotes count only where they begin a cell.
size_t EndOfCell(std::string_view text, std::string_view terminators) {
    size_t i = 0;
    if (text.starts_with('"'))
        for (i = 1; i < text.size() && text[i] != '\n'; ++i) {
            if (text[i] != '"') continue;
            if (i + 1 >= text.size() || text[i + 1] != '"') break;
            ++i;
        }
    return std::min(text.find_first_of(terminators, i), text.size());
}

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool IsHeadingCharacter(char c) {
    return !IsDigit(c) && std::string_view(".-,; \t\n\v\f\r").find(c) == std::string_view::npos;
}

// "1.234,56": points that group the digits of one number with a comma.
bool HasGroups(std::string_view text) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos || text.starts_with('0')) return false;
    std::string_view groups = text.substr(0, comma);
    while (groups.size() > 4 && groups[groups.size() - 4] == '.') groups.remove_suffix(4);
    const auto isDigits = [](std::string_view part) {
        return std::all_of(part.begin(), part.end(), IsDigit);
    };
    return groups.size() < comma && isDigits(groups) && isDigits(text.substr(comma + 1));
}

// Whether what is no number of a comma locale is one with a point, or several: "1.5", "0,1.5". After numbers
// with a comma a single one is taken for a slip.
bool LooksLikePoints(std::string_view text, bool sawComma) {
    const std::vector<std::string> cells = SplitCells(text, ",");
    return text.find('.') != std::string_view::npos && !HasGroups(text) && (cells.size() > 1 || !sawComma) &&
           std::all_of(cells.begin(), cells.end(), [](const std::string& cell) { return ReadNumber(cell); });
}

// What a line that has cells tells of where the table begins.
struct LineShape {
    size_t line = 0;
    size_t cells = 0;
    bool isData = false;
};

LineShape ShapeOf(std::string_view line, const RowFormat& format) {
    const std::vector<std::string> cells = SplitCells(line, format.separators);
    const auto skipped = static_cast<size_t>(format.skipColumns);
    const bool hasWords =
        std::any_of(cells.begin() + static_cast<std::ptrdiff_t>(std::min(skipped, cells.size())), cells.end(),
                    [&](const std::string& cell) {
                        return std::any_of(cell.begin(), cell.end(), IsHeadingCharacter) &&
                               !ReadNumber(cell, format.decimal);
                    });
    return {0, cells.size(), cells.size() > skipped && !hasWords};
}

// Whether a line of numbers above the last heading is no row of the table below it: it has another number of
// columns, or stands alone between words, the next of which would not fit into the table either. Of a table
// that a line of words interrupts, or a cell that is none, nothing may be lost unseen.
bool IsOfHeading(std::span<const LineShape> shapes, size_t at, size_t tableCells) {
    if (shapes[at].cells != tableCells) return true;
    return at > 0 && !shapes[at - 1].isData && !shapes[at + 1].isData && shapes[at + 1].cells != tableCells;
}

// The first line of the table among lines that end with data. Words between numbers are a heading only where
// no fewer rows follow them than stand above.
size_t TableStart(std::span<const LineShape> shapes) {
    size_t first = 0, table = shapes.size() - 1;
    while (!shapes[first].isData) ++first;
    while (table > first && shapes[table - 1].isData) --table;
    size_t above = 0;
    for (size_t i = first; i < table; ++i) {
        if (!shapes[i].isData) continue;
        if (!IsOfHeading(shapes, i, shapes[table].cells)) return first;
        ++above;
    }
    return above > shapes.size() - table ? first : table;
}

std::string Shortened(std::string_view text) {
    if (text.size() <= mostFaultBytes) return std::string(text);
    size_t end = mostFaultBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return std::string(text.substr(0, end)) + "...";
}

}  // namespace

RowFormat RowFormat::Of(char decimal) {
    RowFormat format;
    format.decimal = decimal;
    if (decimal == ',') format.separators = ";\t ";
    return format;
}

RowFormat RowFormat::Points() {
    RowFormat format;
    format.separators = ",;\t ";
    return format;
}

std::string RowFormat::LabelSeparators() const {
    std::string some = separators;
    std::erase(some, ' ');
    return some;
}

std::optional<double> ReadNumber(std::string_view text, char decimal) {
    std::string withPoint;
    if (decimal != '.') {
        if (text.find('.') != std::string_view::npos) return {};
        withPoint = text;
        std::replace(withPoint.begin(), withPoint.end(), decimal, '.');
        text = withPoint;
    }
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return {};
    }
    double value = 0.0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || fault == std::errc::invalid_argument) return {};
    return fault == std::errc::result_out_of_range ? OutOfRange(text) : value;
}

std::string UnquotedCell(std::string_view cell) {
    if (!cell.starts_with('"')) return std::string(cell);
    std::string text;
    bool open = false;
    for (size_t i = 0; i < cell.size(); ++i) {
        if (cell[i] != '"')
            text += cell[i];
        else if (open && i + 1 < cell.size() && cell[i + 1] == '"')
            text += cell[i++];
        else
            open = !open;
    }
    return text;
}

std::vector<std::string> SplitCells(std::string_view line, std::string_view separators) {
    std::vector<std::string> cells;
    const std::string terminators = std::string(separators) + '\n';
    for (;;) {
        const size_t first = line.find_first_not_of(terminators);
        if (first == std::string_view::npos) return cells;
        line.remove_prefix(first);
        const size_t end = EndOfCell(line, terminators);
        const std::string_view cell = line.substr(0, end);
        cells.push_back(UnquotedCell(cell));
        line.remove_prefix(end);
    }
}

size_t CountTopRows(std::span<const std::string_view> lines, const RowFormat& format) {
    std::vector<LineShape> shapes;
    size_t upToData = 0;  // of the shapes, those up to the last line that holds data
    for (size_t i = 0; i < lines.size(); ++i) {
        const LineShape shape = ShapeOf(lines[i], format);
        if (shape.cells == 0) continue;
        shapes.push_back({i, shape.cells, shape.isData});
        if (shape.isData) upToData = shapes.size();
    }
    if (upToData == 0) return lines.size();
    return shapes[TableStart(std::span(shapes).first(upToData))].line;
}

std::vector<std::string> LabelsOfLine(std::string_view line, const RowFormat& format, size_t count) {
    std::vector<std::string> ways[2];
    const std::string separators = format.LabelSeparators();
    for (size_t way = 0; way < 2; ++way) {
        for (const std::string& cell : SplitCells(line, way == 0 ? separators : separators + " "))
            if (const std::string_view label = Trimmed(cell); !label.empty()) ways[way].emplace_back(label);
    }
    for (const int64_t skipped : {format.skipColumns, int64_t{0}})
        for (const std::vector<std::string>& labels : ways)
            if (labels.size() == count + static_cast<size_t>(skipped))
                return {labels.begin() + skipped, labels.end()};
    return {};
}

RowParser::RowParser(const RowFormat& format, RowSink& sink) : format_(format), sink_(sink) {
    for (const char c : format_.separators)
        kinds_[static_cast<unsigned char>(c)] = c == ' ' ? blank : separator;
    kinds_['\n'] = lineEnd;
    plainFrom_ = std::max(format_.skipColumns, format_.labelColumn);
}

bool RowParser::Take(std::string_view piece) {
    const char* p = piece.data();
    const char* const end = p + piece.size();
    while (p != nullptr && p != end) {
        if (IsTextRow())
            p = TakeText(p, end);
        else if (!pending_.empty())
            p = FinishPending(p, end);
        else
            p = TakeCells(p, end);
    }
    return p != nullptr;
}

bool RowParser::Finish() {
    if (textBegun_) return EndText();
    if (!pending_.empty()) {
        const std::string cell = std::exchange(pending_, {});
        if (!TakeCell(cell)) return false;
    }
    return EndRow();
}

// Keeps the start of a row that is no data. Null where the sink has had enough, as from the others below.
const char* RowParser::TakeText(const char* p, const char* end) {
    textBegun_ = true;
    const auto* found = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
    const char* stop = found ? found : end;
    text_.append(p, std::min(static_cast<size_t>(stop - p), mostTextBytes - text_.size()));
    if (!found) return end;
    return EndText() ? found + 1 : nullptr;
}

bool RowParser::EndText() {
    const bool goOn = sink_.TakeLine(row_, text_);
    text_.clear();
    textBegun_ = false;
    ++row_;
    return goOn;
}

// Up to the last separator of the piece no cell is cut, so that what reads numbers need not look for the end.
const char* RowParser::TakeCells(const char* p, const char* end) {
    const char* safe = end;
    while (safe != p && KindOf(safe[-1]) == inside) --safe;
    while (p != safe) {
        const Kind kind = KindOf(*p);
        if (kind == blank || kind == separator) {
            if (kind == separator && !std::exchange(isBehindCell_, false)) ++emptyCells_;
            ++p;
            continue;
        }
        if (kind == lineEnd) {
            ++p;
            if (!EndRow()) return nullptr;
            if (IsTextRow()) return p;
            continue;
        }
        double value = 0.0;
        const char* next = cell_ >= plainFrom_ ? FastNumber(p, value) : nullptr;
        if (next) {
            CloseCell();
            if (!AddValue(value)) return nullptr;
            p = next;
            continue;
        }
        next = CellEnd(p, end);
        if (!next) break;
        if (!TakeCell({p, static_cast<size_t>(next - p)})) return nullptr;
        p = next;
    }
    pending_.assign(p, end);
    return end;
}

// The separator or line end behind the cell at p; null where the piece cuts it.
const char* RowParser::CellEnd(const char* p, const char* end) const {
    if (*p == '"')
        for (++p; p != end && *p != '\n'; ++p) {
            if (*p != '"') continue;
            if (p + 1 == end) return nullptr;
            if (p[1] != '"') break;
            ++p;
        }
    while (p != end && KindOf(*p) == inside) ++p;
    return p == end ? nullptr : p;
}

const char* RowParser::FinishPending(const char* p, const char* end) {
    const size_t before = pending_.size();
    if (pending_.front() == '"') {
        pending_.append(p, std::min<size_t>(static_cast<size_t>(end - p), mostCellBytes));
        const char* start = pending_.data();
        const char* cellEnd = CellEnd(start, start + pending_.size());
        const size_t length = cellEnd ? static_cast<size_t>(cellEnd - start) : pending_.size();
        p += length - before;
        pending_.resize(length);
        if (!cellEnd && pending_.size() <= mostCellBytes) return p;
    } else {
        const char* stop = p;
        while (stop != end && KindOf(*stop) == inside) ++stop;
        pending_.append(p, std::min<size_t>(static_cast<size_t>(stop - p), mostCellBytes));
        p = stop;
        if (p == end && pending_.size() <= mostCellBytes) return p;
    }
    const std::string cell = std::exchange(pending_, {});
    return TakeCell(cell) ? p : nullptr;
}

// Reads the plain forms of a number, whose value is exact: an integer up to 2^53, multiplied or divided by a
// power of ten that a double holds. Null for all others. A separator must follow somewhere.
const char* RowParser::FastNumber(const char* p, double& value) {
    const bool negative = *p == '-';
    if (negative || *p == '+') ++p;
    uint64_t integer = 0;
    const char* start = p;
    for (; IsDigit(*p); ++p) integer = integer * 10 + static_cast<uint64_t>(*p - '0');
    ptrdiff_t digits = p - start;
    int power = 0;
    const bool hasDecimal = *p == format_.decimal;
    if (hasDecimal) {
        start = ++p;
        for (; IsDigit(*p); ++p) integer = integer * 10 + static_cast<uint64_t>(*p - '0');
        digits += p - start;
        power = -static_cast<int>(std::min<ptrdiff_t>(p - start, mostDigits + 1));
    }
    if (digits == 0 || digits > mostDigits || integer > mostExactInteger) return nullptr;
    if (*p == 'e' || *p == 'E') {
        ++p;
        const bool small = *p == '-';
        if (small || *p == '+') ++p;
        if (!IsDigit(*p)) return nullptr;
        int exponent = 0;
        for (start = p; IsDigit(*p) && p - start < 4; ++p) exponent = exponent * 10 + (*p - '0');
        power += small ? -exponent : exponent;
        if (std::abs(power) > mostExactPower) return nullptr;
    }
    if (KindOf(*p) == inside) return nullptr;
    value = static_cast<double>(integer);
    value = power < 0 ? value / powersOfTen[-power] : value * powersOfTen[power];
    if (negative) value = -value;
    sawDecimal_ |= hasDecimal;
    return p;
}

bool RowParser::TakeCell(std::string_view text) {
    if (text.size() > mostCellBytes) return Refuse(text);
    std::string unquoted;
    if (text.starts_with('"')) text = unquoted = UnquotedCell(text);
    CloseCell();
    if (cell_ == format_.labelColumn) return sink_.TakeLabel(text);
    if (cell_ <= format_.skipColumns) return true;
    const std::optional<double> value = ReadNumber(text, format_.decimal);
    if (!value) return Refuse(text);
    sawDecimal_ |= text.find(format_.decimal) != std::string_view::npos;
    return AddValue(*value);
}

bool RowParser::AddValue(double value) {
    values_[count_++] = value;
    if (count_ < mostValuesAtOnce) return true;
    count_ = 0;
    return sink_.TakeValues(row_, values_, false);
}

void RowParser::CloseCell() {
    ++cell_;
    isBehindCell_ = true;
    if (emptyCells_ == 0) return;
    // Each place and count leads to another number.
    places_ = (places_ ^ static_cast<uint64_t>(cell_ * 1000003 + emptyCells_)) * 0x9E3779B97F4A7C15;
    emptyCells_ = 0;
}

void RowParser::CheckPlaces() {
    if (cell_ > 0) {
        if (!firstPlaces_) firstPlaces_ = places_;
        if (places_ != *firstPlaces_ && oddRow_ == 0) oddRow_ = row_;
        if (hollowRow_ == 0) hollowRow_ = waitingHollowRow_;
    } else if (emptyCells_ > 0 && firstPlaces_ && waitingHollowRow_ == 0) {
        waitingHollowRow_ = row_;
    }
    isBehindCell_ = false;
    emptyCells_ = 0;
    places_ = 0;
}

bool RowParser::EndRow() {
    const bool goOn = cell_ == 0 || sink_.TakeValues(row_, {values_.data(), count_}, true);
    CheckPlaces();
    cell_ = 0;
    count_ = 0;
    ++row_;
    return goOn;
}

bool RowParser::Refuse(std::string_view text) {
    faultRow_ = row_;
    faultText_ = Shortened(text);
    seemsToUsePoints_ = format_.decimal == ',' && LooksLikePoints(text, sawDecimal_);
    return false;
}

}  // namespace kymora
