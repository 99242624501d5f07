#pragma once
// "Local energy": the k-Teager energy of traces.

#include "kernels/teager.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CLocalEnergy : public CTransformTraceDlg {
  public:
    CLocalEnergy() : CTransformTraceDlg("Local energy") {}
    const char* ClassName() const override { return "CLocalEnergy"; }
    const char* OlderClassName() const override { return "CTeagerEnergyOperator"; }
    const char* Title() const override { return "Local energy"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    std::string ResultUnits(const std::string& units) const override {
        return units.empty() ? units : units + "^2";
    }
    bool ChangesScale() const override { return true; }

    int32_t m_nK = 1;  // samples to each neighbour

  protected:
    void Describe(ParamList& list) override;
};

}  // namespace kymora
