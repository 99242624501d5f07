#pragma once
// "Normalize": traces brought to a common range, or to the change relative to a resting value F0.

#include <limits>

#include "kernels/normalize.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CNormalize : public CTransformTraceWindowDlg {
  public:
    CNormalize() : CTransformTraceWindowDlg("Normalize") {}
    const char* ClassName() const override { return "CNormalize"; }
    const char* Title() const override { return "Normalize"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    bool SplitsRuns() const override { return m_bPerSection; }
    bool HasOwnProgress() const override { return Uses(F0Method::lowestAverage); }
    std::string ResultUnits(const std::string&) const override { return IsDeltaF() ? "dF/F0" : ""; }
    bool ChangesScale() const override { return true; }

    int32_t m_nNormType = 0;                          // NormType
    bool m_bPerSection = false;                       // each episode or stretch between gaps by itself
    int32_t m_nF0Method = 0;                          // F0Method
    float m_fF0Start = 0.0f, m_fF0Duration = 100.0f;  // ms
    float m_fF0Value = 1.0f;
    float m_fBackground = 0.0f;
    float m_fF0Offset = 0.0f;
    int32_t m_nPercentile = 50;
    // Of the last run; not-a-number while there was none. No settings keep it.
    float m_fF0Used = std::numeric_limits<float>::quiet_NaN();

  protected:
    void Describe(ParamList& list) override;

  private:
    bool IsDeltaF() const { return m_nNormType == static_cast<int32_t>(NormType::deltaF); }
    bool Uses(F0Method method) const { return IsDeltaF() && m_nF0Method == static_cast<int32_t>(method); }
    bool UsesHalfWindow() const { return Uses(F0Method::percentile) || Uses(F0Method::lowestAverage); }
    // An explicit F0 is taken as it is.
    bool UsesCorrections() const { return IsDeltaF() && !Uses(F0Method::explicitValue); }
    void DescribeF0(ParamList& list);
    NormalizeSettings KernelSettings(const TransformRun& run) const;
    KernelOutcome Keep(const NormalizeOutcome& outcome);
};

}  // namespace kymora
