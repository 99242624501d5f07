// Hills and valleys: turning points, merging and prominences against plain second implementations, bounds
// worked out by hand.

#include "detection/hills.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <random>

namespace kymora {
namespace {

constexpr float nan32 = std::numeric_limits<float>::quiet_NaN();

std::vector<TurningRun> RunsOf(const std::vector<float>& samples, bool reverses, size_t block) {
    TurningPointSearch search(reverses);
    for (size_t at = 0; at < samples.size(); at += block)
        search.Take(std::span(samples).subspan(at, std::min(block, samples.size() - at)));
    return search.Finish();
}

// The runs with their turning points, one sample at a time.
std::vector<TurningRun> PlainRuns(const std::vector<float>& samples, bool reverses) {
    std::vector<TurningRun> runs;
    const auto value = [&](size_t i) { return reverses ? -samples[i] : samples[i]; };
    for (size_t from = 0; from < samples.size(); ++from) {
        size_t end = from;
        while (end < samples.size() && std::isfinite(samples[end])) ++end;
        if (end == from) continue;
        TurningRun run;
        run.first = {static_cast<int32_t>(from), value(from)};
        run.last = {static_cast<int32_t>(end - 1), value(end - 1)};
        for (size_t i = from + 1; i < end; ++i) {
            size_t behind = i + 1;
            while (behind < end && value(behind) == value(i)) ++behind;
            if (behind == end || value(i) == value(i - 1)) continue;
            const bool isPeak = value(i) > value(i - 1) && value(i) > value(behind);
            const bool isTrough = value(i) < value(i - 1) && value(i) < value(behind);
            if (!isPeak && !isTrough) continue;
            if (run.points.empty()) run.startsWithPeak = isPeak;
            run.points.push_back({static_cast<int32_t>(i), value(i)});
        }
        if (run.HillCount() > 0) runs.push_back(run);
        from = end;
    }
    return runs;
}

void PlainMergePairs(TurningRun& run, double height) {
    for (;;) {
        size_t best = 0;
        double least = height;
        for (size_t trough = 1; trough + 1 < run.points.size(); ++trough) {
            if (run.IsPeak(trough)) continue;
            const TurningPoint &before = run.points[trough - 1], &behind = run.points[trough + 1];
            const double low = double{std::min(before.value, behind.value)} - run.points[trough].value;
            if (!(low < least)) continue;
            least = low;
            best = before.value <= behind.value ? trough - 1 : trough;
        }
        if (least == height) return;
        const auto at = run.points.begin() + static_cast<std::ptrdiff_t>(best);
        run.points.erase(at, at + 2);
    }
}

// The rule as it is told: the smallest pair of a lower peak and the trough that it shares goes first. The
// outermost peaks have the lowest troughs of the run beyond them, the last of equals, where these are deep
// enough.
void PlainMerge(TurningRun& run, double height) {
    if (height <= 0.0) return;
    const TurningRun raw = run;
    PlainMergePairs(run, height);
    if (!run.IsPeak(0)) run.points.erase(run.points.begin());
    if (run.points.size() % 2 == 0) run.points.pop_back();
    const TurningPoint first = run.points.front(), last = run.points.back();
    std::optional<TurningPoint> before, behind;
    for (size_t i = 0; i < raw.points.size(); ++i) {
        const TurningPoint& point = raw.points[i];
        if (raw.IsPeak(i)) continue;
        if (point.at < first.at && (!before || point.value <= before->value)) before = point;
        if (point.at > last.at && (!behind || point.value <= behind->value)) behind = point;
    }
    run.startsWithPeak = !before || first.value - before->value < height;
    if (!run.startsWithPeak) run.points.insert(run.points.begin(), *before);
    if (behind && last.value - behind->value >= height) run.points.push_back(*behind);
}

std::vector<float> Steps(std::mt19937& random, size_t count, int range, bool walks) {
    std::vector<float> samples;
    float level = 0.0f;
    for (size_t i = 0; i < count; ++i) {
        const auto draw =
            static_cast<float>(static_cast<int>(random() % static_cast<unsigned>(range)) - range / 2);
        level = walks ? level + draw : draw;
        samples.push_back(level);
    }
    return samples;
}

TEST(TurningPoints, AreThoseOfAPlainLoopWhateverTheBlocks) {
    std::mt19937 random(1);
    for (const int range : {3, 5, 50})
        for (const bool walks : {false, true})
            for (const bool reverses : {false, true}) {
                std::vector<float> samples = Steps(random, 1500, range, walks);
                samples[333] = samples[900] = nan32;
                samples[334] = -std::numeric_limits<float>::infinity();
                std::vector<TurningRun> plain = PlainRuns(samples, reverses);
                ASSERT_GT(plain.size(), 1u);
                for (const size_t block : {1, 7, 64, 1000, 5000})
                    EXPECT_EQ(RunsOf(samples, reverses, block), plain);
            }
}

TEST(TurningPoints, ThereAreNoneInAConstantOrSteadyTrace) {
    for (const std::vector<float>& samples : std::vector<std::vector<float>>{
             {}, {1}, {1, 2}, {3, 3, 3, 3}, {1, 2, 2, 3, 9}, {5, 4, 4, 1}, {nan32, nan32}})
        EXPECT_TRUE(RunsOf(samples, false, 100).empty());
}

// What the operation does with samples that it reads.
std::vector<Hill> HillsIn(const std::vector<float>& samples, const HillRule& rule, size_t* readSamples = {}) {
    std::vector<TurningRun> runs = RunsOf(samples, rule.kind == HillKind::valleys, samples.size());
    for (TurningRun& run : runs) MergeFoothills(run, rule.mergeFoothills);
    std::vector<Hill> hills = HillsOf(runs, rule, [&](int64_t from, std::span<float> values) {
        std::ranges::copy(std::span(samples).subspan(static_cast<size_t>(from), values.size()),
                          values.begin());
        if (readSamples) *readSamples += values.size();
    });
    std::erase_if(hills, [&](const Hill& found) { return !HasDuration(found, rule); });
    return hills;
}

TEST(MergeFoothills, TakesAwayWhatTheRuleTakesAwayStepByStep) {
    std::mt19937 random(2);
    for (int round = 0; round < 400; ++round) {
        const std::vector<float> samples = Steps(random, 60, 2 + round % 20, round % 2 == 0);
        for (TurningRun run : RunsOf(samples, round % 3 == 0, 100))
            for (const double height : {0.0, 1.0, 2.0, 3.5, 8.0, 1e9}) {
                TurningRun plain = run, merged = run;
                PlainMerge(plain, height);
                MergeFoothills(merged, height);
                ASSERT_EQ(merged.points, plain.points) << round << " " << height;
            }
    }
}

// Up in steps of unequal size, a plateau, down.
const std::vector<float> hill = {5, 0, 1, 3, 2, 4, 8, 10, 10, 7, 2, 3, 1, 0, 4};

TEST(Hills, BeginAndEndWhereTheSlopesSay) {
    struct Case {
        double up, down;
        SlopeFrom from;
        int64_t on, off;
    };
    const Case cases[] = {
        {100, 100, SlopeFrom::centre, 7, 8},  // the peak alone
        {0, 0, SlopeFrom::edge, 1, 13},       // from trough to trough
        {20, 20, SlopeFrom::edge, 3, 12},    // 3 at sample 3 is above 2; 3 at sample 11 is the last one above
        {20, 20, SlopeFrom::centre, 5, 10},  // 2 at sample 4 is the last one not above; 2 at sample 10
        {40, 70, SlopeFrom::centre, 6, 9},   // 4 at sample 5 is not above 4, nor 7 above 7
        {39, 69, SlopeFrom::edge, 5, 10},    // but above 3.9 and 6.9
        {99.5, 99.5, SlopeFrom::edge, 7, 9},  // the plateau belongs to it
        {0, 100, SlopeFrom::centre, 1, 8}};
    for (const Case& one : cases) {
        for (const bool isValley : {false, true}) {
            HillRule rule;
            rule.kind = isValley ? HillKind::valleys : HillKind::hills;
            rule.upSlope = one.up;
            rule.downSlope = one.down;
            rule.from = one.from;
            rule.mergeFoothills = 2.0;
            std::vector<float> samples = hill;
            if (isValley)
                for (float& sample : samples) sample = -sample;
            const std::vector<Hill> found = HillsIn(samples, rule);
            ASSERT_EQ(found.size(), 1u);
            EXPECT_EQ(found[0].on, one.on) << one.up;
            EXPECT_EQ(found[0].off, one.off) << one.down;
            EXPECT_EQ(found[0].peak, (TurningPoint{7, isValley ? -10.0f : 10.0f}));
            EXPECT_EQ(found[0].right, (TurningPoint{13, isValley ? -0.0f : 0.0f}));
            EXPECT_EQ(found[0].Height(), 10.0);
        }
    }
}

TEST(Hills, AreLeftOutByHeightLevelAndDuration) {
    // Hills of 10, 4 and 6 on their shorter sides, with peaks of 10, 4 and 8; the first rise and the last
    // fall have no trough beyond them.
    const std::vector<float> samples = {2, 9, 0, 10, 0, 4, 0, 8, 2, 5};
    const auto peaks = [&](HillRule rule) {
        std::vector<float> values;
        for (const Hill& found : HillsIn(samples, rule)) values.push_back(found.peak.value);
        return values;
    };
    using Peaks = std::vector<float>;
    HillRule rule;
    EXPECT_EQ(peaks(rule), (Peaks{10, 4, 8}));
    rule.excludeMolehills = 6.0;
    EXPECT_EQ(peaks(rule), (Peaks{10, 8})) << "as high as the limit is high enough";
    rule.excludeMolehills = 6.1;
    EXPECT_EQ(peaks(rule), (Peaks{10}));
    rule = {};
    rule.absolute = 8.0;
    EXPECT_EQ(peaks(rule), (Peaks{10, 8}));
    rule.absolute.reset();
    rule.mergeFoothills = 4.5;
    EXPECT_EQ(peaks(rule), (Peaks{10, 8})) << "the hill of 4 is part of another";
    rule = {};
    rule.upSlope = rule.downSlope = 0.0;
    rule.minimumDuration = rule.maximumDuration = 2;
    EXPECT_EQ(peaks(rule), (Peaks{10, 4, 8})) << "both limits are accepted";
    rule.minimumDuration = 3;
    rule.maximumDuration = 9;
    EXPECT_TRUE(peaks(rule).empty());
    // In the units of the data: a valley reaches the level from above.
    const std::vector<float> valleys = {0, 5, -3, 5, 1, 5};
    rule = {};
    rule.kind = HillKind::valleys;
    rule.absolute = 0.0;
    const std::vector<Hill> found = HillsIn(valleys, rule);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].peak, (TurningPoint{2, -3.0f}));
    EXPECT_EQ(found[0].LeftHeight(), 8.0);
}

TEST(Hills, DoNotLieAcrossWhatIsNoNumber) {
    EXPECT_EQ(HillsIn(std::vector<float>{1, 0, 5, nan32, 5, 0, 1}, {}).size(), 0u);
    const std::vector<Hill> found =
        HillsIn(std::vector<float>{nan32, 1, 0, 5, 0, 1, nan32, 1, 0, 7, 0, 1}, {});
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].peak, (TurningPoint{3, 5.0f}));
    EXPECT_EQ(found[1].peak, (TurningPoint{9, 7.0f}));
}

// By the samples themselves: as far as the peak is not exceeded, and half way down to the higher base.
std::pair<double, double> PlainProminence(const std::vector<float>& x, size_t peak) {
    double bases[2];
    for (const int way : {-1, 1}) {
        float low = x[peak];
        for (auto i = static_cast<int>(peak);
             i >= 0 && i < static_cast<int>(x.size()) && x[static_cast<size_t>(i)] <= x[peak]; i += way)
            low = std::min(low, x[static_cast<size_t>(i)]);
        bases[way > 0] = low;
    }
    const double prominence = x[peak] - std::max(bases[0], bases[1]);
    const double level = x[peak] - prominence / 2;
    double ends[2];
    for (const int way : {-1, 1}) {
        size_t i = peak;
        while (x[i] > level) i = i + static_cast<size_t>(way);
        const double beyond = x[i], inside = x[i - static_cast<size_t>(way)];
        ends[way > 0] = static_cast<double>(i) - way * (level - beyond) / (inside - beyond);
    }
    return {prominence, ends[1] - ends[0]};
}

TEST(Hills, HaveTheProminenceAndWidthOfTheirSamples) {
    std::mt19937 random(3);
    size_t count = 0;
    for (int round = 0; round < 60; ++round) {
        const std::vector<float> samples = Steps(random, 400, 3 + round % 9, round % 4 != 0);
        for (const double merge : {0.0, 3.0, 10.0}) {
            HillRule rule;
            rule.mergeFoothills = merge;
            for (const Hill& found : HillsIn(samples, rule)) {
                const auto [prominence, width] = PlainProminence(samples, static_cast<size_t>(found.peak.at));
                ASSERT_EQ(found.prominence, prominence) << round << " " << merge << " " << found.peak.at;
                ASSERT_NEAR(found.halfWidth, width, 1e-9) << round << " " << merge << " " << found.peak.at;
                ++count;
            }
        }
    }
    EXPECT_GT(count, 1000u);
}

// Peaks of equal and other heights on a plateau: their half heights lie on two long slopes with ripples that
// are merged, and on steps next to the plateau.
TEST(Hills, ThatShareALongSlopeReadItOnce) {
    std::mt19937 random(4);
    std::vector<float> samples{0.5f};
    constexpr int slope = 40'000, peaks = 300;
    const auto onSlope = [&](int i) {
        const auto at = static_cast<float>(i);
        return std::min(17e-3f * at, 34.0f + 2e-4f * at) + static_cast<float>(i % 3);
    };
    for (int i = 0; i < slope; ++i) samples.push_back(onSlope(i));
    for (int i = 0; i < peaks; ++i) {
        const float height = i % 3 == 0 ? 70.0f : 55.0f + static_cast<float>(random() % 14);
        samples.insert(samples.end(), {50.0f, height, 45.0f + static_cast<float>(random() % 5)});
    }
    for (int i = slope; i-- > 0;) samples.push_back(onSlope(i));
    samples.push_back(0.5f);
    HillRule rule;
    rule.mergeFoothills = 4.0;
    size_t read = 0, onSlopes = 0;
    const std::vector<Hill> hills = HillsIn(samples, rule, &read);
    ASSERT_GT(hills.size(), 200u);
    for (const Hill& found : hills) {
        const auto [prominence, width] = PlainProminence(samples, static_cast<size_t>(found.peak.at));
        ASSERT_EQ(found.prominence, prominence);
        ASSERT_NEAR(found.halfWidth, width, 1e-9) << found.peak.at;
        onSlopes += width > 1000.0;
    }
    EXPECT_GT(onSlopes, 50u);
    EXPECT_LT(read, 2 * samples.size() + 1024 * hills.size());
}

}  // namespace
}  // namespace kymora
