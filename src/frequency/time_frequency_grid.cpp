#include "frequency/time_frequency_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

double ShownPower(float power, bool isLog) {
    return isLog && !std::isnan(power) ? std::log10(std::max(double{power}, leastShownPower)) : power;
}

int64_t TimeFrequencyGrid::CountEmpty() const {
    int64_t empty = 0;
    for (int64_t column = 0; column < columns; ++column) empty += std::isnan(Column(column)[0]) ? 1 : 0;
    return empty;
}

void TimeFrequencyGrid::WriteText(const TextSink& sink) const {
    if (columns == 0) return;
    std::string line = "ms";
    for (const double frequency : frequencies) line += fmt::format("\t{:.2f} Hz", frequency);
    if (!sink(line + "\r\n")) return;
    for (int64_t column = 0; column < columns; ++column) {
        line = fmt::format("{:.2f}", TimeOf(column));
        for (const float value : Column(column)) line += fmt::format("\t{:g}", value);
        if (!sink(line + "\r\n")) return;
    }
}

void TimeFrequencyGrid::AddTable(Result& result) const {
    result.columns.push_back({"time", "ms"});
    for (const double frequency : frequencies)
        result.columns.push_back({fmt::format("{:.10g} Hz", frequency), unit});
    result.rows = [this](const ResultRowSink& sink) {
        for (int64_t column = 0; column < columns; ++column) {
            std::vector<ResultValue> row{TimeOf(column)};
            for (const float value : Column(column)) row.emplace_back(value);
            if (!sink(row)) return false;
        }
        return true;
    };
}

GraphLayer TimeFrequencyGrid::Colours(bool isLog, double bottom, double top) const {
    GraphLayer matrix{LayerKind::matrix, isLog ? "log power" : "power", GraphColour(0)};
    matrix.columns = static_cast<size_t>(columns);
    matrix.x = {start, TimeOf(columns)};
    matrix.y2 = {bottom, top};
    for (size_t row = 0; row < frequencies.size(); ++row)
        for (int64_t column = 0; column < columns; ++column)
            matrix.y.push_back(ShownPower(Column(column)[row], isLog));
    return matrix;
}

}  // namespace kymora
