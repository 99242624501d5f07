#pragma once
// A transform for tests of what surrounds transforms: it multiplies by a number and refuses to do so by 0.

#include "catalogue/operations.h"
#include "transforms/transform_dlg.h"

namespace kymora::test {

class CTestTransform : public CTransformTraceDlg {
  public:
    CTestTransform() : CTransformTraceDlg("Scaled") {}
    const char* ClassName() const override { return "CTestTransform"; }
    const char* Title() const override { return "Test Transform"; }
    std::string ResultUnits(const std::string& units) const override { return units + "2"; }

    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override {
        ++blocks;
        lastRun = {run.trace, run.start, run.count};
        if (factor == 0.0) return {false, "Nothing is left."};
        for (size_t i = 0; i < input.size(); ++i) output[i] = input[i] * static_cast<float>(factor);
        return {};
    }
    KernelOutcome TransformBlock(const TransformRun&, const SourceMaker&, FloatSink&) override { return {}; }
    void Serialize(CArchive& archive) override {
        CTransformTraceDlg::Serialize(archive);
        Exchange(archive, factor);
    }

    struct Run {
        int trace = -1;
        int64_t start = -1, count = -1;
        bool operator==(const Run&) const = default;
    };
    double factor = 10.0;
    int blocks = 0;
    Run lastRun;

  protected:
    void Describe(ParamList& list) override {
        DescribeTraces(list);
        list.Group("Scale");
        list.Number("factor", "Factor", factor).Limits(-1000.0, 1000.0);
        DescribeOutput(list);
    }
};

inline const Operation testTransform{
    "CTestTransform", "T&ransform", "&Test...", "Multiplies by a number",
    [] { return std::unique_ptr<CBatchBaseDlg>(std::make_unique<CTestTransform>()); }};

}  // namespace kymora::test
