// LOWESS over runs: which window stands for which result, worked by hand and window by window.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "kernels/run_reader.h"
#include "kernels/smooth_fixture.h"
#include "kernels/smooth_lowess.h"
#include "support/test_host.h"

namespace kymora {
namespace {

Smoothed Memory(const std::vector<float>& run, const LowessSettings& settings, Host& host) {
    return InMemory(run, [&](auto in, auto out) { return SmoothLOWESS(in, settings, out, host); });
}

Smoothed Memory(const std::vector<float>& run, const LowessSettings& settings) {
    test::TestHost host;
    return Memory(run, settings, host);
}

Smoothed Stream(const std::vector<float>& run, const LowessSettings& settings) {
    test::TestHost host;
    return Streamed(run, [&](auto& source, int64_t count, auto& sink) {
        return SmoothLOWESS(source, count, settings, sink, host);
    });
}

// A window that is shifted sample by sample.
std::vector<float> Plain(const std::vector<float>& run, size_t h, const LocalFitSettings& fit) {
    std::vector<float> y(run.begin(), run.begin() + static_cast<std::ptrdiff_t>(2 * h + 1)), out;
    const auto write = [&](size_t place) {
        out.push_back(static_cast<float>(LocalFit(2 * h + 1, place, fit).Value(y)));
    };
    for (size_t i = 0; i < h; ++i) write(i);
    float latest = run[2 * h];
    for (size_t next = 2 * h + 1;; ++next) {
        y.erase(y.begin());
        y.push_back(latest);
        write(h);
        if (out.size() == run.size() - h) break;
        latest = run[next];
    }
    for (size_t i = h + 1; i <= 2 * h; ++i) write(i);
    return out;
}

TEST(SmoothLOWESS, FollowsItsWindowInBothForms) {
    for (const size_t n : {size_t{9}, size_t{10}, size_t{17}, size_t{100}, size_t{8200}})
        for (const size_t h : {1, 4})
            for (const int rounds : {0, 1, 3}) {
                const LowessSettings settings{static_cast<int64_t>(h), {2, rounds, 6.0}};
                const std::vector<float> run = NoiseRun(n);
                const std::vector<float> plain = Plain(run, h, settings.fit);
                ASSERT_EQ(plain.size(), n);
                ASSERT_EQ(Memory(run, settings).values, plain) << n << " " << h;
                ASSERT_EQ(Stream(run, settings).values, plain) << n << " " << h;
            }
}

TEST(SmoothLOWESS, KeepsTheDigitsOfValuesInDoublePrecision) {
    const auto smooth = [](const std::vector<double>& run, const LowessSettings& settings) {
        test::TestHost host;
        std::vector<double> output(run.size());
        EXPECT_TRUE(SmoothLOWESS(run, settings, output, host));
        return output;
    };
    for (const size_t n : {size_t{9}, size_t{10}, size_t{17}, size_t{8200}})
        for (const int64_t h : {0, 1, 4})
            for (const int rounds : {0, 3}) {
                const LowessSettings settings{h, {2, rounds, 6.0}};
                const std::vector<float> run = NoiseRun(n), single = Memory(run, settings).values;
                const auto values = smooth({run.begin(), run.end()}, settings);
                for (size_t i = 0; i < n; ++i)
                    ASSERT_EQ(static_cast<float>(values[i]), single[i]) << n << " " << i;
            }
    // A parabola is its own smooth, but for the sample that the first window takes a second time.
    std::vector<double> large;
    for (int i = 0; i < 60; ++i) large.push_back(1e9 + 0.001 * i * i);
    const auto values = smooth(large, {5, {2, 0, 6.0}});
    for (size_t i = 20; i < 60; ++i) EXPECT_NEAR(values[i], large[i], 2e-5) << i;
    test::TestHost host;
    std::vector<double> few(8);
    EXPECT_STREQ(SmoothLOWESS(few, {4, {2, 1, 6.0}}, few, host).note, runShorterThanWindowText);
    std::vector<double> many(5000);
    host.cancelAtDone = 4000;
    EXPECT_FALSE(SmoothLOWESS(std::vector<double>(5000), {1, {1, 0, 6.0}}, many, host));
    EXPECT_EQ(host.log, (std::vector<std::string>{"SmoothLOWESS: write count = 4000\n"}));
}

TEST(SmoothLOWESS, TakesOutliersAway) {
    std::vector<float> run;
    for (int i = 0; i < 400; ++i) run.push_back(std::sin(static_cast<float>(i) * 0.02f));
    const std::vector<float> clean = run;
    for (size_t i = 60; i < 400; i += 40) run[i] += 50.0f;
    const std::vector<float> plain = Memory(run, {10, {2, 0, 6.0}}).values;
    const std::vector<float> robust = Memory(run, {10, {2, 4, 6.0}}).values;
    EXPECT_GT(std::fabs(plain[100] - clean[100]), 3.0f);
    for (size_t i = 40; i < 380; ++i) EXPECT_NEAR(robust[i], clean[i], 2e-3) << i;
}

TEST(SmoothLOWESS, ShowsItsProgressAndCanBeCancelled) {
    const std::vector<float> run = NoiseRun(9001);
    test::TestHost host;
    EXPECT_TRUE(Memory(run, {2, {1, 1, 6.0}}, host).outcome.isDone);
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].label, "LOWESS smoothing");
    EXPECT_EQ(host.progress[0].total, 9001u);
    EXPECT_EQ(host.progress[0].updates, (std::vector<uint64_t>{2000, 4000, 6000, 8000}));
    EXPECT_TRUE(host.log.empty());
    test::TestHost impatient;
    impatient.cancelAtDone = 4000;
    const Smoothed cancelled = Memory(run, {2, {1, 1, 6.0}}, impatient);
    EXPECT_FALSE(cancelled.outcome.isDone);
    EXPECT_STREQ(cancelled.outcome.message, "");
    EXPECT_EQ(impatient.log, (std::vector<std::string>{"SmoothLOWESS: write count = 4000\n"}));
    EXPECT_TRUE(impatient.messages.empty());
    EXPECT_TRUE(impatient.progress[0].closed);
}

TEST(SmoothLOWESS, RunsShorterThanTheWindowFail) {
    const Smoothed tooShort = Memory(NoiseRun(8), {4, {2, 1, 6.0}});
    EXPECT_FALSE(tooShort.outcome.isDone);
    EXPECT_STREQ(tooShort.outcome.note, runShorterThanWindowText);
    EXPECT_FALSE(Stream(NoiseRun(1), {4, {2, 1, 6.0}}).outcome.isDone);
    EXPECT_TRUE(Memory({}, {4, {2, 1, 6.0}}).outcome.isDone);
}

}  // namespace
}  // namespace kymora
