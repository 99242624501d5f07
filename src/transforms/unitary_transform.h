#pragma once
// "Unitary arithmetic": offset, scale and rectification of each sample, in the order that the user lists.

#include <optional>

#include "kernels/unitary.h"
#include "transforms/transform_dlg.h"

namespace kymora {

inline constexpr const char* orderListText =
    "The order list takes three numbers: 0 nothing, 1 offset, 2 scale, 3 rectify; for example 1 2 3.";

class CUnitaryTransform : public CTransformTraceDlg {
  public:
    CUnitaryTransform() : CTransformTraceDlg("Unitary") {}
    const char* ClassName() const override { return "CUnitaryTransform"; }
    const char* Title() const override { return "Unitary arithmetic"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    std::string ResultLabel(const std::string& label) const override;
    bool ChangesScale() const override;

    std::string m_strOrder = "0 0 0";  // three step codes; these leave the samples as they are
    float m_fScale = 1.0f;
    float m_fOffset = 0.0f;
    int32_t m_nRectifyType = 0;  // RectifyType
    bool m_bRename = false;      // the result's label tells the transform

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    // Nothing where the list is none; its numbers may be no codes.
    std::optional<std::array<int, 3>> Order() const;
    bool HasStep(UnitaryStep step) const;
    // "offset, then scale"
    std::string OrderText() const;
    UnitarySettings KernelSettings() const;
};

}  // namespace kymora
