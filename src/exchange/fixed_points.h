#pragma once
// Points as a user lists them: X and Y in the first two cells of each row, apart by tabs, commas or blanks.

#include <vector>

#include "archive/text_reader.h"

namespace kymora {

struct FixedPoints {
    std::vector<double> x, y;
    int64_t ignored = 0;  // rows in which one of the two is no finite number
};

// With decimal commas the cells are apart by semicolons, tabs and blanks. A text of which more rows make
// sense with points is read with these, unless a number in it has a comma: that text would be read wrong.
// Throws FileError.
FixedPoints ReadFixedPoints(TextReader& text, char decimal);
// Why the points make no curve; empty when they do.
const char* FixedPointsFault(const FixedPoints& points);

}  // namespace kymora
