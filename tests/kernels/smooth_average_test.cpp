// The moving average of runs, in memory and on streams, against the rules word by word and by hand.

#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "host/file_system.h"
#include "kernels/smooth_average.h"
#include "kernels/smooth_fixture.h"
#include "numerics/moving_average.h"

namespace kymora {
namespace {

Smoothed Memory(const std::vector<float>& run, const AverageSettings& settings) {
    return InMemory(run, [&](auto in, auto out) { return SmoothAverage(in, settings, out); });
}

Smoothed Stream(const std::vector<float>& run, const AverageSettings& settings, CountingRoom& room) {
    return Streamed(run, [&](auto& source, int64_t count, auto& sink) {
        return SmoothAverage(source, count, settings, sink, room);
    });
}

Smoothed Stream(const std::vector<float>& run, const AverageSettings& settings) {
    CountingRoom room;
    return Stream(run, settings, room);
}

// One sample at a time, as an object that writes to an archive would take them.
std::vector<float> PlainStream(const std::vector<float>& run, size_t h) {
    std::vector<float> out;
    std::deque<float> window;
    float sum = 0.0f;
    const size_t n = 2 * h + 1;
    for (size_t count = 0; count < run.size(); ++count) {
        if (count > h && count < n) out.push_back(sum / static_cast<float>(count - h + 1));
        if (count >= n) {
            out.push_back(sum / static_cast<float>(n));
            sum -= window.front();
            window.pop_front();
        }
        sum += run[count];
        window.push_back(run[count]);
    }
    out.push_back(sum / static_cast<float>(n));
    for (size_t left = n - 1; left > h; --left) {
        sum -= window.front();
        window.pop_front();
        out.push_back(sum / static_cast<float>(left));
    }
    return out;
}

TEST(SmoothAverage, StreamsFollowTheRulesBitByBit) {
    for (const size_t n : runLengths)
        for (const size_t h : {1, 2, 3, 50, 4096, 5000}) {
            if (n < 2 * h + 1) continue;
            const std::vector<float> run = NoiseRun(n);
            const AverageSettings settings{static_cast<int64_t>(h), 1};
            const std::vector<float> streamed = Stream(run, settings).values;
            ASSERT_EQ(streamed, PlainStream(run, h)) << n << " " << h;
            // What follows the first h values is the same in both forms, for both sums are.
            const std::vector<float> memory = Memory(run, settings).values;
            ASSERT_TRUE(std::equal(memory.begin() + static_cast<std::ptrdiff_t>(h), memory.end(),
                                   streamed.begin() + static_cast<std::ptrdiff_t>(h)));
            ASSERT_EQ(memory[0] == streamed[0], h == 1);
        }
}

TEST(SmoothAverage, PassesRestInScratchRuns) {
    const std::vector<float> run = NoiseRun(1000);
    std::vector<float> plain = run;
    for (int iterations = 1; iterations <= 4; ++iterations) {
        plain = PlainStream(plain, 7);
        CountingRoom room;
        EXPECT_EQ(Stream(run, {7, iterations}, room).values, plain) << iterations;
        EXPECT_EQ(room.made, iterations - 1);
        EXPECT_EQ(room.mostAlive, std::min(iterations - 1, 2));
        EXPECT_EQ(room.alive, 0);
    }
    CountingRoom full;
    full.isFull = true;
    EXPECT_THROW(Stream(run, {7, 2}, full), std::runtime_error);
    EXPECT_EQ(full.alive, 0);
    EXPECT_EQ(Memory(run, {7, 3}).values, GetMovingAverageIter(run, 3, 7));
}

TEST(SmoothAverage, RunsShorterThanTheWindowBecomeTheirMean) {
    const std::vector<float> run = {1, 2, 6};
    for (const int iterations : {1, 3})
        for (const int64_t h : {int64_t{2}, int64_t{5}, int64_t{1} << 40}) {
            for (const Smoothed& result : {Memory(run, {h, iterations}), Stream(run, {h, iterations})}) {
                EXPECT_TRUE(result.outcome.isDone);
                EXPECT_EQ(std::string(result.outcome.note), "WARNING; not enough data for transform\n");
                EXPECT_EQ(result.values, (std::vector<float>{3, 3, 3}));
            }
        }
    EXPECT_EQ(std::string(Memory(run, {1, 1}).outcome.note), "");
    EXPECT_EQ(Memory({}, {1, 1}).values.size(), 0u);
    EXPECT_EQ(Stream({}, {1, 1}).values.size(), 0u);
}

TEST(SmoothAverage, AStreamThatEndsTooEarlyIsAFault) {
    VectorSource source(NoiseRun(10));
    VectorSink sink;
    CountingRoom room;
    EXPECT_THROW(SmoothAverage(source, 11, {1, 1}, sink, room), FileError);
}

}  // namespace
}  // namespace kymora
