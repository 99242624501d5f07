// The windowed filter: coefficients worked out by hand, the plain delay line, and its ends.

#include "kernels/fir.h"

#include <gtest/gtest.h>

#include <numbers>

#include "kernels/smooth_fixture.h"

namespace kymora {
namespace {

constexpr double pi = std::numbers::pi;

TEST(Fir, CoefficientsByHand) {
    // fs = 1000 Hz; wl = 0, wh = pi / 2: c(0) = 1/2, c(1) = 1 / pi, c(2) = 0.
    const double blackman1 = 0.42 + 0.5 * std::cos(pi / 2) + 0.08 * std::cos(pi);
    const double hann1 = (std::cos(pi / 3) + 1.0) / 2.0;
    const double bessel = 1.0 + 0.25 + 1.0 / 64 + 1.0 / 2304 + 1.0 / 147456;  // I(1), to 1e-7
    const struct {
        FirSettings settings;
        std::vector<double> row;
        double tolerance;
    } cases[] = {
        {{0, 250, 4}, {0, blackman1 / pi, 0.5, blackman1 / pi, 0}, 1e-15},
        {{0, 250, 4, FirBand::stop}, {0, -blackman1 / pi, 0.5, -blackman1 / pi, 0}, 1e-15},
        {{0, 250, 4, FirBand::pass, FirWindow::hann}, {0, hann1 / pi, 0.5, hann1 / pi, 0}, 1e-15},
        {{0, 250, 2, FirBand::pass, FirWindow::kaiser, 1.0}, {1 / pi / bessel, 0.5, 1 / pi / bessel}, 1e-7},
        {{0, 250, 2, FirBand::pass, FirWindow::kaiser, 0.0}, {1 / pi, 0.5, 1 / pi}, 1e-15},
        {{0, 250, 0, FirBand::stop}, {1.0}, 0.0},
        // All of the band: nothing but the sample itself.
        {{0, 500, 4, FirBand::pass, FirWindow::hann}, {0, 0, 1, 0, 0}, 1e-15},
    };
    for (const auto& [settings, row, tolerance] : cases) {
        const std::vector<double> made = FirCoefficients(settings);
        ASSERT_EQ(made.size(), row.size());
        for (size_t i = 0; i < row.size(); ++i) EXPECT_NEAR(made[i], row[i], tolerance) << i;
    }
}

TEST(Fir, KaiserWindowsDifferInTheirEndsAlone) {
    for (const int order : {2, 10, 100, 200}) {
        const FirSettings flat{10, 123, order, FirBand::pass, FirWindow::kaiser, 0.0};
        FirSettings hamming = flat;
        hamming.alpha = 5.44;
        const auto a = FirCoefficients(flat), b = FirCoefficients(hamming);
        for (size_t i = 0; i < a.size(); ++i) {
            if (i == 0 || i + 1 == a.size())
                EXPECT_NEAR(b[i] * 50.0, a[i], std::fabs(a[i]) / 2.0) << "about I(5.44)";
            else
                EXPECT_EQ(a[i], b[i]) << order << " " << i;
        }
    }
}

TEST(Fir, IsTheDelayLineWithoutItsDelay) {
    for (const int order : {0, 2, 8, 200})
        for (size_t n : runLengths) {
            if (n == 100) n = 99;
            const std::vector<double> row = FirCoefficients({20, 180, order, FirBand::stop, FirWindow::hann});
            std::vector<float> run = NoiseRun(n);
            if (n == 8193) run[5000] = notANumber;
            const auto half = static_cast<size_t>(order) / 2;
            std::vector<float> expected(n, 0.0f);
            for (size_t m = 0; n >= half && m < n - half; ++m) {
                double sum = 0.0;
                for (size_t i = 0; i < row.size() && i <= m + half; ++i)
                    sum += row[i] * static_cast<double>(run[m + half - i]);
                expected[m] = static_cast<float>(sum);
            }
            const auto memory = InMemory(run, [&](auto in, auto out) {
                FilterFir(in, row, out);
                return KernelOutcome{};
            });
            const auto streamed = Streamed(run, [&](auto& source, int64_t count, auto& sink) {
                FilterFir(source, count, row, sink);
                return KernelOutcome{};
            });
            EXPECT_TRUE(AreSame(memory.values, expected)) << order << " " << n;
            EXPECT_TRUE(AreSame(streamed.values, expected)) << order << " " << n;
            EXPECT_TRUE(order > 0 || AreSame(memory.values, run));
        }
}

TEST(Fir, OrdersFromATransition) {
    // 5.5, 3.1 and 0.9 times the sampling rate, by the width.
    EXPECT_EQ(FirOrderFor(100, FirWindow::blackman, 1000), 56);
    EXPECT_EQ(FirOrderFor(100, FirWindow::hann, 1000), 32);
    EXPECT_EQ(FirOrderFor(100, FirWindow::kaiser, 1000), 10);
    EXPECT_EQ(FirOrderFor(1e-6, FirWindow::blackman, 1000), 200);
    EXPECT_EQ(FirOrderFor(1e9, FirWindow::blackman, 1000), 2);
    // Beyond the transition little is left, and within the band little is lost.
    const int order = FirOrderFor(100, FirWindow::blackman, 1000);
    const auto row = FirCoefficients({0, 200, order});
    EXPECT_NEAR(std::abs(FirResponse(row, 150, 1000)), 1.0, 0.005);
    EXPECT_LT(std::abs(FirResponse(row, 250, 1000)), 0.005);
    EXPECT_LE(FirTransitionWidth(order, FirWindow::blackman, 1000), 100.0);
}

}  // namespace
}  // namespace kymora
