#pragma once
// Dot products of one row of coefficients with every window of a stretch of samples: the inner loop of
// convolutions. Many results are under way at once, but each is the sum from its window's first sample to its
// last, in that order, so the bits are those of the plain loop.

#include <cstddef>
#include <span>

namespace kymora {

// to[i] = sum over j of coefficients[j] x samples[i + j], in single precision. `samples` holds at least
// to.size() + coefficients.size() - 1 values.
void WindowDots(std::span<const float> coefficients, std::span<const float> samples, std::span<float> to);

// The same in double precision; each sum is multiplied by `scale` and then rounded to single precision.
void WindowDots(std::span<const double> coefficients, std::span<const float> samples, double scale,
                std::span<float> to);

}  // namespace kymora
