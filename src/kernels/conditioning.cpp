#include "kernels/conditioning.h"

#include <algorithm>
#include <cmath>

#include "kernels/memory_scratch.h"
#include "kernels/run_reader.h"
#include "numerics/moving_average.h"
#include "numerics/window_mean.h"

namespace kymora {

namespace {

constexpr double worstMean = 0.01;       // of the s.d.
constexpr double roundingOfMean = 1e-6;  // of the mean, which a constant run may be off by

// The samples of another source, less the level and rectified.
class ConditionedSource : public FloatSource {
  public:
    ConditionedSource(FloatSource& from, const ConditioningSettings& settings)
        : from_(from), level_(settings.level), rectify_(settings.rectify) {}

    size_t Read(std::span<float> to) override {
        const size_t count = from_.Read(to);
        const auto samples = to.first(count);
        for (float& value : samples) value -= level_;
        if (rectify_ == RectifyType::fullWave)
            for (float& value : samples) value = std::fabs(value);
        if (rectify_ == RectifyType::halfWave)
            for (float& value : samples) value = value < 0.0f ? 0.0f : value;
        return count;
    }

  private:
    FloatSource& from_;
    float level_;
    std::optional<RectifyType> rectify_;
};

void MeansPass(FloatSource& source, int64_t count, size_t half, FloatSink& sink) {
    RunReader reader(source, count);
    ResultBuffer results(sink);
    WindowMean means(half);
    const auto write = [&](double mean, float) { results.Add(static_cast<float>(mean)); };
    while (reader.Left() > 0) means.Take(reader.NextBlock(), write);
    means.Finish(write);
    results.Flush();
}

KernelOutcome RunConditioning(FloatSource& source, int64_t count, const ConditioningSettings& settings,
                              FloatSink& sink, ScratchRoom& room) {
    if (count == 0) return {};
    ConditionedSource conditioned(source, settings);
    const int64_t half = std::max<int64_t>(settings.halfWindow, 0);
    KernelOutcome outcome;
    if (!settings.smooths || half == 0) {
        CopyRun(conditioned, count, sink);
    } else if (half > (count - 1) / 2) {
        outcome.note = notEnoughSamplesText;
        FillWithMean(conditioned, count, sink);
    } else {
        RepeatPass(conditioned, sink, room, settings.iterations, [&](FloatSource& from, FloatSink& to) {
            MeansPass(from, count, static_cast<size_t>(half), to);
        });
    }
    return outcome;
}

}  // namespace

KernelOutcome Condition(std::span<const float> input, const ConditioningSettings& settings,
                        std::span<float> output, const KernelPoll& goOn) {
    PolledSource source(input, goOn);
    SpanSink sink(output);
    MemoryScratch room(input.size());
    return RunConditioning(source, static_cast<int64_t>(input.size()), settings, sink, room);
}

KernelOutcome Condition(FloatSource& source, int64_t count, const ConditioningSettings& settings,
                        FloatSink& sink, ScratchRoom& room) {
    ConditioningSettings here = settings;
    const bool isChanged = settings.smooths && settings.rectify == RectifyType::halfWave;
    if (isChanged) here.rectify = RectifyType::fullWave;
    KernelOutcome outcome = RunConditioning(source, count, here, sink, room);
    if (isChanged) outcome.note = fullWaveText;
    return outcome;
}

void LevelMean::Add(std::span<const float> samples) {
    float sum = sum_;
    for (const float sample : samples)
        if (std::isfinite(sample)) sum += sample;
    sum_ = sum;
    exact_.Add(samples);
}

bool LevelMean::IsOff() const {
    const MeanSd exact = exact_.Result();
    const double error = std::fabs(static_cast<double>(Mean()) - exact.mean);
    return !(error <= worstMean * exact.sd) && !(error <= roundingOfMean * std::fabs(exact.mean));
}

}  // namespace kymora
