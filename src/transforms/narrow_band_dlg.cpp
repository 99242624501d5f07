#include "transforms/narrow_band_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr uint32_t narrowBandVersion = 1;
constexpr double leastCentre = 1e-6, mostCentre = 1e8;        // Hz
constexpr double leastBandWidth = 1e-7, mostBandWidth = 0.3;  // of the sampling rate
constexpr double ringingShare = 0.01;
constexpr double leastPassGain = 0.9, mostPassGain = 1.1;
constexpr const char* lowCentreText = "The centre frequency is too low for this sampling rate.";

}  // namespace

void CNarrowBandDlg::Serialize(CArchive& archive) {
    CFilterDlg::Serialize(archive);
    ExchangeVersion(archive, narrowBandVersion, ClassName());
    Exchange(archive, m_fCentre);
    Exchange(archive, m_nType);
    Exchange(archive, m_fBandWidth);
    ExchangeReport(archive);
}

void CNarrowBandDlg::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Filter");
    list.Choice("type", "Type", m_nType, {"Band pass", "Band stop"})
        .Buttons()
        .Tip("Only what lies about the centre passes; What lies about the centre is taken out");
    list.Number("centre", "Centre frequency", m_fCentre)
        .Unit("Hz")
        .Limits(leastCentre, mostCentre)
        .Step(10)
        .Tip("Middle of the band; above 0 and up to half the sampling rate");
    list.Number("bandWidth", "Band width", m_fBandWidth)
        .Limits(leastBandWidth, mostBandWidth)
        .Step(0.0001)
        .Tip("As a share of the sampling rate. The narrower, the longer the filter rings: with 0.0003 it "
             "takes "
             "5115 samples until a hundredth is left of what came in, which is also how long it needs to "
             "begin")
        .Shows([this] { return WidthNote(); });
    list.Note("passGain", "Gain in the band", [this] { return HasShape() ? GainNote() : std::string(); });
    DescribeReport(list);
    DescribeOutput(list);
}

// Of what passes: at the centre, or for a band stop far from it.
std::string CNarrowBandDlg::GainNote() const {
    const double fs = SampleFrequency();
    const bool isPass = m_nType == static_cast<int32_t>(NarrowBandType::pass);
    const double far = m_fCentre > fs / 4.0 ? fs / 100.0 : fs * 0.49;
    const double at = isPass ? m_fCentre : far;
    const double gain = std::abs(RecursiveResponse(KernelSettings(1000.0 / fs), at, fs));
    std::string note = fmt::format("{:.4g} at {:.4g} Hz", gain, at);
    if (!(gain >= leastPassGain && gain <= mostPassGain)) note += "; low centre for this rate";
    return note;
}

std::string CNarrowBandDlg::RunNote() {
    const std::string note = GainNote();
    return note.find(';') == std::string::npos
               ? std::string()
               : "The gain of what passes is " + note.substr(0, note.find(';')) +
                     ": the centre is low for this sampling rate. Lower the sampling rate first.";
}

std::string CNarrowBandDlg::CheckSettings() {
    if (std::string fault = CFilterDlg::CheckSettings(); !fault.empty()) return fault;
    if (IsAboveNyquist(m_fCentre)) return nyquistText;
    if (!Document()) return {};
    const RecursiveSettings settings = KernelSettings(Document()->sampleInterval);
    const bool isMade = std::ranges::all_of(settings.forward, [](double b) { return std::isfinite(b); });
    return isMade ? std::string() : lowCentreText;
}

void CNarrowBandDlg::GetParamText(std::string& text) {
    text += "Narrow-band filter transform parameters:\r\n";
    CFilterDlg::GetParamText(text);
    text += fmt::format("{}: centre frequency {:f}\r\n", m_nType == 0 ? "Band pass" : "Band stop", m_fCentre);
    if (m_fBandWidth != narrowBandWidth) text += fmt::format("Band width {:g}\r\n", m_fBandWidth);
}

RecursiveSettings CNarrowBandDlg::KernelSettings(double sampleInterval) const {
    return NarrowBand(static_cast<NarrowBandType>(m_nType), m_fCentre, m_fBandWidth, sampleInterval);
}

bool CNarrowBandDlg::IsAboveNyquistAt(double sampleInterval) const {
    return m_fCentre > static_cast<float>(500.0 / sampleInterval);
}

double CNarrowBandDlg::RingingSamplesOf() const {
    return std::ceil(std::log(ringingShare) / std::log(1.0 - 3.0 * m_fBandWidth));
}

std::string CNarrowBandDlg::WidthNote() const {
    if (!Document() || !(m_fBandWidth >= leastBandWidth && m_fBandWidth <= mostBandWidth)) return {};
    constexpr int figures = 3;
    return fmt::format("{} Hz, rings {} ms", AxisNumber(m_fBandWidth * SampleFrequency(), figures),
                       AxisNumber(RingingSamplesOf() * Document()->sampleInterval, figures));
}

KernelOutcome CNarrowBandDlg::TransformBlock(const TransformRun& run, std::span<const float> input,
                                             std::span<float> output) {
    if (IsAboveNyquistAt(run.Interval())) return KernelOutcome::Failure(nyquistText);
    return FilterRecursive(input, KernelSettings(run.Interval()), output, run.goOn);
}

KernelOutcome CNarrowBandDlg::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                             FloatSink& output) {
    if (IsAboveNyquistAt(run.Interval())) return KernelOutcome::Failure(nyquistText);
    return FilterRecursive(*source(), KernelSettings(run.Interval()), output, run.scratch);
}

FilterShape CNarrowBandDlg::Shape(double fs) const {
    FilterShape shape;
    const RecursiveSettings settings = KernelSettings(1000.0 / fs);
    shape.coefficients = {{"b", settings.forward}, {"a", settings.feedback}};
    shape.response = [settings, fs](double f) { return RecursiveResponse(settings, f, fs); };
    shape.landmarks = {m_fCentre};
    shape.reach = static_cast<int64_t>(std::fmin(RingingSamplesOf(), 1e9)) + 5;
    return shape;
}

}  // namespace kymora
