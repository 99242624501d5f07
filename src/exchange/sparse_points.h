#pragma once
// Points in time with their values, as a table holds them: times in its first column, values in the others.

#include <deque>
#include <string>
#include <vector>

#include "exchange/pasted_recording.h"
#include "exchange/pasted_table.h"

namespace kymora {

struct SparsePoints {
    std::deque<double> times;  // rising, not negative, in the unit of the table
    SampleBlocks values;
    std::vector<std::string> labels;
    int64_t firstRow = 1;       // of the points in the table, counted from 1
    double smallestStep = 0.0;  // between two times
};

// Throws TableError, Cancelled and FileError. Tells the user of labels that do not fit, and leaves them out.
SparsePoints ReadSparse(Session& session, TextReader& text, TableFormat table);

}  // namespace kymora
