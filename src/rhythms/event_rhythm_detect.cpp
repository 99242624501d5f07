#include "rhythms/event_rhythm_detect.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "statistics/descriptive.h"

namespace kymora {

namespace {

constexpr uint32_t rhythmVersion = 1;
constexpr double longestMs = 1e9;
constexpr size_t quickEvents = 100'000;  // as many need no progress
constexpr const char* limitsOrderText = "The minimum interval must not be longer than the maximum interval.";

}  // namespace

CEventRhythmDetect::CEventRhythmDetect() { m_strDescription = Title(); }

// --- the search ---

class CEventRhythmDetect::Job : public EventGroupJob {
  public:
    RegularSettings rule;

    int64_t Samples() const override { return Events(); }
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, title, static_cast<uint64_t>(Events()), quickEvents);
        const auto note = [this](const std::string& text) { notes.push_back(text); };
        for (size_t i = 0; i < trains.size(); ++i) {
            // An episode ends a sample behind its last onset.
            std::vector<Burst> episodes;
            for (const EventStretch& events : FindRegularStretches(trains[i], rule, note))
                episodes.push_back({events, trains[i].onsets[static_cast<size_t>(events.first)],
                                    trains[i].onsets[static_cast<size_t>(events.last)] + 1});
            Take(i, episodes);
            progress.Step(trains[i].Size());
        }
        Finish();
    }
};

RegularSettings CEventRhythmDetect::Rule() const {
    return {.window = m_nSlidingWindow,
            .maxCv = m_dMaxCv,
            .useLimits = m_bUseLimits,
            .localLimits = m_bLocalEpisodes,
            .sdMultiple = m_dSdMultiple,
            .minCycles = m_nMinCycles,
            .minInterval = SamplesOf(m_dMinInterval),
            .maxInterval = SamplesOf(m_dMaxInterval),
            .mergeGaps = m_bMergeGaps,
            .allowedGap = m_dAllowedGap,
            .requireTest = m_bRequireTest};
}

std::unique_ptr<OperationJob> CEventRhythmDetect::MakeJob() {
    auto job = std::make_unique<Job>();
    if (!TakeSource(*job)) return nullptr;
    job->method = methodRhythmInEvents;
    job->rule = Rule();
    job->found.front().description +=
        fmt::format("\r\nRolling count {}\r\nMax coeff var {:f}\r\n\r\n", m_nSlidingWindow, m_dMaxCv);
    const size_t least = 2 * static_cast<size_t>(m_nSlidingWindow);
    const auto isEnough = [&](const EventTrain& train) { return train.Intervals() >= least; };
    if (std::ranges::none_of(job->trains, isEnough)) throw JobRefused(fmt::format(tooFewWindowsText, least));
    return job;
}

bool CEventRhythmDetect::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    return true;
}

// --- the table and the graph ---

std::vector<ResultColumn> CEventRhythmDetect::GroupColumns() const {
    return {{"Events", {}}, {"Mean period", "ms"}, {"CV", {}}};
}

std::vector<ResultValue> CEventRhythmDetect::GroupValues(const EventTrain& train,
                                                         const EventStretch& events) const {
    std::vector<double> intervals;
    for (int32_t i = events.first; i < events.last; ++i)
        intervals.push_back(TimeOfSamples(static_cast<double>(train.Interval(static_cast<size_t>(i)))));
    const MeanSd all = GetMeanSd(intervals);
    return {int64_t{events.Count()}, all.mean, all.sd / all.mean};
}

std::optional<Graph> CEventRhythmDetect::GetGraph() {
    GraphPane intervals{"intervals"}, variation{"variation"};
    intervals.y = {"interval", "ms"};
    variation.x = {"time", "ms"};
    variation.y.title = "CV";
    GraphLayer points{LayerKind::points, "", GraphColour(0)}, curve{LayerKind::curve, "", GraphColour(0)};
    for (const EventTrain& train : Trains()) {
        for (size_t i = 0; i < train.Intervals(); ++i) {
            points.x.push_back(Document()->TimeOf(train.onsets[i]));
            points.y.push_back(TimeOfSamples(static_cast<double>(train.Interval(i))));
        }
        const std::vector<double> cvs = RollingCv(train, m_nSlidingWindow);
        for (size_t j = 0; j < cvs.size(); ++j) curve.x.push_back(Document()->TimeOf(train.onsets[j]));
        curve.y.insert(curve.y.end(), cvs.begin(), cvs.end());
        // The curve is broken where the recording is.
        curve.x.push_back(noStatistic);
        curve.y.push_back(noStatistic);
    }
    if (!points.x.empty()) {
        intervals.layers.push_back(std::move(points));
        variation.layers.push_back(std::move(curve));
        variation.lines.push_back({false, m_dMaxCv, GraphColour(1), "maximum", "maxCv"});
    }
    return Graph{{std::move(intervals), std::move(variation)}, 1, true};
}

// --- parameters ---

void CEventRhythmDetect::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Rhythm");
    list.Integer("slidingWindow", "Sliding window", m_nSlidingWindow)
        .Unit("intervals")
        .Limits(2, 1e6)
        .Spin()
        .Tip("Neighbouring intervals of which the variation is taken");
    list.Number("maxCv", "Max coefficient of variation", m_dMaxCv)
        .Limits(0.0, 1e6)
        .Step(0.05)
        .Tip("s.d. / mean of the intervals in the window; there is a rhythm where it is less");
    list.Group("Interval limits");
    list.Flag("useLimits", "Use interval limits", m_bUseLimits)
        .Tip("Looks for short runs between the episodes, too, by the limits of their intervals");
    const auto uses = [this] { return m_bUseLimits; };
    list.Flag("localEpisodes", "Local episodes", m_bLocalEpisodes)
        .Tip(
            "Each gap takes its limits from the episode before it; otherwise all take them from all episodes")
        .EnabledIf(uses);
    list.Number("sdMultiple", "Allowed s.d. multiple", m_dSdMultiple)
        .Limits(0.0, 1e6)
        .Step(0.5)
        .Tip("How far an interval may lie from the median, in standard deviations (MAD x 1.4826)")
        .EnabledIf(uses);
    list.Integer("minCycles", "Minimum cycle count", m_nMinCycles)
        .Limits(1, 1e6)
        .Spin()
        .Tip("Shorter runs are left out")
        .EnabledIf(uses);
    list.Number("maxInterval", "Maximum interval", m_dMaxInterval)
        .Unit("ms")
        .Limits(0.0, longestMs)
        .Tip("No limit reaches above it")
        .EnabledIf(uses);
    list.Number("minInterval", "Minimum interval", m_dMinInterval)
        .Unit("ms")
        .Limits(0.0, longestMs)
        .Tip("No limit reaches below it")
        .EnabledIf(uses);
    list.Group("Gaps");
    list.Flag("mergeGaps", "Merge gaps", m_bMergeGaps).Tip("Joins episodes with short gaps between them");
    const auto merges = [this] { return m_bMergeGaps; };
    list.Number("allowedGap", "Allowed gap", m_dAllowedGap)
        .Unit("mean periods")
        .Limits(0.0, 1e6)
        .Step(0.5)
        .Tip("The longest gap that is closed, in mean periods of the episode before it")
        .EnabledIf(merges);
    list.Flag("requireTest", "Only equal rhythms", m_bRequireTest)
        .Tip("Joins two episodes only where neither variance (F test) nor mean (t test) of their intervals "
             "differ")
        .EnabledIf(merges);
    DescribeRegion(list);
    DescribeDestination(list);
}

std::string CEventRhythmDetect::CheckSettings() {
    if (m_bUseLimits && m_dMinInterval > m_dMaxInterval) return limitsOrderText;
    return CEventGroupDlg::CheckSettings();
}

void CEventRhythmDetect::Serialize(CArchive& archive) {
    CEventGroupDlg::Serialize(archive);
    ExchangeVersion(archive, rhythmVersion, ClassName());
    Exchange(archive, m_bAppendParams);
    Exchange(archive, m_nSlidingWindow);
    Exchange(archive, m_dMaxCv);
    Exchange(archive, m_bUseLimits);
    Exchange(archive, m_bLocalEpisodes);
    Exchange(archive, m_dSdMultiple);
    Exchange(archive, m_nMinCycles);
    Exchange(archive, m_dMaxInterval);
    Exchange(archive, m_dMinInterval);
    Exchange(archive, m_bMergeGaps);
    Exchange(archive, m_dAllowedGap);
    Exchange(archive, m_bRequireTest);
}

void CEventRhythmDetect::GetParamText(std::string& text) {
    CEventGroupDlg::GetParamText(text);
    text += fmt::format("Sliding window: {}\r\nMaximum coefficient of variation: {:f}\r\n", m_nSlidingWindow,
                        m_dMaxCv);
    text += m_bUseLimits ? "Use interval limits selected\r\n" : "No interval limits selected\r\n";
    if (m_bUseLimits) {
        text += m_bLocalEpisodes ? "\tReset rhythm statistics from local episodes\r\n"
                                 : "\tDerive rhythm statistics from all episodes\r\n";
        text += fmt::format(
            "\tAllowed S.D. multiple: {:f}\r\n\tMinimum cycle count: {}\r\n\tIinterval limit: \r\n"
            "\t\tmaximum: {:f}\r\n\t\tminimum: {:f}\r\n",
            m_dSdMultiple, m_nMinCycles, m_dMaxInterval, m_dMinInterval);
    }
    text += m_bMergeGaps ? "Merge gaps selected\r\n" : "Not merging gaps\r\n";
    if (m_bMergeGaps) text += fmt::format("\tAllowed gap (mean multiple): {:f}\r\n", m_dAllowedGap);
}

}  // namespace kymora
