#pragma once
// The convolution of a run with a row of coefficients, in single precision and with zeros beyond both ends.

#include <span>

#include "kernels/streams.h"

namespace kymora {

// Result i is the sum, from the oldest to the newest sample, of coefficient j times sample i + half - (L - 1)
// + j, where L is the number of coefficients and half = L / 2. There are as many results as samples. `count`
// is their number in the source.
void Convolve(FloatSource& source, int64_t count, std::span<const float> coefficients, FloatSink& sink);
// `output` has the length of `input` and is another array.
void Convolve(std::span<const float> input, std::span<const float> coefficients, std::span<float> output);

}  // namespace kymora
