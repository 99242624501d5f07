#pragma once
// The k-Teager energy operator: high where a trace is both large and fast.

#include <cstdint>
#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

// x[i]^2 - x[i - k] x[i + k], in double, for each sample i. Where one of the two neighbours lies outside the
// run, the other stands for it too; where both do, the energy is 0. `output` has the length of `input` and is
// another array.
KernelOutcome TeagerEnergy(std::span<const float> input, int64_t k, std::span<float> output);
// Holds some 4k samples.
KernelOutcome TeagerEnergy(FloatSource& source, int64_t k, FloatSink& sink);

}  // namespace kymora
