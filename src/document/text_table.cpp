#include "document/text_table.h"

#include <charconv>
#include <cmath>

#include "archive/text_encoding.h"

namespace kymora {

void AppendFixed(std::string& to, double value) {
    char text[400];  // the largest number has 309 digits before the point
    if (std::isnan(value))
        to += "nan";
    else if (std::isinf(value))
        to += value > 0 ? "inf" : "-inf";
    else
        to.append(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr);
}

std::string CellText(std::string_view text) {
    std::string cell(text);
    for (char& c : cell)
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    return ToDisplayText(cell);
}

}  // namespace kymora
