#include "transforms/gen_smooth.h"

#include <fmt/format.h>

#include <algorithm>

#include "kernels/run_reader.h"

namespace kymora {

namespace {

constexpr uint32_t smoothVersion = 1;
constexpr double leastCutoff = 1e-8, greatestCutoff = 1e7;  // Hz
constexpr double leastThreshold = 1.0, greatestThreshold = 10.0;
constexpr const char* smoothingNames[] = {"moving average", "moving median", "moving percentile",
                                          "Gaussian",       "robust LOWESS", "Savitzky-Golay"};

}  // namespace

// --- settings ---

void CGenSmooth::Serialize(CArchive& archive) {
    CTransformTraceWindowDlg::Serialize(archive);
    ExchangeVersion(archive, smoothVersion, ClassName());
    Exchange(archive, m_nType);
    Exchange(archive, m_fCutoff);
    Exchange(archive, m_dOutlierThreshold);
    Exchange(archive, m_nPolyDegree);
    Exchange(archive, m_nPercentile);
    Exchange(archive, m_bExplicit);
    if (!archive.IsStoring()) RaiseToLimits();
}

void CGenSmooth::RaiseToLimits() {
    m_nIterations = std::max(m_nIterations, LeastIterations());
    m_nPolyDegree = std::max(m_nPolyDegree, LeastDegree());
}

void CGenSmooth::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Smoother");
    list.Choice("type", "Type", m_nType,
                {"Moving average", "Moving median", "Moving percentile", "Gaussian", "Robust LOWESS",
                 "Savitzky-Golay"})
        .Buttons()
        .Tip("How the value of each sample is made from those around it")
        .Linked({"iterations", "polyDegree"})
        .OnChange([this] { RaiseToLimits(); });
    DescribeWindow(list);
    DescribeFit(list);
    DescribeOutput(list);
}

void CGenSmooth::DescribeWindow(ParamList& list) {
    list.Group("Window");
    DescribeHalfWindow(list, [this] { return UsesHalfWindow(); });
    DescribeIterations(list, LeastIterations())
        .Tip("Number of smoothing iterations: 1 = boxcar, 2 = triangular, 4+ = ~Gaussian")
        .EnabledIf([this] { return UsesIterations(); });
    list.Integer("percentile", "Percentile", m_nPercentile)
        .Unit("%")
        .Limits(0, 100)
        .Step(5)
        .Tip("Share of the samples of the window that lie below the result; 50 is the median")
        .EnabledIf([this] { return Is(SmoothType::percentile); });
    list.Flag("explicit", "Explicit", m_bExplicit)
        .Tip("Sort each window anew and mirror the data at both ends. Slower, but exact near the ends; there "
             "is one iteration")
        .EnabledIf([this] { return Is(SmoothType::percentile); });
}

void CGenSmooth::DescribeFit(ParamList& list) {
    list.Group("Filter");
    list.Number("cutoff", "-3 dB cutoff frequency (Hz)", m_fCutoff)
        .Limits(leastCutoff, greatestCutoff)
        .Step(10)
        .Tip("Frequency at which the filter lets 71 % of the amplitude pass")
        .EnabledIf([this] { return Is(SmoothType::gauss); });
    list.Integer("polyDegree", "Polynomial degree", m_nPolyDegree)
        .Limits(LeastDegree(), 6)
        .Tip("Degree of the polynomial that is fitted to the samples of the window")
        .EnabledIf([this] { return UsesDegree(); });
    list.Number("outlierThreshold", "Outlier threshold", m_dOutlierThreshold)
        .Limits(leastThreshold, greatestThreshold)
        .Tip("Multiple of the median absolute residual from which on a sample does not count in the fit")
        .EnabledIf([this] { return Is(SmoothType::lowess); });
}

std::string CGenSmooth::CheckSettings() {
    if (std::string fault = CTransformTraceWindowDlg::CheckSettings(); !fault.empty()) return fault;
    if (UsesHalfWindow())
        if (std::string fault = EmptyWindowFault(); !fault.empty()) return fault;
    const bool isTooHigh =
        Is(SmoothType::savgol) && Document() && HalfWindowSamples(Document()->sampleInterval) < m_nPolyDegree;
    return isTooHigh ? degreeAboveHalfWindowText : std::string();
}

void CGenSmooth::GetParamText(std::string& text) {
    text += "Smoothing transform parameters:\r\n";
    CTransformTraceWindowDlg::GetParamText(text);
    text += fmt::format("Type: {}\r\n", smoothingNames[std::clamp(m_nType, 0, 5)]);
    if (UsesHalfWindow()) text += fmt::format("Half window time {}\r\n", HalfWindowText());
    if (Is(SmoothType::percentile)) text += fmt::format("Percentile {}\r\n", m_nPercentile);
    if (UsesIterations()) text += fmt::format("Iterations {}\r\n", m_nIterations);
    if (Is(SmoothType::gauss)) text += fmt::format("-3 dB cutoff = {:f}\r\n", m_fCutoff);
    if (UsesDegree()) text += fmt::format("Polynomial degree: {}\r\n", m_nPolyDegree);
    if (Is(SmoothType::lowess)) text += fmt::format("Outlier threshold: {:f}\r\n", m_dOutlierThreshold);
}

// --- kernels ---

AverageSettings CGenSmooth::ForAverage(const TransformRun& run) const {
    return {HalfWindowSamples(run.Interval()), m_nIterations};
}

OrderSettings CGenSmooth::ForOrder(const TransformRun& run) const {
    const OrderMode mode = Is(SmoothType::median) ? OrderMode::median
                           : m_bExplicit          ? OrderMode::explicitPercentile
                                                  : OrderMode::percentile;
    return {mode, HalfWindowSamples(run.Interval()), m_nPercentile, m_nIterations};
}

GaussSettings CGenSmooth::ForGauss(const TransformRun& run) const { return {m_fCutoff, run.Interval()}; }

LowessSettings CGenSmooth::ForLowess(const TransformRun& run) const {
    return {HalfWindowSamples(run.Interval()), {m_nPolyDegree, m_nIterations, m_dOutlierThreshold}};
}

SavgolSettings CGenSmooth::ForSavgol(const TransformRun& run) const {
    return {HalfWindowSamples(run.Interval()), m_nPolyDegree, 0, run.Interval()};
}

KernelOutcome CGenSmooth::TransformBlock(const TransformRun& run, std::span<const float> input,
                                         std::span<float> output) {
    switch (static_cast<SmoothType>(m_nType)) {
    case SmoothType::average:
        return SmoothAverage(input, ForAverage(run), output);
    case SmoothType::median:
    case SmoothType::percentile:
        return SmoothOrder(input, ForOrder(run), output, run.goOn);
    case SmoothType::gauss: {
        // The same results as in memory; a long filter can be cancelled.
        PolledSource source(input, run.goOn);
        SpanSink sink(output);
        return SmoothGauss(source, run.count, ForGauss(run), sink);
    }
    case SmoothType::lowess:
        return SmoothLOWESS(input, ForLowess(run), output, run.host);
    case SmoothType::savgol:
        return SmoothSavgol(input, ForSavgol(run), output, run.goOn);
    }
    return KernelOutcome::Failure(unrecognizedTransformText);
}

KernelOutcome CGenSmooth::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                         FloatSink& output) {
    const auto from = source();
    switch (static_cast<SmoothType>(m_nType)) {
    case SmoothType::average:
        return SmoothAverage(*from, run.count, ForAverage(run), output, run.scratch);
    case SmoothType::median:
    case SmoothType::percentile:
        return SmoothOrder(*from, run.count, ForOrder(run), output, run.scratch);
    case SmoothType::gauss:
        return SmoothGauss(*from, run.count, ForGauss(run), output);
    case SmoothType::lowess:
        return SmoothLOWESS(*from, run.count, ForLowess(run), output, run.host);
    case SmoothType::savgol:
        return SmoothSavgol(*from, run.count, ForSavgol(run), output);
    }
    return KernelOutcome::Failure(unrecognizedTransformText);
}

}  // namespace kymora
