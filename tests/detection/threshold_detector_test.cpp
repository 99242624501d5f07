// Threshold and outlier detection, by hand and against the steps of the detection written sample by sample.

#include "detection/threshold_detector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "detection/outlier_detector.h"

namespace kymora {

void PrintTo(const DetectedSpan& span, std::ostream* os) { *os << span.on << "-" << span.off; }

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();
using Spans = std::vector<DetectedSpan>;

Spans Detect(const ThresholdRule& rule, const std::vector<float>& samples, int64_t first = 0,
             size_t block = 1000000) {
    ThresholdDetector detector(rule, first);
    Spans events;
    for (size_t at = 0; at < samples.size(); at += block)
        detector.Take(std::span(samples).subspan(at, std::min(block, samples.size() - at)), events);
    detector.Finish(events);
    return events;
}

// The detection one sample at a time.
Spans PlainDetection(const ThresholdRule& rule, const std::vector<float>& x) {
    const ThresholdLevels& l = rule.levels;
    const bool up = rule.direction != OnsetDirection::negative;
    const bool down = rule.direction != OnsetDirection::positive;
    const auto onset = [&](float v) { return (v > l.OnPos && up) || (v < l.OnNeg && down); };
    const auto stillOn = [&](float v) { return (v > l.OffPos && up) || (v < l.OffNeg && down); };
    const auto limit = [&](float v) { return (v > l.LimitPos && up) || (v < l.LimitNeg && down); };
    Spans events;
    bool open = false, reached = false;
    int64_t on = 0;
    const auto close = [&](int64_t off) {
        const bool rejected =
            rule.limitLogicUsed && ((!reached && rule.limitLogic == LimitLogic::mustCross) ||
                                    (reached && rule.limitLogic == LimitLogic::mustNotCross));
        if (!rejected) events.push_back({on, off});
        open = reached = false;
    };
    const auto n = static_cast<int64_t>(x.size());
    for (int64_t i = 0; i < n; ++i) {
        const float v = x[static_cast<size_t>(i)];
        if (!open) {
            if (onset(v)) open = true, on = i, reached = limit(v);
        } else if (!stillOn(v)) {
            close(i);
        } else if (limit(v)) {
            reached = true;
        }
    }
    if (open) close(n);
    return events;
}

ThresholdRule Levels(float on, float off, float limit, OnsetDirection direction) {
    ThresholdRule rule;
    rule.levels = {on, off, limit, -on, -off, -limit};
    rule.direction = direction;
    return rule;
}

TEST(ThresholdDetector, ByHand) {
    const ThresholdRule up = Levels(5, 2, 9, OnsetDirection::positive);
    EXPECT_EQ(Detect(up, {0, 5, 6, 3, 2, 6, 0}), (Spans{{2, 4}, {5, 6}})) << "comparisons are strict";
    EXPECT_EQ(Detect(up, {6, 3, 0, 6, 6}, 100), (Spans{{100, 102}, {103, 105}})) << "open at both ends";
    EXPECT_EQ(Detect(up, {-9, -9, 4, 4}), Spans{});
    EXPECT_EQ(Detect(up, {}), Spans{});
    EXPECT_EQ(Detect(Levels(5, 2, 9, OnsetDirection::negative), {6, -6, -3, -2, 6}), (Spans{{1, 3}}));
    // From one side to the other without a sample in the band is one event.
    const ThresholdRule both = Levels(5, 2, 9, OnsetDirection::both);
    EXPECT_EQ(Detect(both, {0, 6, -3, 3, 0, -6, 0}), (Spans{{1, 4}, {5, 6}}));
    // A not-a-number is no onset and ends an event; infinities are beyond everything.
    EXPECT_EQ(Detect(both, {nan, 6, 6, nan, 6, 0, inf, -inf, 0}), (Spans{{1, 3}, {4, 5}, {6, 8}}));
    // With the offset level beyond the onset level, between the two each second sample is an onset.
    EXPECT_EQ(Detect(Levels(2, 5, 9, OnsetDirection::positive), {3, 3, 3, 6, 6, 0, 3}),
              (Spans{{0, 1}, {2, 5}, {6, 7}}));
}

TEST(ThresholdDetector, LimitLogic) {
    ThresholdRule rule = Levels(5, 2, 9, OnsetDirection::both);
    // The limit is reached on the onset, within, on the other side, not at all, and by the sample behind.
    const std::vector<float> samples{0, 10, 3, 0, 6, 10, 3, 0, 6, -10, 0, 6, 9, 0, 0};
    rule.limitLogicUsed = true;
    rule.limitLogic = LimitLogic::mustCross;
    EXPECT_EQ(Detect(rule, samples), (Spans{{1, 3}, {4, 7}, {8, 10}}));
    rule.limitLogic = LimitLogic::mustNotCross;
    EXPECT_EQ(Detect(rule, samples), (Spans{{11, 13}}));
    rule.limitLogicUsed = false;
    EXPECT_EQ(Detect(rule, samples).size(), 4u);
    // The last event, still open, stands the same test.
    rule.limitLogicUsed = true;
    EXPECT_EQ(Detect(rule, {6, 10}), Spans{});
    EXPECT_EQ(Detect(rule, {6, 6}), (Spans{{0, 2}}));
}

TEST(ThresholdDetector, AgreesWithPlainStepsInBlocksOfAnySize) {
    std::mt19937 random(11);
    const std::vector<float> levels{-2, -1, -0.5f, 0, 0.5f, 1, 2, inf, -inf, nan};
    const auto level = [&] { return levels[random() % levels.size()]; };
    for (int round = 0; round < 300; ++round) {
        std::normal_distribution<float> normal(0.0f, round % 3 == 0 ? 0.4f : 1.5f);
        std::vector<float> samples(1 + random() % 2000);
        float value = 0.0f;
        for (float& sample : samples) {
            value = 0.9f * value + normal(random);
            sample = random() % 200 == 0 ? nan : std::round(value * 2) / 2;
        }
        ThresholdRule rule;
        rule.levels = {level(), level(), level(), level(), level(), level()};
        rule.direction = static_cast<OnsetDirection>(random() % 3);
        rule.limitLogicUsed = random() % 2 == 0;
        rule.limitLogic = static_cast<LimitLogic>(random() % 2);
        const Spans plain = PlainDetection(rule, samples);
        for (const size_t block : {size_t{1}, size_t{64}, size_t{97}, samples.size()})
            ASSERT_EQ(Detect(rule, samples, 0, block), plain) << round << " " << block;
    }
}

TEST(OutlierDetector, RunsOfOutliers) {
    const std::vector<float> samples{9, 1, 5, 6, -6, 0, -7, -6, 0, nan, 8};
    const auto detect = [&](OutlierDirection direction, int64_t first) {
        OutlierDetector detector(5, -5, direction, first);
        Spans events;
        detector.Take(std::span(samples).first(4), events);
        detector.Take(std::span(samples).subspan(4), events);
        detector.Finish(events);
        return events;
    };
    // The run that is open at the end, at the last sample, ends at that sample's position.
    EXPECT_EQ(detect(OutlierDirection::both, 0), (Spans{{0, 1}, {3, 5}, {6, 8}, {10, 10}}));
    EXPECT_EQ(detect(OutlierDirection::above, 100), (Spans{{100, 101}, {103, 104}, {110, 110}}));
    EXPECT_EQ(detect(OutlierDirection::below, 0), (Spans{{4, 5}, {6, 8}}));
}

}  // namespace
}  // namespace kymora
