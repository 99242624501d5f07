// Morlet's wavelet on sines, whose powers are known.

#include "spectra/morlet.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kymora::test {
namespace {

TEST(Morlet, PowerOfASineIsItsMeanSquare) {
    std::vector<float> sine(1500);
    for (const double frequency : {0.02, 0.05, 0.2}) {
        for (size_t i = 0; i < sine.size(); ++i)
            sine[i] =
                7.0f + static_cast<float>(3.0 * std::cos(2.0 * M_PI * frequency * static_cast<double>(i)));
        MorletTransform transform(sine, 6.0);
        // A bell whose s.d. is a sixth of its frequency: an amplitude of exp(-18 x (1 - f / middle)^2).
        for (const double middle : {0.5 * frequency, 0.9 * frequency, frequency, 2.0 * frequency}) {
            const double amplitude = 3.0 * std::exp(-18.0 * std::pow(1.0 - frequency / middle, 2));
            const auto powers = transform.Powers(middle);
            ASSERT_EQ(powers.size(), sine.size());
            for (const size_t i : {500u, 750u, 1000u})
                EXPECT_NEAR(powers[i], amplitude * amplitude / 2.0, 1e-4) << frequency << " " << middle;
        }
    }
}

TEST(Morlet, FrequenciesAndEdges) {
    const auto frequencies = MorletFrequencies(0.01, 0.04, 2);
    ASSERT_EQ(frequencies.size(), 5u);
    EXPECT_NEAR(frequencies[1], 0.01 * std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(frequencies[4], 0.04, 1e-15);
    EXPECT_EQ(MorletFrequencies(0.1, 0.1, 8).size(), 1u);
    // sqrt(2) scales, of which a scale is 6 / (2 pi) periods.
    EXPECT_NEAR(MorletEdge(0.1, 6.0), std::sqrt(2.0) * 60.0 / (2.0 * M_PI), 1e-12);
    // An impulse is at its place at every frequency.
    std::vector<float> impulse(400);
    impulse[130] = 1.0f;
    MorletTransform transform(impulse, 6.0);
    for (const double frequency : {0.05, 0.1, 0.3}) {
        const auto powers = transform.Powers(frequency);
        EXPECT_EQ(std::max_element(powers.begin(), powers.end()) - powers.begin(), 130);
    }
}

}  // namespace
}  // namespace kymora::test
