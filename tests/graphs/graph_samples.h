#pragma once
// Graphs with every kind of layer.

#include <cmath>
#include <limits>

#include "graphs/graph.h"

namespace kymora::test {

inline constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

inline GraphLayer Layer(LayerKind kind, std::vector<double> x, std::vector<double> y,
                        std::vector<double> y2 = {}) {
    GraphLayer layer;
    layer.kind = kind;
    layer.colour = 0xB27200;
    layer.x = std::move(x);
    layer.y = std::move(y);
    layer.y2 = std::move(y2);
    return layer;
}

inline GraphLayer Wave(size_t count, double value) {
    GraphLayer layer = Layer(LayerKind::curve, {}, {});
    for (size_t i = 0; i < count; ++i) {
        layer.x.push_back(static_cast<double>(i));
        layer.y.push_back(value);
    }
    return layer;
}

inline GraphPane Pane(std::vector<GraphLayer> layers) {
    GraphPane pane;
    pane.name = "a";
    pane.x = {"time", "ms"};
    pane.y = {"count", ""};
    pane.layers = std::move(layers);
    return pane;
}

inline GraphLayer Matrix(size_t columns, size_t rows) {
    GraphLayer layer = Layer(LayerKind::matrix, {0.0, 10.0}, {}, {0.0, 100.0});
    layer.columns = columns;
    for (size_t i = 0; i < columns * rows; ++i) layer.y.push_back(static_cast<double>(i));
    return layer;
}

// A histogram with an estimate, its limits, a rug and two lines; a rose; a matrix; points over log axes.
inline Graph ManyPanes() {
    Graph graph;
    graph.columns = 2;
    GraphLayer bars = Layer(LayerKind::bars, {}, {}), curve = Layer(LayerKind::curve, {}, {});
    GraphLayer band = Layer(LayerKind::area, {}, {}), rug = Layer(LayerKind::marks, {}, {});
    bars.name = "intervals";
    curve.name = "density";
    band.name = "99% limits";
    rug.name = "values";
    curve.colour = GraphColour(1);
    band.colour = GraphColour(2);
    rug.colour = GraphColour(6);
    band.isPale = true;
    for (int i = 0; i <= 40; ++i) bars.x.push_back(i * 2.5);
    for (int i = 0; i < 40; ++i) bars.y.push_back(std::round(120.0 * std::exp(-std::pow((i - 14) / 6.0, 2))));
    for (int i = 0; i <= 200; ++i) {
        const double x = i * 0.5, y = 118.0 * std::exp(-std::pow((x / 2.5 - 14.5) / 6.2, 2));
        curve.x.push_back(x), curve.y.push_back(y);
        band.x.push_back(x), band.y.push_back(y * 0.8), band.y2.push_back(y * 1.2);
        if (i % 7 == 0) rug.x.push_back(x * 0.6 + 15.0);
    }
    GraphPane histogram = Pane({band, bars, curve, rug});
    histogram.name = histogram.title = "Interval histogram of channel b";
    histogram.x = {"interval", "ms"};
    histogram.lines = {{true, 20.0, GraphColour(3), "refractory", "refractory"},
                       {false, 30.0, GraphColour(6), "expected", ""}};
    GraphLayer sectors = Layer(LayerKind::rose, {}, {});
    for (int i = 0; i <= 18; ++i) sectors.x.push_back(i / 18.0);
    for (int i = 0; i < 18; ++i) sectors.y.push_back(std::round(8.0 + 7.0 * std::cos(0.35 * (i - 4))));
    GraphPane rose = Pane({sectors});
    rose.name = rose.title = "Phase, n = 142";
    rose.x = {"phase", ""};
    rose.mean = {0.24, 0.55};
    GraphLayer matrix = Matrix(80, 60);
    matrix.name = "power (dB)";
    for (size_t i = 0; i < matrix.y.size(); ++i) {
        const double x = static_cast<double>(i % 80), y = static_cast<double>(i / 80);
        matrix.y[i] = 20.0 * std::exp(-std::pow((y - 20.0 - 10.0 * std::sin(x / 9.0)) / 6.0, 2)) - 40.0;
    }
    GraphPane spectrogram = Pane({matrix});
    spectrogram.name = spectrogram.title = "Spectrogram";
    spectrogram.x = {"time", "s"};
    spectrogram.y = {"frequency", "Hz"};
    GraphLayer cloud = Layer(LayerKind::points, {}, {});
    for (int i = 1; i < 300; ++i) {
        cloud.x.push_back(std::pow(10.0, (i * 37 % 300) / 80.0));
        cloud.y.push_back(std::pow(10.0, (i * 91 % 300) / 60.0 - 1.0));
    }
    GraphPane scatter = Pane({cloud});
    scatter.name = scatter.title = "Intervals against each other";
    scatter.x = {"interval", "ms", true};
    scatter.y = {"next interval", "ms", true};
    graph.panes = {histogram, rose, spectrogram, scatter};
    return graph;
}

}  // namespace kymora::test
