#include "transforms/derivs.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace kymora {

namespace {

constexpr uint32_t derivsVersion = 1;
constexpr int greatestDegree = 6;
constexpr const char* derivativeNames[] = {"dV/dT Adj diff pre", "dV/dT Adj diff post",
                                           "dV/dT Finite diff O4", "d2V/dT2 Finite diff O4",
                                           "d3V/dT3 Finite diff O4"};
constexpr const char* fittedNames[] = {"dV/dT", "dV/dT", "dV/dT", "d2V/dT2", "d3V/dT3"};
constexpr const char* perTime[] = {"/ms", "/ms", "/ms", "/ms^2", "/ms^3"};

}  // namespace

void CDerivs::Serialize(CArchive& archive) {
    CTransformTraceWindowDlg::Serialize(archive);
    ExchangeVersion(archive, derivsVersion, ClassName());
    Exchange(archive, m_nType);
    Exchange(archive, m_bSavitzkyGolay);
    Exchange(archive, m_nPolyDegree);
}

void CDerivs::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Derivative");
    list.Choice("type", "Type", m_nType, {std::begin(derivativeNames), std::end(derivativeNames)})
        .Buttons()
        .Tip("Differences of adjacent samples, with the first or the last one repeated, or central "
             "differences of order 4");
    list.Flag("savitzkyGolay", "Savitzky-Golay", m_bSavitzkyGolay)
        .Tip("Take the derivative of a polynomial that is fitted to the samples of a window, instead of the "
             "central differences")
        .EnabledIf([this] { return m_nType >= static_cast<int32_t>(DerivativeType::firstOrder4); });
    DescribeHalfWindow(list, [this] { return IsFitted(); });
    list.Integer("polynomialDegree", "Polynomial degree", m_nPolyDegree)
        .Alias("polyDegree")
        .Limits(1, greatestDegree)
        .Tip("Degree of the polynomial; at least the order of the derivative, at most the half window")
        .EnabledIf([this] { return IsFitted(); });
    DescribeOutput(list);
}

std::string CDerivs::CheckSettings() {
    if (std::string fault = CTransformTraceWindowDlg::CheckSettings(); !fault.empty()) return fault;
    if (!IsFitted() || !Document()) return {};
    const SavgolSettings settings = SavgolOf(KernelSettings(Document()->sampleInterval));
    if (settings.halfWindow < settings.polyDegree) return degreeAboveHalfWindowText;
    return settings.polyDegree < settings.derivative ? derivativeAboveDegreeText : std::string();
}

void CDerivs::GetParamText(std::string& text) {
    text += "Derivative transform parameters:\r\n";
    CTransformTraceWindowDlg::GetParamText(text);
    const auto type = static_cast<size_t>(std::clamp(m_nType, 0, 4));
    if (!IsFitted()) {
        text += fmt::format("Type: {}\r\n", derivativeNames[type]);
        return;
    }
    text += fmt::format("Type: {} Savitzky-Golay\r\nHalf window time {}\r\nPolynomial degree: {}\r\n",
                        fittedNames[type], HalfWindowText(), m_nPolyDegree);
}

std::string CDerivs::ResultUnits(const std::string& units) const {
    return units.empty() ? units : units + perTime[std::clamp(m_nType, 0, 4)];
}

DerivativeSettings CDerivs::KernelSettings(double interval) const {
    constexpr int64_t longest = std::numeric_limits<int>::max();
    const auto half = static_cast<int>(std::clamp<int64_t>(HalfWindowSamples(interval), 0, longest));
    return {static_cast<DerivativeType>(m_nType), interval, m_bSavitzkyGolay, half, m_nPolyDegree};
}

KernelOutcome CDerivs::TransformBlock(const TransformRun& run, std::span<const float> input,
                                      std::span<float> output) {
    return Derivative(input, KernelSettings(run.Interval()), output, run.goOn);
}

KernelOutcome CDerivs::TransformBlock(const TransformRun& run, const SourceMaker& source, FloatSink& output) {
    const DerivativeSettings settings = KernelSettings(run.Interval());
    KernelOutcome outcome = Derivative(*source(), run.count, settings, output);
    if (outcome && UsesSavitzkyGolay(settings)) outcome.note = derivativePerSampleText;
    return outcome;
}

}  // namespace kymora
