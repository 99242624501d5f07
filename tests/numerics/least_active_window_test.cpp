// The search for the least active window, against the rule written down plainly.

#include <gtest/gtest.h>

#include <cmath>
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

// Signals that try the bounds: each is random in its own way.
std::vector<float> Signal(int kind, size_t count, std::mt19937& random) {
    std::normal_distribution<float> normal(0.0f, 1.0f);
    std::vector<float> v(count);
    for (size_t i = 0; i < count; ++i) {
        const auto t = static_cast<float>(i);
        switch (kind) {
        case 0:
            v[i] = normal(random);
            break;
        case 1:
            v[i] = normal(random) * std::exp(-t / 300.0f);
            break;  // ever less
        case 2:
            v[i] = 1e6f + 0.01f * normal(random) + (i % 97 == 0 ? 3e6f : 0.0f);
            break;  // artefacts
        case 3:
            v[i] = static_cast<float>(random() % 3);
            break;  // exact ties
        case 4:
            v[i] = 0.1f * std::sin(t * 0.3f) + 1e-3f * t;
            break;  // near ties on a drift
        case 5:
            v[i] = i > count / 3 && i < count / 2 ? 0.3f : 1e5f * normal(random);
            break;  // a flat stretch
        case 6:
            v[i] = i % 50 < 25 ? 0.7f : normal(random) * 1e-20f;
            break;
        default:
            v[i] = std::ldexp(normal(random), static_cast<int>(random() % 200) - 100);
            break;
        }
    }
    return v;
}

TEST(LeastActiveWindow, IsTheRulesBitForBit) {
    std::mt19937 random(7);
    for (int kind = 0; kind < 8; ++kind)
        for (const size_t n : {size_t{1}, size_t{2}, size_t{10}, size_t{101}, size_t{400}})
            for (const size_t block : {size_t{13}, size_t{1500}, size_t{100000}}) {
                SCOPED_TRACE(testing::Message() << kind << " " << n << " " << block);
                const std::vector<float> samples = Signal(kind, 3000, random);
                const Found plain = PlainRule(samples, n);
                const Found found = Search(samples, n, block);
                ASSERT_EQ(found.start, plain.start);
                ASSERT_EQ(found.squares, plain.squares);
            }
}

TEST(LeastActiveWindow, ByHand) {
    // Windows of 2: squares 0.5 0.5 8 0 4.5; the flat one wins, and of the first two the earlier would.
    EXPECT_EQ(Search({1, 2, 1, 5, 5, 8}, 2, 100).start, 3);
    EXPECT_EQ(Search({1, 2, 1}, 2, 100).start, 0);
    EXPECT_EQ(Search({1, 2, 1}, 3, 100).start, 0);
    EXPECT_EQ(Search({1, 2, 1}, 4, 100).start, -1);
}

TEST(LeastActiveWindow, NoWindowHoldsWhatIsNoNumber) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Search({9, 9, nan, 9, 7, 1, 2, 3, inf, 3, 3, nan}, 3, 2).start, 5);
    EXPECT_EQ(Search({nan, 1, 2, nan, 1, 2}, 3, 100).start, -1);
    // Behind a gap the sums begin anew.
    std::mt19937 random(8);
    std::vector<float> samples = Signal(0, 700, random);
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
