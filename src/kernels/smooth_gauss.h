#pragma once
// The digital Gaussian filter of single-channel records (Colquhoun and Sigworth, 1983).

#include <span>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

struct GaussSettings {
    float cutoff = 100.0f;        // Hz, where the amplitude falls by 3 dB
    double sampleInterval = 1.0;  // ms
};

inline constexpr const char* notEnoughForFilterText = "Not enough data samples for this filter";

// The standard deviation of the filter's bell, in samples.
double GaussSigma(const GaussSettings& settings);

// The number of coefficients for a bell: 3 below a sigma of 0.62, 2 x int(4 x sigma) + 1 from there on. A
// sigma whose number no recording has samples for gives INT64_MAX.
int64_t GaussLength(double sigma);

// The coefficients, symmetric; they add up to 1.
std::vector<float> GaussCoefficients(double sigma);

// A run with fewer samples than coefficients fails with notEnoughForFilterText. `output` has the length of
// `input` and is another array.
KernelOutcome SmoothGauss(std::span<const float> input, const GaussSettings& settings,
                          std::span<float> output);
// The same results. `count` is the number of samples of the run.
KernelOutcome SmoothGauss(FloatSource& source, int64_t count, const GaussSettings& settings, FloatSink& sink);

}  // namespace kymora
