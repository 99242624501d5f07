#pragma once
// The cells of text tables that the program writes.

#include <cstddef>
#include <string>
#include <string_view>

namespace kymora {

// The longest number that WriteFixed writes has a sign, 309 digits before the point, and six behind it.
inline constexpr size_t fixedRoom = 320;

// Writes a number exactly as "%f" does in the C locale, and answers the end; `to` has fixedRoom characters.
// All that is no number is "nan".
char* WriteFixed(char* to, double value);

// Adds it to a text.
void AppendFixed(std::string& to, double value);

// A label as one cell: line ends and tabs, which would break the columns, become blanks.
std::string CellText(std::string_view text);

}  // namespace kymora
