// Regular stretches, against the plain rule and trains whose stretches are told beforehand.

#include <gtest/gtest.h>

#include <cmath>

#include "rhythms/regular_stretches.h"
#include "rhythms/trains.h"
#include "statistics/descriptive.h"

namespace kymora::test {
namespace {

TEST(RollingCv, IsThatOfEachWindow) {
    std::mt19937 random(4);
    const std::vector<int> intervals = BurstyIntervals(random, 60);
    const std::vector<double> found = RollingCv(TrainOf(intervals), 7);
    ASSERT_EQ(found.size(), 53u);
    for (size_t j = 0; j < found.size(); ++j) {
        const std::vector<double> window(intervals.begin() + static_cast<int>(j),
                                         intervals.begin() + static_cast<int>(j) + 7);
        const MeanSd plain = GetMeanSd(window);
        EXPECT_NEAR(found[j], plain.sd / plain.mean, 1e-12);
    }
    EXPECT_TRUE(std::isinf(RollingCv(TrainOf({0, 0, 0, 5}), 3).front()));
    EXPECT_TRUE(RollingCv(TrainOf({3, 3, 3}), 3).empty());
}

std::vector<int> Joined(std::initializer_list<std::vector<int>> parts) {
    std::vector<int> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}
std::vector<int> Regular(int count, int interval) {
    return std::vector<int>(static_cast<size_t>(count), interval);
}

struct RhythmCase {
    const char* what;
    std::vector<int> intervals;
    RegularSettings settings;
    std::vector<EventStretch> found;
};

void Check(std::span<const RhythmCase> cases) {
    for (const RhythmCase& one : cases) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(FindRegularStretches(TrainOf(one.intervals), one.settings), one.found);
    }
}

TEST(RegularStretches, OpenWhileTheVariationIsLess) {
    const std::vector<int> wild{10, 90, 20, 300, 5, 150, 400};
    RegularSettings plain{.window = 3, .maxCv = 0.2};
    const RhythmCase cases[] = {
        // Seven wild intervals, then events 7 to 17.
        {"in the midst", Joined({wild, Regular(10, 50), wild}), plain, {{7, 17}}},
        {"to the end", Joined({wild, Regular(10, 50)}), plain, {{7, 17}}},
        {"of two that share no event",
         Joined({Regular(6, 50), wild, Regular(6, 20)}),
         plain,
         {{0, 6}, {13, 19}}},
        {"of one event in common", Joined({Regular(6, 50), Regular(6, 500)}), plain, {{0, 12}}},
        {"two windows are the least", Regular(6, 50), plain, {{0, 6}}},
        {"one interval fewer", Regular(5, 50), plain, {}},
        {"strictly less", Joined({Regular(6, 50), {51}}), {.window = 3, .maxCv = 0.0}, {}},
    };
    Check(cases);
}

TEST(RegularStretches, FindShortRunsBehindThemWithinLimits) {
    const std::vector<int> wild{10, 90, 20, 300, 5, 150, 40};
    const std::vector<int> intervals = Joined({Regular(8, 50),
                                               {900, 51, 50, 51, 700},
                                               Regular(8, 200),
                                               {900, 201, 200, 200, 900, 51, 50, 50, 900}});
    RegularSettings local{.window = 5, .maxCv = 0.2, .useLimits = true, .maxInterval = 10000};
    RegularSettings global = local;
    global.localLimits = false;
    RegularSettings typed = local;
    typed.maxInterval = 60;
    RegularSettings longer = local;
    longer.minCycles = 4;
    const RhythmCase cases[] = {
        // Medians of 50 and 200 with a MAD of 0: one sample more is within.
        {"local", intervals, local, {{0, 8}, {9, 12}, {13, 21}, {22, 25}}},
        // Of 16 intervals the median is 125, the MAD 75: 125 +- 333.6.
        {"of all", intervals, global, {{0, 8}, {9, 12}, {13, 21}, {22, 25}, {26, 29}}},
        {"typed limits hold", intervals, typed, {{0, 8}, {9, 12}, {13, 21}}},
        {"too few cycles", intervals, longer, {{0, 8}, {13, 21}}},
        {"none without a stretch", wild, local, {}},
    };
    Check(cases);
}

TEST(RegularStretches, CloseGaps) {
    const std::vector<int> intervals = Joined({Regular(8, 50), {100}, Regular(8, 50), {151}, Regular(8, 50)});
    RegularSettings merge{.window = 3, .maxCv = 0.1, .mergeGaps = true, .allowedGap = 2.0};
    RegularSettings tested = merge;
    tested.allowedGap = 100.0;
    tested.requireTest = true;
    const RhythmCase cases[] = {
        // A gap begins behind the last onset's sample: 99 and 150 samples.
        {"as far as allowed", intervals, merge, {{0, 17}, {18, 26}}},
        {"zero variances, equal means", Joined({Regular(8, 50), {300}, Regular(8, 50)}), tested, {{0, 17}}},
        {"zero variances, other means",
         Joined({Regular(8, 50), {300}, Regular(8, 51)}),
         tested,
         {{0, 8}, {9, 17}}},
        {"one zero variance",
         Joined({Regular(8, 50), {300, 50, 52, 50, 52, 50, 52, 50, 52}}),
         tested,
         {{0, 8}, {9, 17}}},
        {"alike",
         Joined({{50, 52, 50, 52, 50, 52, 50, 52}, {300}, {51, 53, 50, 52, 50, 52, 51, 52}}),
         tested,
         {{0, 17}}},
    };
    Check(cases);
}

TEST(RegularStretches, TellWhyTheyStayApart) {
    RegularSettings tested{
        .window = 3, .maxCv = 0.5, .mergeGaps = true, .allowedGap = 100.0, .requireTest = true};
    std::string notes;
    const auto note = [&](const std::string& text) { notes += text; };
    // s.d. of 1.07 and 10.7: F is 0.01.
    FindRegularStretches(TrainOf({50, 52, 50, 52, 50, 52, 50, 52, 900, 50, 70, 50, 70, 50, 70, 50, 70}),
                         tested, note);
    EXPECT_EQ(notes, "variances differ, don't merge\n");
    notes.clear();
    // Equal variances of 8/7, means 51 and 53: t = 2 / sqrt(8/7 x 2/8) = 3.742 with 14 degrees, p = 0.00220.
    FindRegularStretches(TrainOf({50, 52, 50, 52, 50, 52, 50, 52, 900, 52, 54, 52, 54, 52, 54, 52, 54}),
                         tested, note);
    EXPECT_EQ(notes, "Probability that difference is due to chance = 0.002189\n");
}

}  // namespace
}  // namespace kymora::test
