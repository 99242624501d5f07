#pragma once
// The cells of a row of numbers, in the fixed forms of the event list; each ends with a tab.

#include <cstdint>
#include <string>

namespace kymora {

// "%13.4f"; "nan", "inf" and "-inf" as wide for what is no finite number.
void AppendValueCell(std::string& row, double value);
// "%13d".
void AppendCountCell(std::string& row, int64_t value);
// "%3d".
void AppendIdCell(std::string& row, int64_t value);
// "0x%.6x".
void AppendColourCell(std::string& row, uint32_t colour);

}  // namespace kymora
