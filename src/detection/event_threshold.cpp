#include "detection/event_threshold.h"

#include <fmt/format.h>

#include <algorithm>

#include "detection/detected_events.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t thresholdVersion = 2;
constexpr double greatestTimeSamples = 2147483547.0;

}  // namespace

// --- settings ---

void CEventThreshold::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, thresholdVersion, ClassName());
    Exchange(archive, m_nOnsetDirection);
    Exchange(archive, m_nLimitLogic);
    Exchange(archive, m_bLimitLogicUsed);
    Exchange(archive, m_nThresholdSource);
    Exchange(archive, m_nStatsSource);
    Exchange(archive, m_dStatsStart);
    Exchange(archive, m_dStatsEnd);
    for (float* value : {&m_fMinimumOff, &m_fMinimumOn, &m_fMaximumOn, &m_fOnMult, &m_fOffMult, &m_fLimitMult,
                         &m_fOnPercentile, &m_fOffPercentile, &m_fLimitPercentile})
        Exchange(archive, *value);
    Exchange(archive, m_bOffsetEqualsOnset);
    Exchange(archive, m_nStatsChannel);
    Exchange(archive, m_strStatsTag);
    Exchange(archive, m_bAllTraces);
    Exchange(archive, m_fInactiveDuration);
    Exchange(archive, m_bOnlyClearWithinRegion);
    if (m_dStatsEnd > m_dStatsStart) m_dGoodStatsEnd = m_dStatsEnd;
    // Version 1 ends here: levels that were typed went with the window.
    if (version < 2) return;
    for (float* level : {&m_levels.OnPos, &m_levels.OffPos, &m_levels.LimitPos, &m_levels.OnNeg,
                         &m_levels.OffNeg, &m_levels.LimitNeg})
        Exchange(archive, *level);
}

std::string CEventThreshold::Units() const {
    const CDataDoc* doc = Document();
    return doc && m_nTrace >= 0 && m_nTrace < doc->traceCount
               ? doc->traces[static_cast<size_t>(m_nTrace)].traceUnits
               : std::string();
}

double CEventThreshold::GreatestTime() const {
    return greatestTimeSamples * (Document() ? Document()->sampleInterval : 1.0);
}

std::string CEventThreshold::CheckSettings() {
    const std::string fault = CEventWndBaseDlg::CheckSettings();
    if (!fault.empty() || !Document()) return fault;
    const int channels = m_bAllTraces ? Document()->traceCount : 1;
    if (m_nDestination + channels > maxEventChannels) return noSuchChannelText;
    for (int i = 0; i < channels; ++i)
        if (Document()->eventChannels[static_cast<size_t>(m_nDestination + i)].channelLocked)
            return lockedChannelText;
    const bool readsEvent = UsesStatistics() && Is(StatsSource::taggedEvent);
    const bool isInside = m_nStatsChannel >= m_nDestination && m_nStatsChannel < m_nDestination + channels;
    return readsEvent && isInside ? channelIsSourceText : std::string();
}

// --- what it follows ---

void CEventThreshold::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_analysed.clear();
    CEventWndBaseDlg::CheckChangeDoc(doc);
    m_meter.Forget();
    if (!doc) return;
    for (float* time : {&m_fMinimumOff, &m_fMinimumOn, &m_fMaximumOn})
        *time = static_cast<float>(std::min<double>(*time, GreatestTime()));
}

void CEventThreshold::CheckChangeView(DocumentView* view) {
    CEventWndBaseDlg::CheckChangeView(view);
    UpdateLevels();
}

void CEventThreshold::OnUpdate(UpdateHint hint) {
    if (hint == UpdateHint::samples) m_meter.Forget();
    UpdateLevels();
}

void CEventThreshold::ViewChangedHorzDisp() { UpdateLevels(); }

void CEventThreshold::OnEventChanChanged(int channel) {
    CEventWndBaseDlg::OnEventChanChanged(channel);
    UpdateLevels();
}

// --- the run ---

bool CEventThreshold::MayAnalyseTrace() {
    if (!IsAttended() || m_bAllTraces) return true;
    const CDataDoc& doc = *Document();
    bool isVisible = doc.traces[static_cast<size_t>(m_nTrace)].traceVisible != 0;
    if (View()) {
        const auto shown = View()->GetDisplaySettings().traces;
        if (static_cast<size_t>(m_nTrace) < shown.size())
            isVisible = shown[static_cast<size_t>(m_nTrace)].traceVisible != 0;
    }
    return isVisible || GetHost().Confirm(hiddenTraceText);
}

bool CEventThreshold::AreStatsTimesRight() const {
    return !UsesStatistics() || !Is(StatsSource::userTimes) || m_dStatsEnd > m_dStatsStart;
}

bool CEventThreshold::CheckStatsTimes() {
    if (AreStatsTimesRight()) return true;
    Refuse(statsOrderText);
    m_dStatsEnd = m_dGoodStatsEnd > m_dStatsStart ? m_dGoodStatsEnd : m_dStatsStart + 10.0;
    return false;
}

// Levels are measured and events found trace by trace.
struct CEventThreshold::Job : EventJob {
    ThresholdRule rule;
    bool measures = false;
    StatsChoice choice;
    LevelSettings settings;
    std::vector<SampleSpan> stretches;  // of the traces in `found`, for the statistics
    LevelMeter meter;
    std::vector<ThresholdLevels> levels;  // of the same traces
    bool hasWarned = false;

    int64_t Samples() const override {
        int64_t samples = EventJob::Samples();
        for (const SampleSpan& stretch : stretches) samples += stretch.Count();
        return samples;
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        std::optional<ProgressScope> progress;
        for (size_t i = 0; i < found.size(); ++i) {
            if (measures) Measure(samples, context, i);
            if (!progress)
                progress.emplace(context, title, static_cast<uint64_t>(EventJob::Samples()), samplesAtOnce);
            progress->AtTrace(i + 1, found.size());
            Detect(samples, region, ThresholdDetector(rule, region.first), *progress, found[i]);
            levels.push_back(rule.levels);
        }
    }
    void Measure(SampleReader& samples, JobContext& context, size_t which) {
        meter.Seek(samples, found[which].parentTrace, stretches[which], settings.window, context, true);
        const ThresholdStatistics& statistics = meter.Statistics();
        if (statistics.IsTruncated() && !std::exchange(hasWarned, true))
            context.Warn(
                fmt::format(tooManyStatisticsSamplesText, statistics.CountAsked(), mostStatisticsSamples));
        if (!meter.Measure(samples, settings, rule.levels)) throw JobRefused(noStatisticsText);
    }
};

std::unique_ptr<OperationJob> CEventThreshold::MakeJob() {
    auto job = std::make_unique<Job>();
    if (!TakeRegion(*job) || !CheckStatsTimes() || !MayAnalyseTrace()) return nullptr;
    FollowOnset();
    job->method = methodThreshold;
    job->keepsOutside = m_bOnlyClearWithinRegion;
    job->rule = Rule();
    job->measures = UsesStatistics();
    if (job->measures) job->choice = ChooseStats(true);
    job->settings = MeterSettings();
    job->meter = m_meter;
    const int first = m_bAllTraces ? 0 : m_nTrace;
    const int count = m_bAllTraces ? Document()->traceCount : 1;
    for (int i = 0; i < count; ++i) {
        AddTarget(*job, m_nDestination + i, first + i,
                  m_bAllTraces ? fmt::format("threshold tr {}", i + 1) : m_strDescription);
        if (job->measures) job->stretches.push_back(StatsSpan(first + i, job->choice));
    }
    if (job->measures && job->choice.source == StatsSource::taggedEvent)
        job->reads.push_back(job->choice.channel);
    return job;
}

bool CEventThreshold::FinishFound(CEventChan& chan, const EventJob& job, size_t which) {
    const ThresholdLevels& levels = static_cast<const Job&>(job).levels[which];
    const EventJob::Found& found = job.found[which];
    KeepDetectionSettings(chan, found.parentTrace, levels);
    m_analysed.push_back({found.parentTrace, found.channel, LevelsInUse(levels)});
    return true;
}

bool CEventThreshold::ShapeFound(CEventChan& chan, const EventJob&) {
    return chan.FilterByGap(Document()->PositionOf(static_cast<double>(m_fMinimumOff)),
                            Document()->PositionOf(static_cast<double>(m_fMinimumOn)),
                            Document()->PositionOf(static_cast<double>(m_fMaximumOn)));
}

void CEventThreshold::TakeFound(const EventJob& job) {
    const Job& done = static_cast<const Job&>(job);
    m_levels = done.rule.levels;
    m_meter = done.meter;
}

// The statistics of what was seen, or of the least active window in it, become those of the times that it
// had. Each trace has a least active window of its own.
std::vector<std::byte> CEventThreshold::RerunSettings(const OperationJob& job) {
    const bool seeks = Is(StatsSource::mostInactive);
    if (!UsesStatistics() || !(seeks || Is(StatsSource::visibleView)))
        return CEventWndBaseDlg::RerunSettings(job);
    const Job& done = static_cast<const Job&>(job);
    if (seeks && done.found.size() > 1) return {};
    const int64_t first = done.meter.Statistics().First();
    const auto source = std::exchange(m_nStatsSource, static_cast<int32_t>(StatsSource::userTimes));
    const double goodEnd = m_dGoodStatsEnd;
    const double start = std::exchange(m_dStatsStart, Document()->TimeOf(first));
    const double end =
        std::exchange(m_dStatsEnd, Document()->TimeOf(first + done.meter.Statistics().CountAsked()));
    std::vector<std::byte> record = CEventWndBaseDlg::RerunSettings(job);
    m_nStatsSource = source;
    m_dStatsStart = start;
    m_dStatsEnd = end;
    m_dGoodStatsEnd = goodEnd;
    return record;
}

ThresholdRule CEventThreshold::Rule() const {
    return {m_levels, static_cast<OnsetDirection>(m_nOnsetDirection), m_bLimitLogicUsed,
            static_cast<LimitLogic>(m_nLimitLogic)};
}

// What the channel's record keeps of the detection.
void CEventThreshold::KeepDetectionSettings(CEventChan& chan, int trace,
                                            const ThresholdLevels& levels) const {
    DetectionParameters& kept = chan.detection;
    kept.templateTrace = trace;
    kept.analysisRegion = m_nRegionMode;
    kept.analysisStart = static_cast<float>(m_dRegionStart);
    kept.analysisEnd = static_cast<float>(m_dRegionEnd);
    kept.thresholdLevel = TestsPositive() ? levels.OnPos : levels.OnNeg;
    kept.thresholdHysteresis = TestsPositive() ? levels.OnPos - levels.OffPos : levels.OffNeg - levels.OnNeg;
    kept.thresholdMinimum = m_fMinimumOn;
    kept.thresholdMode = m_nOnsetDirection;
    kept.thresholdOnsetA = levels.OnPos;
    kept.thresholdOnsetB = levels.OnNeg;
}

// --- the report ---

void CEventThreshold::GetParamText(std::string& text) { AppendReport(text, ChooseStats(false)); }

void CEventThreshold::AppendReport(std::string& text, const EventJob& job) {
    AppendReport(text, static_cast<const Job&>(job).choice);
}

void CEventThreshold::AppendReport(std::string& text, const StatsChoice& choice) const {
    AppendRegionText(text);
    if (m_bAllTraces)
        text += "Analysed all traces, events start at channel: ";
    else
        text += fmt::format("Analysed trace: {}\r\nDestination event channel: ", m_nTrace + 1);
    text += ChannelName(m_nDestination) + "\r\n";
    AppendLevelText(text);
    static constexpr const char* logics[] = {"Must not cross", "Must cross"};
    static constexpr const char* directions[] = {"+ve", "-ve", "+/-ve"};
    text += m_bLimitLogicUsed ? fmt::format("Limit logic used: {}\r\n", logics[m_nLimitLogic == 1])
                              : "Limit logic not used\r\n";
    text += fmt::format("Onset direction: {}\r\n", directions[std::clamp(m_nOnsetDirection, 0, 2)]);
    if (UsesStatistics()) AppendStatsText(text, choice);
    text += fmt::format("Time filter:\r\n\tminimum off time: {:f}\r\n\tminimum on time: {:f}\r\n"
                        "\tmaximum on time: {:f}\r\n",
                        m_fMinimumOff, m_fMinimumOn, m_fMaximumOn);
}

CEventThreshold::NamedLevels CEventThreshold::LevelsInUse(const ThresholdLevels& levels) const {
    NamedLevels named;
    const auto side = [&](const std::string& name, float on, float off, float limit) {
        named.emplace_back("On " + name, on);
        named.emplace_back("Off " + name, off);
        if (m_bLimitLogicUsed) named.emplace_back("Limit " + name, limit);
    };
    if (TestsPositive()) side("+ve", levels.OnPos, levels.OffPos, levels.LimitPos);
    if (TestsNegative()) side("-ve", levels.OnNeg, levels.OffNeg, levels.LimitNeg);
    return named;
}

std::vector<Result> CEventThreshold::Results() {
    if (m_analysed.empty() || !Document()) return {};
    Result result;
    result.name = "Threshold parameters";
    result.columns = {{"Analysed trace", {}}, {"Destination event channel", {}}};
    const auto& traces = Document()->traces;
    const std::string units = traces[static_cast<size_t>(m_analysed.front().trace)].traceUnits;
    const bool haveOneUnit = std::ranges::all_of(m_analysed, [&](const Analysed& one) {
        return traces[static_cast<size_t>(one.trace)].traceUnits == units;
    });
    for (const auto& [name, value] : m_analysed.front().levels)
        result.columns.push_back({name, haveOneUnit ? units : std::string()});
    result.columns.push_back({"Events", {}});
    std::vector<std::vector<ResultValue>> rows;
    for (const Analysed& one : m_analysed) {
        const int64_t events = Document()->GetNumEvents(one.channel);
        std::vector<ResultValue> row{int64_t{one.trace} + 1, ChannelName(one.channel)};
        for (const auto& [name, value] : one.levels) row.push_back(value);
        row.push_back(events);
        rows.push_back(std::move(row));
        if (m_analysed.size() > 1) continue;
        result.values = one.levels;
        result.values.emplace_back("Events", events);
    }
    result.SetRows(std::move(rows));
    return {std::move(result)};
}

void CEventThreshold::AppendLevelText(std::string& text) const {
    static constexpr const char* sources[] = {"direct value", "mean +/- s.d. * mult",
                                              "median +/- robust s.d. * mult", "value percentile"};
    text += fmt::format("Threshold source: {}\r\n", sources[std::clamp(m_nThresholdSource, 0, 3)]);
    if (UsesMultipliers())
        text += fmt::format("\tmult: on {:f}, off {:f}, limit {:f}\r\n", m_fOnMult, m_fOffMult, m_fLimitMult);
    if (UsesPercentiles())
        text += fmt::format("\tpercentile: on {:f}, off {:f}, limit {:f}\r\n", m_fOnPercentile,
                            m_fOffPercentile, m_fLimitPercentile);
    text += "Threshold parameters\r\n";
    const auto side = [&](const char* name, float on, float off, float limit) {
        text += fmt::format("\tOn {} {:f}, Off {} {:f}", name, on, name, off);
        if (m_bLimitLogicUsed) text += fmt::format(", Limit {} {:f}", name, limit);
        text += "\r\n";
    };
    if (TestsPositive()) side("+ve", m_levels.OnPos, m_levels.OffPos, m_levels.LimitPos);
    if (TestsNegative()) side("-ve", m_levels.OnNeg, m_levels.OffNeg, m_levels.LimitNeg);
}

void CEventThreshold::AppendStatsText(std::string& text, const StatsChoice& choice) const {
    text += "Stats calculated from: ";
    switch (choice.source) {
    case StatsSource::wholeFile:
        text += "whole file\r\n";
        break;
    case StatsSource::visibleView: {
        const TimeSpan times = SeenTimes();
        text +=
            fmt::format("visible view\r\n\tstart time = {:f}, end time = {:f}\r\n", times.start, times.end);
        break;
    }
    case StatsSource::userTimes:
        text +=
            fmt::format("user-set times; on-time = {:f}, off-time = {:f}\r\n", m_dStatsStart, m_dStatsEnd);
        break;
    case StatsSource::taggedEvent:
        text += fmt::format("1st event in chan {}\r\n", ChannelName(choice.channel));
        break;
    case StatsSource::mostInactive:
        text += fmt::format("most inactive {:f} ms region of visible data trace\r\n", m_fInactiveDuration);
        break;
    }
}

}  // namespace kymora
