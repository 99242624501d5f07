#include "transforms/integrate_dlg.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

namespace {

constexpr uint32_t integrateVersion = 1;
constexpr double greatestTime = 1e10;  // ms
constexpr const char* scalingNames[] = {"none (summed val)", "amp.ms (summed val * sample interval in ms)",
                                        "amp.s (summed val * sample interval in s)"};

}  // namespace

void CIntegrate::CheckChangeDoc(CDataDoc* doc) {
    CTransformTraceDlg::CheckChangeDoc(doc);
    RaiseBinWidth();
}

void CIntegrate::RaiseBinWidth() {
    if (Document()) m_dBinWidth = std::max(m_dBinWidth, Document()->sampleInterval);
}

void CIntegrate::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, integrateVersion, ClassName());
    Exchange(archive, m_nMode);
    Exchange(archive, m_nResetKind);
    Exchange(archive, m_dResetTime);
    Exchange(archive, m_dResetValue);
    Exchange(archive, m_dBinWidth);
    Exchange(archive, m_nScaling);
    if (!archive.IsStoring()) RaiseBinWidth();
}

void CIntegrate::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Integral");
    list.Choice("mode", "Mode", m_nMode, {"Cumulative", "Binned"})
        .Buttons()
        .Tip("The sum of all samples so far; The sum of each bin, a staircase");
    list.Choice("resetKind", "Reset", m_nResetKind, {"never reset", "reset after time", "reset after value"})
        .Tip("When the sum begins anew")
        .EnabledIf([this] { return !IsBinned(); });
    list.Number("resetTime", "Reset time", m_dResetTime)
        .Unit("ms")
        .Limits(0, greatestTime)
        .Step(10)
        .Tip("The sum begins anew when more time has passed")
        .EnabledIf([this] { return Resets(IntegralReset::afterTime); });
    list.Number("resetValue", "Reset value", m_dResetValue)
        .Tip("The sum, before it is scaled, begins anew when it is farther from 0")
        .EnabledIf([this] { return Resets(IntegralReset::afterValue); });
    list.Number("binWidth", "Bin width", m_dBinWidth)
        .Unit("ms")
        .Limits(0, greatestTime)
        .Tip("Duration of a bin; it is raised to the sample interval where it is shorter")
        .EnabledIf([this] { return IsBinned(); })
        .OnChange([this] { RaiseBinWidth(); });
    list.Choice("scaling", "Scaling", m_nScaling, {std::begin(scalingNames), std::end(scalingNames)})
        .Tip("What the sums are multiplied by");
    DescribeOutput(list);
}

void CIntegrate::GetParamText(std::string& text) {
    text += "Integral transform parameters:\r\n";
    CTransformTraceDlg::GetParamText(text);
    if (IsBinned())
        text += fmt::format("Mode: binned\r\nBin width {:f}\r\n", m_dBinWidth);
    else if (Resets(IntegralReset::afterTime))
        text += fmt::format("Mode: cumulative\r\nreset after {:f} ms\r\n", m_dResetTime);
    else if (Resets(IntegralReset::afterValue))
        text += fmt::format("Mode: cumulative\r\nreset after {:f} value\r\n", m_dResetValue);
    else
        text += "Mode: cumulative\r\nnever reset\r\n";
    text += fmt::format("Scaling: {}\r\n", scalingNames[std::clamp(m_nScaling, 0, 2)]);
}

std::string CIntegrate::ResultUnits(const std::string& units) const {
    if (units.empty() || m_nScaling == static_cast<int32_t>(IntegralScaling::none)) return units;
    return units + (m_nScaling == static_cast<int32_t>(IntegralScaling::seconds) ? ".s" : ".ms");
}

IntegralSettings CIntegrate::KernelSettings(const TransformRun& run) const {
    return {static_cast<IntegralMode>(m_nMode),
            static_cast<IntegralReset>(m_nResetKind),
            m_dResetTime,
            m_dResetValue,
            m_dBinWidth,
            static_cast<IntegralScaling>(m_nScaling),
            run.Interval()};
}

KernelOutcome CIntegrate::TransformBlock(const TransformRun& run, std::span<const float> input,
                                         std::span<float> output) {
    return Integrate(input, KernelSettings(run), output);
}

KernelOutcome CIntegrate::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                         FloatSink& output) {
    return Integrate(*source(), KernelSettings(run), output);
}

}  // namespace kymora
