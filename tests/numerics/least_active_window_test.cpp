// The search for the least active window, against the rule written down plainly.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "numerics/least_active_window.h"

namespace kymora {
namespace {

struct Found {
    int64_t start = -1;
    double squares = 0.0;
};

// All windows of `samples`, the squares of each summed in full.
Found PlainRule(const std::vector<float>& samples, size_t n) {
    Found best;
    double sum = 0.0;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (i >= n) sum -= samples[i - n];
        sum += samples[i];
        if (i + 1 < n) continue;
        const double mean = sum / static_cast<double>(n);
        double squares = 0.0;
        for (size_t k = i + 1 - n; k <= i; ++k) squares += (samples[k] - mean) * (samples[k] - mean);
        if (best.start >= 0 && !(squares < best.squares)) continue;
        best = {static_cast<int64_t>(i + 1 - n), squares};
    }
    return best;
}

Found Search(const std::vector<float>& samples, size_t n, size_t block) {
    LeastActiveWindow search(static_cast<int64_t>(n));
    for (size_t at = 0; at < samples.size(); at += block)
        search.Add(std::span(samples).subspan(at, std::min(block, samples.size() - at)));
    return {search.Start(), search.Squares()};
}

using Draw = std::function<float(size_t i, float normal, uint32_t bits)>;

// Signals that try the bounds: each is random in its own way, over `signalLength` samples.
constexpr size_t signalLength = 3000;
const Draw signals[] = {
    [](size_t, float normal, uint32_t) { return normal; },
    [](size_t i, float normal, uint32_t) { return normal * std::exp(-static_cast<float>(i) / 300.0f); },
    [](size_t i, float normal, uint32_t) { return 1e6f + 0.01f * normal + (i % 97 == 0 ? 3e6f : 0.0f); },
    [](size_t, float, uint32_t bits) { return static_cast<float>(bits % 3); },  // exact ties
    [](size_t i, float, uint32_t) {                                             // near ties on a drift
        return 0.1f * std::sin(static_cast<float>(i) * 0.3f) + 1e-3f * static_cast<float>(i);
    },
    [](size_t i, float normal, uint32_t) { return i > 1000 && i < 1500 ? 0.3f : 1e5f * normal; },
    [](size_t i, float normal, uint32_t) { return i % 50 < 25 ? 0.7f : normal * 1e-20f; },
    [](size_t, float normal, uint32_t bits) {
        return std::ldexp(normal, static_cast<int>(bits % 200) - 100);
    }};

std::vector<float> Signal(const Draw& draw, std::mt19937& random) {
    std::normal_distribution<float> normal(0.0f, 1.0f);
    std::vector<float> samples(signalLength);
    for (size_t i = 0; i < signalLength; ++i) samples[i] = draw(i, normal(random), random());
    return samples;
}

TEST(LeastActiveWindow, IsTheRulesBitForBit) {
    std::mt19937 random(7);
    for (const Draw& draw : signals)
        for (const size_t n : {1, 2, 10, 101, 400})
            for (const size_t block : {13, 1500, 100000}) {
                SCOPED_TRACE(testing::Message() << &draw - signals << " " << n << " " << block);
                const std::vector<float> samples = Signal(draw, random);
                const Found plain = PlainRule(samples, n);
                const Found found = Search(samples, n, block);
                ASSERT_EQ(found.start, plain.start);
                ASSERT_EQ(found.squares, plain.squares);
            }
}

TEST(LeastActiveWindow, NoWindowHoldsWhatIsNoNumber) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Search({9, 9, nan, 9, 7, 1, 2, 3, inf, 3, 3, nan}, 3, 2).start, 5);
    EXPECT_EQ(Search({nan, 1, 2, nan, 1, 2}, 3, 100).start, -1);
    EXPECT_EQ(Search({1, 2, 1}, 4, 100).start, -1) << "shorter than the window";
    // Behind a gap the sums begin anew.
    std::mt19937 random(8);
    std::vector<float> samples = Signal(signals[0], random);
    const std::vector<float> behind(samples.begin() + 301, samples.end());
    for (size_t i = 0; i <= 300; ++i) samples[i] = i == 300 ? nan : samples[i] * 100.0f;
    EXPECT_EQ(Search(samples, 50, 64).start, PlainRule(behind, 50).start + 301);
    EXPECT_EQ(Search(samples, 50, 64).squares, PlainRule(behind, 50).squares);
}

TEST(LeastActiveWindow, IsPolledEvery1024Samples) {
    LeastActiveWindow search(10);
    const std::vector<float> samples(5000, 1.0f);
    std::vector<int64_t> polls;
    EXPECT_TRUE(search.Add(samples, [&](int64_t done) {
        polls.push_back(done);
        return true;
    }));
    EXPECT_EQ(polls, (std::vector<int64_t>{0, 1024, 2048, 3072, 4096}));
    EXPECT_FALSE(search.Add(samples, [](int64_t done) { return done < 6000; }));
}

}  // namespace
}  // namespace kymora
