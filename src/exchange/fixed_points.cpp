#include "exchange/fixed_points.h"

#include <algorithm>
#include <cmath>

#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr size_t leastFixedPoints = 4;

struct Reading {
    FixedPoints points;
    bool hasFractions = false;  // a number of a point holds the decimal separator
};

bool IsFraction(const std::string& cell, char decimal) {
    const size_t at = cell.find(decimal);
    return at != std::string::npos && at + 1 < cell.size();
}

// Reads the rows of one layout.
Reading ReadRows(TextReader& text, const RowFormat& format) {
    Reading reading;
    FixedPoints& points = reading.points;
    text.Rewind();
    for (std::string line; text.NextLine(line);) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        const std::vector<std::string> cells = SplitCells(line, format.separators);
        const auto number = [&](size_t i) {
            const auto value = i < cells.size() ? ReadNumber(cells[i], format.decimal) : std::nullopt;
            return value && std::isfinite(*value) ? value : std::nullopt;
        };
        const auto x = number(0), y = number(1);
        if (x && y) {
            points.x.push_back(*x);
            points.y.push_back(*y);
            if (IsFraction(cells[0], format.decimal) || IsFraction(cells[1], format.decimal))
                reading.hasFractions = true;
        } else {
            ++points.ignored;
        }
    }
    return reading;
}

}  // namespace

FixedPoints ReadFixedPoints(TextReader& text, char decimal) {
    Reading reading = ReadRows(text, RowFormat::Of(decimal));
    if (decimal == '.' || reading.points.ignored == 0 || reading.hasFractions) return reading.points;
    Reading withPoints = ReadRows(text, RowFormat::Of('.'));
    const bool readsMore = withPoints.points.ignored < reading.points.ignored;
    return readsMore ? withPoints.points : reading.points;
}

const char* FixedPointsFault(const FixedPoints& points) {
    if (points.x.empty()) return "No valid data in Fixed points list.";
    if (points.x.size() < leastFixedPoints) return "Please enter at least 4 fixed points.";
    const auto& x = points.x;
    const bool rises = std::adjacent_find(x.begin(), x.end(), std::greater_equal<>()) == x.end();
    return rises ? "" : "Fixed points must be in strictly increasing time order.";
}

}  // namespace kymora
