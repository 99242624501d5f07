#include "transforms/filter_rc_dlg.h"

#include <fmt/format.h>

#include <cmath>
#include <numbers>

namespace kymora {

namespace {

constexpr uint32_t rcVersion = 1;
constexpr double leastRcCutoff = 1e-8, mostRcCutoff = 1e8;  // Hz
constexpr double leastTau = 1.6e-6, mostTau = 1.59e10;      // ms, of those

// Either of a cutoff in Hz and a time constant in ms from the other.
double Converted(double value) { return 1000.0 / (2.0 * std::numbers::pi * value); }

}  // namespace

float CFilterRCDlg::TauOf(float cutoff) { return static_cast<float>(Converted(cutoff)); }

void CFilterRCDlg::Serialize(CArchive& archive) {
    CFilterDlg::Serialize(archive);
    ExchangeVersion(archive, rcVersion, ClassName());
    Exchange(archive, m_fCutoff);
    Exchange(archive, m_fTau);
    Exchange(archive, m_nType);
    Exchange(archive, m_nPasses);
    ExchangeReport(archive);
}

void CFilterRCDlg::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Filter");
    list.Choice("type", "Type", m_nType, {"High-pass", "Low-pass"})
        .Buttons()
        .Tip("Takes out what is slower than the cutoff; Takes out what is faster than the cutoff");
    list.Number("cutoff", "-3 dB cutoff frequency (Hz)", m_fCutoff)
        .Limits(leastRcCutoff, mostRcCutoff)
        .Step(10)
        .Tip("Frequency at which the filter lets 71 % of the amplitude pass, and half of it where it runs "
             "both "
             "ways")
        .Linked({"tau"})
        .OnChange([this] { m_fTau = TauOf(m_fCutoff); });
    list.Number("tau", "Time constant", m_fTau)
        .Unit("ms")
        .Limits(leastTau, mostTau)
        .Tip("1000 / (2 pi cutoff): the time in which the response to a step falls to 37 %")
        .Linked({"cutoff"})
        .OnChange([this] { m_fCutoff = static_cast<float>(Converted(m_fTau)); });
    list.Integer("passes", "Passes", m_nPasses)
        .Limits(1, 2)
        .Spin()
        .Tip("1: forward. 2: forward and backward, which leaves no phase shift and filters twice as much")
        .Shows([this] { return IsBidirectional() ? "no phase shift" : "forward"; });
    DescribeReport(list);
    DescribeOutput(list);
}

std::string CFilterRCDlg::CheckSettings() {
    if (std::string fault = CFilterDlg::CheckSettings(); !fault.empty()) return fault;
    return IsAboveNyquist(m_fCutoff) ? nyquistText : std::string();
}

void CFilterRCDlg::GetParamText(std::string& text) {
    text += "RC-type filter transform parameters\r\n";
    CFilterDlg::GetParamText(text);
    text += m_nType == static_cast<int32_t>(RcType::highPass) ? "High-pass: " : "Low-pass: ";
    text += fmt::format("time constant = {:f}, cutoff = {:f}\r\n", m_fTau, m_fCutoff);
    text += IsBidirectional() ? "Bidirectional\r\n" : "Unidirectional\r\n";
}

RecursiveSettings CFilterRCDlg::KernelSettings(double sampleInterval) const {
    return RcFilter(static_cast<RcType>(m_nType), m_fTau, sampleInterval, IsBidirectional());
}

bool CFilterRCDlg::IsAboveNyquistAt(double sampleInterval) const {
    return m_fCutoff > static_cast<float>(500.0 / sampleInterval);
}

KernelOutcome CFilterRCDlg::TransformBlock(const TransformRun& run, std::span<const float> input,
                                           std::span<float> output) {
    if (IsAboveNyquistAt(run.Interval())) return KernelOutcome::Failure(nyquistText);
    return FilterRecursive(input, KernelSettings(run.Interval()), output, run.goOn);
}

KernelOutcome CFilterRCDlg::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                           FloatSink& output) {
    if (IsAboveNyquistAt(run.Interval())) return KernelOutcome::Failure(nyquistText);
    return FilterRecursive(*source(), KernelSettings(run.Interval()), output, run.scratch);
}

FilterShape CFilterRCDlg::Shape(double fs) const {
    FilterShape shape;
    const RecursiveSettings settings = KernelSettings(1000.0 / fs);
    shape.coefficients = {{"b", settings.forward}, {"a", settings.feedback}};
    shape.response = [settings, fs](double f) { return RecursiveResponse(settings, f, fs); };
    shape.landmarks = {m_fCutoff};
    // Six time constants, after which a quarter of a per cent is left.
    constexpr double timeConstants = 6.0, most = 1e7;
    shape.reach = static_cast<int64_t>(std::fmin(timeConstants * m_fTau * fs / 1000.0, most)) + 5;
    shape.isCentred = IsBidirectional();
    return shape;
}

}  // namespace kymora
