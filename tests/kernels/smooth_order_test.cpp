// Moving median and percentile of runs against sorting, in memory and on streams.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "kernels/run_reader.h"
#include "kernels/smooth_fixture.h"
#include "kernels/smooth_order.h"

namespace kymora {
namespace {

Smoothed Memory(const std::vector<float>& run, const OrderSettings& settings) {
    return InMemory(run, [&](auto in, auto out) { return SmoothOrder(in, settings, out); });
}

Smoothed Stream(const std::vector<float>& run, const OrderSettings& settings) {
    CountingRoom room;
    return Streamed(run, [&](auto& source, int64_t count, auto& sink) {
        return SmoothOrder(source, count, settings, sink, room);
    });
}

float KthLargest(std::vector<float> window, int64_t k) {
    std::sort(window.rbegin(), window.rend());
    return window[static_cast<size_t>(k - 1)];
}

// The k-th largest of the last N samples fed, for every update from the first whole window on; sample 2h is
// fed twice.
std::vector<float> Updates(const std::vector<float>& run, size_t h, int64_t k) {
    std::vector<float> fed = run;
    fed.insert(fed.begin() + static_cast<std::ptrdiff_t>(2 * h), run[2 * h]);
    std::vector<float> values;
    for (auto end = fed.begin() + static_cast<std::ptrdiff_t>(2 * h + 1);; ++end) {
        values.push_back(KthLargest({end - static_cast<std::ptrdiff_t>(2 * h + 1), end}, k));
        if (end == fed.end()) return values;
    }
}

std::vector<float> PlainMemory(const std::vector<float>& run, size_t h, int64_t k) {
    const std::vector<float> updates = Updates(run, h, k);
    std::vector<float> out(h, updates[0]);
    out.insert(out.end(), updates.begin() + 1, updates.end());
    out.insert(out.end(), h, updates.back());
    return out;
}

std::vector<float> PlainStream(const std::vector<float>& run, size_t h, int64_t k) {
    const std::vector<float> updates = Updates(run, h, k);
    std::vector<float> out(h, updates[0]);
    out.insert(out.end(), updates.begin(), updates.end());
    out.insert(out.end(), h - 1, updates.back());
    return out;
}

TEST(SmoothOrder, RanksAreRoundedInSinglePrecision) {
    const auto heap = [](int64_t h, int percent) { return OrderRank({OrderMode::percentile, h, percent}); };
    const auto index = [](int64_t h, int percent) {
        return OrderRank({OrderMode::explicitPercentile, h, percent});
    };
    EXPECT_EQ(OrderRank({OrderMode::median, 50, 10}), 51);
    EXPECT_EQ(heap(2, 50), 3);    // 2.5
    EXPECT_EQ(heap(50, 10), 91);  // 90.9
    EXPECT_EQ(heap(2, 0), 5);
    EXPECT_EQ(heap(2, 100), 1);  // 0 is no rank
    EXPECT_EQ(heap(0, 90), 1);
    EXPECT_EQ(index(2, 50), 3);
    EXPECT_EQ(index(50, 10), 10);  // 10.1
    EXPECT_EQ(index(2, 0), 0);
    EXPECT_EQ(index(2, 100), 4);  // 5 is beyond the window
}

TEST(SmoothOrder, FollowsTheRulesInBothForms) {
    for (const size_t n : {size_t{7}, size_t{8}, size_t{100}, size_t{8192}, size_t{8200}})
        for (const size_t h : {1, 3, 20})
            for (const int percent : {0, 10, 50, 95, 100}) {
                if (n < 2 * h + 1) continue;
                const OrderSettings settings{OrderMode::percentile, static_cast<int64_t>(h), percent, 1};
                const std::vector<float> run = NoiseRun(n);
                ASSERT_EQ(Memory(run, settings).values, PlainMemory(run, h, OrderRank(settings)));
                ASSERT_EQ(Stream(run, settings).values, PlainStream(run, h, OrderRank(settings)));
            }
}

TEST(SmoothOrder, PassesWorkOnTheResultOfThePassBefore) {
    std::vector<float> memory = NoiseRun(300), stream = memory;
    const std::vector<float> run = memory;
    for (int iterations = 1; iterations <= 3; ++iterations) {
        memory = PlainMemory(memory, 4, 5);
        stream = PlainStream(stream, 4, 5);
        EXPECT_EQ(Memory(run, {OrderMode::median, 4, 0, iterations}).values, memory);
        EXPECT_EQ(Stream(run, {OrderMode::median, 4, 0, iterations}).values, stream);
    }
}

TEST(SmoothOrder, TheExplicitFormReflectsBothEnds) {
    for (const size_t n : {size_t{11}, size_t{12}, size_t{8193}})
        for (const size_t h : {1, 5})
            for (const int percent : {0, 35, 50, 100}) {
                const OrderSettings settings{OrderMode::explicitPercentile, static_cast<int64_t>(h), percent,
                                             3};
                const std::vector<float> run = NoiseRun(n);
                std::vector<float> plain;
                for (size_t i = 0; i < n; ++i) {
                    std::vector<float> window;
                    for (size_t j = 0; j <= 2 * h; ++j) {
                        const size_t at = i + j;  // of sample at - h
                        window.push_back(at < h       ? run[h - 1 - at]
                                         : at - h < n ? run[at - h]
                                                      : run[2 * n - 1 - (at - h)]);
                    }
                    std::sort(window.begin(), window.end());
                    plain.push_back(window[static_cast<size_t>(OrderRank(settings))]);
                }
                ASSERT_EQ(Memory(run, settings).values, plain);
                ASSERT_EQ(Stream(run, settings).values, plain);
            }
}

TEST(SmoothOrder, RunsShorterThanTheWindowFailSilently) {
    for (const OrderMode mode : {OrderMode::median, OrderMode::percentile, OrderMode::explicitPercentile}) {
        const std::vector<float> run = NoiseRun(6);
        const Smoothed memory = Memory(run, {mode, 3});
        EXPECT_FALSE(memory.outcome.isDone);
        EXPECT_EQ(std::string(memory.outcome.message), "");
        EXPECT_EQ(std::string(memory.outcome.note), runShorterThanWindowText);
        EXPECT_EQ(memory.values, run);
        EXPECT_FALSE(Stream(run, {mode, 3}).outcome.isDone);
        EXPECT_TRUE(Memory({}, {mode, 3}).outcome.isDone);
        EXPECT_TRUE(Memory(NoiseRun(7), {mode, 3}).outcome.isDone);
        EXPECT_EQ(Stream(NoiseRun(7), {mode, 3}).values.size(), 7u);
    }
}

}  // namespace
}  // namespace kymora
