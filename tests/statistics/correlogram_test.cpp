// Lags of trains against all pairs tried one by one, and the limits of chance.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "statistics/correlogram.h"

namespace kymora {
namespace {

// Times and limits are whole samples: what lies in the range is known without rounding.
constexpr double sampleInterval = 0.1;

std::vector<double> PlainLags(std::span<const double> times1, std::span<const double> times2, bool same,
                              const ValueRange& range) {
    const auto samples = [](double time) { return std::lround(time / sampleInterval); };
    std::vector<double> lags;
    for (size_t k = 0; k < times2.size(); ++k)
        for (size_t i = 0; i < times1.size(); ++i) {
            const long lag = samples(times1[i]) - samples(times2[k]);
            if (!(same && i == k) && lag >= samples(range.minimum) && lag < samples(range.maximum))
                lags.push_back(std::max(times1[i] - times2[k], range.minimum));
        }
    return lags;
}

TEST(Correlogram, LagsAreThoseOfAllPairsInTheRange) {
    std::mt19937 random(5);
    const auto train = [&random](size_t count) {
        std::vector<double> times(count);
        for (double& time : times) time = (1e6 + random() % 5000) * sampleInterval;  // some fall together
        std::sort(times.begin(), times.end());
        return times;
    };
    const std::vector<double> one = train(700);
    const std::vector<double> two = train(300);
    const std::vector<double> none;
    const struct {
        const std::vector<double>& times1;
        const std::vector<double>& times2;
        Trains trains;
    } pairs[] = {{one, two, Trains::different}, {two, one, Trains::different},  {one, one, Trains::same},
                 {one, one, Trains::different}, {none, one, Trains::different}, {none, none, Trains::same}};
    for (const auto& row : pairs)
        for (const ValueRange& range :
             {ValueRange{-20, 20}, {0, 5}, {-5, 0}, {10, 30}, {-1000, 1000}, {5, 5}, {-7.3, 7.3}}) {
            SCOPED_TRACE(testing::Message()
                         << &row - pairs << ": " << range.minimum << " to " << range.maximum);
            const bool same = row.trains == Trains::same;
            const std::vector<double> expected = PlainLags(row.times1, row.times2, same, range);
            EXPECT_EQ(GetLags(row.times1, row.times2, row.trains, range), expected);
            EXPECT_EQ(CountLags(row.times1, row.times2, row.trains, range),
                      static_cast<int64_t>(expected.size()));
            const BinGrid grid{40, range.minimum, range.maximum};
            const Histogram counted = GetCorrelogram(row.times1, row.times2, row.trains, grid);
            const Histogram plain = GetHistogram(expected, grid);
            EXPECT_TRUE(std::ranges::equal(counted.Counts(), plain.Counts()));
            EXPECT_EQ(counted.Above(), 0.0);
        }
}

TEST(Correlogram, PoissonLimitsAreRoundedOutward) {
    const struct {
        double mean;
        double lower;
        double upper;
    } cases[] = {{0.0, 0, 0}, {1e-3, 0, 0}, {5.0, 0, 12}, {20.0, 9, 32}, {1e6, 997424, 1002577}};
    for (const auto& row : cases) {
        const CountLimits limits = GetPoissonLimits(row.mean);
        EXPECT_NEAR(limits.lower, row.lower, row.mean * 2e-6) << row.mean;
        EXPECT_NEAR(limits.upper, row.upper, row.mean * 2e-6) << row.mean;
        if (row.mean == 0.0 || row.mean > 100.0) continue;
        // The definition, by the sum of the terms.
        double upTo = 0.0;
        double below = 0.0;
        for (int k = 0; k <= limits.upper; ++k) {
            below = upTo;
            upTo += std::exp(k * std::log(row.mean) - row.mean - std::lgamma(k + 1.0));
            if (k == limits.lower && k > 0) {
                EXPECT_LE(upTo, 0.005);
            }
            if (k == limits.lower + 1) {
                EXPECT_GT(upTo, 0.005);
            }
        }
        EXPECT_LT(below, 0.995);
        EXPECT_GE(upTo, 0.995);
    }
    EXPECT_TRUE(std::isnan(GetPoissonLimits(-1.0).lower));
    EXPECT_TRUE(std::isnan(GetPoissonLimits(std::numeric_limits<double>::infinity()).upper));
}

TEST(Correlogram, BootstrapLimitsAreThoseOfChance) {
    std::vector<double> stimuli;
    for (int i = 0; i < 100; ++i) stimuli.push_back(i < 50 ? 100.0 + 100.0 * i : 15000.0 + 100.0 * i);
    const TimeStretch region[] = {{0.0, 5200.0}, {7000.0, 7000.0}, {19900.0, 25100.0}};
    const BinGrid grid{10, -50.0, 50.0};
    // 1040 events in 10,400 ms: 0.1 a ms, and 100 stimuli: 100 in a bin of 10 ms.
    ChanceTrains chance{1040, stimuli, region};
    std::mt19937 random(1);
    const std::optional<CountLimits> found = GetBootstrapLimits(chance, grid, random);
    ASSERT_TRUE(found);
    const CountLimits poisson = GetPoissonLimits(100.0);
    EXPECT_NEAR(found->expected, 100.0, 1.0);
    EXPECT_NEAR(found->lower, poisson.lower, 3.0);
    EXPECT_NEAR(found->upper, poisson.upper, 3.0);

    std::mt19937 again(1);
    EXPECT_EQ(GetBootstrapLimits(chance, grid, again)->expected, found->expected);
    chance.trains = Trains::same;
    // 1040 events meet 1039 others at a density of 0.1 a ms, fewer at the ends of the stretches.
    EXPECT_NEAR(GetBootstrapLimits(chance, grid, random)->expected, 1039.0, 1039.0 * 0.01);

    int polls = 0;
    EXPECT_FALSE(GetBootstrapLimits(chance, grid, random, [&polls](double) { return ++polls < 3; }));
    EXPECT_EQ(polls, 3);
    EXPECT_FALSE(GetBootstrapLimits({5, stimuli, std::span(region).subspan(1, 1)}, grid, random))
        << "no time";
    EXPECT_FALSE(GetBootstrapLimits({5, stimuli, region}, {10, 1.0, 1.0}, random));
    EXPECT_EQ(GetBootstrapLimits({0, stimuli, region}, grid, random)->upper, 0.0);
}

TEST(Correlogram, JitterLeavesWhatIsSlowerThanItsWindow) {
    std::mt19937 random(4);
    // A window over all: each of 100 events is in each of ten bins with a probability of 0.1.
    std::vector<double> times1;
    for (int i = 0; i < 100; ++i) times1.push_back(0.5 + 3.0 * i);
    const std::vector<double> middle{500.0};
    const BinGrid grid{10, -500.0, 500.0};
    const auto wide = GetJitterBand(times1, middle, 1000.0, 2000, grid, random);
    ASSERT_TRUE(wide);
    for (size_t bin = 0; bin < 10; ++bin) {
        EXPECT_NEAR(wide->expected[bin], 10.0, 0.5);
        EXPECT_NEAR(wide->lower[bin], 3.0,
                    1.1);  // of a binomial distribution: 0.0024 up to 2, 0.0078 up to 3
        EXPECT_NEAR(wide->upper[bin], 19.0, 1.1);
    }
    // Windows much shorter than bins leave the counts, and each event its rate.
    const Histogram counts = GetCorrelogram(times1, middle, Trains::different, grid);
    const auto narrow = GetJitterBand(times1, middle, 0.25, 50, grid, random);
    for (size_t bin = 0; bin < 10; ++bin) {
        EXPECT_EQ(narrow->lower[bin], counts.Counts()[bin]);
        EXPECT_EQ(narrow->upper[bin], counts.Counts()[bin]);
    }
    EXPECT_FALSE(GetJitterBand(times1, middle, 0.0, 50, grid, random));
    EXPECT_FALSE(GetJitterBand(times1, middle, 1.0, 50, grid, random, [](double) { return false; }));
}

}  // namespace
}  // namespace kymora
