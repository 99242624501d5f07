// Windows of least and greatest squared deviations, against sums of whole numbers, which are exact.

#include "numerics/window_squares.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace kymora {
namespace {

using Whole = __int128;
constexpr int64_t noSample = INT64_MIN;

struct Extremes {
    int64_t least = -1, greatest = -1;
    double leastSquares = 0.0, greatestSquares = 0.0;
    bool operator==(const Extremes&) const = default;
};

// n times the squared deviations is n Q - S x S. The samples are these whole numbers times a power of two.
Extremes PlainWindows(const std::vector<int64_t>& samples, int64_t n, double unit) {
    Extremes found;
    Whole least = 0, greatest = 0;
    for (int64_t start = 0; start + n <= std::ssize(samples); ++start) {
        Whole sum = 0, squares = 0;
        bool isWhole = true;
        for (int64_t i = start; i < start + n; ++i) {
            const Whole value = samples[static_cast<size_t>(i)];
            isWhole = isWhole && value != noSample;
            sum += value, squares += value * value;
        }
        if (!isWhole) continue;
        const Whole all = n * squares - sum * sum;
        const double inUnits = static_cast<double>(all) / static_cast<double>(n) * unit * unit;
        if (found.least < 0 || all < least) least = all, found.least = start, found.leastSquares = inUnits;
        if (found.greatest < 0 || all > greatest)
            greatest = all, found.greatest = start, found.greatestSquares = inUnits;
    }
    return found;
}

Extremes SearchExtremes(const std::vector<float>& samples, int64_t n, size_t block) {
    WindowSquares search(n);
    for (size_t at = 0; at < samples.size(); at += block)
        search.Add(std::span(samples).subspan(at, std::min(block, samples.size() - at)));
    return {search.LeastStart(), search.GreatestStart(), search.LeastSquares(), search.GreatestSquares()};
}

TEST(WindowSquares, AreThoseOfWholeNumbersExactly) {
    using Draw = std::function<int64_t(int64_t i, uint32_t bits)>;
    const Draw draws[] = {
        [](int64_t, uint32_t bits) { return int64_t{bits % 2001} - 1000; },
        [](int64_t, uint32_t bits) { return int64_t{bits % 3} + (1 << 20); },  // ties on an offset
        [](int64_t i, uint32_t bits) { return bits % 300 == 0 ? noSample : (i * i) % 7; },
        [](int64_t i, uint32_t) { return i % 2 + (i == 700 ? 1 : 0); },
        [](int64_t i, uint32_t) { return i / 250 % 2 == 0 ? 5 : -(i % 11); },
        // An artefact, beside which the differences of the others are nothing, and sizes that die away.
        [](int64_t i, uint32_t bits) { return i == 500 ? int64_t{1} << 40 : int64_t{bits % 5}; },
        [](int64_t i, uint32_t bits) { return static_cast<int64_t>(bits >> 8) >> (i / 60); }};
    std::mt19937 random(3);
    for (const Draw& draw : draws)
        for (const int exponent : {0, -149, -60, 60}) {
            std::vector<int64_t> whole;
            std::vector<float> samples;
            for (int64_t i = 0; i < 1500; ++i) {
                whole.push_back(draw(i, static_cast<uint32_t>(random())));
                samples.push_back(whole.back() == noSample
                                      ? std::numeric_limits<float>::quiet_NaN()
                                      : std::ldexp(static_cast<float>(whole.back()), exponent));
            }
            for (const int64_t n : {1, 2, 9, 64, 501}) {
                SCOPED_TRACE(testing::Message() << &draw - draws << " " << exponent << " " << n);
                const Extremes plain = PlainWindows(whole, n, std::ldexp(1.0, exponent));
                for (const size_t block : {13, 1024}) {
                    const Extremes found = SearchExtremes(samples, n, block);
                    ASSERT_EQ(found.least, plain.least);
                    ASSERT_EQ(found.greatest, plain.greatest);
                    ASSERT_DOUBLE_EQ(found.leastSquares, plain.leastSquares);
                    ASSERT_DOUBLE_EQ(found.greatestSquares, plain.greatestSquares);
                }
            }
        }
}

// Each window of whole periods holds the same values, in another order; sums in double precision would
// differ.
TEST(WindowSquares, EqualWindowsAreTheFirst) {
    std::vector<float> samples;
    for (int i = 0; i < 300'000; ++i)
        samples.push_back(static_cast<float>(1e3 + std::sin(2.0 * 3.14159265358979 * (i % 250) / 250.0)));
    const Extremes whole = SearchExtremes(samples, 20'000, 1024);
    EXPECT_EQ(whole.least, 0);
    EXPECT_EQ(whole.greatest, 0);
    // Others come again with each period.
    const Extremes parts = SearchExtremes(samples, 20'100, 1024);
    EXPECT_LT(parts.least, 250);
    EXPECT_LT(parts.greatest, 250);
    EXPECT_LT(parts.leastSquares, parts.greatestSquares);
}

TEST(WindowSquares, NoneLiesAcrossABreak) {
    WindowSquares search(3);
    search.StartAt(100);
    search.Add(std::vector<float>{1, 2, 1, 9});
    search.StartAt(200);
    search.Add(std::vector<float>{-9, 2, 2, 2});
    EXPECT_EQ(search.LeastStart(), 201);
    EXPECT_EQ(search.GreatestStart(), 200);
    // (-9, 2, 2) lies 22 / 3 and 11 / 3 beside its mean.
    EXPECT_DOUBLE_EQ(search.GreatestSquares(), (22.0 * 22.0 + 2.0 * 11.0 * 11.0) / 9.0);
}

}  // namespace
}  // namespace kymora
