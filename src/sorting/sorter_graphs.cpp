#include "sorting/sorter_graphs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "statistics/correlogram.h"

namespace kymora {

namespace {

using Step = SorterSession::Step;

constexpr size_t mostWaves = 100;     // that are drawn over each other
constexpr size_t mostPoints = 20000;  // of a cloud
constexpr size_t errorBins = 40;
constexpr double correlogramMs = 50.0;  // on both sides
constexpr int correlogramBins = 100;
constexpr uint32_t waveColour = 0xC4C4C4, ownColour = 0x202020, markColour = 0x0000D0,
                   residualColour = 0x808080;
constexpr double nowhere = std::numeric_limits<double>::quiet_NaN();

// Times of the values of a row; those of a second trace stand behind the first.
class RowTimes {
  public:
    explicit RowTimes(const SpikeSorting& sorting)
        : shape_(sorting.Waves().shape), valueMs_(sorting.SampleInterval() / shape_.multiplier) {}
    double operator()(size_t i) const {
        const auto count = static_cast<size_t>(shape_.count);
        const double gap = i < count ? 0.0 : (1.0 + gapShare) * static_cast<double>(i / count) * shape_.count;
        return (static_cast<double>(i % count) - shape_.centre + gap) * valueMs_;
    }
    void Add(GraphLayer& layer, std::span<const float> row, double level = 0.0) const {
        for (size_t i = 0; i < row.size(); ++i) {
            if (i > 0 && i % static_cast<size_t>(shape_.count) == 0) Break(layer);
            layer.x.push_back((*this)(i));
            layer.y.push_back(double{row[i]} + level);
        }
        Break(layer);
    }
    GraphAxis Axis() const {
        return {shape_.traces > 1 ? "time from alignment, the traces side by side" : "time from alignment",
                "ms"};
    }

  private:
    static constexpr double gapShare = 0.08;  // of a window, between traces
    static void Break(GraphLayer& layer) {
        layer.x.push_back(nowhere);
        layer.y.push_back(nowhere);
    }
    WaveShape shape_;
    double valueMs_;
};

uint32_t ColourOf(int32_t cluster) { return GraphColour(static_cast<size_t>(cluster) - 1); }
std::string NameOf(int32_t cluster) { return fmt::format("wavType {}", cluster); }

GraphPane WavePane(const SorterSession& session, const SorterLook& look, const char* name) {
    GraphPane pane{name};
    pane.x =
        session.Has(Step::read) ? RowTimes(session.Last()).Axis() : GraphAxis{"time from alignment", "ms"};
    pane.y = {"value", look.units};
    return pane;
}

// So many of a number, evenly spread.
template <typename Does>
void ForSome(size_t count, size_t most, const Does& does) {
    const size_t shown = std::min(count, most);
    for (size_t i = 0; i < shown; ++i) does(i * count / shown);
}

void AddWaves(GraphPane& pane, const SpikeSorting& sorting, const std::vector<size_t>& spikes) {
    const RowTimes times(sorting);
    ForSome(spikes.size(), mostWaves, [&](size_t i) {
        GraphLayer wave{LayerKind::curve, "", waveColour};
        wave.isSilent = true;
        times.Add(wave, sorting.Waves().Row(spikes[i]));
        pane.layers.push_back(std::move(wave));
    });
}

GraphPane WaveformsPane(const SorterSession& session, const SorterLook& look) {
    GraphPane pane = WavePane(session, look, "waveforms");
    pane.title = "Waveforms and mean";
    if (!session.Has(Step::read)) return pane;
    const SpikeSorting& sorting = session.Last();
    const SpikeWaves& waves = sorting.Waves();
    const RowTimes times(sorting);
    std::vector<size_t> used;
    for (size_t i = 0; i < waves.Count(); ++i)
        if (waves.isUsed[i]) used.push_back(i);
    AddWaves(pane, sorting, used);
    std::vector<double> sum(waves.shape.RowLength());
    for (const size_t i : used)
        for (size_t j = 0; j < sum.size(); ++j) sum[j] += double{waves.Row(i)[j]};
    std::vector<float> mean;
    for (const double value : sum)
        mean.push_back(static_cast<float>(value / static_cast<double>(used.size())));
    GraphLayer middle{LayerKind::curve, "mean", markColour};
    times.Add(middle, mean);
    pane.layers.push_back(std::move(middle));
    return pane;
}

GraphPane ComponentsPane(const SorterSession& session, const SorterLook& look) {
    GraphPane pane{"components"};
    const auto across = static_cast<size_t>(session.view.across) - 1;
    const auto up = static_cast<size_t>(session.view.up) - 1;
    pane.title = "Components";
    pane.x = {fmt::format("PC {} wt", across + 1), {}};
    pane.y = {fmt::format("PC {} wt", up + 1), {}};
    if (!session.Has(Step::clusters)) return pane;
    const SpikeSorting& sorting = session.Last();
    std::vector<std::vector<size_t>> spikes(sorting.Clusters().size() + 1);
    for (size_t i = 0; i < sorting.Weights().size(); ++i)
        if (sorting.Waves().isUsed[i]) spikes[static_cast<size_t>(sorting.FirstIds()[i])].push_back(i);
    const size_t share = mostPoints / std::max<size_t>(1, spikes.size());
    for (size_t id = 1; id < spikes.size(); ++id) {
        if (spikes[id].empty()) continue;
        GraphLayer cloud{LayerKind::points, NameOf(static_cast<int32_t>(id)), GraphColour(id - 1)};
        cloud.channel = look.channel;
        ForSome(spikes[id].size(), share, [&](size_t i) {
            const size_t spike = spikes[id][i];
            cloud.x.push_back(double{sorting.Weights()[spike][across]});
            cloud.y.push_back(double{sorting.Weights()[spike][up]});
            cloud.events.push_back(static_cast<int32_t>(spike));
        });
        pane.layers.push_back(std::move(cloud));
    }
    return pane;
}

GraphPane TemplatesPane(const SorterSession& session, const SorterLook& look) {
    GraphPane pane = WavePane(session, look, "templates");
    pane.title = "Templates";
    if (!session.Has(Step::templates)) return pane;
    const SpikeSorting& sorting = session.Last();
    const RowTimes times(sorting);
    const int32_t primary = session.view.primary, comparison = session.view.comparison;
    std::vector<size_t> spikes;
    for (size_t i = 0; i < sorting.FirstIds().size(); ++i)
        if (sorting.FirstIds()[i] == primary) spikes.push_back(i);
    AddWaves(pane, sorting, spikes);
    for (int32_t id = 1; sorting.HasCluster(id); ++id) {
        const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(id) - 1];
        if (cluster.m_iCount == 0) continue;
        GraphLayer wave{LayerKind::curve, NameOf(id), ColourOf(id)};
        wave.isDashed = id != primary && id != comparison;
        times.Add(wave, cluster.m_vfFullTmpl);
        pane.layers.push_back(std::move(wave));
    }
    pane.lines.push_back({true, look.analysisStart, ColourOf(primary), "", "ownStart"});
    pane.lines.push_back({true, look.analysisEnd, ColourOf(primary), "", "ownEnd"});
    return pane;
}

GraphPane ErrorsPane(const SorterSession& session) {
    GraphPane pane{"errors"};
    pane.title = "Errors";
    pane.x = {"var ratio", ""};
    pane.y = {"spikes", ""};
    if (!session.Has(Step::templates)) return pane;
    const SpikeSorting& sorting = session.Last();
    const int32_t primary = session.view.primary;
    const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(primary) - 1];
    const double greatest = cluster.m_dHistMaxX;
    if (cluster.m_iCount == 0 || !(greatest > 0.0)) return pane;
    const auto add = [&](const char* name, bool ofItsOwn, uint32_t colour) {
        GraphLayer bars{LayerKind::bars, name, colour};
        bars.isPale = !ofItsOwn;
        for (size_t i = 0; i <= errorBins; ++i)
            bars.x.push_back(greatest * static_cast<double>(i) / errorBins);
        for (const int64_t count :
             ErrorHistogramCounts(sorting.Ratios(primary, ofItsOwn), greatest, errorBins))
            bars.y.push_back(static_cast<double>(count));
        pane.layers.push_back(std::move(bars));
    };
    add("all spikes", false, waveColour);
    if (sorting.FirstIds().end() != std::ranges::find(sorting.FirstIds(), primary))
        add("its own", true, ColourOf(primary));
    pane.lines.push_back({true, cluster.m_fErrThresh, markColour, "threshold", "ownThreshold"});
    return pane;
}

GraphPane CorrelogramPane(const SorterSession& session, const SorterLook& look, int32_t other) {
    const int32_t primary = session.view.primary;
    GraphPane pane{"correlogram"};
    pane.title = other == primary ? fmt::format("Autocorrelogram of {}", primary)
                                  : fmt::format("Cross-correlogram of {} and {}", primary, other);
    pane.x = {"lag", "ms"};
    pane.y = {"events", ""};
    const std::vector<double> own = session.Times(primary), others = session.Times(other);
    if (own.empty() || others.empty()) return pane;
    const BinGrid grid{correlogramBins, -correlogramMs, correlogramMs};
    const auto found = GetCorrelogram(own, others, other == primary ? Trains::same : Trains::different, grid);
    GraphLayer bars{LayerKind::bars, "", ColourOf(primary)};
    for (int i = 0; i <= grid.count; ++i) bars.x.push_back(grid.Edge(i));
    for (const auto count : found.Counts()) bars.y.push_back(static_cast<double>(count));
    pane.layers.push_back(std::move(bars));
    for (const double at : {-look.refractoryMs, look.refractoryMs})
        pane.lines.push_back({true, at, markColour, "", ""});
    return pane;
}

double Seconds(const SorterSession& session, const SorterLook& look, int64_t place) {
    return look.startMs / 1000.0 + static_cast<double>(place) / session.Last().PlacesPerSecond();
}

GraphPane FrequencyPane(const SorterSession& session, const SorterLook& look, int32_t cluster) {
    GraphPane pane{"frequency"};
    pane.title = fmt::format("Frequency of {}", NameOf(cluster));
    pane.x = {"time", "s"};
    pane.y = {"frequency", "Hz"};
    pane.y.isLog = true;
    const std::vector<UnitEvent>& events = session.EventsOf(cluster);
    if (events.size() < 2) return pane;
    const double perSecond = session.Last().PlacesPerSecond();
    GraphLayer points{LayerKind::points, "events", ColourOf(cluster)};
    points.channel = look.channel;
    for (size_t i = 1; i < events.size(); ++i) {
        points.x.push_back(Seconds(session, look, events[i].place));
        points.y.push_back(perSecond / static_cast<double>(events[i].place - events[i - 1].place));
        points.events.push_back(static_cast<int32_t>(events[i].spike));
    }
    const FiringTrend trend = session.Trend(cluster);
    if (trend.IsThere() && look.showsTrend) {
        GraphLayer middle{LayerKind::curve, "trend", ownColour}, limit{LayerKind::curve, "limit", markColour};
        limit.isDashed = true;
        for (size_t i = 1; i < events.size(); ++i) {
            const double value = trend.TrendAt(events[i].place);
            for (GraphLayer* layer : {&middle, &limit}) layer->x.push_back(points.x[i - 1]);
            middle.y.push_back(value);
            limit.y.push_back(value + look.confidence * trend.Mad());
        }
        pane.layers = {std::move(points), std::move(middle), std::move(limit)};
    } else {
        pane.layers = {std::move(points)};
    }
    return pane;
}

// A spike, what it is taken for, and what is left of it. `noise` of the first trace is put back.
void AddFit(GraphPane& pane, const SpikeSorting& sorting, size_t spike, const MixtureEntry& entry) {
    const RowTimes times(sorting);
    const SpikeWaves& waves = sorting.Waves();
    const double level = waves.noise.front().mean;
    const auto row = waves.Row(spike);
    const std::vector<float> sum = sorting.Library().RowOf(entry);
    std::vector<float> left(row.begin(), row.end());
    for (size_t i = 0; i < left.size(); ++i) {
        const double mean = waves.noise[i / static_cast<size_t>(waves.shape.count)].mean;
        left[i] = static_cast<float>(double{row[i]} - mean - double{sum[i]});
    }
    const auto add = [&](const char* name, uint32_t colour, std::span<const float> values, double above,
                         bool isDashed) {
        GraphLayer layer{LayerKind::curve, name, colour};
        layer.isDashed = isDashed;
        times.Add(layer, values, above);
        pane.layers.push_back(std::move(layer));
    };
    add("residual", residualColour, left, level, true);
    for (size_t c = 0; c < static_cast<size_t>(entry.Components()) && entry.Components() > 1; ++c) {
        MixtureEntry one;
        one.ids[0] = entry.ids[c];
        one.delays[0] = entry.delays[c];
        one.inBuffer = entry.inBuffer;
        add(NameOf(entry.ids[c]).c_str(), ColourOf(entry.ids[c]), sorting.Library().RowOf(one), level, true);
    }
    const bool isCompound = entry.Components() > 1;
    add(isCompound ? "sum" : NameOf(entry.ids[0]).c_str(), isCompound ? markColour : ColourOf(entry.ids[0]),
        sum, level, false);
    add("spike", ownColour, row, 0.0, false);
}

}  // namespace

Graph WaveformGraph(const SorterSession& session, const SorterLook& look, bool hasComponents) {
    Graph graph{{WaveformsPane(session, look)}};
    if (!hasComponents) return graph;
    GraphPane& waves = graph.panes.front();
    if (session.Has(Step::read)) {
        waves.lines.push_back({true, look.componentStart, ownColour, "", "pcaStart"});
        waves.lines.push_back({true, look.componentEnd, ownColour, "", "pcaEnd"});
    }
    graph.panes.push_back(ComponentsPane(session, look));
    return graph;
}

Graph TemplateGraph(const SorterSession& session, const SorterLook& look) {
    GraphPane components = ComponentsPane(session, look);
    components.takesOutlines = true;
    Graph graph{{TemplatesPane(session, look), std::move(components), ErrorsPane(session),
                 CorrelogramPane(session, look, session.view.comparison)}};
    graph.columns = 2;
    return graph;
}

Graph AssignGraph(const SorterSession& session, const SorterLook& look) {
    GraphPane pane = WavePane(session, look, "spike");
    pane.title = "Unassigned spike";
    int32_t unit = session.view.primary;
    const std::vector<size_t> spikes = session.Unassigned();
    const auto rank = static_cast<size_t>(session.view.unassigned) - 1;
    GraphLayer marked{LayerKind::points, "this spike", markColour};
    if (rank < spikes.size()) {
        const SpikeSorting& sorting = session.At(Step::assigned);
        const size_t spike = spikes[rank];
        pane.title = fmt::format("Unassigned spike {}", spike + 1);
        if (const auto match = session.Candidate()) {
            pane.title += fmt::format(", var ratio {:.3f}", match->ratio);
            AddFit(pane, sorting, spike, match->entry);
            unit = match->entry.ids[0];
            const int64_t place = sorting.Waves().places[spike] + match->entry.delays[0];
            const auto& events = session.EventsOf(unit);
            const auto next = std::ranges::lower_bound(events, place, {}, &UnitEvent::place);
            if (next != events.begin() && place > std::prev(next)->place) {
                marked.x.push_back(Seconds(session, look, place));
                marked.y.push_back(sorting.PlacesPerSecond() /
                                   static_cast<double>(place - std::prev(next)->place));
            }
        } else {
            GraphLayer wave{LayerKind::curve, "spike", ownColour};
            RowTimes(sorting).Add(wave, sorting.Waves().Row(spike));
            pane.layers.push_back(std::move(wave));
        }
    }
    GraphPane frequency = FrequencyPane(session, look, unit);
    if (!marked.x.empty()) frequency.layers.push_back(std::move(marked));
    return {{std::move(pane), std::move(frequency)}};
}

Graph UnassignGraph(const SorterSession& session, const SorterLook& look) {
    GraphPane frequency = FrequencyPane(session, look, session.view.primary);
    frequency.takesOutlines = true;
    const auto& selected = session.view.selected;
    const std::vector<UnitEvent>& events = session.Events();
    if (!selected.empty()) {
        GraphLayer marked{LayerKind::points, "selected", markColour};
        const auto places = FrequencyPlaces(session, look);
        for (size_t i = 1; i < events.size(); ++i) {
            if (std::ranges::count(selected, events[i].place, &UnitEvent::place) == 0) continue;
            marked.x.push_back(places[i - 1].x);
            marked.y.push_back(places[i - 1].y);
        }
        frequency.layers.push_back(std::move(marked));
    }
    GraphPane spike = WavePane(session, look, "spike");
    const std::vector<UnitEvent> ranked = session.RankedEvents();
    const auto rank = static_cast<size_t>(session.view.rank) - 1;
    if (rank < ranked.size()) {
        const SpikeSorting& sorting = session.At(Step::assigned);
        spike.title = fmt::format("Spike {}, var ratio {:.3f}", ranked[rank].spike + 1, ranked[rank].ratio);
        AddFit(spike, sorting, ranked[rank].spike, sorting.Types()[ranked[rank].spike].entry);
    }
    Graph graph{
        {std::move(frequency), std::move(spike), CorrelogramPane(session, look, session.view.primary)}};
    return graph;
}

std::vector<WeightPoint> FrequencyPlaces(const SorterSession& session, const SorterLook& look) {
    const std::vector<UnitEvent>& events = session.Events();
    std::vector<WeightPoint> places;
    for (size_t i = 1; i < events.size(); ++i)
        places.push_back(
            {Seconds(session, look, events[i].place),
             session.Last().PlacesPerSecond() / static_cast<double>(events[i].place - events[i - 1].place)});
    return places;
}

}  // namespace kymora
