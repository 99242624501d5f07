// Savitzky-Golay filters of runs: polynomials that they must keep, and the plain sums of products.

#include <gtest/gtest.h>

#include <cmath>

#include "kernels/smooth_fixture.h"
#include "kernels/smooth_savgol.h"

namespace kymora {
namespace {

Smoothed MemorySavgol(const std::vector<float>& run, const SavgolSettings& settings) {
    return InMemory(run, [&](auto in, auto out) { return SmoothSavgol(in, settings, out); });
}

Smoothed StreamSavgol(const std::vector<float>& run, const SavgolSettings& settings) {
    return Streamed(run, [&](auto& source, int64_t count, auto& sink) {
        return SmoothSavgol(source, count, settings, sink);
    });
}

TEST(SmoothSavgol, KeepsPolynomialsAndTheirDerivativesUpToTheEnds) {
    // x^3 / 100 - x^2 / 4 + 2 x with x = 0.5 ms a sample.
    std::vector<float> run;
    for (int i = 0; i < 60; ++i) {
        const double x = 0.5 * i;
        run.push_back(static_cast<float>(x * x * x / 100 - x * x / 4 + 2 * x));
    }
    for (const int64_t half : {3, 5, 20}) {
        const auto filtered = [&](int derivative) {
            return MemorySavgol(run, {half, 3, derivative, 0.5}).values;
        };
        const std::vector<float> value = filtered(0), first = filtered(1), second = filtered(2),
                                 third = filtered(3);
        for (size_t i = 0; i < run.size(); ++i) {
            const double x = 0.5 * static_cast<double>(i);
            EXPECT_NEAR(value[i], run[i], 2e-5);
            EXPECT_NEAR(first[i], 3 * x * x / 100 - x / 2 + 2, 2e-4);
            EXPECT_NEAR(second[i], 6 * x / 100 - 0.5, 6e-4);
            EXPECT_NEAR(third[i], 0.06, 1e-3);
        }
    }
}

TEST(SmoothSavgol, StreamsDoNotDivideByTheInterval) {
    for (const size_t n : {size_t{18}, size_t{19}, size_t{500}, size_t{8192}, size_t{20000}})
        for (const int derivative : {0, 1, 2, 3}) {
            const std::vector<float> run = NoiseRun(n);
            // With an interval of 1/4 all divisions are exact.
            const std::vector<float> memory = MemorySavgol(run, {6, 4, derivative, 0.25}).values;
            std::vector<float> streamed = StreamSavgol(run, {6, 4, derivative, 0.25}).values;
            for (float& value : streamed) value *= std::pow(4.0f, static_cast<float>(derivative));
            EXPECT_EQ(memory, streamed) << n << ", derivative " << derivative;
        }
}

TEST(SmoothSavgol, RefusesInItsOrder) {
    constexpr const char* degree =
        "The polynomial degree must be less than or equal to the half-window samples.";
    constexpr const char* data =
        "There are insufficient data to perform the transform with these parameters.";
    constexpr const char* order =
        "The requested derivative order cannot be higher than the polynomial degree.";
    const struct {
        size_t samples;
        SavgolSettings settings;
        const char* message;
    } cases[] = {
        {2, {2, 3, 4}, degree}, {8, {3, 3, 4}, data}, {9, {3, 3, 4}, order},
        {9, {3, 3, 3}, ""},     {3, {1, 1}, ""},      {5, {0, 0}, ""},
        {5, {0, 1}, degree},    {0, {2, 3}, ""},      {100, {int64_t{1} << 40, 2}, data},
    };
    for (const auto& [samples, settings, message] : cases)
        for (const Smoothed& made :
             {MemorySavgol(NoiseRun(samples), settings), StreamSavgol(NoiseRun(samples), settings)}) {
            EXPECT_STREQ(made.outcome.message, message) << samples << " " << settings.halfWindow;
            EXPECT_EQ(made.outcome.isDone, *message == '\0');
        }
}

}  // namespace
}  // namespace kymora
