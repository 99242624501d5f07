// What the window of the hill-valley analysis offers and draws.

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "detection/event_hill_analysis.h"
#include "statistics/binning.h"

namespace kymora {

namespace {

constexpr uint32_t absoluteColour = 0x0000FF;  // 0x00BBGGRR
constexpr int greatestBinCount = 1000;

// Bars of equal width from 0 to the greatest value, which lies in the last one.
void AddHillBars(GraphPane& pane, const std::vector<float>& values, float greatest, int bins, bool isLog,
                 const char* name, size_t colour, bool isPale) {
    if (values.empty() || !(greatest > 0.0f)) return;
    const BinGrid grid{bins, 0.0, double{greatest} * (1.0 + 1e-9)};
    Histogram histogram(grid);
    histogram.Add(values);
    GraphLayer bars{LayerKind::bars, name, GraphColour(colour)};
    bars.isPale = isPale;
    for (int edge = 0; edge <= bins; ++edge) bars.x.push_back(grid.Edge(edge));
    const auto display = isLog ? CountDisplay::lnCount : CountDisplay::count;
    for (const double count : histogram.Counts())
        bars.y.push_back(DisplayedCount(display, count, histogram.InRange(), grid.Width()));
    if (isLog) bars.base = -std::numeric_limits<double>::infinity();
    pane.layers.push_back(std::move(bars));
}

// The counts of bars from ln(1) on, which is seen: the axis begins below it.
void FitLogCounts(GraphPane& pane) {
    constexpr double below = -0.3, room = 1.05;
    double most = 0.0;
    for (const GraphLayer& layer : pane.layers)
        for (const double y : layer.y)
            if (y > most) most = y;
    pane.y.limits = {below, room * std::max(most, 1.0)};
}

float GreatestOf(const std::vector<float>& values) {
    return values.empty() ? 0.0f : *std::ranges::max_element(values);
}

}  // namespace

void CEventHillAnalysis::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Hills");
    list.Choice("direction", "Direction", m_nDirection, {"peaks", "troughs"})
        .Buttons()
        .Tip("Hills around peaks, or valleys around troughs");
    list.Number("upSlope", "Up slope", m_dUpSlope)
        .Unit("%")
        .Limits(0, 100)
        .Tip("Threshold for start of hill (0 = preceding trough, 100 = current peak)");
    list.Number("downSlope", "Down slope", m_dDownSlope)
        .Unit("%")
        .Limits(0, 100)
        .Tip("Threshold for end of hill (0 = following trough, 100 = current peak)");
    list.Choice("measureFrom", "Measure from", m_nMeasureFrom, {"centre", "edge"})
        .Buttons()
        .Tip("Measure the slope fraction defining event start/end from the peak; Measure the slope fraction "
             "defining event start/end from the two valleys surrounding the peak");
    DescribeHeights(list);
    list.Group("Duration filter");
    list.Number("minimumDuration", "Minimum duration", m_dMinimumDuration)
        .Unit("ms")
        .Limits(0, GreatestTime())
        .Tip("Exclude hills with durations below this value");
    list.Number("maximumDuration", "Maximum duration", m_dMaximumDuration)
        .Unit("ms")
        .Limits(0, GreatestTime())
        .Tip("Exclude hills with durations exceeding this value");
    DescribeHistograms(list);
    DescribeRegion(list);
    DescribeDestination(list);
}

void CEventHillAnalysis::DescribeHeights(ParamList& list) {
    struct Row {
        const char *key, *by, *label, *tip;
    };
    static constexpr Row rows[] = {
        {"mergeFoothills", "merge", "Merge foothills",
         "Hills whose shorter side is lower than this become part of the hill beside them; 0 merges none"},
        {"excludeMolehills", "exclude", "Exclude molehills",
         "Hills with a side lower than this are left out, after merging"},
        {"absoluteThreshold", "absolute", "Absolute",
         "Peaks that do not reach this value of the trace (troughs that stay above it) are left out"}};
    list.Group("Height filter");
    list.Flag("useAbsolute", "Use absolute threshold", m_bUseAbsolute)
        .Tip("Leave out peaks below a value of the trace, or troughs above it");
    for (size_t i = 0; i < m_thresholds.size(); ++i)
        list.Flag(std::string(rows[i].by) + "BySd", std::string(rows[i].label) + " by s.d.",
                  m_thresholds[i].isBySd)
            .Tip(i == absolutePeak ? "Set the threshold as a multiple of the s.d. of the peak values that "
                                     "are left after merging"
                 : i == mergeFoothills
                     ? "Set the threshold as a multiple of the s.d. of the raw heights"
                     : "Set the threshold as a multiple of the s.d. of the heights after merging")
            .EnabledIf([this, i] { return Uses(i); })
            .OnChange([this, i] { StopBySd(i); });
    for (size_t i = 0; i < m_thresholds.size(); ++i) {
        HillThreshold& threshold = m_thresholds[i];
        const bool isAbsolute = i == absolutePeak;
        list.Number(rows[i].key, rows[i].label, threshold.value)
            .Cell(rows[i].label, "threshold")
            .Unit(Units())
            .Limits(isAbsolute ? -double{mostFloat} : 0.0, mostFloat)
            .Tip(rows[i].tip)
            .EnabledIf([this, i] { return Uses(i) && !m_thresholds[i].isBySd; })
            .OnChange([this, i] { m_isHeightSet[i] = true; });
    }
    for (size_t i = 0; i < m_thresholds.size(); ++i)
        list.Number(std::string(rows[i].by) + "Multiplier", std::string(rows[i].label) + " multiplier",
                    m_thresholds[i].multiplier)
            .Cell(rows[i].label, "multiplier")
            .Limits(0, mostFloat)
            .Step(0.5)
            .Tip("Times the s.d. of the heights that are seen")
            .EnabledIf([this, i] { return Uses(i) && m_thresholds[i].isBySd; });
    list.Flag("robustStatistics", "Robust statistics", m_bRobustStatistics)
        .Tip("Use robust statistics (else use normal)")
        .EnabledIf([this] { return IsBySd(); });
    list.Flag("addMean", "Add mean/median", m_bAddMean)
        .Tip("Add the mean/median to the SD multiple")
        .EnabledIf([this] { return IsBySd(); });
    list.Note("thresholds", "In force", [this] { return ThresholdsText(); });
}

std::string CEventHillAnalysis::ThresholdsText() const {
    if (!IsBySd() || m_shown.rawHeights.empty()) return {};
    std::string text;
    static constexpr const char* names[] = {"merge", "exclude", "absolute"};
    for (size_t i = 0; i < m_thresholds.size(); ++i)
        if (Uses(i) && m_thresholds[i].isBySd)
            text += fmt::format("{}{} {:.4g}", text.empty() ? "" : ", ", names[i], m_shown.thresholds[i]);
    return text;
}

void CEventHillAnalysis::DescribeHistograms(ParamList& list) {
    list.Group("Histograms");
    list.Flag("rawHistogram", "Raw heights", m_bRawHistogram)
        .Tip("Show histogram of all relative heights (peak-to-trough) of shorter side of hill/valley in RAW "
             "data");
    list.Flag("mergedHistogram", "Heights after merging", m_bMergedHistogram)
        .Tip("Show histogram of all relative heights (peak-to-trough) of shorter side of hill/valley after "
             "merging");
    list.Flag("durationHistogram", "Durations", m_bDurationHistogram)
        .Tip("Show histogram of event duration before any time filter");
    list.Flag("logCounts", "ln of counts", m_bLogCounts).Tip("Show counts on a natural log scale");
    list.Integer("binCount", "Bins", m_nBinCount)
        .Limits(1, greatestBinCount)
        .Spin()
        .Tip("Number of bars of each histogram");
}

GraphPane CEventHillAnalysis::HeightPane() const {
    GraphPane pane{"heights"};
    pane.x = {"Ht (shorter side)", Units()};
    pane.y.title = m_bLogCounts ? "ln n" : "n";
    // As far as the heights go that a merge height may lie between: noise on a hill leaves none of them raw.
    const float greatest =
        std::max({GreatestOf(m_shown.rawHeights), GreatestOf(m_shown.heights), m_shown.greatestHeight});
    if (m_bRawHistogram)
        AddHillBars(pane, m_shown.rawHeights, greatest, m_nBinCount, m_bLogCounts, "raw", 0,
                    m_bMergedHistogram);
    if (m_bMergedHistogram)
        AddHillBars(pane, m_shown.heights, greatest, m_nBinCount, m_bLogCounts, "after merging", 1,
                    m_bRawHistogram);
    if (m_bLogCounts) FitLogCounts(pane);
    const auto line = [&](Threshold which, const char* name, const char* parameter, size_t colour) {
        const HillThreshold& threshold = m_thresholds[which];
        const double at = threshold.isBySd ? m_shown.thresholds[which] : threshold.value;
        if (pane.layers.empty()) return;
        pane.lines.push_back({true, at, GraphColour(colour), name, threshold.isBySd ? "" : parameter, false});
    };
    // The last one is the upper one, and dragged first where both stand in one place.
    line(excludeMolehills, "exclude molehills", "excludeMolehills", 3);
    line(mergeFoothills, "merge foothills", "mergeFoothills", 2);
    return pane;
}

GraphPane CEventHillAnalysis::DurationPane() const {
    GraphPane pane{"durations"};
    pane.x = {"Duration", "ms"};
    pane.y.title = m_bLogCounts ? "ln n" : "n";
    const float greatest = GreatestOf(m_shown.durations);
    AddHillBars(pane, m_shown.durations, greatest, m_nBinCount, m_bLogCounts, "", 0, false);
    if (m_bLogCounts) FitLogCounts(pane);
    if (pane.layers.empty()) return pane;
    pane.lines.push_back({true, m_dMinimumDuration, GraphColour(2), "minimum", "minimumDuration", false});
    if (m_dMaximumDuration <= double{greatest})
        pane.lines.push_back({true, m_dMaximumDuration, GraphColour(3), "maximum", "maximumDuration", false});
    return pane;
}

std::optional<Graph> CEventHillAnalysis::GetGraph() {
    Graph graph;
    if (m_bRawHistogram || m_bMergedHistogram || !m_bDurationHistogram) graph.panes.push_back(HeightPane());
    if (m_bDurationHistogram) graph.panes.push_back(DurationPane());
    return graph;
}

std::vector<ViewGuide> CEventHillAnalysis::Guides() {
    const HillThreshold& threshold = m_thresholds[absolutePeak];
    if (!m_bUseAbsolute || !Document() || m_nTrace >= Document()->traceCount) return {};
    const double at = threshold.isBySd ? m_shown.thresholds[absolutePeak] : threshold.value;
    return {{ViewGuide::Kind::level, m_nTrace, at, absoluteColour, "absolute",
             threshold.isBySd ? "" : "absoluteThreshold"}};
}

}  // namespace kymora
