#pragma once
// "Derivative": the first to third derivative of traces, by differences or by Savitzky-Golay.

#include "kernels/derivative.h"
#include "transforms/transform_dlg.h"

namespace kymora {

// For the log.
inline constexpr const char* derivativePerSampleText =
    "The run is longer than 5000000 samples: its Savitzky-Golay derivative is given per sample, not per "
    "ms.\n";

class CDerivs : public CTransformTraceWindowDlg {
  public:
    CDerivs() : CTransformTraceWindowDlg("Derivative") {}
    const char* ClassName() const override { return "CDerivs"; }
    const char* Title() const override { return "Derivative"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    std::string ResultUnits(const std::string& units) const override;
    bool ChangesScale() const override { return true; }

    int32_t m_nType = 0;            // DerivativeType
    bool m_bSavitzkyGolay = false;  // for the types of order 4
    int32_t m_nPolyDegree = 2;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    DerivativeSettings KernelSettings(double interval) const;
    bool IsFitted() const { return UsesSavitzkyGolay(KernelSettings(m_dSampleInterval)); }
};

}  // namespace kymora
