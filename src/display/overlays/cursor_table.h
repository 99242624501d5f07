#pragma once
// What the cursors of a view measure: times and values at each, and between them time, frequency and the
// differences of the values. It follows a cursor that the mouse has under way.

#include <string>
#include <string_view>
#include <vector>

#include "display/kymora_view.h"

namespace kymora {

// Of one cursor. What a horizontal one reads on the axes of traces stands in `values`, too; it has no time.
struct CursorReading {
    int line = 0;
    double time = 0.0;           // ms
    std::vector<double> values;  // one for each trace of CursorMeasures; not-a-number where there is none
};

// From one cursor to another one.
struct CursorDifference {
    int from = 0, to = 0;    // lines
    double time = 0.0;       // ms
    double frequency = 0.0;  // Hz, without a sign; not-a-number where they stand at one time
    std::vector<double> values;
};

struct CursorMeasures {
    std::vector<int> traces;                                       // that are shown, in ascending order
    std::vector<CursorReading> vertical;                           // in the order of time
    std::vector<CursorReading> horizontal;                         // from the lowest on the screen
    std::vector<CursorDifference> verticalSteps, horizontalSteps;  // as the view's DatumPairs say
};
CursorMeasures MeasureCursors(const CKymoraView& view);

// The same as text, in the units of the view. A difference follows the later one of its two cursors.
struct CursorTable {
    struct Row {
        std::vector<std::string> cells;
        bool isDifference = false;
    };
    std::vector<std::string> headings;
    std::vector<Row> rows;
};
CursorTable TableOf(const PlotContext& context, const CursorMeasures& measures);

// With the headings first; tabs for the clipboard, commas (RFC 4180) for a file.
std::string TabSeparated(const CursorTable& table);
std::string CommaSeparated(const CursorTable& table);
// Asks for a file, writes the table there and says so where that fails.
void SaveCursorTable(CKymoraView& view);

// "V:2" and "H:1".
std::string CursorName(bool isVert, int line);
// "V:2: 12.500 ms, 4.500 ms after V:1 (222.222 Hz), 3.000 ms before V:3": a cursor and its neighbours.
std::string CursorStatus(const CKymoraView& view, bool isVert, int line);

}  // namespace kymora
