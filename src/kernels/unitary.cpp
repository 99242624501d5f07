#include "kernels/unitary.h"

#include <algorithm>

#include "kernels/passes.h"

namespace kymora {

namespace {

bool AreStepsKnown(const std::array<int, 3>& order) {
    return std::all_of(order.begin(), order.end(),
                       [](int step) { return step >= stepNone && step <= stepRectify; });
}

void ApplyStep(int step, const UnitarySettings& settings, std::span<float> values) {
    switch (step) {
    case stepOffset:
        for (float& value : values) value += settings.offset;
        return;
    case stepScale:
        for (float& value : values) value *= settings.scale;
        return;
    case stepRectify:
        if (settings.rectify == RectifyType::fullWave)
            for (float& value : values) value = value < 0.0f ? -value : value;
        else
            for (float& value : values) value = value < 0.0f ? 0.0f : value;
        return;
    default:
        return;
    }
}

class UnitaryPass {
  public:
    explicit UnitaryPass(const UnitarySettings& settings) : settings_(settings) {}

    void Take(std::span<const float> samples, ResultBuffer& results) const {
        const std::span<float> values = results.Room(samples.size());
        for (size_t i = 0; i < samples.size(); ++i) values[i] = samples[i];
        for (const int step : settings_.order) ApplyStep(step, settings_, values);
    }
    void Finish(ResultBuffer&) const {}

  private:
    const UnitarySettings& settings_;
};

}  // namespace

bool HasDuplicateSteps(const std::array<int, 3>& order) {
    for (size_t i = 0; i < order.size(); ++i)
        for (size_t k = 0; k < i; ++k)
            if (order[i] != stepNone && order[i] == order[k]) return true;
    return false;
}

KernelOutcome Unitary(std::span<const float> input, const UnitarySettings& settings,
                      std::span<float> output) {
    if (!AreStepsKnown(settings.order)) return KernelOutcome::Failure(unrecognizedTransformText);
    RunPass(input, output, UnitaryPass(settings));
    return {};
}

KernelOutcome Unitary(FloatSource& source, const UnitarySettings& settings, FloatSink& sink) {
    if (!AreStepsKnown(settings.order)) return KernelOutcome::Failure(unrecognizedTransformText);
    RunPass(source, sink, UnitaryPass(settings));
    return {};
}

}  // namespace kymora
