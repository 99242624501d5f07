#pragma once
// "RC-type filter": the digital form of a resistor and a capacitor.

#include "kernels/recursive.h"
#include "transforms/filter_dlg.h"

namespace kymora {

class CFilterRCDlg : public CFilterDlg {
  public:
    CFilterRCDlg() : CFilterDlg("RC filter") {}
    const char* ClassName() const override { return "CFilterRCDlg"; }
    const char* Title() const override { return "RC-type filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;

    // The cutoff and the time constant follow each other; the time constant is what counts.
    float m_fCutoff = 50.0f;      // Hz, -3 dB
    float m_fTau = TauOf(50.0f);  // ms
    int32_t m_nType = 0;          // RcType
    int32_t m_nPasses = 1;        // 2: forward and backward

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    FilterShape Shape(double fs) const override;
    std::vector<GraphLine> Edges() const override { return {Edge("cutoff", m_fCutoff)}; }

  private:
    static float TauOf(float cutoff);
    RecursiveSettings KernelSettings(double sampleInterval) const;
    bool IsAboveNyquistAt(double sampleInterval) const;
    bool IsBidirectional() const { return m_nPasses == 2; }
};

}  // namespace kymora
