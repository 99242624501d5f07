// Outliers of a rhythm and what mends them, on rhythms that were spoilt at known places.

#include <gtest/gtest.h>

#include <cmath>

#include "rhythms/pattern_trend.h"

namespace kymora::test {
namespace {

// A cycle of 100 samples of half a millisecond that slows down a little, with events of 20 samples.
Pattern Rhythm(int count = 40) {
    Pattern pattern;
    pattern.sampleInterval = 0.5;
    int32_t on = 1000;
    for (int i = 0; i < count; ++i) {
        pattern.events.push_back({on, on + 20 + i % 2});
        on += 100 + i / 8 + i % 3;
    }
    return pattern;
}

std::vector<PatternOutlier> OutliersOf(const Pattern& pattern) {
    return FindPatternOutliers(pattern, FitPattern(pattern, 2), 8.0);
}

TEST(PatternTrend, FollowsWhatSlowsDown) {
    const Pattern pattern = Rhythm();
    const PatternTrends trends = FitPattern(pattern, 1);
    EXPECT_NEAR(trends.frequency[0], 1000.0 / 50.0, 1e-12);
    EXPECT_TRUE(std::isnan(trends.frequency[39]));
    EXPECT_EQ(trends.duration[1], 10.5);
    for (size_t i = 0; i < 39; ++i) EXPECT_NEAR(trends.frequencyFit[i], trends.frequency[i], 0.5);
    EXPECT_LT(trends.frequencyTrend.powers[1], 0.0);
    EXPECT_TRUE(OutliersOf(pattern).empty());
}

TEST(PatternTrend, HasNoIntervalAcrossAGap) {
    Pattern pattern = Rhythm();
    const int32_t before = pattern.events[10].onPosition + 50;
    for (size_t i = 11; i < pattern.events.size(); ++i) {
        pattern.events[i].onPosition += 5000;
        pattern.events[i].offPosition += 5000;
    }
    EXPECT_EQ(OutliersOf(pattern).size(), 1u);
    pattern.stretches = {{0, before}, {before + 4000, 100000}};
    EXPECT_TRUE(std::isnan(pattern.Interval(10)));
    Pattern outside{{{-50, -40}, {100, 110}, {5000, 5010}, {6000, 6010}}, {{0, 900}, {1000, 2000}}};
    for (size_t i = 0; i < 3; ++i) EXPECT_TRUE(std::isnan(outside.Interval(i))) << i;
    EXPECT_TRUE(OutliersOf(pattern).empty());
}

// Each is spoilt, and mended back to what it was, but for what the trend cannot know.
TEST(PatternTrend, AutofixMendsWhatWasSpoilt) {
    const Pattern good = Rhythm();
    struct Case {
        const char* what;
        void (*spoil)(std::vector<CEventKM>&);
        OutlierKind kind;
        FixKind fix;
        int number;
    };
    const Case cases[] = {
        {"a missing event", [](auto& events) { events.erase(events.begin() + 12); },
         OutlierKind::lowFrequency, FixKind::add, 13},
        {"two missing events", [](auto& events) { events.erase(events.begin() + 20, events.begin() + 22); },
         OutlierKind::lowFrequency, FixKind::add, 21},
        {"one too many",
         [](auto& events) {
             const int32_t on = events[15].onPosition + 37;
             events.insert(events.begin() + 16, CEventKM{on, on + 20});
         },
         OutlierKind::highFrequency, FixKind::remove, 17},
        {"one in two parts",
         [](auto& events) {
             const CEventKM whole = events[9];
             events[9].offPosition = whole.onPosition + 6;
             events.insert(events.begin() + 10, CEventKM{whole.onPosition + 9, whole.offPosition});
         },
         OutlierKind::highFrequency, FixKind::merge, 10},
        {"one too long", [](auto& events) { events[30].offPosition += 45; }, OutlierKind::width,
         FixKind::adjust, 31},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        Pattern spoilt = good;
        one.spoil(spoilt.events);
        const std::vector<DoneFix> done = AutofixPattern(spoilt, 2, 8.0);
        ASSERT_FALSE(done.empty());
        EXPECT_EQ(done.front().reason, one.kind);
        EXPECT_EQ(done.front().kind, one.fix);
        EXPECT_EQ(done.front().number, one.number);
        ASSERT_EQ(spoilt.events.size(), good.events.size());
        for (size_t i = 0; i < good.events.size(); ++i) {
            EXPECT_NEAR(spoilt.events[i].onPosition, good.events[i].onPosition, 3) << i;
            EXPECT_NEAR(spoilt.events[i].offPosition, good.events[i].offPosition, 4) << i;
        }
        EXPECT_TRUE(OutliersOf(spoilt).empty());
    }
}

// The terms of a polynomial of the time are huge there, and all but cancel.
TEST(PatternTrend, FixesOfALatePatternFollowTheTrend) {
    for (int degree = 1; degree <= 5; ++degree) {
        Pattern pattern;
        for (int32_t i = 0; i < 60; ++i) {
            const int32_t on = 3'600'000 + 50 * i;
            pattern.events.push_back({on, on + 25 + i % 2});
        }
        pattern.events[30].offPosition = pattern.events[30].onPosition + 1;
        const PatternTrends trends = FitPattern(pattern, degree);
        const auto outliers = FindPatternOutliers(pattern, trends, 8.0);
        ASSERT_EQ(outliers.size(), 1u) << degree;
        EXPECT_NEAR(trends.durationTrend.At(pattern.Time(30)), trends.durationFit[30], 1e-6) << degree;
        ASSERT_EQ(outliers[0].fix.kind, FixKind::adjust) << degree;
        const auto [on, off] = outliers[0].fix.spans[0];
        EXPECT_NEAR(off - on, outliers[0].trend, 0.5 + 1e-6) << degree;
    }
}

// Two cycles that are a little short and a little long are outliers, and nothing makes them better.
TEST(PatternTrend, WhatIsALittleOffIsNotMended) {
    Pattern pattern = Rhythm();
    for (size_t i = 20; i < pattern.events.size(); ++i)
        for (int32_t* at : {&pattern.events[i].onPosition, &pattern.events[i].offPosition})
            *at -= i == 20 ? 30 : 0;
    const auto outliers = OutliersOf(pattern);
    ASSERT_EQ(outliers.size(), 2u);
    for (const PatternOutlier& outlier : outliers) EXPECT_EQ(outlier.fix.kind, FixKind::none);
    EXPECT_TRUE(AutofixPattern(pattern, 2, 8.0).empty());
}

TEST(PatternTrend, OfFewEvents) {
    for (int count = 0; count < 4; ++count) {
        Pattern pattern = Rhythm(count);
        EXPECT_TRUE(OutliersOf(pattern).empty()) << count;
        EXPECT_TRUE(AutofixPattern(pattern, 5, 3.0).empty()) << count;
    }
    // A parabola goes through three of four frequencies, so that the fourth would lie any number of MADs
    // away.
    Pattern breaths;
    breaths.sampleInterval = 1.0;
    for (const int32_t on : {0, 4000, 7990, 12010, 15980}) breaths.events.push_back({on, on + 1500});
    breaths.events[2].offPosition += 30;
    EXPECT_TRUE(OutliersOf(breaths).empty());
    EXPECT_FALSE(FitPattern(breaths, 2).frequencyTrend.TellsDistances());
    EXPECT_EQ(FindPatternOutliers(breaths, FitPattern(breaths, 1), 3.0).size(), 1u) << "of five durations";
    // All onsets at one sample: no intervals.
    Pattern together = Rhythm(4);
    for (CEventKM& event : together.events) event = {7, 9};
    EXPECT_TRUE(OutliersOf(together).empty());
}

TEST(PatternTrend, EditsBetweenTwoCursors) {
    Pattern pattern;
    for (const int32_t on : {100, 200, 300}) pattern.events.push_back({on, on + 20});
    const std::vector<CEventKM> source{{140, 142}, {150, 152}, {160, 163}, {400, 401}};
    struct Case {
        const char* what;
        PatternEdit edit;
        double from, to;  // ms, a sample each
        const char* refusal;
        std::vector<std::pair<int, int>> events;
    };
    using enum PatternEdit;
    const std::vector<std::pair<int, int>> asIs{{100, 120}, {200, 220}, {300, 320}};
    const Case cases[] = {
        {"merge", merge, 90, 230, "", {{100, 220}, {300, 320}}},
        {"of three", merge, 90, 330, "You have not placed the cursors around 2 events", asIs},
        {"behind all", merge, 350, 390, "You have placed the cursors after the last event", asIs},
        {"new", add, 135, 165, "", {{100, 120}, {140, 163}, {200, 220}, {300, 320}}},
        {"new, of none", add, 230, 260, "You have not bracketed events in the source channel", asIs},
        {"new, over another", add, 110, 165, "The cursors overlap preceding or following events", asIs},
        {"delete", remove, 199, 221, "", {{100, 120}, {300, 320}}},
        {"delete none", remove, 199, 219, "You have not bracketed an event in the pattern channel", asIs},
        {"turned round", remove, 300, 200, "You have set the end-time cursor earlier", asIs},
        {"no sample", remove, 200, 200.2, "You did not include any sample points", asIs},
    };
    // One that begins between others and lasts beyond the cursors is not between them.
    Pattern withLong = pattern;
    withLong.events.insert(withLong.events.begin() + 1, {110, 900});
    EXPECT_NE(EditPattern(withLong, source, merge, 90, 230).refusal, "");
    const PatternEdited rest = EditPattern(withLong, source, remove, 90, 230);
    ASSERT_EQ(rest.events.size(), 2u);
    EXPECT_EQ(rest.events[0].offPosition, 900);
    EXPECT_EQ(rest.events[1].onPosition, 300);
    ASSERT_EQ(rest.fixes.size(), 2u);
    EXPECT_EQ(rest.fixes[0].number, 1);
    EXPECT_EQ(rest.fixes[1].number, 2) << "as the channel stands when its turn comes";
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        const PatternEdited edited = EditPattern(pattern, source, one.edit, one.from, one.to);
        EXPECT_EQ(edited.refusal.substr(0, std::string(one.refusal).size()), one.refusal);
        EXPECT_EQ(edited.refusal.empty(), std::string(one.refusal).empty());
        ASSERT_EQ(edited.events.size(), one.events.size());
        for (size_t i = 0; i < one.events.size(); ++i) {
            EXPECT_EQ(edited.events[i].onPosition, one.events[i].first);
            EXPECT_EQ(edited.events[i].offPosition, one.events[i].second);
        }
    }
}

}  // namespace
}  // namespace kymora::test
