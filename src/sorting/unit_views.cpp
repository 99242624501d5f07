#include "sorting/unit_views.h"

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr double msPerSecond = 1000.0;
constexpr uint32_t refractoryColour = 0x808080;

}  // namespace

Result QualityTable(std::span<const UnitQuality> units, const std::string& traceUnits) {
    Result table{"quality",
                 {},
                 {{"cluster", {}},
                  {"events", {}},
                  {"SNR", {}},
                  {"violations", {}},
                  {"violation share", "%"},
                  {"isolation distance", {}},
                  {"L-ratio", {}},
                  {"silhouette", {}},
                  {"amplitude", traceUnits},
                  {"s.d. amplitude", traceUnits}},
                 {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const UnitQuality& unit : units)
        rows.push_back({int64_t{unit.id}, unit.events, unit.snr, unit.violations, unit.violationShare,
                        unit.isolation.distance, unit.isolation.lRatio, unit.silhouette, unit.meanAmplitude,
                        unit.sdAmplitude});
    table.SetRows(std::move(rows));
    return table;
}

Result AmplitudeTable(std::span<const UnitQuality> units, TimeOfPlace timeOf, const std::string& traceUnits) {
    Result table{
        "amplitudes", {}, {{"cluster", {}}, {"#ID", {}}, {"time", "ms"}, {"amplitude", traceUnits}}, {}};
    table.rows = [units, timeOf = std::move(timeOf)](const ResultRowSink& sink) {
        for (const UnitQuality& unit : units)
            for (const SpikeAmplitude& one : unit.amplitudes) {
                const ResultValue row[] = {int64_t{unit.id}, static_cast<int64_t>(one.spike) + 1,
                                           timeOf(one.place, one.spike), one.value};
                if (!sink(row)) return false;
            }
        return true;
    };
    return table;
}

Result MergeTable(std::span<const MergeProposal> pairs) {
    Result table{"merges",
                 {},
                 {{"cluster", {}},
                  {"other", {}},
                  {"relative difference", {}},
                  {"events", {}},
                  {"violations", {}},
                  {"violation share", "%"}},
                 {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const MergeProposal& pair : pairs)
        rows.push_back({int64_t{pair.cluster}, int64_t{pair.other}, pair.difference, pair.events,
                        pair.violations, pair.violationShare});
    table.SetRows(std::move(rows));
    return table;
}

Result CorrelogramTable(std::span<const MergeProposal> pairs) {
    Result table{"correlograms", {}, {{"cluster", {}}, {"other", {}}, {"lag", "ms"}, {"count", {}}}, {}};
    table.rows = [pairs](const ResultRowSink& sink) {
        for (const MergeProposal& pair : pairs)
            for (int i = 0; i < mergeLags.count; ++i) {
                const ResultValue row[] = {int64_t{pair.cluster}, int64_t{pair.other}, mergeLags.Middle(i),
                                           static_cast<int64_t>(pair.lags[static_cast<size_t>(i)])};
                if (!sink(row)) return false;
            }
        return true;
    };
    return table;
}

GraphPane AmplitudePane(std::span<const UnitQuality> units, const TimeOfPlace& timeOf,
                        const std::string& traceUnits, int sourceChannel) {
    GraphPane pane{"amplitudes"};
    pane.title = "Amplitudes";
    pane.x = {"time", "s"};
    pane.y = {"amplitude", traceUnits};
    for (const UnitQuality& unit : units) {
        GraphLayer points{LayerKind::points, fmt::format("wavType {}", unit.id),
                          GraphColour(static_cast<size_t>(unit.id) - 1)};
        points.channel = sourceChannel;
        for (const SpikeAmplitude& one : unit.amplitudes) {
            points.x.push_back(timeOf(one.place, one.spike) / msPerSecond);
            points.y.push_back(one.value);
            points.events.push_back(static_cast<int32_t>(one.spike));
        }
        pane.layers.push_back(std::move(points));
    }
    return pane;
}

GraphPane MergePane(const MergeProposal* pair, double refractoryMs) {
    GraphPane pane{"merges"};
    pane.title = "Merge proposals";
    pane.x = {"lag", "ms"};
    pane.y = {"count", {}};
    if (!pair) return pane;
    pane.title =
        fmt::format("{} and {}: relative difference {:.3f}, merged {} violations ({:.2f} %)", pair->cluster,
                    pair->other, pair->difference, pair->violations, pair->violationShare);
    GraphLayer bars{LayerKind::bars, {}, GraphColour(static_cast<size_t>(pair->other) - 1)};
    for (int i = 0; i <= mergeLags.count; ++i) bars.x.push_back(mergeLags.Edge(i));
    bars.y = pair->lags;
    pane.layers.push_back(std::move(bars));
    for (const double at : {-refractoryMs, refractoryMs})
        pane.lines.push_back({true, at, refractoryColour, {}, {}});
    return pane;
}

}  // namespace kymora
