#pragma once
// Takes a level away from the samples of a run, rectifies and smooths them, in this order; and the mean that
// is the level.

#include <optional>
#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"
#include "kernels/unitary.h"
#include "statistics/statistics.h"

namespace kymora {

struct ConditioningSettings {
    float level = 0.0f;                  // subtracted
    std::optional<RectifyType> rectify;  // not at all where there is none
    bool smooths = false;                // by moving averages
    int64_t halfWindow = 1;              // of these, samples
    int iterations = 1;
};

// For the log.
inline constexpr const char* fullWaveText =
    "A long run that is smoothed is rectified full wave: negative values become positive and not 0.\n";

// Single precision but for the running sums of the averages, which are double; at both ends the window
// shrinks to the samples that exist. A run shorter than the window becomes its mean, and the outcome's note
// says so. `goOn` is asked now and then; false ends it by Cancelled.
KernelOutcome Condition(std::span<const float> input, const ConditioningSettings& settings,
                        std::span<float> output, const KernelPoll& goOn = {});
// The same bit by bit, but where it smooths the rectifier is always full wave: long runs were always treated
// so, and stay comparable. The note says so where half wave is asked for. `count` is the number of samples.
KernelOutcome Condition(FloatSource& source, int64_t count, const ConditioningSettings& settings,
                        FloatSink& sink, ScratchRoom& room);

// The mean of samples, as a running sum in single precision gives it, and what it should be. Samples that are
// no finite numbers have no part in it.
class LevelMean {
  public:
    void Add(std::span<const float> samples);
    int64_t Count() const { return exact_.Result().count; }
    float Mean() const { return sum_ / static_cast<float>(Count()); }
    double Exact() const { return exact_.Result().mean; }
    // The sum has lost so much that it matters: more than a hundredth of the standard deviation.
    bool IsOff() const;

  private:
    float sum_ = 0.0f;
    MeanSdSum exact_;
};

}  // namespace kymora
