#include "fitting/remove_exp_drift.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "fitting/trace_change.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t removeDriftVersion = 1;
constexpr int leastIterations = 1000;
// Of what is drawn before the run.
constexpr size_t mostShownSamples = 2000;
constexpr int mostShownIterations = 200;
constexpr double mostDriftIterations = 100'000.0, shrunk = 0.1, leastStep = 0.001;
constexpr const char* lengthText =
    "Unable to proceed. This transform only works with records containing <100000 samples per trace.";
constexpr const char* episodicText =
    "Unable to proceed. This transform only works with non-episodic and gap-free data.";
constexpr const char* emptyDriftListText = "The trace list is empty or its contents are out of range";
constexpr const char* tooManyText =
    "The final trace count will exceed the maximum allowed ({}).\r\nTry copying "
    "file and then select Replace rather than Add Trace.";
constexpr const char* headText =
    "Remove Exponential Drift: {}\r\nFit Start time\t{:f}\tFit End time\t{:f}\r\n";
constexpr const char* averageText = "Time to average is greater than the fit region, so setting to 0.";
constexpr const char* divideTip =
    "Transform by dividing raw data by fitted curve, then multiplying by first datum to restore scale.";
constexpr const char* subtractTip =
    "Transform by subtracting fitted curve from raw data, then adding first datum to restore scale.";

RelaxationFit FitWithShrinking(const Relaxation& start, std::span<const double> t, std::span<const double> y,
                               FitControl control, const FitPoll& poll) {
    for (;;) {
        RelaxationFit fit = FitRelaxation(start, t, y, {control, false, false}, poll);
        control.step *= shrunk;
        if (fit.isDone || !(control.step > leastStep)) return fit;
    }
}

// Every value of the curve is a number that a sample can hold.
bool IsFinite(const Relaxation& curve, double from, double interval, int64_t count) {
    for (int64_t i = 0; i < count; ++i)
        if (!std::isfinite(curve.At(from + static_cast<double>(i) * interval))) return false;
    return true;
}

// The curve passes 0 somewhere between two times, or touches it.
bool CrossesZero(const Relaxation& curve, double from, double interval, int64_t count) {
    const bool isAbove = curve.At(from) > 0.0;
    for (int64_t i = 0; i < count; ++i) {
        const double value = curve.At(from + static_cast<double>(i) * interval);
        if (value == 0.0 || (value > 0.0) != isAbove) return true;
    }
    return false;
}

std::string CurveText(const Relaxation& curve, const char* between) {
    if (curve.model == RelaxationModel::single)
        return fmt::format("V0 = {:f}{}Vinf = {:f}{}tau = {:f}", curve.v0, between, curve.vInf, between,
                           curve.tau0);
    return fmt::format("V0 = {:f}{}Vinf = {:f}{}tau1 = {:f}{}w1 = {:f}{}tau2 = {:f}", curve.v0, between,
                       curve.vInf, between, curve.tau0, between, curve.weight, between, curve.tau1);
}

}  // namespace

DriftFit FitDrift(std::span<const double> t, std::span<const double> y, double average, double fitTime,
                  const FitControl& control, const FitPoll& poll) {
    DriftFit drift;
    for (size_t k = 0; k < 2; ++k) {
        const auto model = k == 0 ? RelaxationModel::single : RelaxationModel::twoExponentials;
        const Relaxation start = StartOfRelaxation(model, t, y, average, fitTime);
        drift.fits[k] = FitWithShrinking(start, t, y, control, poll);
        const RelaxationFit& fit = drift.fits[k];
        const bool isFirst = drift.chosen < 0;
        if (fit.isDone && (isFirst || fit.bic < drift.fits[static_cast<size_t>(drift.chosen)].bic))
            drift.chosen = static_cast<int>(k);
    }
    return drift;
}

// --- settings ---

CRemoveExpDrift::CRemoveExpDrift() : CFitTimeConstBase(0) { m_dFitEnd = 0.0; }

void CRemoveExpDrift::Serialize(CArchive& archive) {
    CFitTimeConstBase::Serialize(archive);
    ExchangeVersion(archive, removeDriftVersion, ClassName());
    Exchange(archive, m_strTraces);
    Exchange(archive, m_nAddMode);
    Exchange(archive, m_bNewFile);
    Exchange(archive, m_nRemoval);
    Exchange(archive, m_dAverageTime);
}

void CRemoveExpDrift::Describe(ParamList& list) {
    constexpr double anything = std::numeric_limits<double>::max();
    list.Group("Traces");
    list.Text("traces", "Traces to process (1-128)", m_strTraces)
        .Tip("Numbers and ranges, for example 1-5 7 10-12");
    list.Choice("addMode", "Result", m_nAddMode, {"Replace trace(s)", "Add trace(s)"})
        .Buttons()
        .Tip("The result takes the place of each trace; The result is a new trace behind each trace");
    list.Flag("newFile", "Write new file", m_bNewFile)
        .Tip("Write the result into a new file and leave the source as it is");
    list.Group("Fit");
    list.Number("fitStart", "Fit from", m_dFitStart)
        .Unit("ms")
        .Limits(0.0, anything)
        .Tip("Where the fit begins");
    list.Number("fitEnd", "Fit to", m_dFitEnd)
        .Unit("ms")
        .Limits(0.0, anything)
        .Tip("Where the fit ends; 0: with the recording");
    list.Number("averageTime", "Time to average", m_dAverageTime)
        .Unit("ms")
        .Limits(0.0, anything)
        .Tip("Time to average before Fit end time to estimate final value");
    list.Choice("method", "Method", m_nRemoval, {"divide", "subtract"})
        .Buttons()
        .Tip(std::string(divideTip) + "; " + subtractTip);
    DescribeIterations(list, mostDriftIterations);
    list.Find("maxIter")->toolTip = "Of one fit; at least 1,000 are done";
}

std::vector<int> CRemoveExpDrift::Traces() const {
    return ParseTraceList(m_strTraces, Document() ? Document()->traceCount : maxTraces, emptyDriftListText);
}

std::string CRemoveExpDrift::CheckSettings() {
    if (!(m_dStep > 0.0)) return noStepText;
    size_t count = 0;
    try {
        count = Traces().size();
    } catch (const ListError&) {
        return emptyDriftListText;
    }
    const CDataDoc* doc = Document();
    if (!doc)
        return m_dFitEnd == 0.0 || m_dFitEnd > m_dFitStart ? ""
                                                           : "The end of the fit must be after its start.";
    if (doc->GetLength() >= mostDriftSamples) return lengthText;
    if (doc->hasGaps || doc->episodic) return episodicText;
    if (m_nAddMode == 1 && static_cast<size_t>(doc->traceCount) + count > maxTraces)
        return fmt::format(tooManyText, int{maxTraces});
    return FitSpan().Count() < 2 ? "The region of the fit has fewer than two samples." : "";
}

void CRemoveExpDrift::GetParamText(std::string& text) {
    const double end =
        Document() && m_dFitEnd == 0.0 ? Document()->TimeOf(Document()->GetLength()) : m_dFitEnd;
    text += fmt::format(headText, m_nRemoval == divide ? "divide" : "subtract", m_dFitStart, end);
}

void CRemoveExpDrift::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_shown.reset();
    // What was done is told beside the recording that came of it, too.
    if (doc && doc->filePath != m_doneIn) m_done.clear();
    CFitTimeConstBase::CheckChangeDoc(doc);
}

// --- the work ---

SampleSpan CRemoveExpDrift::FitSpan() const {
    const CDataDoc& doc = *Document();
    const int64_t end = m_dFitEnd == 0.0 ? doc.GetLength() : int64_t{doc.PositionOf(m_dFitEnd)} + 1;
    return HeldTo(doc, {doc.PositionOf(m_dFitStart), static_cast<int32_t>(std::min(end, doc.GetLength()))});
}

double CRemoveExpDrift::FitTime() const {
    const CDataDoc& doc = *Document();
    const double whole = doc.TimeOf(doc.GetLength());
    return (m_dFitEnd == 0.0 ? whole : std::min(m_dFitEnd, whole)) - m_dFitStart;
}

CRemoveExpDrift::Done CRemoveExpDrift::FitTrace(int trace, const FitPoll& poll) {
    CDataDoc& doc = *Document();
    const SampleSpan span = FitSpan();
    Done done;
    done.trace = trace;
    float first = 0.0f;
    doc.ReadBlock(trace, 0, std::span(&first, 1));
    done.first = first;
    FitControl control = Control().fit;
    control.mostIterations = std::max(leastIterations, m_nMaxIter);
    FitSamples data;
    try {
        data = ReadFitSamples(doc, trace, span, doc.sampleInterval, doc.TimeOf(span.first));
    } catch (const JobRefused&) {
        done.refused = "a sample of the fit's region is infinite or not a number";
        return done;
    }
    if (data.t.size() < 2) {
        done.refused = "it has fewer than two samples there";
        return done;
    }
    done.fit = FitDrift(data.t, data.y, m_dAverageTime, FitTime(), control, poll);
    const double from = -static_cast<double>(span.first) * doc.sampleInterval;
    if (done.fit.chosen < 0)
        done.refused = "neither exponential could be fitted";
    else if (!IsFinite(done.fit.Curve(), from, doc.sampleInterval, doc.GetLength()))
        done.refused =
            "the fitted curve leaves the range of numbers within the recording; fit a longer region";
    else if (m_nRemoval == divide && CrossesZero(done.fit.Curve(), from, doc.sampleInterval, doc.GetLength()))
        done.refused = "the fitted curve comes to 0, by which nothing can be divided; subtract it";
    return done;
}

WrittenFile CRemoveExpDrift::WriteFile(Session& session, const std::filesystem::path& path,
                                       bool keepsSource) {
    m_bNewFile = keepsSource;
    return WriteRecordingFile(*this, session, path,
                              [this](CArchive& archive, const std::filesystem::path& target) {
                                  return WriteChanged(archive, target);
                              });
}

WrittenRecording CRemoveExpDrift::WriteChanged(CArchive& archive, const std::filesystem::path& target) {
    CDataDoc& doc = *Document();
    const SampleSpan span = FitSpan();
    if (m_dAverageTime > FitTime()) {
        Tell(averageText);
        m_dAverageTime = 0.0;
    }
    m_done.clear();
    m_doneIn = doc.filePath;
    m_shown.reset();
    const std::vector<int> traces = Traces();
    {
        ProgressScope progress(GetHost(), "Fitting", traces.size());
        for (size_t i = 0; i < traces.size(); ++i) {
            progress.AtTrace(i + 1, traces.size());
            m_done.push_back(FitTrace(traces[i], [&] { progress.Step(0); }));
            progress.Step(1);
        }
    }
    GetHost().Log(LogText());
    TraceChange change(*this, " minus exp drift", Settings());
    change.emptyLabel = "minus exp drift";
    change.m_nAddMode = m_nAddMode;
    change.report = ReportText();
    for (const Done& done : m_done) {
        if (!done.refused.empty()) {
            Tell(fmt::format("Trace {} is left as it is: {}.", done.trace + 1, done.refused));
            continue;
        }
        change.changes[done.trace] = [&, curve = done.fit.Curve(),
                                      first = done.first](int64_t start, std::span<const float> from,
                                                          std::span<float> to, std::mt19937&) {
            for (size_t i = 0; i < from.size(); ++i) {
                const double t =
                    static_cast<double>(start + static_cast<int64_t>(i) - span.first) * doc.sampleInterval;
                const double fitted = curve.At(t);
                to[i] = static_cast<float>(m_nRemoval == divide ? double{from[i]} / fitted * first
                                                                : double{from[i]} - fitted + first);
            }
        };
    }
    if (change.changes.empty()) {
        Refuse("No trace was changed. The recording is as it was.");
        return {};
    }
    return change.Write(archive, target);
}

// --- what it tells ---

std::string CRemoveExpDrift::LogText() const {
    std::string text = "Trace\tBIC 1\titer\tBIC 2\titer\ttransform\r\n";
    const int most = std::max(leastIterations, m_nMaxIter);
    for (const Done& done : m_done) {
        text += fmt::format("{}\t", done.trace + 1);
        for (const RelaxationFit& fit : done.fit.fits)
            text += fit.isDone
                        ? fmt::format("{:.2f}\t{}{}\t", fit.bic,
                                      fit.result.hasConverged || fit.result.iterations < most ? "" : "max ",
                                      fit.result.iterations)
                        : std::string("failed to converge\t\t");
        text += fmt::format("exp {}\r\n", done.fit.chosen + 1);
    }
    return text;
}

std::string CRemoveExpDrift::ReportText() const {
    const CDataDoc& doc = *Document();
    const SampleSpan span = FitSpan();
    std::string text = fmt::format(headText, m_nRemoval == divide ? "divide" : "subtract",
                                   doc.TimeOf(span.first), m_dFitStart + FitTime());
    for (const Done& done : m_done) {
        if (!done.refused.empty()) {
            text += fmt::format("Trace {}: left as it is\r\n", done.trace + 1);
            continue;
        }
        const Relaxation& curve = done.fit.Curve();
        const bool isSingle = curve.model == RelaxationModel::single;
        if (m_done.size() == 1)
            text += isSingle
                        ? fmt::format("Single exponential. V0 ={:f}, Vinf = {:f}, tau = {:f}\r\n", curve.v0,
                                      curve.vInf, curve.tau0)
                        : fmt::format("Double exponential. V0 ={:f}, Vinf = {:f}, tau1 = {:f}, w1 = {:f}, "
                                      "tau2 = {:f}\r\n",
                                      curve.v0, curve.vInf, curve.tau0, curve.weight, curve.tau1);
        else
            text += fmt::format("Trace {}: {} exponential\r\n\t{}\r\n", done.trace + 1,
                                isSingle ? "single" : "double", CurveText(curve, "\t"));
    }
    return text;
}

void CRemoveExpDrift::WriteResult(const TextSink& sink) {
    if (!m_done.empty() && Document()) sink(LogText() + ReportText());
}

std::vector<Result> CRemoveExpDrift::Results() {
    if (m_done.empty()) return {};
    Result result{Title(),
                  {},
                  {{"trace", ""},
                   {"exponentials", ""},
                   {"v0", ""},
                   {"vInf", ""},
                   {"tau1", "ms"},
                   {"w1", ""},
                   {"tau2", "ms"},
                   {"bic1", ""},
                   {"bic2", ""},
                   {"iterations1", ""},
                   {"iterations2", ""},
                   {"note", ""}},
                  {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const Done& done : m_done) {
        std::vector<ResultValue> row(12);
        row[0] = int64_t{done.trace} + 1;
        if (done.fit.chosen >= 0) {
            const Relaxation& curve = done.fit.Curve();
            row[1] = int64_t{done.fit.chosen} + 1;
            row[2] = curve.v0;
            row[3] = curve.vInf;
            row[4] = curve.tau0;
            if (done.fit.chosen == 1) {
                row[5] = curve.weight;
                row[6] = curve.tau1;
            }
            for (size_t k = 0; k < 2; ++k) {
                const RelaxationFit& fit = done.fit.fits[k];
                if (!fit.isDone) continue;
                if (std::isfinite(fit.bic)) row[7 + k] = fit.bic;
                row[9 + k] = int64_t{fit.result.iterations};
            }
        }
        if (!done.refused.empty()) row[11] = done.refused;
        rows.push_back(std::move(row));
    }
    result.SetRows(std::move(rows));
    return {std::move(result)};
}

const CRemoveExpDrift::Shown& CRemoveExpDrift::TakeShown() {
    const std::vector<std::byte> settings = Settings();
    if (m_shown && m_shown->settings == settings) return *m_shown;
    m_shown.emplace();
    m_shown->settings = settings;
    if (!Document() || !CheckSettings().empty()) return *m_shown;
    CDataDoc& doc = *Document();
    const SampleSpan span = FitSpan();
    try {
        FitSamples all =
            ReadFitSamples(doc, Traces().front(), span, doc.sampleInterval, doc.TimeOf(span.first));
        const size_t every = all.t.size() / mostShownSamples + 1;
        for (size_t i = 0; i < all.t.size(); i += every) {
            m_shown->data.t.push_back(all.t[i]);
            m_shown->data.y.push_back(all.y[i]);
        }
        FitControl control = Control().fit;
        control.mostIterations = std::min(control.mostIterations, mostShownIterations);
        const DriftFit fit = FitDrift(m_shown->data.t, m_shown->data.y, m_dAverageTime, FitTime(), control);
        if (fit.chosen >= 0) m_shown->fit = fit;
    } catch (const JobRefused&) {
        // The run tells it.
    }
    return *m_shown;
}

std::optional<Graph> CRemoveExpDrift::GetGraph() {
    GraphPane pane{"drift"};
    pane.x = {"time", "ms"};
    pane.y = {"V", ""};
    const Shown& shown = TakeShown();
    if (shown.data.t.empty()) return Graph{{std::move(pane)}};
    const CDataDoc& doc = *Document();
    const double start = doc.TimeOf(FitSpan().first);
    pane.y.unit = doc.traces[static_cast<size_t>(Traces().front())].traceUnits;
    GraphLayer raw{LayerKind::curve, fmt::format("trace {}", Traces().front() + 1), GraphColour(0)};
    for (const double t : shown.data.t) raw.x.push_back(start + t);
    raw.y = shown.data.y;
    pane.layers.push_back(std::move(raw));
    constexpr size_t steps = 500;
    for (int k = 0; shown.fit && k < 2; ++k) {
        const RelaxationFit& fit = shown.fit->fits[static_cast<size_t>(k)];
        if (!fit.isDone) continue;
        GraphLayer curve{LayerKind::curve, k == 0 ? "one exponential" : "two exponentials",
                         GraphColour(static_cast<size_t>(k) + 1)};
        curve.isDashed = k != shown.fit->chosen;
        for (size_t i = 0; i <= steps; ++i) {
            const double t = shown.data.t.back() * static_cast<double>(i) / steps;
            curve.x.push_back(start + t);
            curve.y.push_back(fit.curve.At(t));
        }
        pane.layers.push_back(std::move(curve));
    }
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
