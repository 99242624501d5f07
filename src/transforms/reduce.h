#pragma once
// "Reduce frequency": one sample, or two, in place of each group of neighbours.

#include "kernels/sample_reduction.h"
#include "transforms/rewrite_dlg.h"

namespace kymora {

class CReduce : public CRewriteDlg {
  public:
    CReduce() : CRewriteDlg("Reduce") {}
    const char* ClassName() const override { return "CReduce"; }
    const char* Title() const override { return "Reduce frequency"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nFrequencyDivisorFactor = 2;
    int32_t m_nMode = 0;  // ReduceMode

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<RecordingPlan> MakePlan(CDataDoc& doc) override;
    void TellMore(CDataDoc& doc) override;
    PreviewReach Reach() const override { return {0, KernelSettings().Group()}; }

  private:
    ReduceSettings KernelSettings() const;
    // Or had none before.
    bool LeavesSamples() const;
    std::string Preview() const;
};

}  // namespace kymora
