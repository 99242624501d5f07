#include "acquisition/refractory_graphs.h"

#include <fmt/format.h>

#include "acquisition/scope_sweeps.h"
#include "drawing/draw_device.h"

namespace kymora {

namespace {

constexpr size_t sweepPoints = 700;
constexpr uint32_t otherSweepColour = Rgb(170, 170, 170), windowColour = Rgb(0, 158, 115),
                   curveColour = Rgb(0, 114, 178);

struct TraceLook {
    std::string label;
    uint32_t colour = 0;
};

std::vector<TraceLook> LooksOf(const CDTRefrAcqView& view) {
    std::vector<TraceLook> looks;
    if (const CAcqDoc* doc = view.Loaded()) {
        for (size_t i = 0; i < doc->m_nChannels; ++i)
            looks.push_back({doc->traces[i].traceLabel, doc->traces[i].traceColour});
        return looks;
    }
    for (const int channel : view.ActiveChannels()) {
        const AcquisitionChannel& one = view.m_settings.channels[static_cast<size_t>(channel)];
        looks.push_back({one.label, one.colour});
    }
    return looks;
}

// The sweep that stands out is the last.
std::vector<size_t> SweepsToDraw(const CDTRefrAcqView& view) {
    const auto& sweeps = view.Sweeps();
    size_t accepted = 0, others = 0;
    std::vector<size_t> drawn;
    for (size_t i = sweeps.size(); i-- > 0;) {
        size_t& count = sweeps[i].isAccepted ? accepted : others;
        const size_t most = sweeps[i].isAccepted ? mostAcceptedDrawn : mostSweepsDrawn;
        if (i != view.Selected() && !sweeps[i].isCleared && count++ < most) drawn.push_back(i);
    }
    // Those without a spike lie below.
    std::ranges::reverse(drawn);
    std::ranges::stable_partition(drawn, [&](size_t i) { return !sweeps[i].isAccepted; });
    if (!sweeps.empty() && !sweeps[view.Selected()].isCleared) drawn.push_back(view.Selected());
    return drawn;
}

// Without its line.
GraphLayer LayerOf(const CDTRefrAcqView& view, size_t sweep, const TraceLook& look) {
    const RefractorySweep& one = view.Sweeps()[sweep];
    const bool standsOut = sweep == view.Selected();
    const bool isReviewed = standsOut && view.IsAutomatic() && view.IsIdle();
    const bool hasOwnColour = one.isAccepted && one.colour != 0 && !isReviewed;
    GraphLayer layer;
    layer.isSilent = !standsOut;
    layer.colour = hasOwnColour ? one.colour : standsOut ? look.colour : otherSweepColour;
    layer.width = standsOut ? 2 : 1;
    return layer;
}

void AddWindow(const CDTRefrAcqView& view, GraphPane& pane) {
    const bool isIdle = view.IsIdle();
    const auto [from, to] = isIdle ? view.ReviewWindow() : view.Window();
    if (!(to > from)) return;
    for (const auto& [at, key] : {std::pair(from, "winStart"), std::pair(to, "winEnd")}) {
        GraphLine line{true, at, windowColour, {}, isIdle ? key : "", false, false};
        pane.lines.push_back(std::move(line));
    }
}

}  // namespace

const SweepsDrawing::Line& SweepsDrawing::LineOf(const RefractorySweeps& data, size_t sweep, size_t trace) {
    const std::pair key(data.list[sweep].number, trace);
    if (auto before = m_lines.extract(key)) return m_drawn.insert(std::move(before)).position->second;
    Line& line = m_drawn[key];
    const std::vector<float> volts = data.Volts(sweep, trace, 0, data.ScansOf(sweep));
    for (const auto& [place, value] : ScopeLine(volts, sweepPoints)) {
        line.x.push_back(static_cast<double>(place) * data.sampleInterval);
        line.y.push_back(value);
    }
    return line;
}

Graph SweepsDrawing::Draw(const CDTRefrAcqView& view) {
    const std::vector<TraceLook> looks = LooksOf(view);
    const RefractorySettings& r = view.m_settings.refractory;
    const auto drawn = SweepsToDraw(view);
    const size_t monitored = view.IsAutomatic() ? r.m_nMonitorTrace : 0;
    Graph graph;
    graph.sharesX = true;
    for (size_t trace = 0; trace < looks.size(); ++trace) {
        // The monitored one takes the place of the last.
        const size_t lastShown = mostTracesDrawn - 1;
        if (trace != monitored && (trace >= mostTracesDrawn || (trace == lastShown && monitored > lastShown)))
            continue;
        GraphPane& pane = graph.panes.emplace_back();
        pane.name = fmt::format("trace{}", trace + 1);
        const double end = view.Sweeps().empty()
                               ? double{r.m_fSweepDur}
                               : static_cast<double>(view.Data().ScansOf(0)) * view.Data().sampleInterval;
        pane.x = {"time", "ms", false, std::pair(0.0, std::max(end, 1.0))};
        const std::string& label = looks[trace].label;
        pane.y = {label.empty() ? fmt::format("trace {}", trace + 1) : label, "V"};
        for (const size_t sweep : drawn)
            if (trace < view.Data().format.channels) {
                GraphLayer& layer = pane.layers.emplace_back(LayerOf(view, sweep, looks[trace]));
                const Line& line = LineOf(view.Data(), sweep, trace);
                layer.x = line.x;
                layer.y = line.y;
            }
        if (view.IsAutomatic() && trace == monitored) AddWindow(view, pane);
    }
    // What was not drawn this time is forgotten.
    m_lines = std::exchange(m_drawn, {});
    return graph;
}

Graph RefractoryCurve(const CDTRefrAcqView& view) {
    Graph graph;
    GraphPane& pane = graph.panes.emplace_back();
    pane.name = "curve";
    pane.x = {"trial pulse delay", "ms"};
    pane.y = {"threshold", "V"};
    for (const LayerKind kind : {LayerKind::curve, LayerKind::points}) {
        GraphLayer& layer = pane.layers.emplace_back();
        layer.kind = kind;
        layer.colour = curveColour;
        layer.isSilent = kind == LayerKind::curve;
        for (const RefractoryThreshold& one : ThresholdsOf(view.Data())) {
            layer.x.push_back(one.delay);
            layer.y.push_back(*one.amplitude);
        }
    }
    return graph;
}

std::string RefractoryText(const CDTRefrAcqView& view) {
    const auto& sweeps = view.Sweeps();
    std::string text = fmt::format("{} sweeps, {} accepted", sweeps.size(), view.AcceptedCount());
    if (sweeps.empty()) return text;
    const RefractorySweep& one = sweeps[view.Selected()];
    text +=
        fmt::format("   |   sweep {}: {:.6g} ms, {:.6g} V", view.Selected() + 1, one.delay, one.amplitude);
    if (view.IsAutomatic()) text += fmt::format(", change {:.4g}", one.delta);
    if (one.isAccepted) text += ", accepted";
    return text;
}

}  // namespace kymora
