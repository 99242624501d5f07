#pragma once
// What an operation draws beside its parameters: curves and points over one horizontal axis.

#include <cstdint>
#include <string>
#include <vector>

namespace kymora {

struct ChartSeries {
    enum class Style { line, points, bars };
    std::string name;  // in the legend; empty for none
    Style style = Style::line;
    uint32_t colour = 0;  // 0x00BBGGRR
    std::vector<double> x;
    std::vector<float> y;  // as long as x; a not-a-number breaks the line
};

// A line across the chart.
struct ChartLine {
    bool vertical = false;
    double at = 0.0;
    uint32_t colour = 0;
    std::string name;
};

struct Chart {
    std::string xLabel, yLabel;
    std::vector<ChartSeries> series;
    std::vector<ChartLine> lines;
};

}  // namespace kymora
