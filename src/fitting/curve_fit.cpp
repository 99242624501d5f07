#include "fitting/curve_fit.h"

#include <fmt/format.h>

#include "fitting/trace_change.h"
#include "statistics/random_draws.h"

namespace kymora {

namespace {

constexpr uint32_t curveFitVersion = 1;
constexpr int64_t mostShown = 1'000'000;  // samples that are drawn before they are fitted
constexpr const char* noFitText = "There is no fitted curve to subtract. Press Fit first.";
constexpr const char* subtractedComment = "Subtracted fitted curve";

}  // namespace

CCurveFit::CCurveFit() : CEventWndBaseDlg(usesTrace) { m_nRegionMode = regionVisible; }

// --- settings ---

void CCurveFit::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, curveFitVersion, ClassName());
    m_fit.Exchange(archive);
    Exchange(archive, m_bEachEvent);
    Exchange(archive, m_bSubtract);
    Exchange(archive, m_nAddMode);
    Exchange(archive, m_bNewFile);
    Exchange(archive, m_bAddNoise);
    Exchange(archive, m_dNoiseSD);
}

void CCurveFit::Describe(ParamList& list) {
    DescribeSource(list);
    m_fit.DescribeEquation(list);
    DescribeCommands(list);
    m_fit.DescribeIterations(list);
    m_fit.DescribeFurther(list);
    m_fit.DescribeTest(list);
    DescribeRegion(list);
    list.Find("region")->toolTip = "Analyse data from whole file; Analyse data between the first two cursors "
                                   "of the active view, or all that is visible in it; Analyse data within "
                                   "the user-specified time";
    list.Find("regionEnd")->least = 0.0;
    list.Flag("eachEvent", "A fit for each event", m_bEachEvent)
        .Tip("Fits the samples of every event alone, from the same starts, and lists the parameters");
    list.Channel("channel1", "of channel", m_nChannel1)
        .Tip("Event channel whose events are fitted")
        .EnabledIf([this] { return m_bEachEvent; })
        .Shows([this] { return EventCountText(Document(), m_nChannel1); });
    DescribeSubtraction(list);
}

void CCurveFit::DescribeCommands(ParamList& list) {
    list.Action("reset", "Reset", [this] { m_fit.Reset(); }).Tip("Set all parameters to 1");
    list.Action("restore", "Restore", [this] { m_fit.Restore(); })
        .Tip("Brings the parameters back that stood before the latest fit");
    list.Action("reload", "Reload", [this] { Reload(); })
        .Tip("Reads the data of the region anew, and forgets the results");
    list.Action("guessNow", "Guess",
                [this] {
                    if (const FitPointsRef points = ShownPoints()) m_fit.Guess(*points);
                })
        .Tip("Sets the parameters of a ready equation as the data suggest")
        .EnabledIf([this] { return m_fit.CanGuess(); });
}

void CCurveFit::DescribeSubtraction(ParamList& list) {
    list.Group("Subtract the curve");
    list.Flag("subtract", "Fit and subtract in one step", m_bSubtract)
        .Tip("A run fits the curve and writes the recording with the curve taken out of the data of the "
             "region");
    list.Choice("addMode", "Result", m_nAddMode, {"Replace trace", "Add trace"})
        .Buttons()
        .Tip("The result takes the place of the trace; The result is a new trace behind it");
    list.Flag("newFile", "Write new file", m_bNewFile)
        .Tip("Write the result into a new file and leave the source as it is");
    list.Flag("addNoise", "Add noise", m_bAddNoise)
        .Tip("Add a normally-distributed random number with this SD to each data point");
    list.Number("noiseSD", "SD of noise", m_dNoiseSD)
        .Limits(0.0, std::numeric_limits<double>::max())
        .Tip("Of the random numbers that are added, in the unit of the trace")
        .EnabledIf([this] { return m_bAddNoise; });
    list.Action("subtractNow", "Subtract", [this] { SubtractNow(); })
        .Tip("Takes the curve that was fitted out of the data of its region")
        .EnabledIf([this] { return m_fit.HasFit() && onTraces; });
}

std::string CCurveFit::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (m_bEachEvent && m_bSubtract) return "The curves of single events are listed, and not subtracted.";
    if (m_bEachEvent && Document() && Document()->HasChannel(m_nChannel1) &&
        Document()->GetNumEvents(m_nChannel1) == 0)
        return fmt::format("Event channel {} has no events.", ChannelDisplayName(m_nChannel1));
    return m_fit.Fault();
}

void CCurveFit::GetParamText(std::string& text) {
    text += fmt::format("Trace: {}\r\n", m_nTrace + 1);
    if (Document()) {
        const TimeSpan times = FitTimes();
        text += fmt::format("Analysis region: Start = {:f}, End = {:f}\r\n", times.start, times.end);
    }
    m_fit.AppendText(text);
    if (m_bAddNoise) text += fmt::format("Noise added: SD = {:g}\r\n", m_dNoiseSD);
}

// --- what it works on ---

void CCurveFit::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) Reload();
    // A fit takes any stretch, also one that ends near the start of the recording.
    const double end = m_dRegionEnd;
    CEventWndBaseDlg::CheckChangeDoc(doc);
    m_dRegionEnd = end;
}

void CCurveFit::OnUpdate(UpdateHint hint) {
    if (hint == UpdateHint::samples) Reload();
}

void CCurveFit::Reload() {
    m_shown.reset();
    m_fit.Forget();
}

SampleSpan CCurveFit::FitSpan() const {
    const CDataDoc& doc = *Document();
    const TimeSpan times = [&] {
        if (m_nRegionMode == regionWholeFile) return TimeSpan{0.0, doc.TimeOf(doc.GetLength())};
        if (m_nRegionMode == regionUserSet) return TimeSpan{m_dRegionStart, m_dRegionEnd};
        const std::vector<double> cursors = View() ? View()->GetCursorTimes() : std::vector<double>();
        return cursors.size() > 1 ? TimeSpan{cursors[0], cursors[1]} : VisibleTimes(doc, View());
    }();
    const int64_t end = std::min<int64_t>(int64_t{doc.PositionOf(times.end)} + 1, doc.GetLength());
    return HeldTo(doc, {doc.PositionOf(times.start), static_cast<int32_t>(end)});
}

TimeSpan CCurveFit::FitTimes() const {
    const SampleSpan span = FitSpan();
    return {Document()->TimeOf(span.first), Document()->TimeOf(std::max(span.first, span.end - 1))};
}

std::vector<std::byte> CCurveFit::RerunSettings(const OperationJob&) {
    const TimeSpan times = FitTimes();
    if (!(times.end > times.start)) return {};
    const auto mode = std::exchange(m_nRegionMode, regionUserSet);
    const double start = std::exchange(m_dRegionStart, times.start);
    const double end = std::exchange(m_dRegionEnd, times.end);
    std::vector<std::byte> record = Settings();
    m_nRegionMode = mode;
    m_dRegionStart = start;
    m_dRegionEnd = end;
    return record;
}

FitPointsRef CCurveFit::PointsOf(FitSamples samples) const {
    auto points = std::make_shared<FitPoints>();
    const TraceSettings& trace = Document()->traces[static_cast<size_t>(m_nTrace)];
    points->x = std::move(samples.t);
    points->y = std::move(samples.y);
    points->xTitle = "t";
    points->xUnit = "ms";
    points->yTitle = trace.traceLabel.empty() ? fmt::format("trace {}", m_nTrace + 1) : trace.traceLabel;
    points->yUnit = trace.traceUnits;
    return points;
}

FitPointsRef CCurveFit::ShownPoints() {
    if (!Document() || m_nTrace < 0 || m_nTrace >= Document()->traceCount) return nullptr;
    CDataDoc& doc = *Document();
    const SampleSpan span = FitSpan();
    if (m_shown && m_shown->span == span && m_shown->trace == m_nTrace) return m_shown->points;
    m_shown = Shown{span, m_nTrace, nullptr};
    if (m_fit.Points() && m_fitted == span && m_nFittedTrace == m_nTrace) return nullptr;
    if (span.Count() == 0 || span.Count() > mostShown) return nullptr;
    try {
        m_shown->points =
            PointsOf(ReadFitSamples(doc, m_nTrace, span, doc.sampleInterval, doc.TimeOf(span.first)));
    } catch (const JobRefused&) {
        // The fit tells it.
    }
    return m_shown->points;
}

// --- the fit ---

std::unique_ptr<OperationJob> CCurveFit::MakeJob() {
    CDataDoc& doc = *Document();
    if (m_bEachEvent) {
        auto job = m_fit.MakeJob();
        AddEvents(*job);
        return job;
    }
    if (m_nRegionMode == regionUserSet && !(m_dRegionEnd > m_dRegionStart)) throw JobRefused(regionOrderText);
    const SampleSpan span = FitSpan();
    if (span.Count() == 0) throw JobRefused(emptyRegionText);
    if (static_cast<size_t>(span.Count()) > mostFitPoints)
        throw JobRefused(
            fmt::format("The region has {} samples; a fit takes {} at most.", span.Count(), mostFitPoints));
    auto job = m_fit.MakeJob();
    job->count = span.Count();
    // Label and units are those of now; the samples are read where the job is done.
    const auto head = std::make_shared<FitPoints>(*PointsOf({}));
    job->read = [head, span, trace = m_nTrace, interval = doc.sampleInterval,
                 origin = doc.TimeOf(span.first)](SampleReader& samples) {
        FitSamples read = ReadFitSamples(samples, trace, span, interval, origin);
        head->x = std::move(read.t);
        head->y = std::move(read.y);
        return FitPointsRef(head);
    };
    m_fitted = span;
    m_nFittedTrace = m_nTrace;
    return job;
}

void CCurveFit::AddEvents(CurveFitJob& job) const {
    const CDataDoc& doc = *Document();
    const auto& events = doc.eventChannels[static_cast<size_t>(m_nChannel1)].Events();
    int id = 0;
    for (const CEventKM& event : events) {
        const SampleSpan span = HeldTo(doc, {event.onPosition, event.offPosition});
        job.stretches.push_back({++id, span});
        job.count += span.Count();
    }
    job.readEach = [trace = m_nTrace, interval = doc.sampleInterval](SampleReader& samples, SampleSpan span) {
        return ReadFitSamples(samples, trace, span, interval, static_cast<double>(span.first) * interval);
    };
}

bool CCurveFit::TakeFit(CurveFitJob& job) {
    if (m_fit.Take(job)) return true;
    Refuse(notConvergedText);
    return false;
}

bool CCurveFit::Write(OperationJob& job, UndoScope&) { return TakeFit(static_cast<CurveFitJob&>(job)); }

// --- subtraction ---

void CCurveFit::SubtractNow() {
    if (!m_fit.HasFit() || !onTraces) return Refuse(noFitText);
    onTraces(*this);
}

WrittenFile CCurveFit::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    m_bNewFile = keepsSource;
    return WriteRecordingFile(*this, session, path,
                              [this](CArchive& archive, const std::filesystem::path& target) {
                                  return WriteSubtracted(archive, target);
                              });
}

WrittenRecording CCurveFit::WriteSubtracted(CArchive& archive, const std::filesystem::path& target) {
    CDataDoc& doc = *Document();
    const bool isOfThis = m_fit.HasFit() && m_fitted == FitSpan() && m_nFittedTrace == m_nTrace;
    if (!isOfThis) {
        m_fit.Forget();
        const auto job = MakeJob();
        if (!job) return {};
        Here here(*this);
        job->Compute(doc, here);
        if (!TakeFit(static_cast<CurveFitJob&>(*job))) return {};
    }
    // Doing it again begins where the fit began.
    const auto fitted = std::exchange(m_fit.m_dParam, m_fit.m_dParamSaved);
    const bool subtracts = std::exchange(m_bSubtract, true);
    std::string report = std::string(subtractedComment) + ":\r\n";
    GetParamText(report);
    std::vector<std::byte> record = RerunSettings(OperationJob());
    m_bSubtract = subtracts;
    m_fit.m_dParam = fitted;
    TraceChange change(*this, std::string("; ") + subtractedComment, std::move(record));
    change.emptyLabel = subtractedComment;
    change.report = report;
    change.m_nAddMode = m_nAddMode;
    change.m_strComment = (doc.fileComment.empty() ? "" : "\r\n") + std::string(subtractedComment);
    // The polar method gives two numbers at a time.
    auto noise = std::make_shared<std::optional<NormalDraws>>();
    change.changes[m_nTrace] = [&, noise](int64_t start, std::span<const float> from, std::span<float> to,
                                          std::mt19937& random) {
        if (m_bAddNoise && !*noise) noise->emplace(random);
        for (size_t i = 0; i < from.size(); ++i) {
            const int64_t at = start + static_cast<int64_t>(i);
            to[i] = from[i];
            if (at < m_fitted.first || at >= m_fitted.end) continue;
            double left = double{from[i]} -
                          m_fit.Evaluate(static_cast<double>(at - m_fitted.first) * doc.sampleInterval);
            if (m_bAddNoise) left += m_dNoiseSD * (*noise)->Normal();
            to[i] = static_cast<float>(left);
        }
    };
    return change.Write(archive, target);
}

// --- what it shows ---

void CCurveFit::WriteResult(const TextSink& sink) {
    constexpr int timeDecimals = 2, valueDecimals = 3;
    m_fit.WriteReport(sink, timeDecimals, valueDecimals);
}

std::vector<Result> CCurveFit::Results() { return m_fit.Results(Title()); }

std::optional<Graph> CCurveFit::GetGraph() {
    if (!Document()) return m_fit.GetEmptyGraph();
    const FitPointsRef points = ShownPoints();
    if (!points && m_fit.Points() && m_fitted == FitSpan()) return m_fit.GetGraph(m_fit.Points());
    return m_fit.GetGraph(points.get());
}

}  // namespace kymora
