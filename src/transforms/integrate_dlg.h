#pragma once
// "Integral": the running sum of traces, or sums of bins.

#include "kernels/integral.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CIntegrate : public CTransformTraceDlg {
  public:
    CIntegrate() : CTransformTraceDlg("Integral") {}
    const char* ClassName() const override { return "CIntegrate"; }
    const char* Title() const override { return "Integral"; }

    // A bin holds a sample at least: the width is raised to the sample interval.
    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    std::string ResultUnits(const std::string& units) const override;
    bool ChangesScale() const override { return true; }

    int32_t m_nMode = 0;          // IntegralMode
    int32_t m_nResetKind = 0;     // IntegralReset
    double m_dResetTime = 100.0;  // ms
    double m_dResetValue = 1.0;   // of the sum before it is scaled
    double m_dBinWidth = 1.0;     // ms
    int32_t m_nScaling = 0;       // IntegralScaling

  protected:
    void Describe(ParamList& list) override;

  private:
    bool IsBinned() const { return m_nMode == static_cast<int32_t>(IntegralMode::binned); }
    bool Resets(IntegralReset kind) const {
        return !IsBinned() && m_nResetKind == static_cast<int32_t>(kind);
    }
    void RaiseBinWidth();
    IntegralSettings KernelSettings(const TransformRun& run) const;
};

}  // namespace kymora
