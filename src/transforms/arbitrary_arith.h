#pragma once
// "Trace arithmetic": a trace computed from all traces of the recording by an expression. The list of traces
// only says where the result goes.

#include "kernels/trace_arithmetic.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CArbitraryArith : public CTransformTraceDlg {
  public:
    CArbitraryArith() : CTransformTraceDlg("Arithmetic") {}
    const char* ClassName() const override { return "CArbitraryArith"; }
    const char* Title() const override { return "Trace arithmetic"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    // The expression. A trace that is replaced keeps a label that has the expression already; in a batch all
    // keep theirs.
    std::string ResultLabel(const std::string& label) const override;
    bool ChangesScale() const override { return true; }

    std::string m_strExpression = "x1";

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    std::string VariablesText() const;
    KernelOutcome Compute(const TransformRun& run, FloatSink& output);

    std::string m_strFault;  // what the last outcome's message points to
};

}  // namespace kymora
