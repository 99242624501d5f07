// What the window of the interactive spike detector offers and draws.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "detection/spike_detect_thresh.h"

namespace kymora {

namespace {

// 0x00BBGGRR
constexpr uint32_t dataColour = 0xA06020, filteredColour = 0x208020, spikeColour = 0x0000FF;
constexpr size_t mostBins = 40000;  // of a curve: far more than pixels, whose columns begin within bins

}  // namespace

void CSpikeDetectThresh::Describe(ParamList& list) {
    // The window shows the levels that the statistics give.
    if (View() && IsAttended()) ShowPreview();
    DescribeSource(list);
    DescribeRule(list);
    DescribeLevels(list);
    DescribeSeries(list);
    DescribePreview(list);
    DescribeRegion(list);
    DescribeDestination(list);
}

void CSpikeDetectThresh::DescribeRule(ParamList& list) {
    const auto isStale = [this] { m_isStale = true; };
    list.Group("Rule");
    list.Choice("type", "Type", m_nType, {"Abs", "Pk-to-pk"})
        .Buttons()
        .Tip("Each entry beyond the levels; or each pair of a peak and a trough within the spike window that "
             "are "
             "farther apart than the levels")
        .OnChange(isStale);
    list.Choice("direction", "Direction", m_nDirection, {"+/-", "+ve", "-ve"})
        .Buttons()
        .Tip("Spikes beyond either level, above the upper one, or below the lower one")
        .EnabledIf([this] { return Is(SpikeType::abs); })
        .OnChange(isStale);
    list.Number("spikeWindow", "Spike window", m_fSpikeWindow)
        .Unit("ms")
        .Limits(0, mostFloat)
        .Tip("Longest time between the peak and the trough of a spike")
        .EnabledIf([this] { return Is(SpikeType::peakToPeak); })
        .OnChange(isStale);
    list.Number("refractoryTime", "Refractory time", m_fRefractory)
        .Unit("ms")
        .Limits(0, mostFloat)
        .Tip("A spike that is no later than this behind the last accepted one is passed over")
        .OnChange(isStale);
}

void CSpikeDetectThresh::DescribeLevels(ParamList& list) {
    const auto isStale = [this] { m_isStale = true; };
    const auto isUser = [this] { return Is(SpikeLevelSource::user); };
    const CDataDoc* doc = Document();
    const bool hasTrace = doc && m_nTrace >= 0 && m_nTrace < doc->traceCount;
    const std::string units =
        hasTrace ? doc->traces[static_cast<size_t>(m_nTrace)].traceUnits : std::string();
    list.Group("Threshold");
    list.Choice("source", "Source", m_nSource, {"User", "S.D. x Mult", "Robust S.D. x Mult", "Percentile"})
        .Tip("Where the levels come from; the statistics are those of the data shown")
        .OnChange(isStale);
    list.Number("upperThreshold", "Upper", m_levels.upper)
        .Unit(units)
        .Tip("Upper level")
        .EnabledIf(isUser)
        .OnChange(isStale);
    list.Number("lowerThreshold", "Lower", m_levels.lower)
        .Unit(units)
        .Tip("Lower level")
        .EnabledIf(isUser)
        .OnChange(isStale);
    list.Number("multiplier", "Multiplier", m_fMultiplier)
        .Limits(1e-4, mostFloat)
        .Step(0.5)
        .Tip("Distance of the levels from the middle, in standard deviations")
        .EnabledIf([this] { return Is(SpikeLevelSource::meanSd) || Is(SpikeLevelSource::medianRobustSd); })
        .OnChange(isStale);
    list.Number("alpha", "Alpha", m_fAlpha)
        .Limits(0, 1)
        .Step(0.01)
        .Tip("Share of the data shown below the lower level, and above the upper one")
        .EnabledIf([this] { return Is(SpikeLevelSource::percentile); })
        .OnChange(isStale);
    list.Note("statistics", "Data shown: mean", [this] { return MeanText(); });
    list.Note("robustStatistics", "median, robust", [this] { return MedianText(); });
    list.Note("percentiles", "percentiles", [this] { return PercentileText(); });
}

void CSpikeDetectThresh::DescribeSeries(ParamList& list) {
    const auto isStale = [this] { m_isStale = true; };
    const auto isSmooth = [this] { return m_nTransform == 1; };
    list.Group("Transform");
    list.Choice("transform", "Transform", m_nTransform,
                {"None", "Rectify, smooth", "Local power", "Variance", "TEO 1"})
        .Tip(
            "What is done to the data before spikes are looked for. The last three leave the data as the one "
            "before them did")
        .OnChange(isStale);
    list.Integer("halfWindow", "Half window", m_nHalfWindow)
        .Unit("samples")
        .Limits(0, std::numeric_limits<int32_t>::max() / 4)
        .Tip("Samples on each side of the one whose average is taken")
        .Linked({"halfWindowTime"})
        .EnabledIf(isSmooth)
        .OnChange([this] {
            m_isStale = true;
            if (Document()) m_dHalfWindowTime = m_nHalfWindow * Document()->sampleInterval;
        });
    list.Number("halfWindowTime", "Half window time", m_dHalfWindowTime)
        .Unit("ms")
        .Limits(0, std::numeric_limits<int32_t>::max() / 4 * (Document() ? Document()->sampleInterval : 1.0))
        .Tip("The same as a time")
        .Linked({"halfWindow"})
        .EnabledIf(isSmooth)
        .OnChange([this] {
            m_isStale = true;
            TakeHalfWindow();
        });
    list.Integer("iterations", "Iterations", m_nIterations)
        .Limits(1, 10)
        .Tip("Number of smoothing iterations: 1 = boxcar, 2 = triangular, 4+ = ~Gaussian")
        .EnabledIf(isSmooth)
        .OnChange(isStale);
    list.Flag("postFilterOn", "Post filter (hi-pass)", m_bPostFilter)
        .Tip("Filter the transformed data by a single-pole high-pass")
        .OnChange(isStale);
    list.Number("postFilterCutOff", "Cut-off", m_fCutoff)
        .Unit("Hz")
        .Limits(1e-6, 1e7)
        .Tip("-3 dB cut-off frequency of the post filter")
        .EnabledIf([this] { return m_bPostFilter; })
        .OnChange(isStale);
}

void CSpikeDetectThresh::DescribePreview(ParamList& list) {
    list.Group("Data shown");
    list.Number("displayStartTime", "Start", m_fDisplayStart)
        .Unit("ms")
        .Limits(0, mostFloat)
        .Tip("Start of the data on which the rule is tuned")
        .OnChange([this] { m_isStale = m_hasOwnStart = true; });
    list.Number("displayDuration", "Duration", m_fDisplayDuration)
        .Unit("ms")
        .Limits(0, mostFloat)
        .Tip("Duration of the data on which the rule is tuned, at most 2,000,000 samples; 0 takes eight "
             "times the "
             "width of the view")
        .OnChange([this] {
            m_isStale = true;
            m_isUsual = false;
        });
    list.Note("spikeCount", "Spike count", [this] { return std::to_string(PreviewSpikes().size()); });
}

std::string CSpikeDetectThresh::MeanText() {
    if (!ShowPreview()) return {};
    return fmt::format("{:g}, s.d. {:g}", m_statistics.mean, m_statistics.sd);
}

std::string CSpikeDetectThresh::MedianText() {
    if (!ShowPreview()) return {};
    return fmt::format("{:g}, s.d. {:g}", m_statistics.median, m_statistics.robustSd);
}

std::string CSpikeDetectThresh::PercentileText() {
    if (!ShowPreview()) return {};
    return fmt::format("{:g} to {:g}", m_statistics.lowerPercentile, m_statistics.upperPercentile);
}

// --- what it draws ---

// Long series are drawn by their extremes, so that a spike of one sample shows.
void CSpikeDetectThresh::AddSeries(GraphPane& pane, const std::vector<float>& series, const char* name,
                                   uint32_t colour) const {
    GraphLayer& drawn = pane.layers.emplace_back();
    drawn.name = name;
    drawn.colour = colour;
    const auto add = [&](size_t i) {
        drawn.x.push_back(Document()->TimeOf(m_shown.first + static_cast<int64_t>(i)));
        drawn.y.push_back(static_cast<double>(series[i]));
    };
    const size_t perBin = series.size() / mostBins + 1;
    for (size_t at = 0; at < series.size(); at += perBin) {
        const size_t end = std::min(series.size(), at + perBin);
        size_t low = at, high = at;
        for (size_t i = at; i < end; ++i) {
            if (std::isnan(series[i])) continue;
            // A bin that begins with samples that are no numbers has none yet.
            if (!(series[low] <= series[i])) low = i;
            if (!(series[high] >= series[i])) high = i;
        }
        add(std::min(low, high));
        if (low != high) add(std::max(low, high));
    }
}

std::optional<Graph> CSpikeDetectThresh::GetGraph() {
    Graph graph;
    GraphPane& pane = graph.panes.emplace_back();
    pane.name = "data";
    pane.x = {"Time", "ms"};
    if (!ShowPreview()) return graph;
    pane.y.title = Document()->traces[static_cast<size_t>(m_nTrace)].traceUnits;
    AddSeries(pane, m_transformed, m_nShownTransform == 1 ? "rectified" : "data", dataColour);
    if (m_bPostFilter) AddSeries(pane, m_filtered, "filtered", filteredColour);
    const std::vector<float>& seen = m_bPostFilter ? m_filtered : m_transformed;
    GraphLayer spikes;
    spikes.name = "spikes";
    spikes.kind = LayerKind::points;
    spikes.colour = spikeColour;
    for (const int64_t spike : m_previewSpikes) {
        spikes.x.push_back(Document()->TimeOf(spike));
        spikes.y.push_back(static_cast<double>(seen[static_cast<size_t>(spike - m_shown.first)]));
    }
    pane.layers.push_back(std::move(spikes));
    const auto level = [&](float at, uint32_t colour, const char* name, const char* parameter) {
        if (std::isfinite(at)) pane.lines.push_back({false, at, colour, name, parameter});
    };
    const bool isPair = Is(SpikeType::peakToPeak);
    if (isPair || m_nDirection != 2) level(m_levels.upper, upperColour, "upper", "upperThreshold");
    if (isPair || m_nDirection != 1) level(m_levels.lower, lowerColour, "lower", "lowerThreshold");
    return graph;
}

// The levels lie on the trace's axis only while the rule sees the samples as they are.
std::vector<ViewGuide> CSpikeDetectThresh::Guides() {
    std::vector<ViewGuide> guides;
    if (!ShowPreview() || m_nShownTransform != 0 || m_bPostFilter) return guides;
    const auto level = [&](float at, uint32_t colour, const char* name, const char* parameter) {
        if (std::isfinite(at))
            guides.push_back({ViewGuide::Kind::level, m_nTrace, at, colour, name, parameter});
    };
    const bool isPair = Is(SpikeType::peakToPeak);
    if (isPair || m_nDirection != 2) level(m_levels.upper, upperColour, "upper", "upperThreshold");
    if (isPair || m_nDirection != 1) level(m_levels.lower, lowerColour, "lower", "lowerThreshold");
    return guides;
}

}  // namespace kymora
