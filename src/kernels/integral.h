#pragma once
// The integral of a run: a running sum that may begin anew, or sums of bins.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

enum class IntegralMode { cumulative = 0, binned = 1 };
enum class IntegralReset { never = 0, afterTime = 1, afterValue = 2 };
enum class IntegralScaling { none = 0, milliseconds = 1, seconds = 2 };

struct IntegralSettings {
    IntegralMode mode = IntegralMode::cumulative;
    IntegralReset reset = IntegralReset::never;  // of the cumulative sum
    double resetTime = 100.0;                    // ms
    double resetValue = 1.0;                     // the sum begins anew when it is farther from 0
    double binWidth = 1.0;                       // ms
    IntegralScaling scaling = IntegralScaling::none;
    double sampleInterval = 1.0;  // ms
};

// Samples of a bin: width / interval without its fraction, at least 1.
int64_t BinSamples(double binWidth, double sampleInterval);

// The sum is double; each result is the sum times 1, the interval in ms, or the interval in s. The sample at
// which the sum begins anew is the first of the new sum. Binned, all samples of a bin get the bin's sum, and
// the last bin may be shorter. `output` has the length of `input` and may be the same array for cumulative
// sums.
KernelOutcome Integrate(std::span<const float> input, const IntegralSettings& settings,
                        std::span<float> output);
KernelOutcome Integrate(FloatSource& source, const IntegralSettings& settings, FloatSink& sink);

}  // namespace kymora
