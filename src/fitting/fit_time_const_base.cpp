#include "fitting/fit_time_const_base.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/trace_stretches.h"

namespace kymora {

namespace {

constexpr uint32_t fitTimeConstVersion = 1, timeConstLogVersion = 1;
constexpr double anything = std::numeric_limits<double>::max();
constexpr double mostIterationsOfFit = 500.0;
constexpr double noLog = -100.0;        // ln of what is not above 0
constexpr double usualAverages = 20.0;  // so many times to average are the fit region
constexpr double resetPart = 0.1;
constexpr double aroundPart = 0.2;  // of the fit region, on either side
constexpr size_t curveSteps = 500;
constexpr int32_t mostPosition = std::numeric_limits<int32_t>::max();
constexpr unsigned ownV0 = 1, ownVInf = 2, ownOther = 4;
constexpr const char* bayesTip =
    "Shows the Bayesian Information Criterion, which counts each parameter for more; lower values indicate "
    "models with better relative fit.";
constexpr const char* orderText = "The end of the fit must be after its start.";
constexpr const char* gapWord = "there is a gap or the boundary of an episode in its segment";
constexpr const char* outsideWord = "its segment leaves the recording";
constexpr const char* noStretchText = "None of the events has a segment that can be fitted.";
constexpr const char* fewerEventsText = "Insufficient events: reducing number to average";
constexpr const char* vagueText = "{} not tell the time constant: its standard error is above itself, or it "
                                  "is above 10 times the fit. Fit a "
                                  "longer region{}, or fix V(inf).";
constexpr const char* startEventText = "Start event number greater than event count. Setting to 1.\n";

double LogOfSize(double away) {
    const double size = std::fabs(away);
    return size > 0.0 ? std::log(size) : noLog;
}

}  // namespace

// --- the job ---

int64_t RelaxationJob::Samples() const {
    int64_t count = 0;
    for (const Stretch& stretch : stretches) count += stretch.span.Count();
    return count * (averages ? 1 : control.fit.mostIterations / 4 + 1);
}

Relaxation RelaxationJob::StartFor(const FitSamples& data) const {
    if (!startsFromData) return given;
    Relaxation start = StartOfRelaxation(given.model, data.t, data.y, averageTime, fitTime);
    if (control.fixesV0) start.v0 = given.v0;
    if (control.fixesVInf) start.vInf = given.vInf;
    return start;
}

// The ends of the fit can be dragged into what lies around it.
void RelaxationJob::ReadAround(SampleReader& samples, SampleSpan span) {
    const auto more = static_cast<int64_t>(aroundPart * static_cast<double>(span.Count()));
    const int64_t first = std::max<int64_t>(0, span.first - more);
    const int64_t end = std::min(samples.GetTraceLength(trace), span.end + more);
    try {
        around = ReadFitSamples(samples, trace, {static_cast<int32_t>(first), static_cast<int32_t>(end)},
                                interval, originMs);
        for (double& t : around.t) t -= static_cast<double>(span.first - first) * interval;
    } catch (const JobRefused&) {
        around = {};
    }
}

void RelaxationJob::Compute(SampleReader& samples, JobContext& context) {
    ProgressScope progress(context, "Fitting", stretches.size(), 1);
    const FitPoll poll = [&] { progress.Step(0); };
    FitSamples sum;
    int firstId = 0;
    const auto fit = [&](int id, FitSamples data) {
        if (data.t.size() < 2) throw JobRefused("There are fewer than two samples to fit.");
        const Relaxation start = StartFor(data);
        fits.push_back({id, FitRelaxation(start, data.t, data.y, control, poll), start});
        shown = std::move(data);
    };
    for (const Stretch& stretch : stretches) {
        progress.Step(1);
        if (!stretch.skipped.empty()) continue;
        FitSamples data = ReadFitSamples(samples, trace, stretch.span, interval,
                                         originMs + static_cast<double>(stretch.span.first) * interval);
        if (++count == 1) firstId = stretch.id;
        if (!averages) {
            fit(stretch.id, std::move(data));
            if (&stretch == &stretches.back()) ReadAround(samples, stretch.span);
        } else if (sum.t.empty()) {
            sum = std::move(data);
        } else {
            const size_t shared = std::min(sum.y.size(), data.y.size());
            sum.t.resize(shared);
            sum.y.resize(shared);
            for (size_t i = 0; i < shared; ++i) sum.y[i] += data.y[i];
        }
    }
    if (!averages || count == 0) return;
    for (double& value : sum.y) value /= count;
    fit(firstId, std::move(sum));
}

// --- settings ---

void CFitTimeConstBase::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    ExchangeVersion(archive, fitTimeConstVersion, ClassName());
    Exchange(archive, m_nTrace);
    for (double* value : {&m_dFitStart, &m_dFitEnd, &m_dAvgTime, &m_dV0, &m_dVInf, &m_dTau, &m_dTau1,
                          &m_dWeight, &m_dTolPercent, &m_dStep})
        Exchange(archive, *value);
    Exchange(archive, m_nModel);
    Exchange(archive, m_nMaxIter);
    Exchange(archive, m_nMethod);
    for (bool* flag : {&m_bStartFromData, &m_bFixV0, &m_bFixVInf}) Exchange(archive, *flag);
}

void CFitTimeConstBase::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CEventBaseDlg::CheckChangeDoc(doc);
}

void CFitTimeConstBase::DescribeFitRegion(ParamList& list, const char* fromWhat) {
    const double within = std::min(m_dAvgTime, std::max(0.0, m_dFitEnd - m_dFitStart));
    m_dStartAvg = m_dFitStart + within;
    m_dEndAvg = m_dFitEnd - within;
    list.Group("Region of the fit");
    list.Number("fitStart", "Fit from", m_dFitStart)
        .Unit("ms")
        .Limits(-anything, anything)
        .Tip(std::string("Where the fit begins, ") + fromWhat + "; the line StartFit");
    list.Number("fitEnd", "Fit to", m_dFitEnd)
        .Unit("ms")
        .Limits(-anything, anything)
        .Tip(std::string("Where it ends, ") + fromWhat + "; the line EndFit");
    list.Number("avgTime", "Time to average", m_dAvgTime)
        .Unit("ms")
        .Limits(0.0, anything)
        .Linked({"startAvg", "endAvg"})
        .Tip("At either end of the fit: V(0) and V(inf) begin as means over it. 0: the samples at the ends");
    // A place that says the same changes no digit of the time.
    const auto moved = [this, within](double time) {
        const bool isStill = m_dStartAvg == m_dFitStart + within && m_dEndAvg == m_dFitEnd - within;
        if (!isStill) m_dAvgTime = std::clamp(time, 0.0, std::max(0.0, m_dFitEnd - m_dFitStart));
    };
    list.Number("startAvg", "StartAvg", m_dStartAvg)
        .Unit("ms")
        .Limits(-anything, anything)
        .Linked({"avgTime", "endAvg"})
        .Tip("Up to where the samples for V(0) reach: the time to average, as a line to drag")
        .OnChange([this, moved] { moved(m_dStartAvg - m_dFitStart); });
    list.Number("endAvg", "EndAvg", m_dEndAvg)
        .Unit("ms")
        .Limits(-anything, anything)
        .Linked({"avgTime", "startAvg"})
        .Tip("From where on the samples for V(inf) reach: the time to average, as a line to drag")
        .OnChange([this, moved] { moved(m_dFitEnd - m_dEndAvg); });
}

void CFitTimeConstBase::DescribeModel(ParamList& list) {
    const auto hasTwo = [this] { return m_nModel == static_cast<int32_t>(RelaxationModel::twoExponentials); };
    list.Group("Relaxation");
    list.Choice("model", "Model", m_nModel, {"exponential", "two exponentials", "cable (erf)"})
        .Tip("(V(0) - V(inf)) exp(-t/tau) + V(inf); the sum of two with weights w and 1 - w; (V(inf) - V(0)) "
             "erf(sqrt(t/tau)) + V(0)");
    // Who sets a start wants to begin there, unless it is that of a value that is fixed.
    const auto setStart = [this](unsigned which) {
        m_ownStarts |= which;
        const unsigned fixed = (m_bFixV0 ? ownV0 : 0u) | (m_bFixVInf ? ownVInf : 0u);
        if (m_ownStarts != 0) m_bStartFromData = (m_ownStarts & ~fixed) == 0;
    };
    const auto own = [setStart] { setStart(ownOther); };
    list.Number("v0", "V(0)", m_dV0)
        .Limits(-anything, anything)
        .Tip("The value at the start of the fit; the line StartV")
        .Linked({"startFromData"})
        .OnChange([setStart] { setStart(ownV0); });
    list.Flag("fixV0", "Fix V(0)", m_bFixV0)
        .Tip("V(0) stays as it is set")
        .Linked({"startFromData"})
        .OnChange([setStart] { setStart(0); });
    list.Number("vInf", "V(inf)", m_dVInf)
        .Limits(-anything, anything)
        .Tip("The value that is approached; the line EndV")
        .Linked({"startFromData"})
        .OnChange([setStart] { setStart(ownVInf); });
    list.Flag("fixVInf", "Fix V(inf)", m_bFixVInf)
        .Tip("V(inf) stays as it is set")
        .Linked({"startFromData"})
        .OnChange([setStart] { setStart(0); });
    list.Number("tau", "tau", m_dTau)
        .Unit("ms")
        .Limits(0.0, anything)
        .Tip("The time constant, of two the first")
        .Linked({"startFromData"})
        .OnChange(own);
    list.Number("tau1", "tau 1", m_dTau1)
        .Unit("ms")
        .Limits(0.0, anything)
        .Tip("The second time constant")
        .EnabledIf(hasTwo)
        .Linked({"startFromData"})
        .OnChange(own);
    list.Number("weight", "Weight", m_dWeight)
        .Limits(-anything, anything)
        .Tip("The weight of the first exponential; the second one has the rest to 1")
        .EnabledIf(hasTwo)
        .Linked({"startFromData"})
        .OnChange(own);
    // Behind the values, of which each turns it off.
    list.Flag("startFromData", "Starts from the data", m_bStartFromData)
        .Tip("The fit begins with values that come from the data, and not with those above, which are what "
             "was fitted")
        .OnChange([this] { m_ownStarts = m_bStartFromData ? 0 : ownOther; });
    const auto ofFit = [this](double RelaxationFit::*criterion) {
        return [this, criterion] {
            if (!m_found || m_found->fits.size() != 1 || !m_found->fits.front().fit.isDone)
                return std::string();
            return fmt::format("{:.2f}", m_found->fits.front().fit.*criterion);
        };
    };
    list.Note("aic", "AIC", ofFit(&RelaxationFit::aic)).Tip(akaikeTip);
    list.Note("bic", "BIC", ofFit(&RelaxationFit::bic)).Tip(bayesTip);
}

void CFitTimeConstBase::DescribeIterations(ParamList& list, double mostIterations) {
    list.Group("Iterations");
    list.Integer("maxIter", "Most iterations", m_nMaxIter).Limits(1, mostIterations).Tip("Of one fit");
    list.Number("tolPercent", "Unchanged below", m_dTolPercent)
        .Unit("%")
        .Limits(0.0, 100.0)
        .Tip("Three iterations in which every parameter changes by less end the fit");
    list.Number("step", "Step factor", m_dStep).Limits(0.0, 100.0).Tip("The factor on each step");
    list.Choice("damping", "Where steps fail", m_nMethod, {"end the fit", "damp them (Levenberg-Marquardt)"})
        .Tip("A step that makes the fit worse or no number ends it, or is made smaller until it makes it "
             "better");
}

std::string CFitTimeConstBase::CheckSettings() {
    if (std::string fault = CEventBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (!(m_dStep > 0.0)) return noStepText;
    if (!m_bStartFromData && !(m_dTau > 0.0 && m_dTau1 > 0.0)) return "Time constants must be above 0.";
    return m_dFitEnd > m_dFitStart ? std::string() : orderText;
}

void CFitTimeConstBase::GetParamText(std::string& text) {
    CEventBaseDlg::GetParamText(text);
    text +=
        fmt::format("Trace: {}\r\nFit Start time\t{:f}\r\nFit End time\t{:f}\r\nTime to average: {:f}\r\n",
                    m_nTrace + 1, m_dFitStart, m_dFitEnd, m_dAvgTime);
}

Relaxation CFitTimeConstBase::Given() const {
    return {static_cast<RelaxationModel>(m_nModel), m_dV0, m_dVInf, m_dTau, m_dTau1, m_dWeight};
}

void CFitTimeConstBase::Begin(const Relaxation& start) {
    m_dV0 = start.v0;
    m_dVInf = start.vInf;
    m_dTau = start.tau0;
    m_dTau1 = start.tau1;
    m_dWeight = start.weight;
}

RelaxationControl CFitTimeConstBase::Control() const {
    RelaxationControl control;
    control.fit.mostIterations = m_nMaxIter;
    control.fit.tolerancePercent = m_dTolPercent;
    control.fit.step = m_dStep;
    control.fit.damps = m_nMethod != 0;
    control.fixesV0 = m_bFixV0;
    control.fixesVInf = m_bFixVInf;
    return control;
}

SampleSpan CFitTimeConstBase::SpanFrom(double originMs) const {
    const CDataDoc& doc = *Document();
    const int32_t last = doc.PositionOf(originMs + m_dFitEnd);
    return {doc.PositionOf(originMs + m_dFitStart), last < mostPosition ? last + 1 : last};
}

// --- the run ---

std::unique_ptr<OperationJob> CFitTimeConstBase::MakeJob() {
    const CDataDoc& doc = *Document();
    if (m_dAvgTime > m_dFitEnd - m_dFitStart) {
        Tell(averageTooLongText);
        m_dAvgTime = resetPart * (m_dFitEnd - m_dFitStart);
    }
    auto job = std::make_unique<RelaxationJob>();
    job->trace = m_nTrace;
    job->interval = doc.sampleInterval;
    job->control = Control();
    job->averageTime = m_dAvgTime;
    job->given = Given();
    job->fitTime = m_dFitEnd - m_dFitStart;
    job->startsFromData = m_bStartFromData;
    AddStretches(*job);
    for (const RelaxationJob::Stretch& stretch : job->stretches)
        if (!stretch.skipped.empty())
            Tell(fmt::format("Event {} is skipped: {}.", stretch.id, stretch.skipped));
    if (std::ranges::all_of(job->stretches, [](const auto& stretch) { return !stretch.skipped.empty(); }))
        throw JobRefused(job->stretches.empty() ? emptyRegionText : noStretchText);
    return job;
}

bool CFitTimeConstBase::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<RelaxationJob&>(job);
    m_used.reset();
    if (!IsBatch()) {
        m_used = {done.fits.back().start, Given()};
        if (!done.fits.back().fit.isDone) {
            Refuse("failed to converge\r\n");
            return false;
        }
        const Relaxation& curve = done.fits.back().fit.curve;
        m_dV0 = curve.v0;
        m_dVInf = curve.vInf;
        m_dTau = curve.tau0;
        if (curve.model == RelaxationModel::twoExponentials) {
            m_dTau1 = curve.tau1;
            m_dWeight = curve.weight;
        }
        m_used->left = Given();
    }
    m_found = std::make_unique<RelaxationJob>(std::move(done));
    TellVague();
    return true;
}

void CFitTimeConstBase::TellVague() {
    const auto vague = std::ranges::count_if(m_found->fits, [](const auto& one) { return one.fit.isVague; });
    if (vague == 0) return;
    Tell(m_found->fits.size() == 1
             ? fmt::format(vagueText, "The segment does", m_found->averages ? ", average more events" : "")
             : fmt::format(vagueText, fmt::format("{} of {} segments do", vague, m_found->fits.size()), ""));
}

std::vector<std::byte> CFitTimeConstBase::UsedSettings() {
    const Relaxation fitted = Given();
    if (!m_used || m_used->left != fitted) return Settings();
    Begin(m_used->start);
    std::vector<std::byte> record = Settings();
    Begin(fitted);
    return record;
}

// --- what it shows ---

std::string CFitTimeConstBase::RowText(const RelaxationJob::Fitted& fitted) const {
    const Relaxation& curve = fitted.fit.curve;
    const CurveFitResult& result = fitted.fit.result;
    if (!fitted.fit.isDone) return fmt::format("{} failed to converge; skipping.\r\n", fitted.id);
    if (curve.model != RelaxationModel::twoExponentials)
        return fmt::format("{}\t{:.3f}\t{:.3f}\t{:.3f}\t{:.3f}\t{}\r\n", fitted.id, curve.v0, curve.vInf,
                           curve.tau0, result.rms, result.iterations);
    return fmt::format("{}\t{:.3f}\t{:.3f}\t{:.3f}\t{:.3f}\t{:.3f}\t{:.3f}\t{:.3f}\t{}\r\n", fitted.id,
                       curve.v0, curve.vInf, curve.tau0, curve.weight, curve.tau1, 1.0 - curve.weight,
                       result.rms, result.iterations);
}

void CFitTimeConstBase::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    const bool hasTwo = m_found->given.model == RelaxationModel::twoExponentials;
    if (!sink(hasTwo ? "id\tstart V\tend V\ttau 0\twt 0\ttau 1\twt 1\trms\titer\r\n"
                     : "id\tstart V\tend V\ttau\trms\titer\r\n"))
        return;
    for (const RelaxationJob::Fitted& fitted : m_found->fits)
        if (!sink(RowText(fitted))) return;
    std::string left, vague;
    for (const RelaxationJob::Fitted& fitted : m_found->fits) {
        if (!fitted.fit.isDone) continue;
        if (!fitted.fit.result.hasConverged) left += fmt::format("{}{}", left.empty() ? "" : ", ", fitted.id);
        if (fitted.fit.isVague) vague += fmt::format("{}{}", vague.empty() ? "" : ", ", fitted.id);
    }
    if (!left.empty() && !sink("Not converged: " + left + "\r\n")) return;
    if (!vague.empty() && !sink("Time constant not told by the segment: " + vague + "\r\n")) return;
    if (m_found->fits.size() != 1) return;
    const RelaxationFit& fit = m_found->fits.front().fit;
    sink(fmt::format("AIC = {:.2f}\r\nBIC = {:.2f}\r\n", fit.aic, fit.bic));
}

std::vector<Result> CFitTimeConstBase::Results() {
    if (!m_found) return {};
    const std::string unit =
        Document() ? Document()->traces[static_cast<size_t>(m_found->trace)].traceUnits : "";
    Result result{Title(),
                  {{"segments", int64_t{m_found->count}}},
                  {{"id", ""},
                   {"v0", unit},
                   {"vInf", unit},
                   {"tau", "ms"},
                   {"tauError", "ms"},
                   {"weight", ""},
                   {"tau1", "ms"},
                   {"tau1Error", "ms"},
                   {"rms", unit},
                   {"iterations", ""},
                   {"converged", ""},
                   {"tauIsTold", ""},
                   {"aic", ""},
                   {"bic", ""}},
                  {}};
    std::vector<std::vector<ResultValue>> rows;
    int64_t failed = 0, vague = 0;
    for (const RelaxationJob::Fitted& fitted : m_found->fits) {
        const RelaxationFit& fit = fitted.fit;
        if (!fit.isDone) {
            ++failed;
            continue;
        }
        const bool hasTwo = fit.curve.model == RelaxationModel::twoExponentials;
        const auto number = [](double value) {
            return std::isfinite(value) ? ResultValue(value) : ResultValue();
        };
        if (fit.isVague) ++vague;
        const auto truth = [](bool is) { return ResultValue(std::string(is ? "yes" : "no")); };
        rows.push_back({int64_t{fitted.id}, fit.curve.v0, fit.curve.vInf, fit.curve.tau0,
                        number(fit.tauErrors[0]), hasTwo ? ResultValue(fit.curve.weight) : ResultValue(),
                        hasTwo ? ResultValue(fit.curve.tau1) : ResultValue(), number(fit.tauErrors[1]),
                        fit.result.rms, int64_t{fit.result.iterations}, truth(fit.result.hasConverged),
                        truth(!fit.isVague), number(fit.aic), number(fit.bic)});
    }
    result.values.emplace_back("failed", failed);
    result.values.emplace_back("notTold", vague);
    result.SetRows(std::move(rows));
    return {std::move(result)};
}

void CFitTimeConstBase::SetLines(GraphPane& pane) const {
    const auto upright = [&](double at, size_t colour, const char* name, const char* key) {
        pane.lines.push_back({true, at, GraphColour(colour), name, key});
    };
    upright(m_dFitStart + m_dAvgTime, 3, "StartAvg", "startAvg");
    upright(m_dFitEnd - m_dAvgTime, 3, "EndAvg", "endAvg");
    upright(m_dFitStart, 2, "StartFit", "fitStart");
    upright(m_dFitEnd, 2, "EndFit", "fitEnd");
    pane.lines.push_back({false, m_dV0, GraphColour(4), "StartV", "v0"});
    pane.lines.push_back({false, m_dVInf, GraphColour(5), "EndV", "vInf"});
}

std::optional<Graph> CFitTimeConstBase::GetGraph() {
    GraphPane above{"relaxation"}, below{"log"};
    const std::string unit = Document() && m_nTrace >= 0 && m_nTrace < Document()->traceCount
                                 ? Document()->traces[static_cast<size_t>(m_nTrace)].traceUnits
                                 : "";
    above.x = below.x = {"time", "ms"};
    above.y = {"V", unit};
    below.y = {"ln mV", ""};
    if (m_found && !m_found->fits.empty() && m_found->fits.back().fit.isDone) {
        const Relaxation& curve = m_found->fits.back().fit.curve;
        const FitSamples& data = m_found->shown;
        GraphLayer raw{LayerKind::curve, "data", GraphColour(0)},
            logs{LayerKind::points, "data", GraphColour(0)};
        const FitSamples& wide = m_found->around.t.empty() ? data : m_found->around;
        for (const double t : wide.t) raw.x.push_back(m_dFitStart + t);
        raw.y = wide.y;
        for (size_t i = 0; i < data.t.size(); ++i) {
            logs.x.push_back(m_dFitStart + data.t[i]);
            logs.y.push_back(LogOfSize(data.y[i] - curve.vInf));
        }
        const double margin = aroundPart * (m_dFitEnd - m_dFitStart);
        above.x.limits = below.x.limits = {m_dFitStart - margin, m_dFitEnd + margin};
        GraphLayer fit{LayerKind::curve, "fit", GraphColour(1)};
        const bool hasTwo = curve.model == RelaxationModel::twoExponentials;
        std::vector<GraphLayer> parts;
        for (int k = 0; k < (hasTwo ? 2 : 1); ++k)
            parts.push_back({LayerKind::curve, hasTwo ? fmt::format("tau {}", k) : std::string("fit"),
                             GraphColour(static_cast<size_t>(k) + 1)});
        double lowest = 0.0, highest = noLog;
        for (size_t i = 0; i <= curveSteps; ++i) {
            const double t = data.t.back() * static_cast<double>(i) / curveSteps;
            fit.x.push_back(m_dFitStart + t);
            fit.y.push_back(curve.At(t));
            for (size_t k = 0; k < parts.size(); ++k) {
                const double log = LogOfSize(curve.PartAt(static_cast<int>(k), t));
                parts[k].x.push_back(m_dFitStart + t);
                parts[k].y.push_back(log);
                highest = std::max(highest, log);
            }
        }
        // Below the noise a log has no meaning, and down to -100 there would be nothing else to see.
        const double noise = LogOfSize(m_found->fits.back().fit.result.rms);
        lowest = std::max(noise - 2.0, highest - 12.0);
        below.y.limits = {std::min(lowest, highest - 1.0), highest + 0.5};
        above.layers = {std::move(raw), std::move(fit)};
        below.layers = {std::move(logs)};
        for (GraphLayer& part : parts) below.layers.push_back(std::move(part));
        SetLines(above);
    }
    Graph graph{{std::move(above), std::move(below)}};
    graph.sharesX = true;
    return graph;
}

// --- one stretch ---

void CFitTimeConst::Describe(ParamList& list) {
    DescribeSource(list);
    DescribeFitRegion(list, "from the start of the recording");
    DescribeModel(list);
    DescribeIterations(list, mostIterationsOfFit);
}

void CFitTimeConst::SuggestSettings() {
    CFitTimeConstBase::SuggestSettings();
    const bool isUntouched = m_dFitStart == 0.0 && m_dFitEnd == 100.0;
    if (!Document() || !isUntouched) return;
    const TimeSpan seen = VisibleTimes(*Document(), View());
    m_dFitStart = seen.start;
    m_dFitEnd = seen.end;
    m_dAvgTime = (seen.end - seen.start) / usualAverages;
}

std::vector<ViewGuide> CFitTimeConst::Guides() {
    return {{ViewGuide::Kind::time, m_nTrace, m_dFitStart, GraphColour(2), "StartFit", "fitStart"},
            {ViewGuide::Kind::time, m_nTrace, m_dFitEnd, GraphColour(2), "EndFit", "fitEnd"}};
}

void CFitTimeConst::AddStretches(RelaxationJob& job) {
    const SampleSpan span = HeldTo(*Document(), SpanFrom(0.0));
    if (span.Count() > 0) job.stretches.push_back({0, span, {}});
}

// --- at events ---

void CTimeConstLog::Serialize(CArchive& archive) {
    CFitTimeConstBase::Serialize(archive);
    ExchangeVersion(archive, timeConstLogVersion, ClassName());
    Exchange(archive, m_nStartEvent);
    Exchange(archive, m_nAverages);
    Exchange(archive, m_bBatch);
}

void CTimeConstLog::GetParamText(std::string& text) {
    CFitTimeConstBase::GetParamText(text);
    text += fmt::format("Start event: {}\r\n", m_nStartEvent);
    text += m_bBatch ? std::string("Each event alone\r\n")
                     : fmt::format("Events to average: {}\r\n", m_nAverages);
}

void CTimeConstLog::Describe(ParamList& list) {
    DescribeSource(list);
    list.Integer("startEvent", "Start event", m_nStartEvent)
        .Limits(1, std::numeric_limits<int32_t>::max())
        .Spin()
        .Tip("The first event, counted from 1");
    list.Integer("averages", "Events to average", m_nAverages)
        .Limits(1, std::numeric_limits<int32_t>::max())
        .Tip("The fit is one to the mean of the segments of so many events")
        .EnabledIf([this] { return !m_bBatch; });
    list.Flag("batch", "Each event alone", m_bBatch)
        .Tip("A fit for every event from the start event on, as a table");
    DescribeFitRegion(list, "from the onset of the event");
    DescribeModel(list);
    DescribeIterations(list, mostIterationsOfFit);
}

std::string CTimeConstLog::CheckSettings() {
    if (std::string fault = CFitTimeConstBase::CheckSettings(); !fault.empty()) return fault;
    if (!Document() || !Document()->HasChannel(m_nChannel1) || Document()->GetNumEvents(m_nChannel1) > 0)
        return {};
    return fmt::format("Event channel {} has no events.", ChannelDisplayName(m_nChannel1));
}

void CTimeConstLog::AddStretches(RelaxationJob& job) {
    const CDataDoc& doc = *Document();
    const int count = doc.GetNumEvents(m_nChannel1);
    if (m_nStartEvent > count) {
        Tell(startEventText);
        m_nStartEvent = 1;
    }
    const int left = count - (m_nStartEvent - 1);
    if (!m_bBatch && m_nAverages > left) {
        Tell(fewerEventsText);
        m_nAverages = left;
    }
    job.averages = !m_bBatch;
    const auto& events = doc.eventChannels[static_cast<size_t>(m_nChannel1)].Events();
    const std::vector<TraceStretch> unbroken = UnbrokenStretches(doc, m_nTrace);
    for (int i = 0; i < (m_bBatch ? left : m_nAverages); ++i) {
        const int id = m_nStartEvent + i;
        SampleSpan span = SpanFrom(doc.TimeOf(events[static_cast<size_t>(id) - 1].onPosition));
        // Where it ends with a stretch there is no sample at its end.
        const auto holds = [&](const TraceStretch& stretch) {
            return span.first >= stretch.start && span.end - 1 <= stretch.end;
        };
        std::string skipped;
        const auto around = std::ranges::find_if(unbroken, holds);
        if (span.first < 0 || span.end - 1 > doc.GetLength())
            skipped = outsideWord;
        else if (around == unbroken.end())
            skipped = gapWord;
        else
            span.end = static_cast<int32_t>(std::min<int64_t>(span.end, around->end));
        job.stretches.push_back({id, span, std::move(skipped)});
    }
}

}  // namespace kymora
