#include "transforms/filter_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/quiet_host.h"
#include "kernels/memory_scratch.h"
#include "operations/event_base_dlg.h"
#include "spectra/power_spectrum.h"

namespace kymora {

namespace {

constexpr double noGain = -999.0, leastDrawn = -120.0;  // dB
constexpr int64_t mostGainLines = 1'000'000;
constexpr int64_t mostDrawnReach = 50'000;  // samples
constexpr int64_t mostSpectrumSamples = 1 << 18;
constexpr double drawnFrequencies = 1000.0;

double Decibels(double gain) { return gain == 0.0 ? noGain : 20.0 * std::log10(gain); }
double Degrees(std::complex<double> response) { return std::arg(response) * 180.0 / std::numbers::pi; }
// With a half turn on one side, whatever its rounding.
double WrappedUp(double degrees) { return degrees < -179.999 ? degrees + 360.0 : degrees; }
double Drawn(double decibels) { return std::max(decibels, leastDrawn); }

// Calls take(f) for each frequency of the list of gains until it answers false.
template <typename Take>
bool ForEachFrequency(double fs, int64_t increment, Take take) {
    const double last = fs / 2.0 + static_cast<double>(increment);
    for (int64_t f = 0; static_cast<double>(f) <= last; f += increment)
        if (!take(f)) return false;
    return true;
}

std::vector<float> ResponseTo(CTransformTraceDlg& dialog, const std::vector<float>& input) {
    CDataDoc& doc = *dialog.Document();
    std::mt19937 random = doc.GetSession().random;
    QuietHost quiet;
    MemoryScratch scratch;
    const TransformRun run{doc, 0, 0, static_cast<int64_t>(input.size()), {}, random, quiet, scratch, {}};
    std::vector<float> output(input.size());
    if (!dialog.TransformBlock(run, input, output)) output.clear();
    return output;
}

}  // namespace

// Another document may stand at the same address, and have other samples.
void CFilterDlg::CheckChangeDoc(CDataDoc* doc) {
    seen_.reset();
    CTransformTraceDlg::CheckChangeDoc(doc);
}

void CFilterDlg::OnUpdate(UpdateHint hint) {
    seen_.reset();
    CTransformTraceDlg::OnUpdate(hint);
}

WrittenFile CFilterDlg::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    m_nReport = reportNone;
    // A window has said it while the parameters were set.
    if (!View() && HasShape())
        if (const std::string note = RunNote(); !note.empty()) Tell(note);
    return CTransformTraceDlg::WriteFile(session, path, keepsSource);
}

void CFilterDlg::DescribeReport(ParamList& list) {
    list.Group("Report");
    list.Choice("report", "Report", m_nReport, {"None", "Coeffs", "Gain"})
        .Buttons()
        .Tip("The filter's coefficients, or its gain and phase at frequencies in even steps, as a list. In "
             "the "
             "terminal and in a batch the list is all that is made");
    list.Integer("freqIncrement", "increment (Hz)", m_nFreqIncrement)
        .Limits(1, mostCutoff)
        .Tip("Distance of the frequencies in the list of gains")
        .EnabledIf([this] { return m_nReport == reportGain; });
}

void CFilterDlg::ExchangeReport(CArchive& archive) {
    Exchange(archive, m_nReport);
    Exchange(archive, m_nFreqIncrement);
}

std::string CFilterDlg::CheckSettings() {
    if (std::string fault = CTransformTraceDlg::CheckSettings(); !fault.empty()) return fault;
    if (m_nReport != reportGain || !Document()) return {};
    const double least = std::ceil(SampleFrequency() / 2.0 / static_cast<double>(mostGainLines));
    if (m_nFreqIncrement < least)
        return fmt::format(
            "The list of gains would have more than {} lines. Choose an increment of {:.0f} Hz "
            "or more.",
            mostGainLines, least);
    return {};
}

GraphLine CFilterDlg::Edge(const char* parameter, double hz) const {
    return {true, hz, GraphColour(5), {}, parameter, true};
}

// --- lists ---

void CFilterDlg::WriteResult(const TextSink& sink) {
    if (m_nReport == reportNone) return;
    if (!Document()) {
        sink(noSampleRateText);
        return;
    }
    if (!HasShape()) return;
    const FilterShape shape = Shape(SampleFrequency());
    m_nReport == reportGain ? WriteGain(sink, shape) : WriteCoefficients(sink, shape);
}

void CFilterDlg::WriteCoefficients(const TextSink& sink, const FilterShape& shape) const {
    std::string text = "Coefficients\r\n";
    for (const auto& [name, row] : shape.coefficients) {
        if (!name.empty()) text += name + "\r\n";
        // Those of a recursive filter count to the last digit.
        for (size_t i = 0; i < row.size(); ++i)
            text += name.empty() ? fmt::format("{:3d}\t{:f}\r\n", i, row[i])
                                 : fmt::format("{:3d}\t{:.17g}\r\n", i, row[i]);
    }
    sink(text);
}

void CFilterDlg::WriteGain(const TextSink& sink, const FilterShape& shape) const {
    if (!sink("freq\tgain\tphase\r\n")) return;
    ForEachFrequency(SampleFrequency(), m_nFreqIncrement, [&](int64_t f) {
        const std::complex<double> response = shape.response(static_cast<double>(f));
        return sink(
            fmt::format("{}\t{:13.4f}\t{:13.4f}\r\n", f, Decibels(std::abs(response)), Degrees(response)));
    });
}

std::vector<Result> CFilterDlg::Results() {
    if (m_nReport == reportNone || !HasShape()) return {};
    FilterShape shape = Shape(SampleFrequency());
    Result result;
    if (m_nReport == reportCoefficients) {
        result.name = "Coefficients";
        const bool hasNames = !shape.coefficients.front().first.empty();
        if (hasNames) result.columns.push_back({"row", ""});
        result.columns.push_back({"index", ""});
        result.columns.push_back({"coefficient", ""});
        std::vector<std::vector<ResultValue>> rows;
        for (const auto& [name, row] : shape.coefficients)
            for (size_t i = 0; i < row.size(); ++i) {
                rows.emplace_back();
                if (hasNames) rows.back().emplace_back(name);
                rows.back().emplace_back(static_cast<int64_t>(i));
                rows.back().emplace_back(row[i]);
            }
        result.SetRows(std::move(rows));
        return {result};
    }
    result.name = "Gain";
    result.columns = {{"freq", "Hz"}, {"gain", "dB"}, {"phase", "degrees"}};
    result.rows = [response = shape.response, fs = SampleFrequency(),
                   increment = m_nFreqIncrement](const ResultRowSink& sink) {
        return ForEachFrequency(fs, increment, [&](int64_t f) {
            const std::complex<double> at = response(static_cast<double>(f));
            const ResultValue row[] = {f, Decibels(std::abs(at)), Degrees(at)};
            return sink(row);
        });
    };
    return {result};
}

// --- graphs ---

GraphAxis CFilterDlg::FrequencyAxis(const FilterShape& shape) const {
    constexpr double decades = 1e3, below = 10.0;
    GraphAxis axis{"frequency", "Hz", HasLogFrequencies()};
    const double nyquist = SampleFrequency() / 2.0;
    double least = nyquist / decades;
    for (const double at : shape.landmarks) least = std::min(least, at / below);
    axis.limits = {axis.isLog ? least : 0.0, nyquist};
    return axis;
}

// Evenly over all of the axis, and ever closer to where the response may change within little.
std::vector<double> CFilterDlg::DrawnFrequencies(const FilterShape& shape, const GraphAxis& axis) const {
    const auto [least, most] = *axis.limits;
    std::vector<double> frequencies;
    for (double i = 0.0; i <= drawnFrequencies; ++i) {
        const double share = i / drawnFrequencies;
        frequencies.push_back(axis.isLog ? least * std::pow(most / least, share)
                                         : least + (most - least) * share);
    }
    for (const double at : shape.landmarks) {
        frequencies.push_back(at);
        for (double away = std::min(at, most / drawnFrequencies); away > most * 1e-7; away /= 1.5) {
            frequencies.push_back(at - away);
            frequencies.push_back(at + away);
        }
    }
    const auto isOutside = [from = least, to = most](double f) { return !(f >= from && f <= to); };
    std::erase_if(frequencies, isOutside);
    std::ranges::sort(frequencies);
    return frequencies;
}

std::optional<Graph> CFilterDlg::GetGraph() {
    Graph graph;
    graph.columns = 2;
    if (!HasShape()) {
        for (const char* name : {"magnitude", "phase", "step", "impulse"}) {
            graph.panes.push_back({name, name});
            graph.panes.back().x = {graph.panes.size() < 3 ? "frequency" : "time",
                                    graph.panes.size() < 3 ? "Hz" : "ms"};
        }
        return graph;
    }
    const FilterShape shape = Shape(SampleFrequency());
    const GraphAxis axis = FrequencyAxis(shape);
    const std::vector<double> frequencies = DrawnFrequencies(shape, axis);
    graph.panes = {Magnitude(shape, frequencies, axis), Phase(shape, frequencies, axis),
                   ResponsePane(shape, true), ResponsePane(shape, false)};
    return graph;
}

GraphPane CFilterDlg::Magnitude(const FilterShape& shape, const std::vector<double>& frequencies,
                                const GraphAxis& axis) {
    GraphPane pane{"magnitude", "magnitude"};
    pane.x = axis;
    pane.y = {"gain", "dB"};
    const double nyquist = SampleFrequency() / 2.0;
    TakeSpectrum();
    if (!spectrum_.empty()) {
        GraphLayer data{LayerKind::area, "data in view", GraphColour(1)};
        data.isPale = true;
        for (size_t k = 1; k < spectrum_.size(); ++k) {
            data.x.push_back(nyquist * static_cast<double>(k) / static_cast<double>(spectrum_.size() - 1));
            data.y.push_back(spectrum_[k]);
            data.y2.push_back(leastDrawn);
        }
        pane.layers.push_back(std::move(data));
    }
    GraphLayer curve{LayerKind::curve, "filter", GraphColour(0)};
    for (const double f : frequencies) {
        curve.x.push_back(f);
        curve.y.push_back(Drawn(Decibels(std::abs(shape.response(f)))));
    }
    pane.layers.push_back(std::move(curve));
    pane.lines = Edges();
    return pane;
}

GraphPane CFilterDlg::Phase(const FilterShape& shape, const std::vector<double>& frequencies,
                            const GraphAxis& axis) const {
    GraphPane pane{"phase", shape.delayTaken > 0 ? "phase, without the delay" : "phase"};
    pane.x = axis;
    pane.y = {"phase", "degrees"};
    pane.y.limits = {-190.0, 190.0};
    pane.y.turn = 360.0;
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)};
    for (const double f : frequencies) {
        const double turns = static_cast<double>(shape.delayTaken) * f / SampleFrequency();
        const std::complex<double> response =
            shape.response(f) * std::polar(1.0, 2.0 * std::numbers::pi * turns);
        curve.x.push_back(f);
        // Of what is hardly there the phase is chance.
        const bool isDrawn = Decibels(std::abs(response)) > leastDrawn;
        curve.y.push_back(isDrawn ? WrappedUp(Degrees(response)) : std::nan(""));
    }
    pane.layers.push_back(std::move(curve));
    return pane;
}

GraphPane CFilterDlg::ResponsePane(const FilterShape& shape, bool isStep) {
    const char* name = isStep ? "step" : "impulse";
    GraphPane pane{name, fmt::format("response to {}", isStep ? "a step" : "an impulse")};
    pane.x = {"time", "ms"};
    pane.y = {"amplitude", ""};
    const int64_t reach = std::min(shape.reach, mostDrawnReach);
    const int64_t before = shape.isCentred ? reach : reach / 8 + 2;
    // What a run's ends do lies outside of what is drawn.
    const int64_t margin = shape.isCentred ? 2 * reach : 0;
    const int64_t at = before + margin;
    std::vector<float> input(static_cast<size_t>(at + reach + margin + 1), 0.0f);
    std::fill(input.begin() + at, isStep ? input.end() : input.begin() + at + 1, 1.0f);
    const std::vector<float> output = ResponseTo(*this, input);
    if (output.empty()) return pane;
    GraphLayer curve{LayerKind::curve, "", GraphColour(0)};
    for (int64_t i = -before; i <= reach; ++i) {
        curve.x.push_back(static_cast<double>(i) * Document()->sampleInterval);
        curve.y.push_back(output[static_cast<size_t>(at + i)]);
    }
    pane.layers.push_back(std::move(curve));
    return pane;
}

// Of the trace that a preview would show.
void CFilterDlg::TakeSpectrum() {
    const CDataDoc& doc = *Document();
    const SampleSpan span = VisibleSpan(doc, View());
    const int trace = PreviewTrace();
    const int64_t first = std::clamp<int64_t>(span.first, 0, doc.GetLength());
    const int64_t end = std::clamp<int64_t>(span.end, first, doc.GetLength());
    const Seen seen{trace, first, std::min(end, first + mostSpectrumSamples)};
    if (seen == seen_) return;
    seen_ = seen;
    spectrum_.clear();
    std::vector<float> samples(static_cast<size_t>(seen.end - seen.first));
    std::vector<uint8_t> valid(samples.size());
    if (samples.empty()) return;
    Document()->ReadBlock(trace, seen.first, samples, valid);
    for (size_t i = 0; i < samples.size(); ++i)
        if (valid[i] == 0) samples[i] = std::nanf("");
    spectrum_ = PowerSpectrum(samples);
    double most = 0.0;
    for (size_t k = 1; k < spectrum_.size(); ++k) most = std::max(most, spectrum_[k]);
    if (!(most > 0.0)) spectrum_.clear();
    for (double& power : spectrum_) power = std::clamp(Decibels(std::sqrt(power / most)), leastDrawn, 0.0);
}

}  // namespace kymora
