#include "exchange/fixed_points.h"

#include <algorithm>
#include <cmath>

#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr size_t leastFixedPoints = 4;

// Reads the rows of one layout.
FixedPoints ReadRows(TextReader& text, const RowFormat& format) {
    FixedPoints points;
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
        } else {
            ++points.ignored;
        }
    }
    return points;
}

}  // namespace

FixedPoints ReadFixedPoints(TextReader& text, char decimal) {
    FixedPoints points = ReadRows(text, RowFormat::Of(decimal));
    if (points.x.empty() && points.ignored > 0 && decimal != '.') points = ReadRows(text, RowFormat::Of('.'));
    return points;
}

const char* FixedPointsFault(const FixedPoints& points) {
    if (points.x.empty()) return "No valid data in Fixed points list.";
    if (points.x.size() < leastFixedPoints) return "Please enter at least 4 fixed points.";
    const auto& x = points.x;
    const bool rises = std::adjacent_find(x.begin(), x.end(), std::greater_equal<>()) == x.end();
    return rises ? "" : "Fixed points must be in strictly increasing time order.";
}

}  // namespace kymora
