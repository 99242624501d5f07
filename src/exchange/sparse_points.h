#pragma once
// Points in time with their values, as a table holds them: times in its first column, values in the others.

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "exchange/fill_words.h"
#include "exchange/pasted_recording.h"
#include "exchange/pasted_table.h"

namespace kymora {

struct SparsePoints {
    std::deque<double> times;  // rising, not negative, in the unit of the table
    SampleBlocks values;
    std::vector<std::string> labels;
    int64_t firstRow = 1;          // of the points in the table, counted from 1
    double smallestStep = 0.0;     // between two times
    int64_t rowWithoutNumber = 0;  // the first with a value that is infinite or none; 0 for none

    std::vector<double> TimesMs(double factor) const;
    std::vector<float> Values(int column) const;
};

// Throws TableError, Cancelled and FileError. Tells the user of labels that do not fit, and leaves them out.
SparsePoints ReadSparse(Session& session, TextReader& text, TableFormat table);
// The same, after asking what there is to ask about the table. Nothing when there are none, which the user
// knows.
std::optional<SparsePoints> AskSparsePoints(Session& session, TextReader& text);

inline constexpr const char* sparseTimeTip = "The unit of the times in the first column";
std::vector<std::string> SparseTimeUnits();
double SparseTimeFactor(int32_t unit);  // ms

// --- on samples at an interval; times x factor are ms

// The first point, counted from 0, that falls on the sample of the one before it; -1 for none.
int64_t FirstCollision(const SparsePoints& points, double factor, double interval);
// Why no curve of the kind goes through the first `count` points; empty when one does.
std::string CurveFault(const SparsePoints& points, size_t count, const FillSettings& fill);

}  // namespace kymora
