#include "detection/event_osc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "detection/analysis_blocks.h"
#include "document/sample_scan.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t rhythmVersion = 1;
constexpr uint64_t rhythmStepsWithoutProgress = 100, rhythmSpansWithoutProgress = 100;
constexpr int64_t fewestRhythmSamples = 3;
constexpr int32_t greatestReduceFactor = 100'000;
constexpr double truncationTolerance = 1e-9, greatestRhythmTime = 1e13;
constexpr const char* rhythmStepsLabel = "Calculating coefficients";
constexpr const char* mergingLabel = "Merging overlapping event channels";
constexpr const char* storingLabel = "Storing cycle periods";

}  // namespace

int64_t WholeSamplesIn(double time, double sampleInterval) {
    return static_cast<int64_t>(std::floor(time / sampleInterval + truncationTolerance));
}

// --- settings ---

void CEventOsc::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, rhythmVersion, ClassName());
    for (double* value : {&m_dSlidingWindow, &m_dMaximumLag, &m_dThreshold, &m_dStep, &m_dMinimumPeriod})
        Exchange(archive, *value);
    Exchange(archive, m_bRectify);
    Exchange(archive, m_dSmoothHalfWindow);
    Exchange(archive, m_nReduceFactor);
    Exchange(archive, m_bStorePeriod);
    Exchange(archive, m_dMinimumPeakToPeak);
    Exchange(archive, m_dMinimumDuration);
    Exchange(archive, m_bRefine);
    Exchange(archive, m_bShowFrequency);
}

std::string CEventOsc::Units() const {
    const CDataDoc* doc = Document();
    return doc && m_nTrace < doc->traceCount ? doc->traces[static_cast<size_t>(m_nTrace)].traceUnits
                                             : std::string();
}

void CEventOsc::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Rhythm");
    const auto time = [&](const char* key, const char* label, double& value, const char* tip) {
        list.Number(key, label, value).Unit("ms").Limits(0, greatestRhythmTime).Tip(tip);
    };
    time("slidingWindow", "Sliding window", m_dSlidingWindow,
         "Duration of the stretch whose autocorrelation is calculated: a few periods of the rhythm");
    time("maximumLag", "Maximum lag", m_dMaximumLag,
         "Longest lag of the autocorrelation: longer than the longest period that is sought");
    list.Number("threshold", "Threshold", m_dThreshold)
        .Limits(0, 1)
        .Step(0.05)
        .Tip("Rhythmicity index (strength of rhythm): normalized height from first trough to next peak");
    time("step", "Step", m_dStep, "How far the window moves on each time");
    time("minimumPeriod", "Minimum period", m_dMinimumPeriod,
         "Time to first peak after first trough; indicates period of fastest rhythm");
    list.Group("Preprocess");
    list.Flag("rectify", "Rectify", m_bRectify).Tip("Take the absolute values of the samples first");
    time("smoothHalfWindow", "Smooth half-window", m_dSmoothHalfWindow,
         "Half-window for 4-pass moving average smoothing [0 = no smoothing]. Noise can end the first trough "
         "of the "
         "autocorrelation early; smoothing takes it away");
    list.Integer("reduceFactor", "Reduce factor", m_nReduceFactor)
        .Limits(1, greatestReduceFactor)
        .Spin()
        .Tip("Sample rate reduction factor [1 = no reduction]");
    list.Group("Events");
    list.Flag("storePeriod", "Store period", m_bStorePeriod)
        .Tip("Store the period (the median of the windows of the event, in ms) in the event variable");
    list.Number("minimumPeakToPeak", "Minimum peak-to-peak", m_dMinimumPeakToPeak)
        .Unit(Units())
        .Limits(0, mostFloat)
        .Tip("Exclude events whose largest and smallest samples are closer than this");
    time("minimumDuration", "Minimum duration", m_dMinimumDuration, "Exclude events shorter than this");
    list.Flag("refine", "Refine onset and offset", m_bRefine)
        .Tip("Move the start and end of each event inward by tenths of a period, as long as the window there "
             "passes "
             "and shows the rhythm more strongly");
    list.Group("Graph");
    list.Flag("showFrequency", "Show as frequency", m_bShowFrequency)
        .Tip("Show the periods as frequencies (Hz)");
    DescribeRegion(list);
    DescribeDestination(list);
}

RhythmSettings CEventOsc::Rule() const {
    const double interval = Document()->sampleInterval;
    RhythmSettings settings;
    settings.window = WholeSamplesIn(m_dSlidingWindow, interval);
    settings.step = WholeSamplesIn(m_dStep, interval);
    settings.mostLag = std::min(WholeSamplesIn(m_dMaximumLag, interval), settings.window - 1);
    settings.threshold = m_dThreshold;
    settings.minimumPeriod = Document()->PositionOf(m_dMinimumPeriod);
    settings.preprocess = {m_bRectify, static_cast<size_t>(Document()->PositionOf(m_dSmoothHalfWindow)),
                           static_cast<size_t>(m_nReduceFactor)};
    settings.refines = m_bRefine;
    return settings;
}

std::string CEventOsc::CheckSettings() {
    std::string fault = CEventWndBaseDlg::CheckSettings();
    if (!fault.empty() || !Document()) return fault;
    const RhythmSettings settings = Rule();
    if (settings.step < 1) return shortRhythmStepText;
    if (settings.window / m_nReduceFactor < fewestRhythmSamples) return shortRhythmWindowText;
    if (settings.mostLag / m_nReduceFactor < 1) return shortRhythmLagText;
    return {};
}

void CEventOsc::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) {
        m_found = {};
        m_shown.clear();
    }
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

// --- the run ---

struct CEventOsc::Job : EventJob {
    RhythmSettings settings;
    std::vector<SampleSpan> blocks;
    bool storesPeriod = true;
    double minimumPeakToPeak = 0.0, sampleInterval = 1.0;
    int64_t minimumDuration = 0;  // samples
    Outcome result;

    // Each step costs as many samples as the window has.
    int64_t Samples() const override {
        int64_t steps = 0;
        for (const SampleSpan& block : blocks) steps += RhythmStepsIn(block.Count(), settings);
        const int64_t most = std::numeric_limits<int64_t>::max() / (2 * settings.window);
        return EventJob::Samples() + std::min(steps, most) * settings.window;
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        const std::vector<RhythmicSpan> spans = Search(samples, context);
        result.found = spans.size();
        ProgressScope progress(context, storesPeriod ? storingLabel : mergingLabel, spans.size(),
                               rhythmSpansWithoutProgress);
        for (const RhythmicSpan& rhythmic : spans) {
            progress.Step(1);
            if (rhythmic.span.Count() < minimumDuration)
                ++result.tooShort;
            else if (minimumPeakToPeak > 0.0 &&
                     PeakToPeak(samples, rhythmic.span, progress) < minimumPeakToPeak)
                ++result.tooSmall;
            else
                Add(rhythmic);
        }
    }

    std::vector<RhythmicSpan> Search(SampleReader& samples, JobContext& context) {
        const int trace = found[0].parentTrace;
        std::vector<SampleSpan> finite;
        {
            ProgressScope progress(context, title, static_cast<uint64_t>(region.Count()), samplesAtOnce);
            finite = FiniteBlocks(samples, trace, blocks, settings.window, progress);
        }
        if (finite.empty()) throw JobRefused(noRhythmWindowText);
        int64_t count = 0;
        for (const SampleSpan& block : finite) count += RhythmStepsIn(block.Count(), settings);
        ProgressScope progress(context, rhythmStepsLabel, static_cast<uint64_t>(count),
                               rhythmStepsWithoutProgress);
        RhythmSearch search(settings, samples, trace);
        std::vector<RhythmicSpan> spans;
        for (const SampleSpan& block : finite)
            search.Search(
                block, [&] { progress.Step(1); }, result.steps, spans);
        return spans;
    }
    double PeakToPeak(SampleReader& samples, SampleSpan span, ProgressScope& progress) const {
        float low = std::numeric_limits<float>::max(), high = -low;
        ScanSamples(samples, found[0].parentTrace, span.first, span.Count(),
                    [&](std::span<const float> values) {
                        const auto [least, most] = std::ranges::minmax(values);
                        low = std::min(low, least);
                        high = std::max(high, most);
                        progress.Step(0);
                        return true;
                    });
        return double{high} - low;
    }
    void Add(const RhythmicSpan& rhythmic) {
        CEventKM& event = found[0].events.emplace_back();
        event.onPosition = rhythmic.span.first;
        event.offPosition = rhythmic.span.end;
        if (storesPeriod) event.eventValue = static_cast<float>(rhythmic.period * sampleInterval);
    }
};

std::unique_ptr<OperationJob> CEventOsc::MakeJob() {
    auto job = std::make_unique<Job>();
    if (!TakeRegion(*job)) return nullptr;
    const CDataDoc& doc = *Document();
    job->settings = Rule();
    if (job->settings.window > job->region.Count()) throw JobRefused(longRhythmWindowText);
    job->blocks = BlocksOf(doc, m_nTrace, job->region);
    if (LongestOf(job->blocks) < job->settings.window) throw JobRefused(noRhythmWindowText);
    if (!IsLookingAhead() && WholeSamplesIn(m_dMaximumLag, doc.sampleInterval) > job->settings.mostLag)
        Tell(fmt::format(longRhythmLagText, doc.TimeOf(job->settings.mostLag)));
    job->method = methodRhythmInData;
    job->storesPeriod = m_bStorePeriod;
    job->minimumPeakToPeak = m_dMinimumPeakToPeak;
    job->minimumDuration = doc.PositionOf(m_dMinimumDuration);
    job->sampleInterval = doc.sampleInterval;
    AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
    return job;
}

void CEventOsc::TakeLook(const EventJob& job) {
    const Job& done = static_cast<const Job&>(job);
    m_shown = done.result.steps;
    m_shownWindow = done.settings.window;
}

void CEventOsc::TakeFound(const EventJob& job) {
    TakeLook(job);
    m_found = static_cast<const Job&>(job).result;
}

bool CEventOsc::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    chan.detection.templateTrace = m_nTrace;
    return true;
}

// --- the report ---

void CEventOsc::GetParamText(std::string& text) {
    AppendRegionText(text);
    text += fmt::format("Parent trace: {}\r\nDestination event channel: {}\r\nPreprocess (if any): ",
                        m_nTrace + 1, ChannelName(m_nDestination));
    if (m_bRectify) text += "Rectify\t";
    if (m_dSmoothHalfWindow > 0.0) text += fmt::format("Smooth half-window {:f}\t", m_dSmoothHalfWindow);
    if (m_nReduceFactor > 1) text += fmt::format("Reduce frequency factor {}\t", m_nReduceFactor);
    text +=
        fmt::format("\r\nSliding window = {:f}\r\nMaximum lag = {:f}\r\nThreshold = {:f}\r\nStep = {:f}\r\n"
                    "Min period = {:f}\r\n",
                    m_dSlidingWindow, m_dMaximumLag, m_dThreshold, m_dStep, m_dMinimumPeriod);
    if (m_bStorePeriod) text += "Period stored in variable\r\n";
    text += fmt::format("Min pk-to-pk amp = {:f}\r\nMin dur = {:f}\r\n", m_dMinimumPeakToPeak,
                        m_dMinimumDuration);
    if (m_bRefine) text += "Onset and offset refined\r\n";
}

std::string CEventOsc::RunSummary() const {
    std::string text;
    const auto add = [&](size_t count, const char* what) {
        if (count > 0) text += fmt::format("{}{} more were too {}", text.empty() ? "" : ", ", count, what);
    };
    add(m_found.tooShort, "short");
    add(m_found.tooSmall, "small");
    return text;
}

double CEventOsc::Shown(double period) const {
    const double time = period * Document()->sampleInterval;
    return m_bShowFrequency ? 1000.0 / time : time;
}

ResultColumn CEventOsc::PeriodColumn() const {
    return m_bShowFrequency ? ResultColumn{"Frequency", "Hz"} : ResultColumn{"Period", "ms"};
}

std::vector<Result> CEventOsc::Results() {
    if (!Document() || m_found.steps.empty()) return {};
    Result result{"rhythm",
                  {{"Steps", static_cast<int64_t>(m_found.steps.size())},
                   {"Rhythms", static_cast<int64_t>(m_found.found)},
                   {"Too short", static_cast<int64_t>(m_found.tooShort)},
                   {"Too small", static_cast<int64_t>(m_found.tooSmall)}},
                  {{"Start", "ms"}, {"Index", {}}, PeriodColumn()},
                  {}};
    result.rows = [this](const ResultRowSink& sink) {
        for (const RhythmStep& step : m_found.steps) {
            ResultValue row[] = {Document()->TimeOf(step.start), step.index, {}};
            if (step.period > 0) row[2] = Shown(step.period);
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(result)};
}

// --- the graph ---

double CEventOsc::MiddleOf(const RhythmStep& step) const {
    return (static_cast<double>(step.start) + static_cast<double>(m_shownWindow) / 2.0) *
           Document()->sampleInterval;
}

GraphPane CEventOsc::IndexPane() const {
    GraphPane pane{"index"};
    pane.x = {"Time (middle of window)", "ms"};
    pane.y = {"Rhythmicity index", {}};
    if (m_shown.empty()) return pane;
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)};
    for (const RhythmStep& step : m_shown) {
        curve.x.push_back(MiddleOf(step));
        curve.y.push_back(step.index);
    }
    pane.layers.push_back(std::move(curve));
    pane.lines.push_back({false, m_dThreshold, GraphColour(1), "threshold", "threshold", false});
    return pane;
}

GraphPane CEventOsc::PeriodPane() const {
    GraphPane pane{"period"};
    pane.x = {"Time (middle of window)", "ms"};
    const ResultColumn column = PeriodColumn();
    pane.y = {column.name, column.unit};
    if (m_shown.empty()) return pane;
    RhythmSettings settings;
    settings.threshold = m_dThreshold;
    settings.minimumPeriod = Document()->PositionOf(m_dMinimumPeriod);
    GraphLayer good{LayerKind::points, "in rhythm", GraphColour(0)};
    GraphLayer other{LayerKind::points, "below threshold", GraphColour(7)};
    for (const RhythmStep& step : m_shown) {
        if (step.period <= 0) continue;
        GraphLayer& layer = settings.Accepts({step.index, step.period}) ? good : other;
        layer.x.push_back(MiddleOf(step));
        layer.y.push_back(Shown(step.period));
    }
    if (other.x.empty()) other.name.clear();
    pane.layers = {std::move(other), std::move(good)};
    if (m_dMinimumPeriod > 0.0)
        pane.lines.push_back({false, m_bShowFrequency ? 1000.0 / m_dMinimumPeriod : m_dMinimumPeriod,
                              GraphColour(1), "minimum period", m_bShowFrequency ? "" : "minimumPeriod",
                              false});
    return pane;
}

std::optional<Graph> CEventOsc::GetGraph() {
    Graph graph;
    graph.sharesX = true;
    graph.panes = {IndexPane(), PeriodPane()};
    return graph;
}

}  // namespace kymora
