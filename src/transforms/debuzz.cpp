#include "transforms/debuzz.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "document/trace_stretches.h"

namespace kymora {

namespace {

constexpr uint32_t debuzzVersion = 1;
constexpr double leastNoiseInterval = 0.0001, greatestNoiseInterval = 1e10;  // ms
constexpr int mostCycles = 100;
constexpr double mostPerAvg = 100000;
constexpr double at50Hz = 20.0, at60Hz = 1000.0 / 60.0;  // ms

constexpr double gainStep = 1.25, leastGain = 1e-3, greatestGain = 1e6;
constexpr double displayMargin = 1.25;  // all sweeps lie within the limits at a gain of 1
constexpr double upperFraction = 0.95, lowerFraction = 0.05;  // of the display, where the limits come up
constexpr int64_t mostShownSamples = 2'000'000;
constexpr size_t mostShownPoints = 2000;  // of a sweep; the extremes of longer ones
constexpr size_t acceptedColour = 5, rejectedColour = 1, templateColour = 0, limitColour = 3;

// A run of a trace of a document.
class RunSource : public FloatSource {
  public:
    RunSource(CDataDoc& doc, int trace, int64_t start, int64_t end)
        : doc_(doc), trace_(trace), at_(start), end_(end) {}
    size_t Read(std::span<float> to) override {
        const auto part =
            to.first(static_cast<size_t>(std::min<int64_t>(end_ - at_, static_cast<int64_t>(to.size()))));
        if (!part.empty()) doc_.ReadBlock(trace_, at_, part);
        at_ += static_cast<int64_t>(part.size());
        return part.size();
    }

  private:
    CDataDoc& doc_;
    int trace_;
    int64_t at_, end_;
};

// A line through the samples, or through the extremes of stretches of them.
template <typename Value>
GraphLayer SweepLayer(std::span<const Value> samples, double interval, std::string name, uint32_t colour) {
    GraphLayer layer{LayerKind::curve, std::move(name), colour};
    const size_t stretch = samples.size() <= mostShownPoints ? 1 : 2 * samples.size() / mostShownPoints + 1;
    const auto put = [&](size_t at) {
        layer.x.push_back(static_cast<double>(at) * interval);
        layer.y.push_back(static_cast<double>(samples[at]));
    };
    for (size_t at = 0; at < samples.size(); at += stretch) {
        const auto part = samples.subspan(at, std::min(stretch, samples.size() - at));
        const auto [low, high] = std::minmax_element(part.begin(), part.end());
        const auto first = static_cast<size_t>(std::min(low, high) - part.begin());
        const auto second = static_cast<size_t>(std::max(low, high) - part.begin());
        put(at + first);
        if (second != first) put(at + second);
    }
    return layer;
}

}  // namespace

// --- settings ---

void CDebuzz::CheckChangeDoc(CDataDoc* doc) {
    m_sweeps = {};
    CTransformTraceDlg::CheckChangeDoc(doc);
    HoldCycles(true);  // settings that were loaded may be for other recordings
}

void CDebuzz::CheckChangeView(DocumentView* view) {
    CTransformTraceDlg::CheckChangeView(view);
    if (!view || !Document()) return;
    m_nReport = 0;
    m_nTrace = std::clamp(m_nTrace, 0, Document()->traceCount - 1);
    FollowTrace();
    HoldCycles(false);
}

void CDebuzz::OnUpdate(UpdateHint hint) {
    m_sweeps = {};
    CTransformTraceDlg::OnUpdate(hint);
}

void CDebuzz::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, debuzzVersion, ClassName());
    Exchange(archive, m_nCycles);
    Exchange(archive, m_nPerAvg);
    Exchange(archive, m_dInterval);
    Exchange(archive, m_bLimits);
    Exchange(archive, m_fUpper);
    Exchange(archive, m_fLower);
    Exchange(archive, m_nTrace);
    Exchange(archive, m_nReport);
    if (archive.IsStoring()) return;
    FollowTrace();
    if (View()) m_nReport = 0;
}

void CDebuzz::Describe(ParamList& list) {
    list.Group("Traces");
    list.Trace("trace", "Trace to process", m_nTrace)
        .Tip("The trace from which the noise is taken")
        .Shows([this] {
            const CDataDoc* doc = Document();
            return HasTrace() ? doc->traces[static_cast<size_t>(m_nTrace)].traceLabel : std::string();
        })
        .Linked({"cycles", "perAvg"})
        .OnChange([this] {
            FollowTrace();
            HoldCycles(true);
        });
    DescribeAddMode(list);
    DescribeNoise(list);
    DescribeLimits(list);
    DescribeOutput(list);
}

void CDebuzz::DescribeNoise(ParamList& list) {
    list.Group("Noise");
    list.Number("noiseInterval", "Noise interval (ms)", m_dInterval)
        .Alias("interval")
        .Limits(leastNoiseInterval, greatestNoiseInterval)
        .Tip("Duration of one cycle of the noise: 20 ms at 50 Hz, 16.6667 ms at 60 Hz")
        .Linked({"cycles", "perAvg"})
        .OnChange([this] { HoldCycles(true); });
    list.Integer("cycles", "Number of cycles in template average", m_nCycles)
        .Limits(1, mostCycles)
        .Tip("Few follow a noise that changes; many keep what is no noise out of the template")
        .OnChange([this] { HoldCycles(true); });
    list.Note("maxCycles", "Max number of noise cycles",
              [this] { return HasTrace() ? std::to_string(MaxCycles()) : std::string(); });
    list.Integer("perAvg", "Number noise cycles to de-buzz per avg", m_nPerAvg)
        .Limits(1, mostPerAvg)
        .Tip("Kept for the report; the template follows each cycle")
        .OnChange([this] { HoldCycles(false); });
    list.Group("Graph");
    list.Action("gainUp", "Gain +", [this] { ChangeGain(gainStep); }).Tip("Shows the cycles higher");
    list.Action("gainDown", "Gain -", [this] { ChangeGain(1.0 / gainStep); }).Tip("Shows the cycles lower");
    const auto setInterval = [this](double interval) {
        m_dInterval = interval;
        HoldCycles(true);
    };
    list.Action("mains50", "50 Hz", [setInterval] { setInterval(at50Hz); })
        .Tip("The noise has cycles of 20 ms");
    list.Action("mains60", "60 Hz", [setInterval] { setInterval(at60Hz); })
        .Tip("The noise has cycles of 16.6667 ms");
}

void CDebuzz::DescribeLimits(ParamList& list) {
    list.Group("Limits");
    list.Flag("limits", "Use draggable limit cursors", m_bLimits)
        .Tip("Cycles that are larger than the distance of the limits stay out of the template")
        .Linked({"upper", "lower"})
        .OnChange([this] { PlaceLimits(); });
    const auto hasLimits = [this] { return m_bLimits; };
    for (const auto& [key, label, value] :
         {std::tuple("upper", "Upper limit", &m_fUpper), std::tuple("lower", "Lower limit", &m_fLower)})
        list.Number(key, label, *value)
            .Tip("Upper less lower limit is the largest peak-to-peak of an accepted cycle; where they stand "
                 "does not matter")
            .EnabledIf(hasLimits);
    list.Note("accepted", "Accepted", [this]() -> std::string {
        if (!HasTrace() || !View() || !m_bLimits) return {};
        return fmt::format("{} of the {} cycles shown", CountAccepted(), Shown().samples.size());
    });
    list.Group("Report");
    list.Choice("report", "Report", m_nReport, {"none", "cycles"})
        .Tip("Transform the trace; List its noise cycles, which needs no output")
        .EnabledIf([this] { return !View(); });
}

std::string CDebuzz::CheckSettings() {
    if (std::string fault = CTransformTraceDlg::CheckSettings(); !fault.empty()) return fault;
    if (m_bLimits && m_fUpper < m_fLower) return "The upper limit lies below the lower one.";
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (m_dInterval < 2.0 * doc->sampleInterval)
        return fmt::format("A noise interval has two samples at least: {:g} ms in this recording.",
                           2.0 * doc->sampleInterval);
    if (MaxCycles() < 1)
        return fmt::format("The noise interval is longer than the recording, which has {:g} ms.",
                           doc->TimeOf(doc->GetTraceLength(m_nTrace)));
    return {};
}

void CDebuzz::GetParamText(std::string& text) {
    text += "De-buzz transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    text += fmt::format("Trace: {}\r\nNoise interval: {:f}\r\nNumber of cycles in average: {}\r\n",
                        m_nTrace + 1, m_dInterval, m_nCycles);
    text += fmt::format("Number of noise cycles per average: {}\r\n", m_nPerAvg);
    if (m_bLimits) text += fmt::format("Outlier limits: upper {:f}, lower {:f}\r\n", m_fUpper, m_fLower);
}

NoiseCycleSettings CDebuzz::KernelSettings() const {
    NoiseCycleSettings settings{m_dInterval, Document()->sampleInterval, m_nCycles, {}};
    if (m_bLimits) settings.greatest = NoiseCycleSettings::Range(m_fUpper, m_fLower);
    return settings;
}

bool CDebuzz::HasTrace() const { return Document() && m_nTrace >= 0 && m_nTrace < Document()->traceCount; }

int64_t CDebuzz::MaxCycles() const {
    const CDataDoc& doc = *Document();
    const double duration = static_cast<double>(doc.GetTraceLength(m_nTrace)) * doc.sampleInterval;
    return static_cast<int64_t>(std::floor(duration / m_dInterval));
}

// --- what the window does ---

// A window asks for no more cycles than there are, and, since a run may end within one, than can be read.
// Elsewhere the setting may be for other recordings.
void CDebuzz::HoldCycles(bool tells) {
    m_sweeps = {};
    if (!HasTrace() || !View()) return;
    const int64_t all = std::max<int64_t>(MaxCycles(), 1), most = std::min<int64_t>(all, mostCycles);
    m_nPerAvg = static_cast<int32_t>(std::min<int64_t>(m_nPerAvg, all));
    const int32_t asked = m_nCycles;
    m_nCycles = static_cast<int32_t>(std::min<int64_t>(m_nCycles, most));
    const Sweeps& sweeps = Shown();
    if (sweeps.areAll) m_nCycles = std::clamp(static_cast<int32_t>(sweeps.samples.size()), 1, m_nCycles);
    m_sweeps.cycles = m_nCycles;
    if (m_nCycles < asked && tells) Tell(fewSweepsText);
}

CDebuzz::Display CDebuzz::Displayed() {
    const Sweeps& sweeps = Shown();
    const double middle = (static_cast<double>(sweeps.low) + sweeps.high) / 2.0;
    double half = (static_cast<double>(sweeps.high) - sweeps.low) / 2.0 * displayMargin / m_dGain;
    if (!(half > 0.0)) half = 0.5 / m_dGain;
    return {middle - half, middle + half};
}

// Limits come up at fixed places of the display, and go again where they would reject most of what is shown.
void CDebuzz::PlaceLimits() {
    if (!m_bLimits || !View() || !HasTrace()) return;
    const Display display = Displayed();
    const auto at = [&](double fraction) {
        return static_cast<float>(display.bottom + fraction * (display.top - display.bottom));
    };
    m_fUpper = at(upperFraction);
    m_fLower = at(lowerFraction);
    const int accepted = CountAccepted();
    const auto shown = static_cast<int>(Shown().samples.size());
    if (shown == 0 || 2 * accepted >= shown) return;
    m_bLimits = false;
    Tell(accepted == 0 ? allSweepsOutsideText : manySweepsOutsideText);
}

// Lines that would leave the display stay within reach.
void CDebuzz::ChangeGain(double by) {
    m_dGain = std::clamp(m_dGain * by, leastGain, greatestGain);
    if (!m_bLimits || !HasTrace()) return;
    const Display display = Displayed();
    const double height = display.top - display.bottom;
    if (m_fUpper >= display.top) m_fUpper = static_cast<float>(display.bottom + upperFraction * height);
    if (m_fLower <= display.bottom) m_fLower = static_cast<float>(display.bottom + lowerFraction * height);
}

int CDebuzz::CountAccepted() {
    const NoiseCycleSettings settings = KernelSettings();
    return static_cast<int>(std::ranges::count_if(Shown().samples, [&](const std::vector<float>& sweep) {
        return IsAccepted(ExtremesOf(sweep), settings);
    }));
}

const CDebuzz::Sweeps& CDebuzz::Shown() {
    if (m_sweeps.trace == m_nTrace && m_sweeps.cycles == m_nCycles && m_sweeps.interval == m_dInterval)
        return m_sweeps;
    m_sweeps = {m_nTrace, m_nCycles, m_dInterval, {}};
    int64_t samples = 0;
    float low = std::numeric_limits<float>::infinity(), high = -low;
    const auto length = KernelSettings().Length();
    if (length > mostShownSamples || m_dInterval < 2.0 * Document()->sampleInterval) return m_sweeps;
    m_sweeps.areAll = ForEachCycle([&](const Cycle& cycle) {
        m_sweeps.samples.emplace_back(cycle.samples.begin(), cycle.samples.end());
        const CycleExtremes extremes = ExtremesOf(cycle.samples);
        if (extremes.isFinite) {
            low = std::min(low, extremes.low);
            high = std::max(high, extremes.high);
        }
        samples += length;
        return static_cast<int32_t>(m_sweeps.samples.size()) < m_nCycles &&
               samples + length <= mostShownSamples;
    });
    if (low <= high) {
        m_sweeps.low = low;
        m_sweeps.high = high;
    }
    return m_sweeps;
}

bool CDebuzz::ForEachCycle(const std::function<bool(const Cycle&)>& take) const {
    CDataDoc& doc = *Document();
    const NoiseCycleSettings settings = KernelSettings();
    int64_t number = 0;
    for (const auto& run : StretchesOf(doc, m_nTrace)) {
        if (run.end - run.start < settings.Length()) continue;
        RunSource source(doc, m_nTrace, run.start, run.end);
        CycleReader cycles(source, run.end - run.start, settings);
        while (true) {
            const int64_t start = run.start + settings.StartOf(cycles.Read());
            const auto samples = cycles.Next();
            if (samples.empty()) break;
            if (!take({number++, start, samples})) return false;
        }
    }
    return true;
}

std::optional<Graph> CDebuzz::GetGraph() {
    GraphPane pane{"cycles"};
    pane.x = {"time in the cycle", "ms"};
    pane.y = {"value", ""};
    if (Document() && CheckSettings().empty()) AddSweeps(pane);
    return Graph{{std::move(pane)}};
}

void CDebuzz::AddSweeps(GraphPane& pane) {
    const CDataDoc& doc = *Document();
    const NoiseCycleSettings settings = KernelSettings();
    const auto& trace = doc.traces[static_cast<size_t>(m_nTrace)];
    pane.y = {trace.traceLabel.empty() ? fmt::format("trace {}", m_nTrace + 1) : trace.traceLabel,
              trace.traceUnits};
    const Display display = Displayed();
    pane.y.limits = {display.bottom, display.top};
    std::vector<double> sum(static_cast<size_t>(settings.Length()));
    double count = 0.0;
    std::array<bool, 2> isNamed{};  // the first of either kind stands in the legend
    for (const std::vector<float>& sweep : Shown().samples) {
        const bool isAccepted = IsAccepted(ExtremesOf(sweep), settings);
        const char* name = std::exchange(isNamed[isAccepted], true) ? "" : isAccepted ? "cycles" : "rejected";
        pane.layers.push_back(SweepLayer(std::span<const float>(sweep), doc.sampleInterval, name,
                                         GraphColour(isAccepted ? acceptedColour : rejectedColour)));
        pane.layers.back().isSilent = true;
        if (!isAccepted) continue;
        count += 1.0;
        for (size_t k = 0; k < sweep.size(); ++k) sum[k] += sweep[k];
    }
    for (double& value : sum) value /= count;
    if (count > 0.0)
        pane.layers.push_back(SweepLayer(std::span<const double>(sum), doc.sampleInterval, "template",
                                         GraphColour(templateColour)));
    if (!m_bLimits) return;
    for (const auto& [name, key, at] :
         {std::tuple("upper limit", "upper", m_fUpper), std::tuple("lower limit", "lower", m_fLower)})
        pane.lines.push_back({false, at, GraphColour(limitColour), name, key, false, true});
}

// --- the list of cycles ---

void CDebuzz::WriteResult(const TextSink& sink) {
    if (!sink("cycle\tstart\tminimum\tmaximum\tpeak-to-peak\taccepted\r\n")) return;
    const NoiseCycleSettings settings = KernelSettings();
    ForEachCycle([&](const Cycle& cycle) {
        const CycleExtremes extremes = ExtremesOf(cycle.samples);
        return sink(fmt::format("{}\t{:.10g}\t{:g}\t{:g}\t{:g}\t{}\r\n", cycle.number,
                                Document()->TimeOf(cycle.start), extremes.low, extremes.high,
                                extremes.high - extremes.low, IsAccepted(extremes, settings) ? "yes" : "no"));
    });
}

std::vector<Result> CDebuzz::Results() {
    if (!ListsCycles() || !Document() || !CheckSettings().empty()) return {};
    Result cycles{"cycles", {}, {}, {}};
    cycles.columns = {{"cycle", ""},   {"start", "ms"},      {"minimum", ""},
                      {"maximum", ""}, {"peak-to-peak", ""}, {"accepted", ""}};
    cycles.rows = [this](const ResultRowSink& sink) {
        const NoiseCycleSettings settings = KernelSettings();
        return ForEachCycle([&](const Cycle& cycle) {
            const CycleExtremes extremes = ExtremesOf(cycle.samples);
            const ResultValue row[] = {
                cycle.number,  Document()->TimeOf(cycle.start), extremes.low,
                extremes.high, extremes.high - extremes.low,    int64_t{IsAccepted(extremes, settings)}};
            return sink(row);
        });
    };
    return {std::move(cycles)};
}

// --- kernels ---

WrittenFile CDebuzz::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    m_wasTold = false;
    return CTransformTraceDlg::WriteFile(session, path, keepsSource);
}

// The first thing that a run has to say is told, what others have is logged: there may be thousands of
// episodes.
KernelOutcome CDebuzz::Conclude(const TransformRun& run, const NoiseCycleOutcome& outcome) {
    KernelOutcome result = outcome;
    m_strNote.clear();
    if (!outcome) return result;
    if (outcome.isCopied)
        m_strNote =
            fmt::format("Trace {}, run from {:.10g} ms: its {} samples are fewer than the {} of a noise "
                        "cycle. They stay as they are.",
                        run.trace + 1, run.doc.TimeOf(run.start), run.count, KernelSettings().Length());
    else if (outcome.found < m_nCycles)
        m_strNote = fmt::format(fewCyclesText, outcome.found, m_nCycles);
    if (m_strNote.empty()) return result;
    if (!m_bInPreview && !std::exchange(m_wasTold, true)) {
        Tell(m_strNote);
        return result;
    }
    if (!m_bInPreview) m_strNote += "\n";
    result.note = m_strNote.c_str();
    return result;
}

KernelOutcome CDebuzz::TransformBlock(const TransformRun& run, std::span<const float> input,
                                      std::span<float> output) {
    return Conclude(run, SubtractNoiseCycles(input, KernelSettings(), output, run.goOn));
}

KernelOutcome CDebuzz::TransformBlock(const TransformRun& run, const SourceMaker& source, FloatSink& output) {
    return Conclude(run, SubtractNoiseCycles(source, run.count, KernelSettings(), output));
}

}  // namespace kymora
