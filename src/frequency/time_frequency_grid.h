#pragma once
// Powers by time and frequency, and what is shown of them.

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "graphs/graph.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr double leastShownPower = 1e-14;  // of what a logarithm is taken

// Powers are linear. A column has a value for each frequency; not-a-numbers where it is empty.
struct TimeFrequencyGrid {
    std::vector<double> frequencies;  // Hz, ascending
    int64_t columns = 0;
    double start = 0.0;       // ms, where column 0 begins
    double columnTime = 0.0;  // ms from the start of a column to that of the next
    double end = 0.0;         // ms, behind the last sample
    std::string unit;
    std::vector<float> values;  // column by column

    double TimeOf(int64_t column) const { return start + static_cast<double>(column) * columnTime; }  // ms
    std::span<const float> Column(int64_t column) const {
        const size_t rows = frequencies.size();
        return std::span(values).subspan(static_cast<size_t>(column) * rows, rows);
    }
    int64_t CountEmpty() const;
    // A heading and a line for each column, tabs between.
    void WriteText(const TextSink& sink) const;
    // The columns and rows of a table with the time before the powers. The grid outlives the result.
    void AddTable(Result& result) const;
    // The colours, from `bottom` to `top` on the axis.
    GraphLayer Colours(bool isLog, double bottom, double top) const;
};

// A power as it is drawn.
double ShownPower(float power, bool isLog);

}  // namespace kymora
