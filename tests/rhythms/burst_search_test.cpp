// The searches for bursts, against storing every candidate and taking the best of them in turn.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <list>
#include <numeric>

#include "rhythms/burst_filter.h"
#include "rhythms/interval_bursts.h"
#include "rhythms/poisson_bursts.h"
#include "rhythms/rank_bursts.h"
#include "rhythms/trains.h"

namespace kymora::test {
namespace {

struct Stored {
    double p = 1.0;
    int first = 0, last = 0;  // events
};

double PlainPoissonTail(int count, double mean) {
    long double sum = 0.0L;
    for (int k = count; k < count + 60 || k < 3.0 * mean; ++k)
        sum += std::exp(k * std::log(static_cast<long double>(mean)) - mean - std::lgamma(k + 1.0L));
    return static_cast<double>(std::min(1.0L, sum));
}

// Takes the smallest p, the earliest stored of equals, and deletes what overlaps it, until none is left.
template <typename Overlaps>
std::vector<EventStretch> TakeInTurn(std::list<Stored> stored, Overlaps overlaps) {
    std::vector<EventStretch> taken;
    while (!stored.empty()) {
        Stored best = stored.front();
        for (const Stored& one : stored)
            if (one.p < best.p) best = one;
        taken.push_back({best.first, best.last, -std::log10(best.p)});
        stored.remove_if([&](const Stored& one) { return overlaps(one, best); });
    }
    std::ranges::sort(taken, {}, &EventStretch::first);
    return taken;
}

std::vector<EventStretch> PlainPoisson(const EventTrain& train, const PoissonSettings& settings) {
    std::list<Stored> stored;
    const int count = static_cast<int>(train.Size());
    if (count < 5) return {};
    const double rate = (count - 1.0) / (train.onsets.back() - train.onsets.front());
    for (int u = 0; u < count; ++u)
        for (int v = u + 1; v < count && train.Interval(static_cast<size_t>(v) - 1) < settings.maxInterval;
             ++v) {
            const auto at = [&](int event) { return train.onsets[static_cast<size_t>(event)]; };
            const double p = PlainPoissonTail(v - u, (at(v) - at(u)) * rate);
            if (p <= std::pow(10.0, -settings.surprise) && v - u + 1 >= settings.minEvents)
                stored.push_back({p, u, v});
        }
    // From the first onset to a sample behind the last.
    return TakeInTurn(std::move(stored), [&](const Stored& a, const Stored& b) {
        const auto at = [&](int event) { return train.onsets[static_cast<size_t>(event)]; };
        return at(a.first) < at(b.last) + 1 && at(b.first) < at(a.last) + 1;
    });
}

void ExpectSame(const std::vector<EventStretch>& found, const std::vector<EventStretch>& plain) {
    ASSERT_EQ(found.size(), plain.size());
    for (size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].first, plain[i].first);
        EXPECT_EQ(found[i].last, plain[i].last);
        EXPECT_NEAR(found[i].surprise, plain[i].surprise, 1e-8 * std::max(1.0, plain[i].surprise));
    }
}

TEST(PoissonBursts, AreThoseOfAllCandidatesInTurn) {
    std::mt19937 random(11);
    size_t bursts = 0;
    for (int round = 0; round < 120; ++round) {
        const EventTrain train = TrainOf(BurstyIntervals(random, 4 + static_cast<int>(random() % 120)));
        PoissonSettings settings;
        settings.surprise = std::vector{0.5, 1.0, 2.0, 3.5}[random() % 4];
        settings.maxInterval = std::vector{5, 13, 60, 1000}[random() % 4];
        settings.minEvents = 2 + static_cast<int32_t>(random() % 4);
        SCOPED_TRACE(round);
        const auto found = FindPoissonBursts(train, settings).stretches;
        bursts += found.size();
        ExpectSame(found, PlainPoisson(train, settings));
    }
    EXPECT_GT(bursts, 200u);
}

TEST(PoissonBursts, EdgesOfTheRule) {
    PoissonSettings settings;
    settings.maxInterval = 10;
    // Four events are none, five are: of 3 short intervals among 4, L = 3 x 4 / 103.
    EXPECT_TRUE(FindPoissonBursts(TrainOf({1, 1, 1}), settings).stretches.empty());
    const auto five = FindPoissonBursts(TrainOf({1, 1, 1, 100}), settings).stretches;
    ASSERT_EQ(five.size(), 1u);
    EXPECT_EQ(five[0].first, 0);
    EXPECT_EQ(five[0].last, 3);
    EXPECT_NEAR(five[0].surprise, -std::log10(PlainPoissonTail(3, 3.0 * 4 / 103)), 1e-12);
    // With 3 events a pair of intervals is enough.
    EXPECT_EQ(FindPoissonBursts(TrainOf({50, 1, 1, 100}), settings).stretches.size(), 1u);
    // An interval of just the longest ends a run.
    EXPECT_TRUE(FindPoissonBursts(TrainOf({100, 1, 10, 1, 100}), settings).stretches.empty());
    EXPECT_TRUE(FindPoissonBursts(TrainOf({0, 0, 0, 0, 0}), settings).stretches.empty());
    EXPECT_TRUE(FindPoissonBursts({}, settings).stretches.empty());
    // Onsets at one sample have a finite surprise.
    const auto together = FindPoissonBursts(TrainOf({0, 0, 0, 0, 1000, 1000}), settings).stretches;
    ASSERT_EQ(together.size(), 1u);
    EXPECT_EQ(together[0].last, 4);
    EXPECT_NEAR(together[0].surprise, -std::log10(PlainPoissonTail(4, 0.5 * 6 / 2000)), 1e-9);
    // All that is left becomes bursts at surprise 0, none of which has a negative one.
    settings.surprise = 0.0;
    settings.maxInterval = 1000;
    std::mt19937 random(2);
    const auto all = FindPoissonBursts(TrainOf(BurstyIntervals(random, 200)), settings).stretches;
    for (const EventStretch& burst : all) EXPECT_FALSE(std::signbit(burst.surprise));
    for (size_t i = 1; i < all.size(); ++i) EXPECT_LE(all[i].first - all[i - 1].last, settings.minEvents);
    settings.surprise = 400.0;
    EXPECT_TRUE(FindPoissonBursts(TrainOf(std::vector<int>(300, 1)), settings).stretches.empty());
}

TEST(PoissonBursts, ThatLastIntoOthersAreOne) {
    // The last event of the first burst reaches to the second event of what is as surprising.
    EventTrain train = TrainOf({500, 2, 2, 2, 400, 2, 2, 2, 500, 500});
    train.offsets[4] = train.onsets[6];
    PoissonSettings settings;
    settings.maxInterval = 450;
    const auto found = FindPoissonBursts(train, settings).stretches;
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].last, 4);
    EXPECT_EQ(found[1].first, 6);
}

TEST(PoissonBursts, KeepWhatWasFoundWhenEnded) {
    std::mt19937 random(5);
    std::vector<int> intervals = BurstyIntervals(random, 400);
    intervals[200] = 100000;
    const EventTrain train = TrainOf(intervals);
    PoissonSettings settings;
    settings.maxInterval = 1000;
    const auto ended = FindPoissonBursts(train, settings, [](double done) { return done < 0.6; });
    EXPECT_TRUE(ended.isEnded);
    const auto all = FindPoissonBursts(train, settings);
    EXPECT_FALSE(all.isEnded);
    ASSERT_GT(ended.stretches.size(), 0u);
    ASSERT_LT(ended.stretches.size(), all.stretches.size());
    for (size_t i = 0; i < ended.stretches.size(); ++i) EXPECT_EQ(ended.stretches[i], all.stretches[i]);
}

// --- by rank ---

TEST(RankBursts, RanksShareTheirMean) {
    EXPECT_EQ(RanksOf(TrainOf({5, 1, 5, 9, 1, 1})), (std::vector<double>{4.5, 2.0, 4.5, 6.0, 2.0, 2.0}));
}

// The lower tail as the rule says it, with logarithms.
double PlainRankTail(int q, double sum, double n) {
    if (q >= 30)
        return 0.5 * std::erfc((q * (n + 1) / 2 - sum) / std::sqrt(q * (n * n - 1) / 12) / std::sqrt(2.0));
    double p = 0.0;
    for (int k = 0; k <= std::floor((sum - q) / n); ++k) {
        double log = std::lgamma(q + 1.0) - std::lgamma(k + 1.0) - std::lgamma(q - k + 1.0) - q * std::log(n);
        for (int j = 0; j < q; ++j) log += std::log(sum - k * n - j) - std::log(j + 1.0);
        p += (k % 2 ? -1.0 : 1.0) * std::exp(log);
    }
    return std::min(1.0, p);
}

TEST(RankBursts, AreThoseOfAllCandidatesInTurn) {
    std::mt19937 random(17);
    size_t bursts = 0;
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        // Intervals that differ, so that no two candidates are equal by chance.
        std::vector<int> intervals = BurstyIntervals(random, 20 + static_cast<int>(random() % 100));
        for (size_t i = 0; i < intervals.size(); ++i)
            intervals[i] = intervals[i] * 1000 + static_cast<int>(i * 7 % 997);
        const EventTrain train = TrainOf(intervals);
        RankSettings settings{std::vector{1.0, 2.0, 3.0}[random() % 3],
                              std::vector{13000, 80000, 1000000}[random() % 3]};
        const std::vector<double> ranks = RanksOf(train);
        std::list<Stored> stored;
        const int count = static_cast<int>(intervals.size());
        for (int u = 0; u < count; ++u) {
            double sum = 0.0;
            for (int v = u; v < count && intervals[static_cast<size_t>(v)] <= settings.maxInterval; ++v) {
                sum += ranks[static_cast<size_t>(v)];
                if (v == u) continue;
                const double p = PlainRankTail(v - u + 1, sum, count);
                if (-std::log10(p) > settings.surprise) stored.push_back({p, u, v + 1});
            }
        }
        const auto plain = TakeInTurn(std::move(stored), [](const Stored& a, const Stored& b) {
            return a.first <= b.last && b.first <= a.last;
        });
        const auto found = FindRankBursts(train, ranks, settings).stretches;
        bursts += found.size();
        ASSERT_EQ(found.size(), plain.size());
        for (size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i].first, plain[i].first);
            EXPECT_EQ(found[i].last, plain[i].last);
            EXPECT_NEAR(found[i].surprise, plain[i].surprise, 1e-7);
        }
    }
    EXPECT_GT(bursts, 60u);
}

TEST(RankBursts, AnIntervalOfJustTheLongestStays) {
    const EventTrain train = TrainOf({100, 1, 10, 1, 100, 90, 80, 95});
    const auto ranks = RanksOf(train);
    EXPECT_EQ(FindRankBursts(train, ranks, {0.5, 10}).stretches.front().Count(), 4);
    EXPECT_TRUE(FindRankBursts(train, ranks, {0.5, 9}).stretches.empty());
    EXPECT_TRUE(FindRankBursts({}, {}, {0.5, 9}).stretches.empty());
}

// --- by intervals ---

TEST(IntervalBursts, OpenBelowOneLimitAndCloseAboveAnother) {
    struct Case {
        const char* what;
        std::vector<int> intervals;
        IntervalLimitsOfBursts limits;
        std::vector<EventStretch> found;
    };
    const Case cases[] = {
        {"limits are strict", {5, 10, 10, 11, 4, 30}, {5, 10}, {{4, 5}}},
        {"one that goes on", {9, 3, 10, 10, 11, 4}, {5, 10}, {{1, 4}, {5, 6}}},
        {"the longer one opens none by itself", {8, 8, 8}, {5, 10}, {}},
        {"what closes does not open", {3, 15, 3}, {20, 10}, {{0, 1}, {2, 3}}},
        {"nothing", {}, {5, 10}, {}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(FindIntervalBursts(TrainOf(one.intervals), one.limits), one.found);
    }
}

TEST(IntervalBursts, CutBetweenTheTwoPeaks) {
    std::mt19937 random(8);
    std::lognormal_distribution<double> within(std::log(5.0), 0.3), between(std::log(500.0), 0.4);
    std::vector<double> intervals{0.0};
    for (int i = 0; i < 4000; ++i) intervals.push_back(i % 5 == 0 ? between(random) : within(random));
    const auto cut = FindIntervalCut(intervals, 100.0);
    ASSERT_TRUE(cut);
    EXPECT_GT(cut->interval, 12.0);
    EXPECT_LT(cut->interval, 180.0);
    EXPECT_GT(cut->voidParameter, 0.9);
    EXPECT_FALSE(FindIntervalCut(intervals, 1.0));  // no peak so short
    intervals.clear();
    for (int i = 0; i < 2000; ++i) intervals.push_back(within(random));
    EXPECT_FALSE(FindIntervalCut(intervals, 100.0));
    EXPECT_FALSE(FindIntervalCut(std::vector<double>(100, 0.0), 100.0));
}

// --- what becomes of them ---

TEST(BurstFilter, JoinsThenMeasuresThenCounts) {
    //                          0  1  2  3   4  5  6    7
    const EventTrain train = TrainOf({2, 2, 2, 10, 2, 2, 100});
    const std::vector<EventStretch> found{{0, 3, 2.5}, {4, 6, 7.0}};
    struct Case {
        const char* what;
        BurstFilter filter;
        size_t bursts;
    };
    const Case cases[] = {
        {"as they are", {true, 0, 0, 2}, 2},
        {"a gap of just the least stays", {true, 9, 0, 2}, 2},
        {"joined", {true, 10, 0, 2}, 1},
        {"joined before it is measured", {true, 10, 15, 7}, 1},
        {"too short", {true, 0, 6, 2}, 1},
        {"too few", {true, 0, 0, 4}, 1},
        {"too few in any case", {false, 10, 100, 4}, 1},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(FilterBursts(train, found, one.filter).size(), one.bursts);
    }
    const Burst joined = FilterBursts(train, found, {true, 10, 0, 2}).front();
    EXPECT_EQ(joined.events, (EventStretch{0, 6, 7.0}));
    EXPECT_EQ(joined.onset, 0);
    EXPECT_EQ(joined.offset, 21);
}

}  // namespace
}  // namespace kymora::test
