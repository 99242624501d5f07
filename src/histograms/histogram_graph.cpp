// The graph of a histogram.

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <limits>

#include "histograms/histogram.h"

namespace kymora {

namespace {

const char* const displayTitles[] = {"count", "% (n)", "density", "ln(n)", "sqrt (n)", "ln(Hz)"};

std::string HeightTitle(const HistInput& input, const HistSettings& settings, const PsthSettings& psth) {
    if (psth.average && input.isPsth) return "counts/bin/stimulus";
    if (input.kind == HistInput::Kind::timeBins && settings.display == displayCount)
        return input.isRate ? "event freq (Hz)" : "counts in bin";
    const std::string title = displayTitles[settings.display];
    return settings.cumulative ? "cumulative " + title : title;
}

// Time bins stand at their own times; where blocks leave room between them, there is a bar of no height.
GraphLayer TimeBars(const HistFound& found, double width) {
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    for (size_t i = 0; i < found.starts.size(); ++i) {
        const double start = found.starts[i];
        if (bars.x.empty()) bars.x.push_back(start);
        if (std::abs(start - bars.x.back()) > 1e-9 * width) {
            bars.x.push_back(start);
            bars.y.push_back(std::numeric_limits<double>::quiet_NaN());
        }
        bars.x.push_back(start + width);
        bars.y.push_back(found.shown[i]);
    }
    return bars;
}

GraphLayer Bars(const HistFound& found) {
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    for (int edge = 0; edge <= found.hist.grid.count; ++edge) bars.x.push_back(found.hist.grid.Edge(edge));
    bars.y = found.shown;
    return bars;
}

// Steps from below to above, so that each bin has its own.
GraphLayer SpreadAround(const HistFound& found) {
    GraphLayer spread{LayerKind::area, "+/- s.d.", GraphColour(4)};
    spread.isPale = true;
    for (size_t i = 0; i < found.shown.size(); ++i) {
        const double sd = std::isfinite(found.averageSd[i]) ? found.averageSd[i] : 0.0;
        for (const int side : {0, 1}) {
            spread.x.push_back(found.hist.grid.Edge(static_cast<int>(i) + side));
            spread.y.push_back(found.shown[i] + sd);
            spread.y2.push_back(found.shown[i] - sd);
        }
    }
    return spread;
}

// What chance puts into each bin, as steps.
GraphLayer JitterLayer(const HistFound& found, const std::function<double(double)>& shownAt) {
    GraphLayer band{LayerKind::area, "99% jitter", GraphColour(4)};
    band.isPale = true;
    for (size_t i = 0; i < found.chance->jitter->lower.size(); ++i)
        for (const int side : {0, 1}) {
            band.x.push_back(found.hist.grid.Edge(static_cast<int>(i) + side));
            band.y.push_back(shownAt(found.chance->jitter->upper[i]));
            band.y2.push_back(shownAt(found.chance->jitter->lower[i]));
        }
    return band;
}

void AddChance(GraphPane& pane, const HistInput& input, const HistFound& found, const HistSettings& settings,
               const PsthSettings& psth) {
    if (settings.cumulative) return;
    const CountLimits& limits = found.chance->bootstrap ? *found.chance->bootstrap : found.chance->poisson;
    const auto shownAt = [&](double count) {
        if (psth.average && input.isPsth && found.chance->stimuli > 0)
            return count / static_cast<double>(found.chance->stimuli);
        return DisplayedCount(static_cast<CountDisplay>(settings.display), count, found.hist.InRange(),
                              settings.Width());
    };
    const auto line = [&](double count, uint32_t colour, const char* name) {
        const double at = shownAt(count);
        if (std::isfinite(at)) pane.lines.push_back({false, at, colour, name, "", false});
    };
    if (found.chance->jitter) pane.layers.insert(pane.layers.begin(), JitterLayer(found, shownAt));
    line(limits.expected, GraphColour(6), "expected");
    line(limits.lower, GraphColour(7),
         found.chance->bootstrap ? "99% limits (bootstrap)" : "99% limits (Poisson)");
    line(limits.upper, GraphColour(7), "");
    pane.lines.push_back({true, 0.0, GraphColour(6), "", "", false});
}

bool ShowsLogarithms(const HistPart& part) {
    const int32_t display = part.settings.display;
    return (display == displayLn || display == displayLnHz) && !(part.psth.average && part.input.isPsth);
}

// Where a curve over logarithms ends: at a tenth of a count. Its tails go down for ever and would leave no
// room for the bars.
double LeastOfCurve(const HistPart& part) {
    constexpr double leastCount = 0.1;
    if (!ShowsLogarithms(part)) return -std::numeric_limits<double>::infinity();
    return DisplayedCount(static_cast<CountDisplay>(part.settings.display), leastCount, 1.0,
                          part.settings.Width());
}

GraphPane MainPane(const HistPart& part) {
    const auto& [input, settings, psth, found] = part;
    GraphPane pane;
    pane.name = "histogram";
    const bool isTime = input.kind == HistInput::Kind::timeBins;
    pane.x.title =
        (settings.log && !isTime ? "log " : "") + (isTime ? std::string("time (ms)") : input.label);
    pane.y.title = HeightTitle(input, settings, psth);
    pane.text = isTime ? HistExport(found) : found.hist.CopyText();
    if (!isTime) {
        pane.x.limits = {settings.minimum, settings.maximum};
        pane.lowerParameter = "minimum";
        pane.upperParameter = "maximum";
        pane.autoParameter = "autoRange";
    }
    if (!found.averageSd.empty()) pane.layers.push_back(SpreadAround(found));
    if (settings.bars) {
        pane.layers.push_back(isTime ? TimeBars(found, input.width) : Bars(found));
        pane.layers.back().isPale = !found.curves.empty();
        // ln(1) is seen: bars of logarithms stand on the axis, which begins below it.
        if (ShowsLogarithms(part)) pane.layers.back().base = -std::numeric_limits<double>::infinity();
    }
    const double least = LeastOfCurve(part);
    for (const HistFound::Curve& curve : found.curves) {
        using Kind = HistFound::Curve::Kind;
        const bool isDensity = curve.kind == Kind::density, isPart = curve.kind == Kind::component;
        GraphLayer layer{LayerKind::curve,
                         isPart      ? ""
                         : isDensity ? "KDE"
                                     : "PDF mix",
                         GraphColour(isDensity ? 1 : 2)};
        layer.x = curve.x;
        layer.y = curve.y;
        for (double& y : layer.y)
            if (y < least) y = std::numeric_limits<double>::quiet_NaN();
        layer.isDashed = isPart;
        pane.layers.push_back(std::move(layer));
    }
    if (!found.rug.empty()) {
        GraphLayer rug{LayerKind::marks, "", GraphColour(3)};
        rug.x = found.rug;
        pane.layers.push_back(std::move(rug));
    }
    if (found.chance) AddChance(pane, input, found, settings, psth);
    if (found.intervals && settings.refractory > settings.minimum && settings.refractory < settings.maximum)
        pane.lines.push_back({true, settings.refractory, GraphColour(6), "refractory", "refractory", false});
    return pane;
}

GraphPane LikelihoodPane(const KnuthBins& knuth) {
    GraphPane pane;
    pane.name = "logP";
    pane.title = "LogP of bin number: Bayesian probability of best bin number";
    pane.x.title = "bin number";
    pane.y.title = "LogP";
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)}, best{LayerKind::points, "best", GraphColour(1)};
    for (size_t i = 0; i < knuth.logP.size(); ++i) {
        curve.x.push_back(static_cast<double>(i + 1));
        curve.y.push_back(knuth.logP[i]);
    }
    best.x = {static_cast<double>(knuth.best)};
    best.y = {knuth.logP[static_cast<size_t>(knuth.best) - 1]};
    pane.layers = {std::move(curve), std::move(best)};
    return pane;
}

GraphPane RosePane(const HistFound& found) {
    GraphPane pane;
    pane.name = "rose";
    const CircularStatistics& circular = *found.circular;
    pane.title = fmt::format("n = {}", circular.count);
    if (circular.state == CircularStatistics::State::found) {
        pane.title += fmt::format(", mean {:.1f} degrees", circular.meanDegrees);
        pane.mean = {circular.meanDegrees / 360.0, circular.vectorStrength};
    }
    GraphLayer rose{LayerKind::rose, "", GraphColour(0)};
    const int bins = found.hist.grid.count;
    for (int edge = 0; edge <= bins; ++edge) rose.x.push_back(static_cast<double>(edge) / bins);
    rose.y = found.hist.counts;
    pane.layers.push_back(std::move(rose));
    return pane;
}

// A row for each stimulus, the first one at the bottom.
GraphPane RasterPane(const HistPart& part) {
    const HistFound::Raster& raster = part.found.raster;
    GraphPane pane;
    pane.name = "raster";
    pane.x = {"", "", false, std::pair(part.settings.minimum, part.settings.maximum)};
    pane.lowerParameter = "minimum";
    pane.upperParameter = "maximum";
    pane.autoParameter = "autoRange";
    pane.y.title = "stimulus";
    GraphLayer points{LayerKind::points, "", GraphColour(0)};
    points.x = raster.lags;
    points.y = raster.stimuli;
    points.events = raster.events;
    points.channel = part.input.channel1;
    pane.layers.push_back(std::move(points));
    pane.lines.push_back({true, 0.0, GraphColour(6), "", "", false});
    return pane;
}

// The first one of several panes tells it for all.
void LeaveOutLegend(GraphPane& pane) {
    for (GraphLayer& layer : pane.layers) layer.name.clear();
    for (GraphLine& line : pane.lines) line.name.clear();
}

}  // namespace

GraphLayer OutlineOf(const HistPart& part) {
    const bool isTime = part.input.kind == HistInput::Kind::timeBins;
    const GraphLayer bars = isTime ? TimeBars(part.found, part.input.width) : Bars(part.found);
    GraphLayer outline;
    for (size_t i = 0; i < bars.y.size(); ++i)
        for (const size_t side : {i, i + 1}) {
            outline.x.push_back(bars.x[side]);
            outline.y.push_back(bars.y[i]);
        }
    return outline;
}

Graph HistGraph(std::span<const HistPart> parts, int columns) {
    Graph graph;
    if (parts.size() > 1) {
        graph.columns = columns;
        graph.sharesX = true;
        for (const HistPart& part : parts) {
            GraphPane& pane = graph.panes.emplace_back(MainPane(part));
            pane.name = pane.title = part.input.name;
            if (graph.panes.size() > 1) LeaveOutLegend(pane);
        }
        return graph;
    }
    const HistPart& part = parts.front();
    if (!part.found.raster.lags.empty()) {
        graph.sharesX = true;
        graph.panes.push_back(RasterPane(part));
    }
    graph.panes.push_back(MainPane(part));
    if (part.found.circular) graph.panes.push_back(RosePane(part.found));
    if (part.found.knuth && part.settings.showLogP) {
        graph.sharesX = false;
        graph.panes.push_back(LikelihoodPane(*part.found.knuth));
    }
    return graph;
}

}  // namespace kymora
