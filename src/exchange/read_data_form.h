#pragma once
// "Read Data Format": which rows and columns of a table become samples. The dialog lays the first rows out
// and dims what is left out.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "exchange/pasted_table.h"
#include "host/form.h"

namespace kymora {

struct ReadDataFormat {
    double sampleInterval = 1.0;  // ms
    int32_t skipRows = -1;        // at the top; -1: as guessed
    int32_t skipColumns = 0;      // at the left
    int32_t labelRow = 0;         // one of the skipped rows, counted from 1; 0 for no labels
    // Of columns in pairs: those left out before each X column, between it and its Y column, and behind that.
    int32_t beforeX = 0, beforeY = 0, behindY = 0;

    // Whether a column, counted from 0, becomes a trace.
    bool Keeps(size_t column) const;
    // Those of the first `columns` that do.
    std::vector<size_t> Kept(size_t columns) const;

    // Three text rows, a column of frame numbers, and a likelihood behind each Y.
    void SetDeepLabCut();
};

inline constexpr int32_t mostColumnsBetween = 100;
inline constexpr double leastPastedInterval = 1e-7, greatestPastedInterval = 1e7;  // ms
inline constexpr const char* deepLabCutTip =
    "Set typical DeepLabCut csv format (3 top text rows, 1 left frame number column, 1 post-Y likelihood "
    "column";
inline constexpr const char* labelRowTip =
    "The names of the traces stand in this row, which is one of those that are skipped at the top";
inline constexpr const char* labelRowFault =
    "The row with the labels has to be one of the top rows that are skipped.";

Form MakeReadDataForm(const TableOutline& outline, TableFormat table, const ReadDataFormat& start);
ReadDataFormat ReadDataFormatFrom(const Form& form);

}  // namespace kymora
