#pragma once
// "Remove local DC": takes slow changes of the baseline away.

#include "transforms/transform_dlg.h"

namespace kymora {

class CRemoveLocalDC : public CTransformTraceWindowDlg {
  public:
    CRemoveLocalDC() : CTransformTraceWindowDlg("Remove local DC") {}
    const char* ClassName() const override { return "CRemoveLocalDC"; }
    const char* Title() const override { return "Remove local DC"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    bool ChangesScale() const override { return true; }

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
};

}  // namespace kymora
