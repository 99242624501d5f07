#pragma once
// Smoothing and derivatives of a run by the filters of Savitzky and Golay.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

struct SavgolSettings {
    int64_t halfWindow = 1;  // samples
    int polyDegree = 2;
    int derivative = 0;           // 0 .. 3; 0 smooths
    double sampleInterval = 1.0;  // in the unit of time in which derivatives are given
};

inline constexpr const char* degreeAboveHalfWindowText =
    "The polynomial degree must be less than or equal to the half-window samples.";
inline constexpr const char* insufficientDataText =
    "There are insufficient data to perform the transform with these parameters.";
inline constexpr const char* derivativeAboveDegreeText =
    "The requested derivative order cannot be higher than the polynomial degree.";

// The value or derivative, at each sample, of the polynomial that fits the window around it best; towards the
// ends that of the first and the last window. Sums are double. Fails with the texts above, in this order,
// when the degree is above the half window, the run shorter than three half windows, or the derivative above
// the degree. `output` has the length of `input` and is another array. `goOn` is asked now and then; false
// ends it by Cancelled.
KernelOutcome SmoothSavgol(std::span<const float> input, const SavgolSettings& settings,
                           std::span<float> output, const KernelPoll& goOn = {});

// The same on streams, but derivatives are per sample: they are not divided by powers of the interval. Long
// runs were always treated so, and stay comparable. `count` is the number of samples of the run.
KernelOutcome SmoothSavgol(FloatSource& source, int64_t count, const SavgolSettings& settings,
                           FloatSink& sink);

}  // namespace kymora
