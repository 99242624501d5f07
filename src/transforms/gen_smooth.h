#pragma once
// "Smooth": the six smoothers behind one set of parameters.

#include "kernels/smooth_average.h"
#include "kernels/smooth_gauss.h"
#include "kernels/smooth_lowess.h"
#include "kernels/smooth_order.h"
#include "kernels/smooth_savgol.h"
#include "transforms/transform_dlg.h"

namespace kymora {

enum class SmoothType { average = 0, median = 1, percentile = 2, gauss = 3, lowess = 4, savgol = 5 };

class CGenSmooth : public CTransformTraceWindowDlg {
  public:
    CGenSmooth() : CTransformTraceWindowDlg("Smooth") {}
    const char* ClassName() const override { return "CGenSmooth"; }
    const char* Title() const override { return "Smooth"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    bool HasOwnProgress() const override { return Is(SmoothType::lowess); }

    int32_t m_nType = 0;               // SmoothType
    float m_fCutoff = 100.0f;          // Hz; Gaussian
    double m_dOutlierThreshold = 6.0;  // of the median absolute residual; LOWESS
    int32_t m_nPolyDegree = 2;         // LOWESS and Savitzky-Golay
    int32_t m_nPercentile = 50;        // moving percentile
    bool m_bExplicit = false;          // the percentile by full selection, not by heap

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    bool Is(SmoothType type) const { return m_nType == static_cast<int32_t>(type); }
    bool UsesHalfWindow() const { return !Is(SmoothType::gauss); }
    bool UsesIterations() const { return UsesHalfWindow() && !Is(SmoothType::savgol); }
    bool UsesDegree() const { return Is(SmoothType::lowess) || Is(SmoothType::savgol); }
    // A type that has no use for them leaves them as they are.
    int LeastIterations() const { return m_nType <= static_cast<int32_t>(SmoothType::percentile) ? 1 : 0; }
    int LeastDegree() const { return Is(SmoothType::savgol) ? 1 : 0; }
    void RaiseToLimits();

    void DescribeWindow(ParamList& list);
    void DescribeFit(ParamList& list);

    AverageSettings ForAverage(const TransformRun& run) const;
    OrderSettings ForOrder(const TransformRun& run) const;
    GaussSettings ForGauss(const TransformRun& run) const;
    LowessSettings ForLowess(const TransformRun& run) const;
    SavgolSettings ForSavgol(const TransformRun& run) const;
};

}  // namespace kymora
