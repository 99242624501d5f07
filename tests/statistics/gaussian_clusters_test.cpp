// Gaussian clusters: classes that are known are found, and nothing odd in the data upsets the search.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <set>

#include "statistics/gaussian_clusters.h"

namespace kymora {
namespace {

using State = GaussianClusters::State;

// Rows about centres on a grid far apart, one centre after the other.
std::vector<double> Clouds(size_t rows, size_t columns, size_t clouds, double offset, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> values;
    for (size_t row = 0; row < rows; ++row) {
        const size_t cloud = row % clouds;
        const double common = normal(random);
        for (size_t c = 0; c < columns; ++c) {
            const double centre = 15.0 * static_cast<double>((cloud + c * (cloud / 2)) % clouds);
            values.push_back(offset + centre + 0.8 * normal(random) + 0.6 * common);
        }
    }
    return values;
}

// Every number there is.
void ExpectWhole(const GaussianClusters& found, size_t rows) {
    double weights = 0.0;
    for (const GaussianClass& one : found.classes) {
        weights += one.weight;
        for (const double value : one.mean) EXPECT_TRUE(std::isfinite(value));
        for (const double value : one.covariance) EXPECT_TRUE(std::isfinite(value));
    }
    EXPECT_NEAR(weights, 1.0, 1e-9);
    EXPECT_TRUE(std::isfinite(found.criterion) && std::isfinite(found.logLikelihood));
    ASSERT_EQ(found.ids.size(), rows);
    for (const int id : found.ids) EXPECT_TRUE(id >= 0 && id < static_cast<int>(found.classes.size()));
}

TEST(GaussianClusters, FindTheCloudsThatAreThere) {
    const struct {
        size_t columns, clouds;
        double offset;
        bool full;
    } cases[] = {{1, 1, 0, true},   {1, 3, 1e6, true}, {2, 4, -50, true}, {3, 6, 0, true},
                 {5, 3, 1e3, true}, {3, 6, 0, false},  {1, 2, 0, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << row.columns << " columns, " << row.clouds << " clouds");
        constexpr size_t rows = 3000;
        const std::vector<double> values = Clouds(rows, row.columns, row.clouds, row.offset, 11);
        ClusterOptions options;
        options.full = row.full;
        options.desired = row.full ? 0 : static_cast<int>(row.clouds);
        const GaussianClusters found = FindGaussianClusters(values, row.columns, options);
        ASSERT_EQ(found.state, State::found);
        ExpectWhole(found, rows);
        ASSERT_EQ(found.classes.size(), row.clouds);
        // One class to a cloud, and its moments.
        for (size_t cloud = 0; cloud < row.clouds; ++cloud) {
            const int id = found.ids[cloud];
            size_t strangers = 0;
            double sum = 0.0;
            for (size_t r = cloud; r < rows; r += row.clouds) {
                strangers += found.ids[r] == id ? 0 : 1;
                sum += values[r * row.columns];
            }
            EXPECT_EQ(strangers, 0u);
            const GaussianClass& one = found.classes[static_cast<size_t>(id)];
            EXPECT_NEAR(one.mean[0], sum / (rows / row.clouds), 1e-3);
            EXPECT_NEAR(one.weight, 1.0 / static_cast<double>(row.clouds), 1e-6);
            EXPECT_NEAR(one.covariance[0], 1.0, 0.15);
            if (row.columns < 2) continue;
            EXPECT_NEAR(one.covariance[1], row.full ? 0.36 : 0.0, 0.1) << "the common part of a row";
        }
    }
}

// The result of one class is in closed form, R included.
TEST(GaussianClusters, OneClassHasTheMomentsOfTheRows) {
    const std::vector<double> values{1, 2, 4, 9};  // mean 4, variance 9.5
    const GaussianClusters found = FindGaussianClusters(values, 1);
    ASSERT_EQ(found.state, State::found);
    EXPECT_TRUE(found.reducedInitial) << "(4 + 1) / 3 - 1 classes at most";
    ASSERT_EQ(found.classes.size(), 1u);
    const double variance = 9.5 + 9.5e-5;
    EXPECT_NEAR(found.classes[0].mean[0], 4.0, 1e-12);
    EXPECT_NEAR(found.classes[0].covariance[0], variance, 1e-12);
    const double logLikelihood = -2.0 * std::log(2.0 * std::numbers::pi * variance) - 0.5 * 38.0 / variance;
    EXPECT_NEAR(found.logLikelihood, logLikelihood, 1e-9);
    EXPECT_NEAR(found.criterion, -logLikelihood + 0.5 * 2.0 * std::log(4.0), 1e-9);
}

// The whole search in one dimension, rule by rule. Means, variances and weights in `w`, `m`, `v`.
struct PlainSearch {
    std::vector<double> x;
    std::vector<double> w, m, v;
    double r = 0.0;
    double logLikelihood = 0.0;

    double LogShare(size_t k, double at) const {
        return std::log(w[k]) - 0.5 * std::log(2.0 * std::numbers::pi * v[k]) -
               (at - m[k]) * (at - m[k]) / (2.0 * v[k]);
    }
    void Refine() {
        for (double before = -HUGE_VAL;; before = logLikelihood) {
            std::vector<double> s0(w.size()), s1(w.size()), s2(w.size());
            logLikelihood = 0.0;
            for (const double at : x) {
                double most = -HUGE_VAL;
                double sum = 0.0;
                for (size_t k = 0; k < w.size(); ++k) most = std::max(most, LogShare(k, at));
                for (size_t k = 0; k < w.size(); ++k) sum += std::exp(LogShare(k, at) - most);
                logLikelihood += most + std::log(sum);
                for (size_t k = 0; k < w.size(); ++k) {
                    const double posterior = std::exp(LogShare(k, at) - most) / sum;
                    s0[k] += posterior;
                    s1[k] += posterior * at;
                    s2[k] += posterior * at * at;
                }
            }
            if (logLikelihood - before <= 0.01 * 3.0 * std::log(x.size())) return;
            for (size_t k = 0; k < w.size(); ++k) {
                w[k] = s0[k] / static_cast<double>(x.size());
                m[k] = s1[k] / s0[k];
                v[k] = s2[k] / s0[k] - m[k] * m[k] + r;
            }
        }
    }
    void Merge() {
        double least = HUGE_VAL;
        std::array<double, 5> best{};
        for (size_t i = 0; i < w.size(); ++i)
            for (size_t j = i + 1; j < w.size(); ++j) {
                const double weight = w[i] + w[j];
                const double mean = (w[i] * m[i] + w[j] * m[j]) / weight;
                const double variance =
                    (w[i] * (v[i] + m[i] * m[i]) + w[j] * (v[j] + m[j] * m[j])) / weight - mean * mean;
                const double distance =
                    static_cast<double>(x.size()) / 2.0 *
                    (weight * std::log(variance) - w[i] * std::log(v[i]) - w[j] * std::log(v[j]));
                if (!(distance < least)) continue;
                least = distance;
                best = {static_cast<double>(i), static_cast<double>(j), weight, mean, variance};
            }
        const auto i = static_cast<size_t>(best[0]);
        const auto j = static_cast<std::ptrdiff_t>(best[1]);
        w[i] = best[2];
        m[i] = best[3];
        v[i] = best[4];
        for (auto* list : {&w, &m, &v}) list->erase(list->begin() + j);
    }
};

TEST(GaussianClusters, FollowTheRulesStepByStep) {
    std::mt19937 random(16);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> x(500);  // three humps that run into each other
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = i % 2 == 0 ? normal(random) : i % 3 == 0 ? 3.5 + normal(random) : 6.0 + 0.5 * normal(random);
    double mean = 0.0;
    double variance = 0.0;
    for (const double at : x) mean += at / 500.0;
    for (const double at : x) variance += (at - mean) * (at - mean) / 500.0;

    PlainSearch plain{x};
    plain.r = variance / 100000.0;
    for (size_t i = 0; i < 20; ++i) {
        plain.w.push_back(1.0 / 20.0);
        plain.m.push_back(x[i * 499 / 19]);
        plain.v.push_back(variance + plain.r);
    }
    PlainSearch best = plain;
    double criterion = HUGE_VAL;
    for (;; plain.Merge()) {
        plain.Refine();
        const double now =
            -plain.logLikelihood + 0.5 * (3.0 * static_cast<double>(plain.w.size()) - 1.0) * std::log(500.0);
        // With a number desired, the search stops there.
        const auto desired = static_cast<int>(plain.w.size());
        const GaussianClusters there = FindGaussianClusters(x, 1, {desired});
        EXPECT_NEAR(there.criterion, now, 1e-6) << desired;
        if (now < criterion) {
            criterion = now;
            best = plain;
        }
        if (desired == 1) break;
    }
    const GaussianClusters found = FindGaussianClusters(x, 1);
    ASSERT_EQ(found.classes.size(), best.w.size());
    EXPECT_GT(best.w.size(), 1u);
    EXPECT_NEAR(found.criterion, criterion, 1e-6);
    for (size_t k = 0; k < best.w.size(); ++k) {
        EXPECT_NEAR(found.classes[k].weight, best.w[k], 1e-8);
        EXPECT_NEAR(found.classes[k].mean[0], best.m[k], 1e-8);
        EXPECT_NEAR(found.classes[k].covariance[0], best.v[k], 1e-8);
    }
}

TEST(GaussianClusters, OptionsBoundTheirNumber) {
    const std::vector<double> values = Clouds(3000, 2, 4, 0.0, 12);
    const struct {
        int desired, initial;
        size_t classes;
    } cases[] = {{2, 20, 2}, {6, 20, 6}, {30, 20, 20}, {5, 3, 3}, {1, 20, 1}};
    for (const auto& row : cases) {
        const GaussianClusters found = FindGaussianClusters(values, 2, {row.desired, row.initial});
        EXPECT_EQ(found.classes.size(), row.classes) << row.desired << " of " << row.initial;
        ExpectWhole(found, 3000);
        EXPECT_FALSE(found.reducedInitial);
    }
    // 30 rows: (60 + 1) / 6 - 1 = 9.2, so 4 at first.
    const GaussianClusters few = FindGaussianClusters(std::span(values).first(60), 2, {9});
    EXPECT_TRUE(few.reducedInitial);
    EXPECT_EQ(few.classes.size(), 4u);
}

TEST(GaussianClusters, OddDataUpsetNothing) {
    const double nan = std::nan("");
    std::vector<double> holes = Clouds(400, 2, 2, 0.0, 13);
    holes[0] = nan;
    holes[7] = HUGE_VAL;
    const GaussianClusters around = FindGaussianClusters(holes, 2);
    ASSERT_EQ(around.state, State::found);
    ExpectWhole(around, 400);
    EXPECT_EQ(around.leftOut, (std::vector<size_t>{0, 3}));
    EXPECT_EQ(around.ids[0] + around.ids[3], 0);
    EXPECT_EQ(around.classes.size(), 2u);

    std::vector<double> lone(300, 5.0);  // one row apart from all others, which are the same
    lone[17] = 6.0;
    std::vector<double> flat = Clouds(300, 2, 2, 0.0, 14);  // a column without spread
    for (size_t i = 1; i < flat.size(); i += 2) flat[i] = 3.0;
    std::vector<double> steps;  // few values, many times each
    for (int i = 0; i < 600; ++i) steps.push_back(i % 7 == 0 ? 100.0 : i % 3);
    std::vector<double> tiny = Clouds(300, 1, 2, 0.0, 15);
    for (double& value : tiny) value *= 1e-100;
    const struct {
        std::vector<double> values;
        size_t columns;
        State state;
    } cases[] = {
        {{}, 3, State::noRows},
        {{nan, nan}, 1, State::noRows},
        {{1, 2}, 3, State::noRows},
        {{5, 5, 5, 5}, 1, State::singular},
        {{0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1}, 1, State::singular},
        {{7}, 1, State::singular},
        {{1, 2, 1, 2}, 2, State::singular},
        {{1, 2}, 1, State::found},
        {lone, 1, State::found},
        {flat, 2, State::found},
        {steps, 1, State::found},
        {steps, 3, State::found},
        {tiny, 1, State::found},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << &row - cases);
        const GaussianClusters found = FindGaussianClusters(row.values, row.columns);
        EXPECT_EQ(found.state, row.state);
        if (row.state == State::found)
            ExpectWhole(found, row.values.size() / row.columns);
        else
            EXPECT_TRUE(found.classes.empty() && found.ids.empty());
        const bool isTold = !found.notPositive.empty() || !found.notSymmetric.empty();
        EXPECT_EQ(isTold, row.state == State::singular);
    }
    // Squares that are infinite leave not-a-numbers in the covariance.
    const std::vector<double> huge{1e200, 2e200, -1e200, 3e200, 2e200, 1e200, -3e200, 5e200};
    const GaussianClusters faulty = FindGaussianClusters(huge, 2, {1});
    EXPECT_EQ(faulty.state, State::singular);
    EXPECT_EQ(faulty.notSymmetric.size() + faulty.notPositive.size(), 1u);
    std::set<int> counts;
    const GaussianClusters cancelled = FindGaussianClusters(flat, 2, {}, [&counts](int classes) {
        counts.insert(classes);
        return classes > 18;
    });
    EXPECT_EQ(cancelled.state, State::cancelled);
    EXPECT_EQ(counts, (std::set<int>{18, 19, 20}));
    EXPECT_TRUE(cancelled.ids.empty());
}

TEST(GaussianClusters, OfOneDimensionAreAMixture) {
    std::vector<GaussianClass> classes;
    for (const double mean : {5.0, 1.0, 3.0, 2.0, 4.0}) classes.push_back({mean / 15.0, {mean}, {4.0}});
    const Mixture mixture = MixtureOfClasses(classes);
    ASSERT_EQ(mixture.components.size(), 4u);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(mixture.components[i].mean, static_cast<double>(i + 1));
        EXPECT_EQ(mixture.components[i].sd, 2.0);
    }
    EXPECT_NEAR(mixture.components[3].proportion, 1.0 - 6.0 / 15.0, 1e-12);
}

}  // namespace
}  // namespace kymora
