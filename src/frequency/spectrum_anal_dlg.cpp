#include "frequency/spectrum_anal_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/user_numbers.h"
#include "operations/save_text.h"
#include "spectra/spectral_window.h"
#include "spectra/spectrum_confidence.h"

namespace kymora {

namespace {

constexpr uint32_t spectrumVersion = 2;     // 1: without open wishes
constexpr double progressFrom = 100'000.0;  // ms of data; less shows no progress
constexpr int64_t segmentsBetweenPolls = 100;
constexpr int64_t samplesBetweenPolls = 1 << 21;  // of segments so long that fewer are to be waited for
constexpr uint32_t criticalColour = 0x00FF0000;   // blue
constexpr double degreesOfRadian = 57.295779513082323;
constexpr const char* averagingText = "Averaging FFT\nClick Cancel to truncate analysis.";
constexpr const char* truncatedText = "The analysis was truncated after {} of {} segments.";
constexpr const char* brokenText =
    "{} of {} segments meet a gap or the boundary of an episode and are left out.";
constexpr const char* allBrokenText =
    "Every segment meets a gap or the boundary of an episode. Choose another "
    "region, or fewer frequency bins.";
constexpr const char* sameTraceText = "Trace A and trace B are the same trace.";
constexpr const char* bandOrderText = "The lower frequency of the band must be below the upper one.";
const std::vector<std::string> modeNames = {"power", "cross power", "coherence"};
const std::vector<std::string> trendNames = {"nothing", "mean", "trend"};

class SpectrumJob : public OperationJob {
  public:
    std::vector<int> traces;
    std::vector<TraceStretch> stretches;
    TraceSpectrum found;
    int64_t segments = 0;  // that were looked at

    int64_t Samples() const override {
        return (found.grid.End() - found.grid.first) * static_cast<int64_t>(traces.size());
    }
    void Compute(SampleReader& samples, JobContext& context) override;
};

void SpectrumJob::Compute(SampleReader& samples, JobContext& context) {
    const SegmentGrid& grid = found.grid;
    CSpectrumEstimator estimator(found.settings);
    SegmentReader reader(samples, traces, std::move(stretches), grid.length, grid.End());
    const auto total = static_cast<uint64_t>(grid.count);
    ProgressScope progress(context, averagingText, total, found.TimeNeeded() > progressFrom ? 0 : total);
    const int64_t between = std::clamp(samplesBetweenPolls / grid.length, int64_t{1}, segmentsBetweenPolls);
    for (segments = 0; segments < grid.count && !isTruncated;) {
        if (!reader.Add(grid.first + segments * grid.step, estimator)) ++found.broken;
        if (++segments % between == 0) isTruncated = !progress.GoesOn(static_cast<uint64_t>(segments));
    }
    isTruncated &= segments < grid.count;
    found.averages = estimator.Segments();
    if (found.averages == 0) throw JobRefused(allBrokenText);
    found.independent =
        IndependentSegments(estimator.Window(), static_cast<size_t>(grid.step), found.averages);
    found.periodograms = found.averages * static_cast<int64_t>(estimator.Tapers());
    // Tapers of one segment tell as much as segments beside each other.
    if (estimator.Tapers() > 1)
        found.independent =
            static_cast<double>(estimator.Tapers()) *
            (1.0 + static_cast<double>((found.averages - 1) * grid.step) / static_cast<double>(grid.length));
    found.values = estimator.Result();
    if (!found.IsPower()) found.phase = estimator.Phase();
    if (found.IsCoherence()) found.gain = estimator.Gain();
}

std::string TraceName(const CDataDoc& doc, int trace) {
    const std::string& label = doc.traces[static_cast<size_t>(trace)].traceLabel;
    return fmt::format("{}{}{}", trace + 1, label.empty() ? "" : " ", label);
}

std::string UnitOf(const CDataDoc& doc, int trace) {
    const std::string& unit = doc.traces[static_cast<size_t>(trace)].traceUnits;
    return unit.empty() ? "mV" : unit;
}

}  // namespace

std::pair<double, double> TraceSpectrum::BandOf(size_t bin) const {
    const bool isReal = bin == 0 || bin == settings.bins;
    const double worth = isReal ? independent / 2.0 : independent;
    if (IsCoherence()) return CoherenceBand(values[bin], worth);
    const auto [lower, upper] = PowerBand(worth);
    return {lower * values[bin], upper * values[bin]};
}

// --- settings ---

void CSpectrumAnalDlg::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, spectrumVersion, ClassName());
    for (int32_t* number : {&m_nTraceB, &m_nMode, &m_nLog2Bins, &m_nWindow, &m_nOverlapShift,
                            &m_nTargetAverages, &m_nDensity, &m_nTrend, &m_nP05})
        Exchange(archive, *number);
    for (bool* flag : {&m_bLogX, &m_bLogY, &m_bShowCritical, &m_bConfidence, &m_bPhase, &m_bBand})
        Exchange(archive, *flag);
    Exchange(archive, m_dBandLow);
    Exchange(archive, m_dBandHigh);
    if (!archive.IsStoring()) m_isWishOpen = false;
    if (version >= 2) Exchange(archive, m_isWishOpen);
}

void CSpectrumAnalDlg::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found = {};
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (!doc) return;
    // What is set behind them counts on settings as they are taken; in a window the view is to come.
    if (!IsAttended()) return TakeUpWish();
    for (int32_t* trace : {&m_nTrace, &m_nTraceB})
        *trace = std::clamp(*trace, 0, std::max(0, doc->traceCount - 1));
}

// A second trace that is another one.
void CSpectrumAnalDlg::SuggestSettings() {
    if (Document() && m_nTraceB == m_nTrace && m_nTrace + 1 < Document()->traceCount)
        m_nTraceB = m_nTrace + 1;
}

void CSpectrumAnalDlg::Describe(ParamList& list) {
    DescribeTraces(list);
    DescribeSegments(list);
    DescribeFound(list);
    DescribeAxes(list);
    DescribeBand(list);
    DescribeRegion(list);
    for (const char* key : {"region", "regionStart", "regionEnd"})
        list.Find(key)->OnChange([this] { m_isWishOpen = false; });
    DescribeSaving(list);
}

void CSpectrumAnalDlg::DescribeTraces(ParamList& list) {
    list.Group("Source");
    const auto trace = [&](const char* key, const char* label, int32_t& value) -> Field& {
        return list.Trace(key, label, value).Shows([this, &value] {
            const CDataDoc* doc = Document();
            return doc && value < doc->traceCount ? doc->traces[static_cast<size_t>(value)].traceLabel
                                                  : std::string();
        });
    };
    trace("traceA", "Trace A", m_nTrace).Tip("Trace whose data are analysed");
    trace("traceB", "Trace B", m_nTraceB).Tip("Trace that trace A is compared with").EnabledIf([this] {
        return !IsMode(SpectrumMode::spectrum);
    });
    list.Choice("mode", "Mode", m_nMode, {"spectrum", "cross spectrum", "coherence"})
        .Buttons()
        .Tip("Power of trace A; What both traces have in common, as a power; The same as a share of both, 0 "
             "to 1");
}

void CSpectrumAnalDlg::DescribeSegments(ParamList& list) {
    list.Group("Segments");
    list.Integer("log2Bins", "Log2 of bins", m_nLog2Bins)
        .Limits(leastLog2Bins, greatestLog2Bins)
        .Spin()
        .Shows([this] { return fmt::format("{} +1 bins", int64_t{1} << std::clamp(m_nLog2Bins, 0, 30)); })
        .Tip("The number of frequency bins, as the power to which 2 is raised; a segment has twice as many "
             "samples");
    list.Choice("window", "Window", m_nWindow, SpectralWindowNames())
        .Tip(
            "What each segment is multiplied by; the rectangle alone leaves a sine at the centre of a bin in "
            "that bin. "
            "Multitaper averages five windows of each segment");
    list.Choice("overlapShift", "Overlap (%)", m_nOverlapShift, OverlapNames())
        .Tip("Share of a segment that lies in the one before, too");
    list.Choice("trend", "Take off", m_nTrend, trendNames)
        .Tip("What is taken off each segment before its window: its mean, or the straight line through it");
    list.Integer("targetAverages", "Target averages", m_nTargetAverages)
        .Limits(1, 1e6)
        .Spin()
        .Linked({"region", "regionStart", "regionEnd"})
        .OnChange([this] { WishAverages(); })
        .PutBackIf([this] { return DropUnmetWish(); })
        .Tip("Sets the region so that so many segments fit, from its start");
}

void CSpectrumAnalDlg::DescribeAxes(ParamList& list) {
    list.Group("Axes");
    list.Choice("density", "Scale", m_nDensity, {"Power (y²)", "Density (y²/Hz)"})
        .EnabledIf([this] { return !IsMode(SpectrumMode::coherence); })
        .Tip("Powers add up to the mean square; the area under a density is the mean square");
    list.Flag("logX", "Log frequency", m_bLogX)
        .Tip("Logarithmic frequency axis, which has no place for 0 Hz");
    list.Flag("logY", "Log value", m_bLogY).Tip("Logarithmic axis of the values");
    list.Flag("confidence", "95 % band", m_bConfidence)
        .EnabledIf([this] { return !IsMode(SpectrumMode::crossSpectrum); })
        .Tip("Shows between what limits the true values are likely to lie, as the number of segments tells");
    list.Flag("showCritical", "Critical level", m_bShowCritical)
        .EnabledIf([this] { return IsMode(SpectrumMode::coherence) && !m_bLogY; })
        .Tip("Shows the coherence that unrelated traces seldom reach; at least 3 averages");
    list.Choice("p05", "Critical P", m_nP05, {"1 %", "5 %"})
        .EnabledIf([this] { return IsMode(SpectrumMode::coherence); })
        .Tip("How often unrelated traces reach the critical level");
    list.Flag("phase", "Phase and gain", m_bPhase)
        .EnabledIf([this] { return IsMode(SpectrumMode::coherence); })
        .Tip("Shows the phase of A before B, and the amplitude of B for one of A, below the coherence");
}

void CSpectrumAnalDlg::DescribeBand(ParamList& list) {
    const auto hasBand = [this] { return m_bBand && IsMode(SpectrumMode::spectrum); };
    list.Group("Band");
    list.Flag("band", "Power in a band", m_bBand)
        .EnabledIf([this] { return IsMode(SpectrumMode::spectrum); })
        .Tip("Tells power and peak between two frequencies, whose lines can be dragged");
    list.Number("bandLow", "From", m_dBandLow).Unit("Hz").Limits(0.0, 1e9).EnabledIf(hasBand);
    list.Number("bandHigh", "To", m_dBandHigh).Unit("Hz").Limits(0.0, 1e9).EnabledIf(hasBand);
}

void CSpectrumAnalDlg::DescribeFound(ParamList& list) {
    list.Group("Result");
    const auto note = [&](const char* key, const char* label,
                          const std::function<std::string()>& text) -> Field& {
        return list.Note(key, label,
                         [this, text] { return m_found.values.empty() ? std::string() : text(); });
    };
    note("averagesText", "Averages", [this] { return fmt::format("{}", m_found.averages); });
    note("resolutionText", "Resolution", [this] { return fmt::format("{:g} Hz", m_found.Resolution()); });
    note("timeNeededText", "Time needed", [this] { return fmt::format("{:g} ms", m_found.TimeNeeded()); });
    note("criticalText", "Critical", [this] {
        const auto level = Critical();
        return level ? fmt::format("{:.3f}", *level) : std::string("needs 3 averages");
    }).EnabledIf([this] { return IsMode(SpectrumMode::coherence); });
    note("bandText", "Band", [this] {
        if (!ShowsBand()) return std::string();
        const Band band = BandFound();
        if (!band.peak) return std::string("no bin");
        return fmt::format("power {:g}, peak at {:g} Hz", band.power, m_found.FrequencyOf(*band.peak));
    }).EnabledIf([this] { return m_bBand && IsMode(SpectrumMode::spectrum); });
}

void CSpectrumAnalDlg::DescribeSaving(ParamList& list) {
    list.Group("Results");
    list.Action("saveSpectrum", "Save spectrum...",
                [this] {
                    SaveTextLines(*this, {"Save spectrum", " spectrum.txt", "The spectrum"},
                                  [this](const TextSink& sink) { WriteResult(sink); });
                })
        .EnabledIf([this] { return !m_found.values.empty(); })
        .Tip("Saves the values of all bins as a text file");
}

void CSpectrumAnalDlg::WishAverages() {
    m_isWishOpen = true;
    TakeUpWish();
}

// The region begins where it begins now; a wish that cannot be met changes nothing.
void CSpectrumAnalDlg::TakeUpWish() {
    const CDataDoc* doc = Document();
    if (!doc || !m_isWishOpen) return;
    const int64_t length = int64_t{2} << m_nLog2Bins, step = length >> m_nOverlapShift;
    const int64_t samples = m_nTargetAverages * step + length - step;
    const SampleSpan now =
        RegionSpans(*doc, View(), {m_nRegionMode, m_dRegionStart, m_dRegionEnd, 0}).front();
    if (samples > doc->GetLength() - now.first) return;
    m_isWishOpen = false;
    m_nRegionMode = regionUserSet;
    m_dRegionStart = doc->TimeOf(now.first);
    m_dRegionEnd = doc->TimeOf(now.first + samples);
}

// Why the value before takes its place again, which is then no wish.
std::string CSpectrumAnalDlg::DropUnmetWish() {
    return Document() && std::exchange(m_isWishOpen, false) ? tooLittleForAveragesText : std::string();
}

std::string CSpectrumAnalDlg::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (m_bBand && IsMode(SpectrumMode::spectrum) && !(m_dBandLow < m_dBandHigh)) return bandOrderText;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    TakeUpWish();
    if (m_isWishOpen) return tooLittleForAveragesText;
    const bool hasTraceB = IsMode(SpectrumMode::spectrum) || m_nTraceB < doc->traceCount;
    return m_nTrace < doc->traceCount && hasTraceB ? std::string() : noSuchTraceText;
}

std::string CSpectrumAnalDlg::SettingsText() const {
    std::string text = fmt::format("{}: trace {}", modeNames[static_cast<size_t>(m_nMode)], m_nTrace + 1);
    if (!IsMode(SpectrumMode::spectrum)) text += fmt::format(" and trace {}", m_nTraceB + 1);
    return text + fmt::format("\r\nBins: {}\r\nWindow: {}\r\nOverlap: {} %\r\n", int64_t{1} << m_nLog2Bins,
                              SpectralWindowNames()[static_cast<size_t>(m_nWindow)],
                              OverlapNames()[static_cast<size_t>(m_nOverlapShift)]);
}

void CSpectrumAnalDlg::GetParamText(std::string& text) {
    text += "Spectral analysis parameters:\r\n";
    AppendRegionText(text);
    text += SettingsText();
    if (m_nTrend != 0)
        text += fmt::format("Taken off each segment: {}\r\n", trendNames[static_cast<size_t>(m_nTrend)]);
    if (!IsMode(SpectrumMode::coherence))
        text += fmt::format("Scale: {}\r\n", m_nDensity == 1 ? "density" : "power");
    if (m_isWishOpen) text += fmt::format("Target averages: {}\r\n", m_nTargetAverages);
}

// --- the run ---

std::unique_ptr<OperationJob> CSpectrumAnalDlg::MakeJob() {
    const CDataDoc& doc = *Document();
    const auto region = TakeRegion();
    if (!region) return nullptr;
    const int64_t least = int64_t{2} << leastLog2Bins;
    if (region->Count() < least) throw JobRefused(fmt::format(tooLittleForSpectrumText, doc.TimeOf(least)));
    if (region->Count() < int64_t{2} << m_nLog2Bins) {
        Tell(resolutionReducedText);
        while (region->Count() < int64_t{2} << m_nLog2Bins) --m_nLog2Bins;
    }
    auto job = std::make_unique<SpectrumJob>();
    TraceSpectrum& found = job->found;
    found.settings = {size_t{1} << m_nLog2Bins,
                      1000.0 / doc.sampleInterval,
                      static_cast<SpectrumMode>(m_nMode),
                      m_nDensity == 1,
                      m_nWindow,
                      static_cast<SegmentTrend>(m_nTrend)};
    found.grid = GridOver(region->first, region->Count(), found.settings.bins, m_nOverlapShift);
    found.interval = doc.sampleInterval;
    found.nameA = TraceName(doc, m_nTrace);
    found.unit = UnitOf(doc, m_nTrace);
    job->traces = {m_nTrace};
    if (!found.IsPower()) {
        if (m_nTrace == m_nTraceB) Tell(sameTraceText);
        job->traces.push_back(m_nTraceB);
        found.nameB = TraceName(doc, m_nTraceB);
    }
    const std::string other = UnitOf(doc, job->traces.back());
    found.unit = found.IsCoherence() ? "" : found.unit == other ? other + "²" : found.unit + "·" + other;
    if (found.settings.isDensity && !found.IsCoherence()) found.unit += "/Hz";
    job->stretches = CommonStretches(doc, job->traces);
    return job;
}

bool CSpectrumAnalDlg::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<SpectrumJob&>(job);
    if (done.isTruncated) Tell(fmt::format(truncatedText, done.segments, done.found.grid.count));
    if (done.found.broken > 0) Tell(fmt::format(brokenText, done.found.broken, done.segments));
    m_found = std::move(done.found);
    return true;
}

// --- what it shows ---

std::optional<double> CSpectrumAnalDlg::Critical() const {
    if (!m_found.IsCoherence()) return std::nullopt;
    return CriticalCoherence(m_found.averages, m_nP05 == 1 ? 0.05 : 0.01);
}

CSpectrumAnalDlg::Band CSpectrumAnalDlg::BandFound() const {
    Band band;
    const double width = m_found.settings.isDensity ? m_found.FrequencyOf(1) : 1.0;
    for (size_t i = 0; i < m_found.values.size(); ++i) {
        const double frequency = m_found.FrequencyOf(i);
        if (frequency < m_dBandLow || frequency > m_dBandHigh) continue;
        band.power += width * m_found.values[i];
        if (!band.peak || m_found.values[i] > m_found.values[*band.peak]) band.peak = i;
    }
    return band;
}

void CSpectrumAnalDlg::WriteResult(const TextSink& sink) {
    if (m_found.values.empty()) return;
    std::string head = fmt::format("Trace A: {}\r\n", m_found.nameA);
    if (!m_found.nameB.empty()) head += fmt::format("Trace B: {}\r\n", m_found.nameB);
    head += m_found.IsCoherence() ? "Bin\tHz\tCoherence\r\n" : "Bin\tHz\tPower (mean sq amp)\r\n";
    if (!sink(head)) return;
    for (size_t i = 0; i < m_found.values.size(); ++i)
        if (!sink(fmt::format("{:3d}\t{:.2f}\t{:g}\r\n", i, m_found.FrequencyOf(i), m_found.values[i])))
            return;
}

std::vector<Result> CSpectrumAnalDlg::Results() {
    if (m_found.values.empty()) return {};
    const TraceSpectrum& found = m_found;
    const std::string& name = modeNames[static_cast<size_t>(found.settings.mode)];
    Result result{name,
                  {{"averages", found.averages},
                   {"bins", static_cast<int64_t>(found.settings.bins)},
                   {"resolution", found.Resolution()},
                   {"timeNeeded", found.TimeNeeded()},
                   {"critical", {}}},
                  {{"bin", ""}, {"frequency", "Hz"}, {name, found.unit}},
                  {}};
    if (const auto level = Critical()) result.values.back().second = *level;
    if (ShowsBand()) {
        const Band band = BandFound();
        result.values.emplace_back("bandPower", band.power);
        const auto peak = [&](double value) { return band.peak ? ResultValue(value) : ResultValue(); };
        result.values.emplace_back("peakFrequency", peak(band.peak ? found.FrequencyOf(*band.peak) : 0.0));
        result.values.emplace_back("peakPower", peak(band.peak ? found.values[*band.peak] : 0.0));
    }
    if (!found.phase.empty()) result.columns.push_back({"phase", "rad"});
    if (!found.gain.empty()) result.columns.push_back({"gain", ""});
    const bool hasBand = m_bConfidence && found.HasBand();
    if (hasBand) {
        result.columns.push_back({"lower", found.unit});
        result.columns.push_back({"upper", found.unit});
    }
    result.rows = [this, hasBand](const ResultRowSink& sink) {
        for (size_t i = 0; i < m_found.values.size(); ++i) {
            std::vector<ResultValue> row{static_cast<int64_t>(i), m_found.FrequencyOf(i), m_found.values[i]};
            if (!m_found.phase.empty()) row.emplace_back(m_found.phase[i]);
            if (!m_found.gain.empty()) row.emplace_back(m_found.gain[i]);
            if (hasBand) {
                const auto [lower, upper] = m_found.BandOf(i);
                row.emplace_back(lower);
                row.emplace_back(upper);
            }
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(result)};
}

GraphAxis CSpectrumAnalDlg::FrequencyAxis() const {
    GraphAxis axis{m_bLogX ? "Log Hz" : "frequency", m_bLogX ? "" : "Hz"};
    axis.isLog = m_bLogX;
    return axis;
}

GraphPane CSpectrumAnalDlg::SpectrumPane() const {
    const TraceSpectrum& found = m_found;
    GraphPane pane{"spectrum"};
    pane.x = FrequencyAxis();
    pane.y = {std::string(m_bLogY ? "log " : "") + (IsMode(SpectrumMode::coherence) ? "coher" : "power"),
              found.unit};
    pane.y.isLog = m_bLogY;
    const auto shown = [&](double value) { return m_bLogY ? std::max(value, leastShownPower) : value; };
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)};
    GraphLayer band{LayerKind::area, "95 %", GraphColour(0)};
    band.isPale = true;
    const bool hasBand = m_bConfidence && found.HasBand();
    for (size_t i = m_bLogX ? 1 : 0; i < found.values.size(); ++i) {
        curve.x.push_back(found.FrequencyOf(i));
        curve.y.push_back(shown(found.values[i]));
        if (!hasBand) continue;
        const auto [lower, upper] = found.BandOf(i);
        band.x.push_back(curve.x.back());
        band.y.push_back(shown(lower));
        band.y2.push_back(shown(upper));
    }
    if (hasBand && !found.values.empty()) pane.layers.push_back(std::move(band));
    if (!found.values.empty()) pane.layers.push_back(std::move(curve));
    const auto level = Critical();
    if (level && m_bShowCritical && !m_bLogY)
        pane.lines.push_back(
            {false, *level, criticalColour,
             fmt::format("critical {:.3f} (P = {})", *level, m_nP05 == 1 ? "0.05" : "0.01")});
    if (ShowsBand()) {
        pane.lines.push_back({true, m_dBandLow, GraphColour(1), "band", "bandLow", true});
        pane.lines.push_back({true, m_dBandHigh, GraphColour(1), "", "bandHigh", true});
    }
    return pane;
}

GraphPane CSpectrumAnalDlg::BesidePane(const char* name, const char* unit,
                                       const std::vector<double>& values) const {
    GraphPane pane{name};
    pane.x = FrequencyAxis();
    pane.y = {name, unit};
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)};
    for (size_t i = m_bLogX ? 1 : 0; i < values.size(); ++i) {
        curve.x.push_back(m_found.FrequencyOf(i));
        curve.y.push_back(values[i]);
    }
    if (!curve.x.empty()) pane.layers.push_back(std::move(curve));
    return pane;
}

std::optional<Graph> CSpectrumAnalDlg::GetGraph() {
    Graph graph{{SpectrumPane()}};
    if (!m_bPhase || !IsMode(SpectrumMode::coherence)) return graph;
    graph.sharesX = true;
    std::vector<double> degrees;
    for (const double phase : m_found.phase) degrees.push_back(phase * degreesOfRadian);
    graph.panes.push_back(BesidePane("phase", "degrees", degrees));
    graph.panes.push_back(BesidePane("gain", "B / A", m_found.gain));
    return graph;
}

}  // namespace kymora
