#include "kernels/smooth_gauss.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernels/convolver.h"
#include "kernels/run_reader.h"

namespace kymora {

namespace {

// Below it the bell is narrower than the distance of samples, and three coefficients of the same variance
// serve.
constexpr double narrowSigma = 0.62;

}  // namespace

double GaussSigma(const GaussSettings& settings) {
    const auto fc = static_cast<float>(settings.cutoff * settings.sampleInterval / 1000.0);
    return 0.132505 / fc;
}

int64_t GaussLength(double sigma) {
    if (sigma < narrowSigma) return 3;
    if (!(4.0 * sigma < std::numeric_limits<int32_t>::max())) return std::numeric_limits<int64_t>::max();
    return 2 * static_cast<int64_t>(4.0 * sigma) + 1;
}

std::vector<float> GaussCoefficients(double sigma) {
    if (sigma < narrowSigma) {
        const double side = sigma * sigma / 2.0;
        return {static_cast<float>(side), static_cast<float>(1.0 - 2.0 * side), static_cast<float>(side)};
    }
    const auto sides = static_cast<size_t>(GaussLength(sigma) / 2);
    const double b = -0.5 / (sigma * sigma);
    std::vector<double> bell(sides + 1, 1.0);
    double sum = 0.5;
    for (size_t j = 1; j <= sides; ++j) {
        bell[j] = std::exp(b * static_cast<double>(j * j));
        sum += bell[j];
    }
    sum *= 2.0;
    std::vector<float> coefficients(2 * sides + 1);
    for (size_t j = 0; j <= sides; ++j)
        coefficients[sides - j] = coefficients[sides + j] = static_cast<float>(bell[j] / sum);
    return coefficients;
}

KernelOutcome SmoothGauss(std::span<const float> input, const GaussSettings& settings,
                          std::span<float> output) {
    SpanSource source(input);
    SpanSink sink(output);
    return SmoothGauss(source, static_cast<int64_t>(input.size()), settings, sink);
}

KernelOutcome SmoothGauss(FloatSource& source, int64_t count, const GaussSettings& settings,
                          FloatSink& sink) {
    if (count == 0) return {};
    const double sigma = GaussSigma(settings);
    if (count < GaussLength(sigma)) return KernelOutcome::Failure(notEnoughForFilterText);
    // Convolutions run over the reversed row, which for this one is the same.
    Convolve(source, count, GaussCoefficients(sigma), sink);
    return {};
}

}  // namespace kymora
