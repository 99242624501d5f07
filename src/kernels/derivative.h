#pragma once
// Derivatives of a run by differences of neighbouring samples.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/smooth_savgol.h"
#include "kernels/streams.h"

namespace kymora {

enum class DerivativeType {
    adjacentPre = 0,   // x[i] - x[i - 1]
    adjacentPost = 1,  // x[i + 1] - x[i]
    firstOrder4 = 2,   // central differences of order 4, of 5, 5 and 7 points
    secondOrder4 = 3,
    thirdOrder4 = 4
};

struct DerivativeSettings {
    DerivativeType type = DerivativeType::adjacentPre;
    double sampleInterval = 1.0;  // the unit of time in which the result is given
    // For the types of order 4: the derivative of a polynomial fitted to the samples around each sample.
    bool isSavitzkyGolay = false;
    int halfWindow = 1;  // samples
    int polyDegree = 2;
};

// Whether the settings stand for Savitzky-Golay: only the types of order 4 have the choice.
bool UsesSavitzkyGolay(const DerivativeSettings& settings);
// The kernel that then does the work.
SavgolSettings SavgolOf(const DerivativeSettings& settings);

// Samples that the differences of a type need: 2, 5 or 7.
int64_t StencilSamples(DerivativeType type);

// Differences in double. At the ends, where neighbours are missing, the nearest result stands. A run with
// fewer samples than the stencil has no derivative: it is 0 there, and the outcome's note says so.
// Savitzky-Golay is the kernel of kernels/smooth_savgol.h, with its checks and messages; on streams its
// results are per sample. `output` has the length of `input` and is another array. `goOn` is for
// Savitzky-Golay.
KernelOutcome Derivative(std::span<const float> input, const DerivativeSettings& settings,
                         std::span<float> output, const KernelPoll& goOn = {});
// `count` is the number of samples of the run.
KernelOutcome Derivative(FloatSource& source, int64_t count, const DerivativeSettings& settings,
                         FloatSink& sink);

}  // namespace kymora
