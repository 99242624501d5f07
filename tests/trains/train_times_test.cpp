// Latencies of responses, and how long states last.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "trains/latency_raster.h"
#include "trains/sojourn_fit.h"

namespace kymora {
namespace {

TEST(LatencyRaster, HasAMarkForEachResponseInEachWindow) {
    const std::vector<int64_t> stimuli{100, 150, 150, 900}, responses{90, 100, 149, 160, 250, 1000};
    const auto marks = MakeLatencyMarks(stimuli, responses, -10, 100, 100);
    const std::vector<LatencyMark> expected{{0, 0, -10}, {0, 1, 0},  {0, 2, 49}, {0, 3, 60},
                                            {1, 2, -1},  {1, 3, 10}, {2, 2, -1}, {2, 3, 10}};
    EXPECT_EQ(marks, expected);
    EXPECT_EQ(MakeLatencyMarks(stimuli, responses, -10, 100, 3).size(), 3u);
    EXPECT_TRUE(MakeLatencyMarks(stimuli, responses, 10, 10, 100).empty());
    // 0, 10, 10, and none for the last one.
    EXPECT_EQ(RowsByLatency(marks, 4), (std::vector<int32_t>{0, 1, 2, 3}));
    EXPECT_EQ(RowsByLatency(MakeLatencyMarks(stimuli, responses, 1, 100, 100), 4),
              (std::vector<int32_t>{1, 2, 0, 3}));
    EXPECT_EQ(ShortestInterval(stimuli), 50);
    EXPECT_EQ(ShortestInterval(std::vector<int64_t>{7, 7}), 0);
}

std::vector<double> Draws(std::mt19937& random, const Mixture& mixture, int count) {
    std::vector<double> values;
    std::uniform_real_distribution<double> which(0.0, 1.0);
    for (int i = 0; i < count; ++i) {
        double at = which(random);
        size_t part = 0;
        while (part + 1 < mixture.components.size() && at >= mixture.components[part].proportion)
            at -= mixture.components[part++].proportion;
        values.push_back(std::exponential_distribution<double>(1.0 / mixture.components[part].mean)(random));
    }
    return values;
}

// The same maximum by expectation and maximisation.
Mixture FitByTurns(Mixture mixture, const std::vector<double>& values) {
    for (int round = 0; round < 20000; ++round) {
        std::vector<double> weights(mixture.components.size()), sums(weights.size());
        for (const double value : values) {
            std::vector<double> parts;
            double all = 0.0;
            for (const auto& part : mixture.components)
                all += parts.emplace_back(part.proportion / part.mean * std::exp(-value / part.mean));
            for (size_t i = 0; i < parts.size(); ++i) {
                weights[i] += parts[i] / all;
                sums[i] += parts[i] / all * value;
            }
        }
        for (size_t i = 0; i < weights.size(); ++i) {
            mixture.components[i].proportion = weights[i] / static_cast<double>(values.size());
            mixture.components[i].mean = sums[i] / weights[i];
        }
    }
    return mixture;
}

TEST(SojournFit, FindsTheLargestLikelihood) {
    std::mt19937 random(11);
    const Mixture truth{MixtureFamily::exponential, {{0.4, 2.0, 2.0}, {0.6, 40.0, 40.0}}};
    const std::vector<double> values = Draws(random, truth, 600);
    // Of one exponential the mean is that of the values, and the sum of ln f is -n (ln mean + 1).
    double mean = 0.0;
    for (const double value : values) mean += value / 600.0;
    const SojournFit one = FitSojourns(StartOfSojourns(1, values), values);
    EXPECT_NEAR(one.mixture.components[0].mean, mean, 1e-3 * mean);
    EXPECT_NEAR(one.logLikelihood, -600.0 * (std::log(mean) + 1.0), 1e-4);
    const SojournFit two = FitSojourns(StartOfSojourns(2, values), values);
    ASSERT_EQ(two.end, PowellResult::End::converged);
    const Mixture other = FitByTurns(truth, values);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_NEAR(two.mixture.components[i].mean, other.components[i].mean,
                    2e-3 * other.components[i].mean);
        EXPECT_NEAR(two.mixture.components[i].proportion, other.components[i].proportion, 2e-3);
    }
    const SojournReport report = ReportOnSojourns(two.mixture, values);
    EXPECT_EQ(report.freeParameters, 3);
    EXPECT_DOUBLE_EQ(report.aicc, 6.0 - 2.0 * report.logLikelihood + 24.0 / 596.0);
    EXPECT_DOUBLE_EQ(report.bic, 3.0 * std::log(600.0) - 2.0 * report.logLikelihood);
    // A third one is not worth it, the second is; e^-3 is the tail of 6.
    const SojournFit three = FitSojourns(StartOfSojourns(3, values), values);
    EXPECT_LT(CompareSojourns(one.logLikelihood, two.logLikelihood).p, 1e-6);
    EXPECT_GT(CompareSojourns(two.logLikelihood, three.logLikelihood).p, 0.01);
    EXPECT_DOUBLE_EQ(CompareSojourns(-10.0, -7.0).p, std::exp(-3.0));
}

TEST(SojournFit, FindsAShortAndRareExponential) {
    for (const double share : {0.02, 0.04, 0.07})
        for (unsigned seed = 0; seed < 6; ++seed) {
            std::mt19937 random(seed);
            const Mixture truth{MixtureFamily::exponential, {{share, 0.3, 0.3}, {1.0 - share, 10.0, 10.0}}};
            const std::vector<double> values = Draws(random, truth, 1000);
            EXPECT_GE(FitSojournsFromData(2, values).logLikelihood, SojournLogLikelihood(truth, values))
                << share << " " << seed;
        }
}

TEST(SojournFit, KnowsThatShortSojournsAreNotSeen) {
    std::mt19937 random(12);
    const Mixture truth{MixtureFamily::exponential, {{0.5, 5.0, 5.0}, {0.5, 60.0, 60.0}}};
    std::vector<double> values;
    for (const double value : Draws(random, truth, 20000))
        if (value >= 4.0) values.push_back(value);
    // Of one exponential: the mean beyond the dead time.
    double mean = 0.0;
    for (const double value : values) mean += (value - 4.0) / static_cast<double>(values.size());
    EXPECT_NEAR(FitSojourns(StartOfSojourns(1, values, 4.0), values, 4.0).mixture.components[0].mean, mean,
                1e-3 * mean);
    const SojournFit fit = FitSojourns(StartOfSojourns(2, values, 4.0), values, 4.0);
    EXPECT_NEAR(fit.mixture.components[0].mean, 5.0, 0.5);
    EXPECT_NEAR(fit.mixture.components[1].mean, 60.0, 3.0);
    EXPECT_NEAR(fit.mixture.components[0].proportion, 0.5, 0.05);
    // Without it the short ones would seem rarer and longer.
    EXPECT_GT(FitSojourns(StartOfSojourns(2, values), values).mixture.components[0].mean, 7.0);
}

// A dead time on a sample, at which many durations lie, tells what one between the samples does.
TEST(SojournFit, FindsNoExponentialInADeadTimeOnASample) {
    EXPECT_DOUBLE_EQ(DeadTimeBetweenSamples(0.3, 0.1), 0.25);
    EXPECT_DOUBLE_EQ(DeadTimeBetweenSamples(0.22, 0.1), 0.22);
    EXPECT_DOUBLE_EQ(DeadTimeBetweenSamples(0.28, 0.1), 0.25);
    EXPECT_DOUBLE_EQ(DeadTimeBetweenSamples(0.0, 0.1), 0.0);
    std::mt19937 random(13);
    const Mixture truth{MixtureFamily::exponential, {{0.5, 0.4, 0.4}, {0.5, 20.0, 20.0}}};
    const double deadTime = DeadTimeBetweenSamples(0.1, 0.1);
    std::vector<double> values;
    for (const double value : Draws(random, truth, 4000))
        if (std::lround(value * 10.0) >= 1) values.push_back(std::lround(value * 10.0) * 0.1);
    const Mixture found = FitSojournsFromData(2, values, deadTime).mixture;
    EXPECT_NEAR(found.components[0].mean, 0.4, 0.04);
    EXPECT_NEAR(found.components[1].mean, 20.0, 1.5);
    EXPECT_NEAR(found.components[0].proportion, 0.5, 0.05);
}

// Densities that are too small for a number, and a dead time beyond which so short a mean leaves nothing.
TEST(SojournFit, StartsFarFromTheDurations) {
    const std::vector<double> values{100, 220, 340, 560, 980, 1500};
    const Mixture tiny{MixtureFamily::exponential, {{1.0, 0.1, 0.1}}};
    // Sum of -ln 0.1 - t / 0.1, and of (t - 90) / 0.1 beyond the dead time; all t are 3700.
    EXPECT_NEAR(SojournLogLikelihood(tiny, values), 6.0 * std::log(10.0) - 37000.0, 1e-6);
    EXPECT_NEAR(SojournLogLikelihood(tiny, values, 90.0), 6.0 * std::log(10.0) - 31600.0, 1e-6);
    for (const double mean : {1e-200, 0.1, 1e9}) {
        const SojournFit fit = FitSojourns({MixtureFamily::exponential, {{1.0, mean, mean}}}, values);
        EXPECT_TRUE(fit.isFitted) << mean;
        EXPECT_NEAR(fit.mixture.components[0].mean, 3700.0 / 6.0, 1.0) << mean;
    }
    EXPECT_FALSE(FitSojourns({MixtureFamily::exponential, {{1.0, -1.0, 1.0}}}, values).isFitted);
}

TEST(SojournFit, IsNeverLessLikelyWithOneMore) {
    std::mt19937 random(14);
    const Mixture truth{MixtureFamily::exponential, {{0.3, 0.5, 0.5}, {0.4, 9.0, 9.0}, {0.3, 80.0, 80.0}}};
    for (const int count : {25, 60, 300})
        for (const double deadTime : {0.0, 0.3, 5.0}) {
            std::vector<double> values;
            for (const double value : Draws(random, truth, count))
                if (value > deadTime) values.push_back(value);
            double before = -HUGE_VAL;
            for (int components = 1; components <= 4; ++components) {
                const SojournFit fit = FitSojournsFromData(components, values, deadTime);
                EXPECT_TRUE(fit.isFitted);
                EXPECT_GE(fit.logLikelihood, before) << count << ' ' << deadTime << ' ' << components;
                // The mixture is the one that is told of.
                EXPECT_NEAR(SojournLogLikelihood(fit.mixture, values, deadTime), fit.logLikelihood, 1e-6);
                before = fit.logLikelihood;
            }
        }
}

TEST(SojournFit, EndsWhateverTheDurations) {
    const std::vector<double> equal(30, 2.5), atDeadTime{1, 1, 1, 1, 1, 1, 1, 5, 9, 12, 30};
    for (int components = 1; components <= 4; ++components) {
        EXPECT_TRUE(std::isfinite(FitSojourns(StartOfSojourns(components, equal), equal).logLikelihood));
        const SojournFit fit = FitSojourns(StartOfSojourns(components, atDeadTime, 1.0), atDeadTime, 1.0);
        EXPECT_TRUE(std::isfinite(fit.logLikelihood));
    }
    int asked = 0;
    const SojournFit ended =
        FitSojourns(StartOfSojourns(3, atDeadTime), atDeadTime, 0.0, [&](double) { return ++asked < 3; });
    EXPECT_EQ(ended.end, PowellResult::End::cancelled);
}

}  // namespace
}  // namespace kymora
