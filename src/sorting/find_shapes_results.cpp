// What the spike sorter tells of what it has found.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "sorting/find_shapes.h"
#include "sorting/unit_views.h"

namespace kymora {

namespace {

constexpr size_t histogramBins = 40;

}  // namespace

std::string CFindShapes::TraceUnits(int trace) const {
    return Document() && trace < Document()->traceCount
               ? Document()->traces[static_cast<size_t>(trace)].traceUnits
               : std::string();
}

double CFindShapes::TimeOfPlace(int64_t place, size_t spike) const {
    return Document()->TimeOf(m_done->sorting.SampleAt(place, spike));
}

// --- the report ---

std::string CFindShapes::RunSummary() const {
    if (!m_done) return {};
    const SortCounts counts = CountSpikes(m_done->sorting);
    return fmt::format("of {}: {} pure, {} decomposed, {} unassigned", EventsText(counts.spikes), counts.pure,
                       counts.decomposed, counts.unassigned);
}

void CFindShapes::WriteResult(const TextSink& sink) {
    if (!m_done || !HasTemplates()) return;
    const SpikeSorting& sorting = m_done->sorting;
    const bool hasTypes = !sorting.Types().empty();
    if (!sink(hasTypes ? "#ID\ttime (ms)\tvariance ratio\ttype\r\n" : "#ID\ttime (ms)\tvariance ratio\r\n"))
        return;
    for (size_t i = 0; i < sorting.Fits().size(); ++i) {
        const double time = TimeOfPlace(sorting.Waves().places[i], i);
        const double ratio = hasTypes ? sorting.Types()[i].ratio : sorting.Fits()[i].ratio;
        std::string line = fmt::format("{}\t{:.3f}\t{:.3f}", i + 1, time, ratio);
        if (hasTypes) line += "\t" + sorting.Types()[i].Text();
        if (!sink(line + "\r\n")) return;
    }
}

// --- the tables ---

Result CFindShapes::SortingResult() const {
    const SpikeSorting& sorting = m_done->sorting;
    const SpikeNoise& noise = sorting.Waves().noise.front();
    const SortCounts counts = CountSpikes(sorting);
    Result result{"sorting",
                  {{"noise mean", noise.mean},
                   {"noise variance", noise.variance},
                   {"noise count", noise.count},
                   {"spikes", counts.spikes},
                   {"refused", counts.spikes - counts.used},
                   {"clusters", static_cast<int64_t>(sorting.Clusters().size())}},
                  {},
                  {}};
    if (sorting.Types().empty()) return result;
    result.values.emplace_back("pure", counts.pure);
    result.values.emplace_back("decomposed", counts.decomposed);
    result.values.emplace_back("unassigned", counts.unassigned);
    result.values.emplace_back("outliers", m_done->outliers);
    return result;
}

Result CFindShapes::ClusterResult() const {
    Result result{"clusters",
                  {},
                  {{"cluster", {}},
                   {"count", {}},
                   {"fitted", {}},
                   {"error threshold", {}},
                   {"start", {}},
                   {"samples", {}},
                   {"ignore", {}},
                   {"mixed", {}}},
                  {}};
    std::vector<std::vector<ResultValue>> rows;
    const SpikeSorting& sorting = m_done->sorting;
    for (int32_t id = 1; sorting.HasCluster(id); ++id) {
        const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(id) - 1];
        if (cluster.m_iCount == 0) continue;  // merged with another one
        rows.push_back({int64_t{id}, int64_t{cluster.m_iCount},
                        HasTemplates() ? ResultValue(sorting.Fitted(id)) : ResultValue(),
                        HasTemplates() ? ResultValue(cluster.m_fErrThresh) : ResultValue(),
                        int64_t{cluster.m_iTmplStartRelDisp}, int64_t{cluster.m_nTmplSamp},
                        int64_t{cluster.m_bIgnore}, int64_t{cluster.m_bMixedTmpl}});
    }
    result.SetRows(std::move(rows));
    return result;
}

Result CFindShapes::TemplateResult() const {
    const SpikeSorting& sorting = m_done->sorting;
    Result result{"templates",
                  {},
                  {{"cluster", {}},
                   {"trace", {}},
                   {"time", "ms"},
                   {"value", TraceUnits(m_done->reading.traces.front())}},
                  {}};
    result.rows = [this, &sorting](const ResultRowSink& sink) {
        const WaveShape& shape = sorting.Waves().shape;
        const double valueMs = sorting.SampleInterval() / shape.multiplier;
        for (size_t k = 0; k < sorting.Clusters().size(); ++k) {
            if (sorting.Clusters()[k].m_iCount == 0) continue;
            for (int t = 0; t < shape.traces; ++t) {
                const auto wave = shape.OfTrace(sorting.Clusters()[k].m_vfFullTmpl, t);
                for (size_t i = 0; i < wave.size(); ++i) {
                    const ResultValue row[] = {static_cast<int64_t>(k) + 1,
                                               int64_t{m_done->reading.traces[static_cast<size_t>(t)]} + 1,
                                               (static_cast<double>(i) - shape.centre) * valueMs, wave[i]};
                    if (!sink(row)) return false;
                }
            }
        }
        return true;
    };
    return result;
}

Result CFindShapes::LibraryResult() const {
    const MixtureLibraries& libraries = m_done->sorting.Library();
    Result result{"libraries",
                  {{"libraries", static_cast<int64_t>(libraries.Libraries().size())},
                   {"entries", static_cast<int64_t>(libraries.Entries())},
                   {"bytes", static_cast<int64_t>(libraries.Bytes())}},
                  {{"library", {}}, {"components", {}}, {"entries", {}}, {"start", {}}, {"samples", {}}},
                  {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const MixtureLibrary& library : libraries.Libraries()) {
        SortedSpike type;
        type.id = library.Components() == 1 ? library.entries.front().ids[0] : decomposedType;
        type.entry = library.entries.front();
        rows.push_back({static_cast<int64_t>(rows.size()) + 1,
                        library.Components() == mostMixed ? "triples" : type.Text(),
                        static_cast<int64_t>(library.entries.size()), int64_t{library.window.first},
                        int64_t{library.window.count}});
    }
    result.SetRows(std::move(rows));
    return result;
}

Result CFindShapes::SpikeResult() const {
    const SpikeSorting& sorting = m_done->sorting;
    Result result{"spikes", {}, {{"#ID", {}}, {"time", "ms"}, {"ratio", {}}, {"type", {}}}, {}};
    result.rows = [this, &sorting](const ResultRowSink& sink) {
        for (size_t i = 0; i < sorting.Waves().Count(); ++i) {
            ResultValue row[] = {
                static_cast<int64_t>(i) + 1, TimeOfPlace(sorting.Waves().places[i], i), {}, {}};
            if (!sorting.Types().empty()) {
                row[2] = sorting.Types()[i].ratio;
                row[3] = sorting.Types()[i].Text();
            } else if (HasTemplates()) {
                row[2] = sorting.Fits()[i].ratio;
            }
            if (!sink(row)) return false;
        }
        return true;
    };
    return result;
}

// The most similar templates first: what may be one unit.
Result CFindShapes::SimilarityResult() const {
    const SpikeSorting& sorting = m_done->sorting;
    const std::vector<cCluster>& clusters = sorting.Clusters();
    std::vector<std::tuple<double, int64_t, int64_t>> pairs;
    for (size_t i = 0; i < clusters.size(); ++i)
        for (size_t k = 0; k < clusters.size(); ++k) {
            if (i == k || clusters[i].m_iCount == 0 || clusters[k].m_iCount == 0) continue;
            const double difference = RelativeDifference(clusters[i], clusters[k], sorting.Waves().shape);
            if (std::isfinite(difference))
                pairs.emplace_back(difference, static_cast<int64_t>(i) + 1, static_cast<int64_t>(k) + 1);
        }
    std::ranges::sort(pairs);
    Result result{"similarity", {}, {{"cluster", {}}, {"other", {}}, {"relative difference", {}}}, {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const auto& [difference, cluster, other] : pairs) rows.push_back({cluster, other, difference});
    result.SetRows(std::move(rows));
    return result;
}

std::vector<Result> CFindShapes::Results() {
    if (!m_done || !Document()) return {};
    std::vector<Result> results{SortingResult()};
    if (!m_done->sorting.Clusters().empty()) {
        results.push_back(ClusterResult());
        results.push_back(TemplateResult());
    }
    if (m_done->sorting.HasLibrary()) results.push_back(LibraryResult());
    results.push_back(SpikeResult());
    if (m_done->sorting.Clusters().empty()) return results;
    results.push_back(SimilarityResult());
    const std::string units = TraceUnits(m_done->reading.traces.front());
    results.push_back(QualityTable(m_done->units, units));
    results.push_back(AmplitudeTable(
        m_done->units, [this](int64_t place, size_t spike) { return TimeOfPlace(place, spike); }, units));
    results.push_back(MergeTable(m_done->merges));
    results.push_back(CorrelogramTable(m_done->merges));
    return results;
}

// --- the graph ---

GraphPane CFindShapes::TemplatePane() const {
    GraphPane pane{"templates"};
    pane.title = "Templates";
    pane.x = {"time", "ms"};
    pane.y = {"value", m_done ? TraceUnits(m_done->reading.traces.front()) : std::string()};
    if (!m_done) return pane;
    const SpikeSorting& sorting = m_done->sorting;
    const WaveShape& shape = sorting.Waves().shape;
    const double valueMs = sorting.SampleInterval() / shape.multiplier;
    for (size_t k = 0; k < sorting.Clusters().size(); ++k) {
        const cCluster& cluster = sorting.Clusters()[k];
        if (cluster.m_iCount == 0) continue;
        GraphLayer wave{LayerKind::curve, fmt::format("wavType {}", k + 1), GraphColour(k)};
        for (size_t i = 0; i < cluster.m_vfFullTmpl.size(); ++i) {
            wave.x.push_back((static_cast<double>(i) - shape.centre) * valueMs);
            wave.y.push_back(cluster.m_vfFullTmpl[i]);
        }
        pane.layers.push_back(std::move(wave));
    }
    return pane;
}

GraphPane CFindShapes::ErrorPane() const {
    GraphPane pane{"errors"};
    pane.title = "Errors";
    pane.x = {"var ratio", ""};
    pane.y = {"spikes", ""};
    if (!m_done || !HasTemplates()) return pane;
    const SpikeSorting& sorting = m_done->sorting;
    for (size_t k = 0; k < sorting.Clusters().size(); ++k) {
        const cCluster& cluster = sorting.Clusters()[k];
        // The errors of compounds would leave those of the units no room.
        if (!cluster.IsUnit() || !(cluster.m_dHistMaxX > 0.0)) continue;
        GraphLayer counts{LayerKind::curve, fmt::format("wavType {}", k + 1), GraphColour(k)};
        const auto bins = ErrorHistogramCounts(sorting.Ratios(static_cast<int32_t>(k) + 1, false),
                                               cluster.m_dHistMaxX, histogramBins);
        for (size_t i = 0; i < bins.size(); ++i) {
            counts.x.push_back((static_cast<double>(i) + 0.5) * cluster.m_dHistMaxX / histogramBins);
            counts.y.push_back(static_cast<double>(bins[i]));
        }
        pane.layers.push_back(std::move(counts));
        pane.lines.push_back({true, cluster.m_fErrThresh, GraphColour(k), "", ""});
    }
    return pane;
}

std::optional<Graph> CFindShapes::GetGraph() {
    std::span<const UnitQuality> units;
    const MergeProposal* pair = nullptr;
    if (m_done) {
        units = m_done->units;
        const std::vector<MergeProposal>& pairs = m_done->merges;
        if (!pairs.empty()) pair = &pairs[std::min(static_cast<size_t>(m_nProposal), pairs.size()) - 1];
    }
    const std::string unit = m_done ? TraceUnits(m_done->reading.traces.front()) : std::string();
    return Graph{{TemplatePane(), ErrorPane(),
                  AmplitudePane(
                      units, [this](int64_t place, size_t spike) { return TimeOfPlace(place, spike); }, unit,
                      m_nChannel1),
                  MergePane(pair, m_dRefractory)},
                 2};
}

}  // namespace kymora
