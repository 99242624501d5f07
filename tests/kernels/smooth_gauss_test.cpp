// The Gaussian filter against its formula, and the convolver against a ring that is pushed sample by sample.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numeric>
#include <string>

#include "kernels/convolver.h"
#include "kernels/smooth_fixture.h"
#include "kernels/smooth_gauss.h"

namespace kymora {
namespace {

std::vector<float> PlainConvolve(const std::vector<float>& run, const std::vector<float>& coefficients) {
    const size_t half = coefficients.size() / 2;
    std::vector<float> ring(coefficients.size(), 0.0f), out;
    for (size_t pushed = 0; pushed < run.size() + half; ++pushed) {
        ring.erase(ring.begin());
        ring.push_back(pushed < run.size() ? run[pushed] : 0.0f);
        if (pushed < half) continue;
        float sum = 0.0f;
        for (size_t j = 0; j < ring.size(); ++j) sum += coefficients[j] * ring[j];
        out.push_back(sum);
    }
    return out;
}

TEST(Convolver, IsARingOfSamplesWithZerosBeyondTheEnds) {
    for (const size_t n : runLengths)
        for (const size_t length : {1, 2, 3, 4, 9, 10, 33}) {
            const std::vector<float> run = NoiseRun(n), coefficients = NoiseRun(length);
            std::vector<float> out(n);
            Convolve(run, coefficients, out);
            ASSERT_EQ(out, PlainConvolve(run, coefficients)) << n << " " << length;
        }
    std::vector<float> out(4);
    Convolve(std::vector<float>{1, 10, 100, 1000}, std::vector<float>{2, 3, 5}, out);
    EXPECT_EQ(out, (std::vector<float>{53, 532, 5320, 3200}));
}

TEST(Gauss, NarrowBellsHaveThreeCoefficients) {
    const std::vector<float> narrow = GaussCoefficients(0.5);
    EXPECT_EQ(narrow, (std::vector<float>{0.125f, 0.75f, 0.125f}));
    EXPECT_EQ(GaussLength(std::nextafter(0.62, 0.0)), 3);
    // At 0.62 the bell itself: int(2.48) coefficients on each side.
    EXPECT_EQ(GaussLength(0.62), 5);
    const std::vector<float> bell = GaussCoefficients(0.62);
    const double one = std::exp(-0.5 / 0.3844), two = std::exp(-2.0 / 0.3844);
    const double sum = 1 + 2 * one + 2 * two;
    ASSERT_EQ(bell.size(), 5u);
    EXPECT_FLOAT_EQ(bell[0], static_cast<float>(two / sum));
    EXPECT_FLOAT_EQ(bell[1], static_cast<float>(one / sum));
    EXPECT_FLOAT_EQ(bell[2], static_cast<float>(1 / sum));
    EXPECT_EQ(bell[3], bell[1]);
    EXPECT_EQ(bell[4], bell[0]);
}

TEST(Gauss, HalvesThePowerAtItsCutoff) {
    for (const float cutoff : {20.0f, 100.0f, 900.0f}) {
        const GaussSettings settings{cutoff, 0.1};
        const std::vector<float> c = GaussCoefficients(GaussSigma(settings));
        EXPECT_NEAR(std::accumulate(c.begin(), c.end(), 0.0), 1.0, 1e-6);
        std::complex<double> response = 0.0;
        for (size_t j = 0; j < c.size(); ++j)
            response += static_cast<double>(c[j]) * std::polar(1.0, 2 * M_PI * static_cast<double>(cutoff) *
                                                                        1e-4 * static_cast<double>(j));
        EXPECT_NEAR(std::abs(response), std::sqrt(0.5), 0.003) << cutoff;
    }
}

TEST(Gauss, IsTheConvolutionInBothForms) {
    for (const float cutoff : {5.0f, 40.0f, 499.0f, 1e7f})
        for (const size_t n : {size_t{300}, size_t{20000}}) {
            const GaussSettings settings{cutoff, 1.0};
            const std::vector<float> run = NoiseRun(n);
            const auto plain = PlainConvolve(run, GaussCoefficients(GaussSigma(settings)));
            EXPECT_EQ(InMemory(run, [&](auto in, auto out) { return SmoothGauss(in, settings, out); }).values,
                      plain);
            EXPECT_EQ(Streamed(run, [&](auto& source, int64_t count,
                                        auto& sink) { return SmoothGauss(source, count, settings, sink); })
                          .values,
                      plain);
        }
}

TEST(Gauss, RunsShorterThanTheFilterAreRefused) {
    const auto outcome = [](size_t n, float cutoff) {
        const GaussSettings settings{cutoff, 1.0};
        return InMemory(NoiseRun(n), [&](auto in, auto out) { return SmoothGauss(in, settings, out); })
            .outcome;
    };
    // sigma = 0.132505 / 0.01: 53 coefficients on each side.
    EXPECT_TRUE(outcome(107, 10.0f));
    const KernelOutcome refused = outcome(106, 10.0f);
    EXPECT_FALSE(refused);
    EXPECT_EQ(std::string(refused.message), "Not enough data samples for this filter");
    EXPECT_TRUE(outcome(3, 1e7f));
    EXPECT_FALSE(outcome(2, 1e7f));
    EXPECT_FALSE(outcome(1000, 1e-8f));  // more coefficients than there is memory
    EXPECT_FALSE(outcome(1000, 0.0f));
    EXPECT_TRUE(outcome(0, 10.0f));
}

}  // namespace
}  // namespace kymora
