// What the window of the threshold detector offers.

#include <fmt/format.h>

#include "detection/event_threshold.h"

namespace kymora {

void CEventThreshold::Describe(ParamList& list) {
    DescribeSource(list);
    list.Flag("allTraces", "All traces", m_bAllTraces)
        .Tip("Find threshold in all traces using current settings. Store events in separate contiguous event "
             "channels, 1 per trace, starting with selected.");
    DescribeDetection(list);
    DescribeLevels(list);
    DescribeStatistics(list);
    DescribeTimeFilter(list);
    DescribeRegion(list);
    DescribeDestination(list);
    list.Flag("onlyClearWithinRegion", "Only clear within region", m_bOnlyClearWithinRegion)
        .Tip("Only clear existing events from the selected analysis window, leave existing events outside "
             "this "
             "window in place");
}

void CEventThreshold::DescribeDetection(ParamList& list) {
    const auto follows = [this] { UpdateLevels(); };
    list.Group("Detection");
    list.Choice("onsetDirection", "Onset direction", m_nOnsetDirection, {"+ve", "-ve", "+/-ve"})
        .Buttons()
        .Tip(
            "Side of the signal on which an event begins: above the positive onset level, below the negative "
            "one, or either")
        .OnChange(follows);
    list.Flag("offsetEqualsOnset", "Offset equals onset", m_bOffsetEqualsOnset)
        .Tip("Set the event offset threshold equal to the onset threshold.")
        .Linked({"offPos", "offNeg", "offMultiplier"})
        .OnChange(follows);
    list.Flag("limitLogicUsed", "Use limit logic", m_bLimitLogicUsed)
        .Tip("Accept or reject an event by whether it crosses the limit level")
        .OnChange(follows);
    list.Choice("limitLogic", "Limit logic", m_nLimitLogic, {"Must not cross", "Must cross"})
        .Buttons()
        .Tip("What an event must do at the limit level to be accepted")
        .EnabledIf([this] { return m_bLimitLogicUsed; });
}

void CEventThreshold::DescribeLevels(ParamList& list) {
    const auto follows = [this] { UpdateLevels(); };
    list.Group("Levels");
    list.Choice("thresholdSource", "Threshold source", m_nThresholdSource,
                {"direct value", "mean +/- s.d. * mult", "median +/- robust s.d. * mult", "value percentile"})
        .Tip("Where the levels come from. The robust s.d. is the median absolute deviation from the median "
             "/ 0.6745")
        .OnChange(follows);
    const auto isOff = [this] { return !m_bOffsetEqualsOnset; };
    const auto isLimit = [this] { return m_bLimitLogicUsed; };
    const auto always = [] { return true; };
    using Test = std::function<bool()>;
    struct Row {
        const char *key, *label;
        float& multiplier;
        float& percentile;
        float &positive, &negative;
        Test isUsed;
    };
    Row rows[] = {
        {"on", "Onset", m_fOnMult, m_fOnPercentile, m_levels.OnPos, m_levels.OnNeg, always},
        {"off", "Offset", m_fOffMult, m_fOffPercentile, m_levels.OffPos, m_levels.OffNeg, isOff},
        {"limit", "Limit", m_fLimitMult, m_fLimitPercentile, m_levels.LimitPos, m_levels.LimitNeg, isLimit}};
    const auto linked = [](const Row& row, const char* follower) {
        return std::string_view(row.key) == "on" ? std::vector<std::string>{follower}
                                                 : std::vector<std::string>();
    };
    for (const Row& row : rows)
        list.Number(std::string(row.key) + "Multiplier", std::string(row.label) + " multiplier",
                    row.multiplier)
            .Cell(row.label, "multiplier")
            .Limits(0, mostFloat)
            .Step(0.5)
            .Tip("Distance of the level from the middle, in standard deviations")
            .Linked(linked(row, "offMultiplier"))
            .EnabledIf([this, isUsed = row.isUsed] { return UsesMultipliers() && isUsed(); })
            .OnChange(follows);
    for (const Row& row : rows)
        list.Number(std::string(row.key) + "Percentile", std::string(row.label) + " percentile",
                    row.percentile)
            .Cell(row.label, "percentile")
            .Unit("%")
            .Limits(0, 100)
            .Tip("Share of the samples below the negative level, and above the positive one")
            .EnabledIf([this, isUsed = row.isUsed] { return UsesPercentiles() && isUsed(); })
            .OnChange(follows);
    for (const Row& row : rows)
        list.Number(std::string(row.key) + "Pos", std::string(row.label) + " +ve", row.positive)
            .Cell(row.label, "+ve")
            .Unit(Units())
            .Tip("Level on the positive side")
            .Linked(linked(row, "offPos"))
            .EnabledIf(
                [this, isUsed = row.isUsed] { return !UsesStatistics() && TestsPositive() && isUsed(); })
            .OnChange(follows);
    for (const Row& row : rows)
        list.Number(std::string(row.key) + "Neg", std::string(row.label) + " -ve", row.negative)
            .Cell(row.label, "-ve")
            .Unit(Units())
            .Tip("Level on the negative side")
            .Linked(linked(row, "offNeg"))
            .EnabledIf(
                [this, isUsed = row.isUsed] { return !UsesStatistics() && TestsNegative() && isUsed(); })
            .OnChange(follows);
}

void CEventThreshold::DescribeStatistics(ParamList& list) {
    const auto follows = [this] { UpdateLevels(); };
    const auto uses = [this](StatsSource source) {
        return [this, source] { return UsesStatistics() && Is(source); };
    };
    list.Group("Statistics");
    list.Choice("statsSource", "Calculated from", m_nStatsSource,
                {"whole file", "visible view", "user-set times", "tagged event", "most inactive region"})
        .Tip("The stretch of the trace from which mean, median, deviations and percentiles are taken")
        .EnabledIf([this] { return UsesStatistics(); })
        .OnChange(follows);
    const auto timesChanged = [this] {
        if (m_dStatsEnd > m_dStatsStart) m_dGoodStatsEnd = m_dStatsEnd;
        UpdateLevels();
    };
    list.Number("statsStartTime", "Start", m_dStatsStart)
        .Unit("ms")
        .Limits(0, std::numeric_limits<double>::max())
        .Tip("Start time of the stretch for the statistics")
        .EnabledIf(uses(StatsSource::userTimes))
        .OnChange(timesChanged);
    list.Number("statsEndTime", "End", m_dStatsEnd)
        .Unit("ms")
        .Limits(0, 9999999999.0)
        .Tip("End time of the stretch for the statistics")
        .EnabledIf(uses(StatsSource::userTimes))
        .OnChange(timesChanged);
    list.Channel("statsEventChannel", "Event channel", m_nStatsChannel)
        .Tip("Event channel that holds the tagged event")
        .EnabledIf(uses(StatsSource::taggedEvent))
        .Shows([this] { return EventCountText(Document(), m_nStatsChannel); })
        .OnChange(follows);
    list.Text("statsEventTag", "Event tag", m_strStatsTag)
        .Tip("Tag of the event from whose samples the statistics are taken; without one, the first event")
        .EnabledIf(uses(StatsSource::taggedEvent))
        .OnChange(follows);
    list.Number("inactiveWindowDuration", "Window", m_fInactiveDuration)
        .Unit("ms")
        .Limits(1, 1e13)
        .Tip("Duration of the least active stretch, which is looked for in the visible data")
        .EnabledIf(uses(StatsSource::mostInactive))
        .OnChange(follows);
    list.Note("statistics", "Measured", [this] { return StatisticsText(); });
}

std::string CEventThreshold::StatisticsText() const {
    std::string text;
    const ThresholdStatistics& known = m_meter.Statistics();
    if (UsesStatistics() && Is(ThresholdSource::meanSd) && known.KnownMean())
        text = fmt::format("mean {:g}, s.d. {:g}", known.KnownMean()->mean, known.KnownMean()->sd);
    if (Is(ThresholdSource::medianRobustSd) && known.KnownRobust())
        text = fmt::format("median {:g}, robust s.d. {:g}", known.KnownRobust()->median,
                           known.KnownRobust()->robustSd);
    if (!text.empty() && known.IsTruncated())
        text += fmt::format(" (first {} samples)", mostStatisticsSamples);
    return text;
}

void CEventThreshold::DescribeTimeFilter(ParamList& list) {
    list.Group("Time filter");
    const auto time = [&](const char* key, const char* label, float& value, const char* tip) {
        list.Number(key, label, value).Unit("ms").Limits(0, GreatestTime()).Tip(tip);
    };
    time("minimumOffTime", "Minimum off time", m_fMinimumOff,
         "Merge events separated by less than this value");
    time("minimumOnTime", "Minimum on time", m_fMinimumOn, "Exclude events with durations below this value");
    time("maximumOnTime", "Maximum on time", m_fMaximumOn,
         "Exclude events with durations exceeding this value");
}

}  // namespace kymora
