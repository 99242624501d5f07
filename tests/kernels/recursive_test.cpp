// Recursive filters: the plain loop in its order, both directions, and RC and narrow band against their
// formulas.

#include "kernels/recursive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>

#include "kernels/smooth_fixture.h"

namespace kymora {
namespace {

std::vector<float> Plain(const std::vector<float>& run, const RecursiveSettings& settings) {
    std::vector<float> output;
    for (size_t t = 0; t < run.size(); ++t) {
        float y = 0.0f;
        for (size_t j = 0; j < settings.forward.size(); ++j) {
            const double product = settings.forward[j] * (j <= t ? run[t - j] : 0.0f);
            y = j == 0 ? static_cast<float>(product) : static_cast<float>(y + product);
        }
        for (size_t j = 1; j < settings.feedback.size(); ++j)
            y = static_cast<float>(y + settings.feedback[j] * (j <= t ? output[t - j] : 0.0f));
        output.push_back(static_cast<float>(y / settings.feedback[0]));
    }
    return output;
}

std::vector<float> Reversed(std::vector<float> run) {
    std::ranges::reverse(run);
    return run;
}

TEST(Recursive, IsThePlainLoopBitByBit) {
    std::vector<double> longest(202);
    for (size_t i = 0; i < longest.size(); ++i) longest[i] = std::sin(static_cast<double>(i)) / 10.0;
    const RecursiveSettings cases[] = {
        RcFilter(RcType::lowPass, 3.1831, 0.1, false),
        RcFilter(RcType::highPass, 3.1831, 0.1, true),
        NarrowBand(NarrowBandType::stop, 50, narrowBandWidth, 0.1),
        NarrowBand(NarrowBandType::pass, 500, 0.01f, 0.3),
        {{0.5, 0.25}, {2.0, 0.3}, true},
        {{0.1, 0.2, 0.3}, {4.0, 0.9, -0.5}, true},
        {{1.0}, {1.0}},
        {{0.3, 0.1, -0.2, 0.4}, {1.0, 0.5, -0.1, 0.05}, true},
        {longest, {1.0, 0.2}},
    };
    for (const RecursiveSettings& settings : cases)
        for (const size_t n : runLengths) {
            std::vector<float> run = NoiseRun(n);
            if (n == 8193) run[8000] = notANumber;
            std::vector<float> expected = Plain(run, settings);
            if (settings.isBidirectional) expected = Reversed(Plain(Reversed(expected), settings));
            CountingRoom room;
            const auto memory =
                InMemory(run, [&](auto in, auto out) { return FilterRecursive(in, settings, out); });
            const auto streamed = Streamed(run, [&](auto& source, int64_t, auto& sink) {
                return FilterRecursive(source, settings, sink, room);
            });
            EXPECT_TRUE(AreSame(memory.values, expected)) << n;
            EXPECT_TRUE(AreSame(streamed.values, expected)) << n;
            EXPECT_EQ(room.made, settings.isBidirectional ? 2 : 0);
            EXPECT_EQ(room.alive, 0);
            const bool isSpoilt = n == 8193 && settings.feedback.size() > 1;
            for (const Smoothed* made : {&memory, &streamed})
                EXPECT_TRUE(!isSpoilt || std::string(made->outcome.note) == spoiltToTheEndText);
        }
}

TEST(Recursive, ResponsesAreTheirFormulas) {
    const auto gain = [](const RecursiveSettings& settings, double f) {
        return std::abs(RecursiveResponse(settings, f, 10000.0));
    };
    // 50 Hz at 10 kHz: the digital circuit is close to the real one.
    const double tau = 1000.0 / (2.0 * std::numbers::pi * 50.0);
    for (const auto type : {RcType::lowPass, RcType::highPass}) {
        EXPECT_NEAR(gain(RcFilter(type, tau, 0.1, false), 50.0), std::sqrt(0.5), 0.01);
        EXPECT_NEAR(gain(RcFilter(type, tau, 0.1, true), 50.0), 0.5, 0.015);
    }
    EXPECT_NEAR(gain(RcFilter(RcType::lowPass, tau, 0.1, false), 0.0), 1.0, 1e-12);
    EXPECT_NEAR(gain(RcFilter(RcType::highPass, tau, 0.1, false), 5000.0), 1.0, 1e-12);
    // Nothing is left at the centre of a stop, and all of it at the centre of a pass.
    for (const double centre : {50.0, 1234.5, 5000.0}) {
        const auto stop = NarrowBand(NarrowBandType::stop, centre, narrowBandWidth, 0.1);
        const auto pass = NarrowBand(NarrowBandType::pass, centre, narrowBandWidth, 0.1);
        EXPECT_NEAR(gain(stop, centre), 0.0, 1e-9);
        EXPECT_NEAR(gain(stop, 0.0), 1.0, 1e-9);
        EXPECT_NEAR(gain(pass, centre), 1.0, 1e-9);
        EXPECT_NEAR(gain(pass, 0.0), 0.0, 1e-6);
    }
}

TEST(Recursive, StopsWhenItIsToldAndRefusesRowsThatAreNone) {
    const std::vector<float> run = NoiseRun(200000);
    std::vector<float> output(run.size());
    const RecursiveSettings both = RcFilter(RcType::lowPass, 1, 1, true);
    EXPECT_ANY_THROW(FilterRecursive(run, both, output, [](int64_t done) { return done < 100000; }));
    EXPECT_THROW(FilterRecursive(run, {{}, {1.0}}, output), std::invalid_argument);
    EXPECT_THROW(FilterRecursive(run, {{1.0}, {}}, output), std::invalid_argument);
    EXPECT_THROW(FilterRecursive(run, {std::vector<double>(203), {1.0}}, output), std::invalid_argument);
    EXPECT_THROW(FilterRecursive(run, {{1.0}, std::vector<double>(5)}, output), std::invalid_argument);
}

}  // namespace
}  // namespace kymora
