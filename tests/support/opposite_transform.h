#pragma once
// A transform whose result is easily told: the opposite of each sample. It keeps the runs that it was given.

#include <algorithm>
#include <vector>

#include "transforms/transform_dlg.h"

namespace kymora::test {

struct RunSeen {
    int trace = 0;
    int64_t start = 0, count = 0;
    bool inMemory = false;
    std::vector<uint32_t> validRuns;
    bool operator==(const RunSeen&) const = default;
};

class COpposite : public CTransformTraceDlg {
  public:
    COpposite() : CTransformTraceDlg("Opposite") {}
    const char* ClassName() const override { return "COpposite"; }
    const char* Title() const override { return "Opposite"; }
    void GetParamText(std::string& text) override {
        text += "Opposite transform parameters:\r\n";
        CTransformTraceDlg::GetParamText(text);
    }
    bool SplitsRuns() const override { return splits; }

    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override {
        seen.push_back({run.trace, run.start, run.count, true, run.validRuns});
        std::ranges::transform(input, output.begin(), [](float value) { return -value; });
        return Outcome();
    }
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override {
        seen.push_back({run.trace, run.start, run.count, false, run.validRuns});
        ForEachBlock(*source(), [&](std::span<const float> samples) {
            std::vector<float> opposite(samples.begin(), samples.end());
            for (float& value : opposite) value = -value;
            output.Write(opposite);
        });
        return Outcome();
    }

    std::vector<RunSeen> seen;
    bool splits = true;
    size_t failsAtRun = 0;     // from 1; 0: never
    const char* message = "";  // of the failure

  protected:
    void Describe(ParamList& list) override {
        DescribeTraces(list);
        DescribeOutput(list);
    }

  private:
    KernelOutcome Outcome() const {
        return seen.size() == failsAtRun ? KernelOutcome::Failure(message) : KernelOutcome();
    }
};

}  // namespace kymora::test
