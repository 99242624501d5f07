#include "frequency/dwt_analysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "frequency/longest_part.h"
#include "operations/save_text.h"
#include "spectra/wavelet_filters.h"

namespace kymora {

namespace {

constexpr uint32_t dwtVersion = 1;
constexpr int64_t mostShownSamples = 10'000'000;
constexpr size_t mostCells = 1024;   // of a row of the picture of powers
constexpr double leastShare = 1e-8;  // of the greatest power; less is shown as that
constexpr double bandHeight = 0.45;  // of the largest coefficient of a band, which are 1 apart
constexpr const char* noLevelText =
    "The {} samples are fewer than the wavelet's filter has values: there is no level.";

class WaveletJob : public OperationJob {
  public:
    int trace = 0, wavelet = 0;
    CMassEditDWT edit;
    int64_t first = 0, count = 0;
    WaveletView found;

    int64_t Samples() const override { return 4 * count; }
    void Compute(SampleReader& samples, JobContext& context) override {
        ProgressScope progress(context, "Wavelet transform", static_cast<uint64_t>(8 * count));
        const auto between = [&](size_t done) { progress.Step(done); };
        try {
            found.run.emplace(wavelet, static_cast<size_t>(count));
            WaveletRun& run = *found.run;
            samples.ReadBlock(trace, first, run.Run());
            found.before.assign(run.Run().begin(), run.Run().end());
            run.Extend(between);
            run.Forward(between);
            if (!edit.ChangesSomething()) return;
            found.outcome = edit.Apply(run, between);
            WaveletRun after = run;
            after.Inverse(between);
            found.after.assign(after.Run().begin(), after.Run().end());
        } catch (const std::bad_alloc&) {
            throw JobRefused(noMemoryForWaveletsText);
        }
    }
};

std::string NameOf(const WaveletBand& band) {
    return fmt::format("{}{}", band.isSmooth ? 'r' : 'd', band.level);
}

// With fewer decimals the higher they are.
std::string Hertz(double frequency) {
    return fmt::format("{:.{}f}", frequency, frequency < 100.0 ? 2 : frequency < 1000.0 ? 1 : 0);
}

std::string LabelOf(const WaveletView& view, const WaveletBand& band) {
    if (band.isSmooth) return fmt::format("r{}: 0 - {}", band.level, Hertz(view.HighOf(band)));
    return fmt::format("d{}: {} - {}", band.level, Hertz(view.LowOf(band)), Hertz(view.HighOf(band)));
}

}  // namespace

size_t WaveletView::CountOf(const WaveletBand& band) const {
    return std::min(band.count, (before.size() + SamplesOf(band) - 1) / SamplesOf(band));
}

double WaveletView::PowerOf(const WaveletBand& band) const {
    double sum = 0.0;
    for (const float value : Coefficients(band)) sum += double{value} * value;
    return sum;
}

// --- settings ---

void CDWTAnalysis::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, dwtVersion, ClassName());
    Exchange(archive, m_nWavelet);
    Exchange(archive, m_nDisplay);
    Exchange(archive, m_bLogPower);
    m_edit.Exchange(archive);
}

void CDWTAnalysis::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found = {};
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

void CDWTAnalysis::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Wavelet");
    list.Choice("wavelet", "Wavelet", m_nWavelet, WaveletNames())
        .Tip("The number is that of its filter's values: more part bands better, fewer places in time");
    list.Choice("display", "Show", m_nDisplay, {"relative power", "coefficients"})
        .Buttons()
        .Tip("The squares of the coefficients as colours; The coefficients, each band about a line of its "
             "own");
    list.Flag("logPower", "Log power", m_bLogPower)
        .EnabledIf([this] { return ShowsPower(); })
        .Tip("The colours stand for the logarithms of the squares, so that weak and strong are seen at once");
    list.Group("Edit coefficients");
    m_edit.DescribeZeroBands(list);
    list.Flag("threshold", "Threshold details", m_edit.m_bThreshold).Tip("Takes small details for noise");
    m_edit.DescribeThreshold(list, [this] { return m_edit.m_bThreshold; });
    DescribeRegion(list);
    list.Group("Results");
    const auto isThere = [this] { return m_found.run.has_value(); };
    list.Action("saveBands", "Save bands...",
                [this] {
                    SaveTextLines(*this, {"Save wavelet bands", " wavelet bands.txt", "The bands"},
                                  [this](const TextSink& sink) { WriteResult(sink); });
                })
        .EnabledIf(isThere)
        .Tip("Saves what is shown of all bands as a text file");
    list.Action("saveSamples", "Save samples...",
                [this] {
                    SaveTextLines(*this, {"Save samples", " wavelet samples.txt", "The samples"},
                                  [this](const TextSink& sink) { WriteSamples(sink); });
                })
        .EnabledIf(isThere)
        .Tip("Saves the samples that the edited coefficients make as a text file");
}

std::string CDWTAnalysis::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    return m_edit.Fault();
}

void CDWTAnalysis::GetParamText(std::string& text) {
    text += "Wavelet transform parameters:\r\n";
    AppendRegionText(text);
    text += fmt::format("Trace: {}\r\nWavelet type: {}\r\n", m_nTrace + 1,
                        WaveletNames()[static_cast<size_t>(m_nWavelet)]);
    m_edit.AppendText(text);
}

// --- the run ---

std::unique_ptr<OperationJob> CDWTAnalysis::MakeJob() {
    const CDataDoc& doc = *Document();
    const auto region = TakeRegion();
    if (!region) return nullptr;
    const TraceStretch part = TakeLongestPart(*this, m_nTrace, *region);
    if (part.Count() == 0) throw JobRefused(emptyRegionText);
    if (part.Count() > mostShownSamples) throw JobRefused(noMemoryForWaveletsText);
    auto job = std::make_unique<WaveletJob>();
    job->trace = m_nTrace;
    job->wavelet = m_nWavelet;
    job->edit = m_edit;
    job->first = part.start;
    job->count = part.Count();
    job->found.start = doc.TimeOf(part.start);
    job->found.interval = doc.sampleInterval;
    const std::string& unit = doc.traces[static_cast<size_t>(m_nTrace)].traceUnits;
    job->found.unit = unit.empty() ? "mV" : unit;
    return job;
}

bool CDWTAnalysis::Write(OperationJob& job, UndoScope&) {
    m_found = std::move(static_cast<WaveletJob&>(job).found);
    if (m_found.run->transform.Levels() == 0) Tell(fmt::format(noLevelText, m_found.before.size()));
    if (m_edit.ChangesSomething()) GetHost().Log(ThresholdLog(m_found.outcome));
    const auto notFinite =
        std::ranges::count_if(m_found.before, [](float value) { return !std::isfinite(value); });
    if (notFinite > 0)
        Tell(
            fmt::format("{} samples are infinite or not a number, which spoils the coefficients around them.",
                        notFinite));
    return true;
}

// --- what it shows ---

void CDWTAnalysis::WriteResult(const TextSink& sink) {
    if (!m_found.run) return;
    for (const WaveletBand& band : m_found.run->transform.Bands()) {
        std::string head = band.isSmooth ? fmt::format("r{}: frequency range 0 - {:.2f}\r\n", band.level,
                                                       m_found.HighOf(band))
                                         : fmt::format("d{}: frequency range {:.2f} - {:.2f} Hz\r\n",
                                                       band.level, m_found.LowOf(band), m_found.HighOf(band));
        head += ShowsPower() ? "start time\tend time\tpower\r\n" : "start time\tend time\tcoefficient\r\n";
        if (!sink(head)) return;
        const auto values = m_found.Coefficients(band);
        for (size_t i = 0; i < m_found.CountOf(band); ++i) {
            const double value = ShowsPower() ? double{values[i]} * values[i] : double{values[i]};
            if (!sink(fmt::format("{:.2f}\t{:.2f}\t{:f}\r\n", m_found.StartOf(band, i),
                                  m_found.StartOf(band, i + 1), value)))
                return;
        }
    }
}

void CDWTAnalysis::WriteSamples(const TextSink& sink) const {
    if (!sink("sample\ttime\tvalue\r\n")) return;
    const std::vector<float>& samples = m_found.after.empty() ? m_found.before : m_found.after;
    for (size_t i = 0; i < samples.size(); ++i)
        if (!sink(fmt::format("{}\t{:.2f}\t{:f}\r\n", i,
                              m_found.start + static_cast<double>(i) * m_found.interval, samples[i])))
            return;
}

std::vector<Result> CDWTAnalysis::Results() {
    if (!m_found.run) return {};
    Result bands{
        "bands",
        {{"samples", static_cast<int64_t>(m_found.before.size())},
         {"levels", int64_t{m_found.run->transform.Levels()}}},
        {{"band", ""}, {"from", "Hz"}, {"to", "Hz"}, {"coefficients", ""}, {"power", m_found.unit + "²"}},
        {}};
    if (m_edit.m_bThreshold) bands.values.emplace_back("threshold", m_found.outcome.lambda);
    if (m_found.outcome.noise) bands.values.emplace_back("noise", *m_found.outcome.noise);
    if (m_edit.ChangesSomething()) bands.values.emplace_back("zeroed", m_found.outcome.zeroed);
    std::vector<std::vector<ResultValue>> rows;
    for (const WaveletBand& band : m_found.run->transform.Bands())
        rows.push_back({NameOf(band), m_found.LowOf(band), m_found.HighOf(band),
                        static_cast<int64_t>(band.count), m_found.PowerOf(band)});
    bands.SetRows(std::move(rows));
    Result coefficients{
        "coefficients",
        {},
        {{"band", ""}, {"start", "ms"}, {"end", "ms"}, {"coefficient", m_found.unit}, {"label", ""}},
        {}};
    coefficients.rows = [this](const ResultRowSink& sink) {
        for (const WaveletBand& band : m_found.run->transform.Bands())
            for (size_t i = 0; i < m_found.CountOf(band); ++i) {
                const ResultValue row[] = {NameOf(band), m_found.StartOf(band, i),
                                           m_found.StartOf(band, i + 1), m_found.Coefficients(band)[i],
                                           fmt::format("{},{}", NameOf(band), i)};
                if (!sink(row)) return false;
            }
        return true;
    };
    return {std::move(bands), std::move(coefficients)};
}

GraphPane CDWTAnalysis::SignalPane() const {
    GraphPane pane{"signal"};
    pane.x = {"time", "ms"};
    pane.y = {"value", m_found.unit};
    const auto curve = [&](const std::vector<float>& samples, const char* name, size_t colour) {
        GraphLayer layer{LayerKind::curve, name, GraphColour(colour)};
        layer.y.assign(samples.begin(), samples.end());
        for (size_t i = 0; i < samples.size(); ++i)
            layer.x.push_back(m_found.start + static_cast<double>(i) * m_found.interval);
        pane.layers.push_back(std::move(layer));
    };
    if (!m_found.run) return pane;
    curve(m_found.before, m_found.after.empty() ? "" : "recorded", 0);
    if (!m_found.after.empty()) curve(m_found.after, "after the edit", 1);
    return pane;
}

// A row for each band, the highest frequencies below; a cell shows the largest of its coefficients, and tells
// which they are.
GraphPane CDWTAnalysis::PowerPane() const {
    GraphPane pane{"power"};
    pane.x = {"time", "ms"};
    pane.y = {"level", "1: highest frequencies"};
    if (!m_found.run) return pane;
    const size_t samples = m_found.before.size(), cells = std::min(samples, mostCells);
    GraphLayer matrix{LayerKind::matrix, "Relative power\n\n(squared DWT coefficient)", GraphColour(0)};
    matrix.columns = cells;
    matrix.x = {m_found.start, m_found.start + static_cast<double>(samples) * m_found.interval};
    const std::vector<WaveletBand> bands = m_found.run->transform.Bands();
    const auto count = static_cast<double>(bands.size());
    matrix.y2 = {0.5, count + 0.5};
    for (const WaveletBand& band : bands) {
        const auto values = m_found.Coefficients(band);
        for (size_t cell = 0; cell < cells; ++cell) {
            const size_t from = cell * samples / cells / m_found.SamplesOf(band);
            const size_t to = std::max(from + 1, (cell + 1) * samples / cells / m_found.SamplesOf(band));
            const size_t last = std::min(to, values.size()) - 1;
            double most = 0.0;
            for (size_t i = from; i <= last && std::isfinite(most); ++i) {
                const double power = double{values[i]} * values[i];
                most = std::isfinite(power) ? std::max(most, power) : NAN;  // an empty cell
            }
            matrix.y.push_back(most);
            matrix.told.values.push_back(static_cast<float>(most));
            std::string name = fmt::format("{},{}", NameOf(band), from);
            if (last > from) name += fmt::format(" to {}", last);
            matrix.told.names.push_back(std::move(name));
        }
    }
    matrix.told.unit = m_found.unit + "²";
    if (m_bLogPower) {
        matrix.name = "log relative power\n\n(squared DWT coefficient)";
        double greatest = 0.0;
        for (const double value : matrix.y)
            if (std::isfinite(value)) greatest = std::max(greatest, value);
        for (double& value : matrix.y)
            if (std::isfinite(value)) value = std::log10(std::max(value, leastShare * greatest));
    }
    pane.layers.push_back(std::move(matrix));
    return pane;
}

// Each band about the line of its level, its largest coefficient as high as all others.
GraphPane CDWTAnalysis::CoefficientPane() const {
    GraphPane pane{"coefficients"};
    pane.x = {"time", "ms"};
    pane.title = "DWT Coefficient\n\n(line = 0)";
    pane.y = {"level", ""};
    if (!m_found.run) return pane;
    const std::vector<WaveletBand> bands = m_found.run->transform.Bands();
    for (size_t row = 0; row < bands.size(); ++row) {
        const auto values = m_found.Coefficients(bands[row]).first(m_found.CountOf(bands[row]));
        const auto line = static_cast<double>(row + 1);
        double most = 0.0;
        for (const float value : values)
            if (std::isfinite(value)) most = std::max(most, std::fabs(double{value}));
        const double scale = most > 0.0 ? bandHeight / most : 0.0;
        GraphLayer curve{LayerKind::curve, LabelOf(m_found, bands[row]), GraphColour(row)};
        const double half = 0.5 * static_cast<double>(m_found.SamplesOf(bands[row])) * m_found.interval;
        for (size_t i = 0; i < values.size(); ++i) {
            curve.x.push_back(m_found.StartOf(bands[row], i) + half);
            curve.y.push_back(line + scale * values[i]);
        }
        curve.told = {NameOf(bands[row]) + ",", m_found.unit, {values.begin(), values.end()}};
        pane.layers.push_back(std::move(curve));
        pane.lines.push_back({false, line, 0x00C0C0C0, ""});
    }
    if (m_found.before.size() > 2 * mostCells) pane.title += std::string("\n") + tooNarrowForCoefficientsText;
    return pane;
}

std::optional<Graph> CDWTAnalysis::GetGraph() {
    Graph graph{{SignalPane(), ShowsPower() ? PowerPane() : CoefficientPane()}};
    graph.sharesX = true;
    return graph;
}

}  // namespace kymora
