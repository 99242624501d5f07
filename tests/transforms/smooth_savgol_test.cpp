// Savitzky-Golay filters of runs: polynomials that they must keep, and the plain sums of products.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "numerics/savgol.h"
#include "transforms/smooth_fixture.h"
#include "transforms/smooth_savgol.h"

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

TEST(SmoothSavgol, IsTheSumOfProductsInOrder) {
    for (const size_t n : {size_t{9}, size_t{10}, size_t{30}, size_t{8192}, size_t{20000}})
        for (const size_t half : {1, 3}) {
            const std::vector<float> run = NoiseRun(n);
            const auto h = static_cast<int64_t>(half);
            std::vector<float> plain;
            for (size_t i = 0; i < n; ++i) {
                const size_t from = std::min(i < half ? 0 : i - half, n - (2 * half + 1));
                const auto left = static_cast<int64_t>(i - from);
                const std::vector<double> row = SavgolRow(left, 2 * h - left, 0, 1);
                double sum = 0.0;
                for (size_t j = 0; j < row.size(); ++j) sum += row[j] * static_cast<double>(run[from + j]);
                plain.push_back(static_cast<float>(sum));
            }
            EXPECT_EQ(MemorySavgol(run, {h, 1}).values, plain) << n;
            EXPECT_EQ(StreamSavgol(run, {h, 1}).values, plain) << n;
        }
}

TEST(SmoothSavgol, StreamsDoNotDivideByTheInterval) {
    const std::vector<float> run = NoiseRun(500);
    for (const int derivative : {0, 1, 2, 3}) {
        // With an interval of 1/4 all divisions are exact.
        const std::vector<float> memory = MemorySavgol(run, {6, 4, derivative, 0.25}).values;
        std::vector<float> streamed = StreamSavgol(run, {6, 4, derivative, 0.25}).values;
        for (float& value : streamed) value *= std::pow(4.0f, static_cast<float>(derivative));
        EXPECT_EQ(memory, streamed) << derivative;
    }
}

TEST(SmoothSavgol, RefusesInItsOrder) {
    const auto message = [](size_t n, const SavgolSettings& settings) {
        const Smoothed memory = MemorySavgol(NoiseRun(n), settings);
        EXPECT_EQ(memory.outcome.isDone, *memory.outcome.message == '\0');
        EXPECT_STREQ(memory.outcome.message, StreamSavgol(NoiseRun(n), settings).outcome.message);
        return std::string(memory.outcome.message);
    };
    const std::string degree = "The polynomial degree must be less than or equal to the half-window samples.";
    const std::string data = "There are insufficient data to perform the transform with these parameters.";
    const std::string order = "The requested derivative order cannot be higher than the polynomial degree.";
    EXPECT_EQ(message(2, {2, 3, 4}), degree);
    EXPECT_EQ(message(8, {3, 3, 4}), data);
    EXPECT_EQ(message(9, {3, 3, 4}), order);
    EXPECT_EQ(message(9, {3, 3, 3}), "");
    EXPECT_EQ(message(3, {1, 1}), "");
    EXPECT_EQ(message(5, {0, 0}), "");
    EXPECT_EQ(message(5, {0, 1}), degree);
    EXPECT_EQ(message(0, {2, 3}), "");
    EXPECT_EQ(message(100, {int64_t{1} << 40, 2}), data);
}

}  // namespace
}  // namespace kymora
