#pragma once
// Tables of X and Y as spreadsheets and other programs write them.

#include <string>
#include <vector>

#include "archive/text_reader.h"

namespace kymora {

inline constexpr size_t mostTableRows = 100'000;

struct XYTable {
    std::vector<double> x, y;  // finite
    std::string fault;         // why it cannot be used; empty when it can
};

// The columns are counted from 1; 0 for the first two whose cells are numbers. Lines at the top without
// any number are passed over, any other one without both is a fault, which tells its row. Cells are apart by
// tabs, semicolons, blanks and commas; a comma is a decimal one where no number has a point, and either tabs
// or semicolons part the cells or the user's decimal separator is the comma. Throws FileError.
XYTable ReadXYTable(TextReader& text, int columnX, int columnY, char decimal);

// Ascending by X, rows of one X in their order. False when they were so already.
bool SortByX(XYTable& table);

}  // namespace kymora
