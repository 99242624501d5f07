#include "eventanalysis/event_list_cells.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace kymora {
namespace {

constexpr size_t valueWidth = 13;

void AppendPadded(std::string& row, std::string_view text, size_t width, char with = ' ') {
    if (text.size() < width) row.append(width - text.size(), with);
    row += text;
}

void AppendWhole(std::string& row, int64_t value, size_t width) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    AppendPadded(row, {text, static_cast<size_t>(end - text)}, width);
    row += '\t';
}

}  // namespace

void AppendValueCell(std::string& row, double value) {
    char text[400];  // the largest number has 309 digits before the point
    std::string_view cell = "nan";
    if (std::isinf(value)) {
        cell = value > 0 ? "inf" : "-inf";
    } else if (!std::isnan(value)) {
        const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 4).ptr;
        cell = {text, static_cast<size_t>(end - text)};
    }
    AppendPadded(row, cell, valueWidth);
    row += '\t';
}

void AppendCountCell(std::string& row, int64_t value) { AppendWhole(row, value, valueWidth); }

void AppendIdCell(std::string& row, int64_t value) { AppendWhole(row, value, 3); }

void AppendColourCell(std::string& row, uint32_t colour) {
    char text[8];
    const auto end = std::to_chars(text, text + sizeof text, colour, 16).ptr;
    row += "0x";
    AppendPadded(row, {text, static_cast<size_t>(end - text)}, 6, '0');
    row += '\t';
}

}  // namespace kymora
