#pragma once
// The moving average of a run: windows of 2 x halfWindow + 1 samples, with a running sum in single precision.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

struct AverageSettings {
    int64_t halfWindow = 1;  // samples
    int iterations = 1;      // 1: boxcar, 2: triangular, 4 and more: nearly Gaussian
};

// In memory the window shrinks at both ends to the samples that exist. A run shorter than the window becomes
// its mean, and the outcome's note says so. A half window of 0 changes nothing. `output` has the length of
// `input` and is another array.
KernelOutcome SmoothAverage(std::span<const float> input, const AverageSettings& settings,
                            std::span<float> output);

// On streams each iteration writes the first halfWindow results with smaller divisors: 2, 3, .. for sums of
// halfWindow + 1, halfWindow + 2, .. samples. Long runs were always smoothed so, and stay comparable. All
// other results of one iteration are those of the form in memory. `count` is the number of samples of the
// run.
KernelOutcome SmoothAverage(FloatSource& source, int64_t count, const AverageSettings& settings,
                            FloatSink& sink, ScratchRoom& room);

}  // namespace kymora
