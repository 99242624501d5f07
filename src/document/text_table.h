#pragma once
// The cells of text tables that the program writes.

#include <string>
#include <string_view>

namespace kymora {

// Adds a number as "%f" writes it in the C locale.
void AppendFixed(std::string& to, double value);

// A label as one cell: line ends and tabs, which would break the columns, become blanks.
std::string CellText(std::string_view text);

}  // namespace kymora
