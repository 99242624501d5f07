#include "trains/joint_psth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

namespace kymora {
namespace {

std::vector<int64_t> RandomTrain(std::mt19937& random, int count, int64_t length) {
    std::uniform_int_distribution<int64_t> place(0, length);
    std::vector<int64_t> train(static_cast<size_t>(count));
    for (int64_t& at : train) at = place(random);
    std::sort(train.begin(), train.end());
    return train;
}

// Straight from the definitions: a table of counts for each stimulus, and sums over it.
struct PlainJoint {
    std::vector<std::vector<int>> target, reference;  // counts by stimulus and bin

    static std::vector<int> CountsOf(const std::vector<int64_t>& spikes, int64_t stimulus,
                                     const JointPsthPlan& plan) {
        std::vector<int> counts(static_cast<size_t>(plan.bins));
        for (int bin = 0; bin < plan.bins; ++bin) {
            const int64_t from = stimulus + (bin - plan.preBins) * plan.binSamples;
            for (const int64_t spike : spikes)
                counts[static_cast<size_t>(bin)] += spike >= from && spike < from + plan.binSamples;
        }
        return counts;
    }
    double Pairs(size_t row, size_t column, size_t shift) const {
        double sum = 0.0;
        for (size_t s = 0; s < target.size(); ++s)
            sum += reference[s][row] * target[(s + shift) % target.size()][column];
        return sum;
    }
    static double Sum(const std::vector<std::vector<int>>& counts, size_t bin) {
        double sum = 0.0;
        for (const auto& one : counts) sum += one[bin];
        return sum;
    }
    static double Sd(const std::vector<std::vector<int>>& counts, size_t bin) {
        const double mean = Sum(counts, bin) / static_cast<double>(counts.size());
        double squares = 0.0;
        for (const auto& one : counts) squares += (one[bin] - mean) * (one[bin] - mean);
        return std::sqrt(squares / (static_cast<double>(counts.size()) - 1.0));
    }
};

TEST(JointPsth, IsThatOfThePlainDefinitions) {
    std::mt19937 random(7);
    const std::vector<int64_t> stimuli = RandomTrain(random, 40, 20000);  // many windows overlap
    const std::vector<int64_t> target = RandomTrain(random, 900, 21000);
    const std::vector<int64_t> reference = RandomTrain(random, 700, 21000);
    for (const JointPredictor predictor :
         {JointPredictor::product, JointPredictor::shift, JointPredictor::shuffle})
        for (const bool isPerStimulus : {false, true}) {
            const JointPsthPlan plan{9, 70, 2, isPerStimulus, predictor};
            const JointPsth joint = MakeJointPsth(stimuli, target, reference, plan);
            PlainJoint plain;
            for (const int64_t stimulus : stimuli) {
                plain.target.push_back(PlainJoint::CountsOf(target, stimulus, plan));
                plain.reference.push_back(PlainJoint::CountsOf(reference, stimulus, plan));
            }
            const double count = 40.0, per = isPerStimulus ? count : 1.0;
            for (size_t r = 0; r < 9; ++r) {
                ASSERT_DOUBLE_EQ(joint.reference[r], PlainJoint::Sum(plain.reference, r) / per);
                ASSERT_NEAR(joint.referenceSd[r], PlainJoint::Sd(plain.reference, r), 1e-12);
                for (size_t t = 0; t < 9; ++t) {
                    const double raw = plain.Pairs(r, t, 0);
                    double chance =
                        PlainJoint::Sum(plain.reference, r) * PlainJoint::Sum(plain.target, t) / count;
                    if (predictor == JointPredictor::shift) chance = plain.Pairs(r, t, 1);
                    if (predictor == JointPredictor::shuffle) {
                        chance = 0.0;
                        for (size_t shift = 1; shift < 40; ++shift) chance += plain.Pairs(r, t, shift) / 39.0;
                    }
                    const size_t at = r * 9 + t;
                    ASSERT_DOUBLE_EQ(joint.Of(JointForm::raw)[at], raw / per);
                    ASSERT_NEAR(joint.Of(JointForm::predictor)[at], chance / per, 1e-9);
                    const double corrected = (raw - chance) / per;
                    ASSERT_NEAR(joint.Of(JointForm::corrected)[at], corrected, 1e-9);
                    ASSERT_NEAR(joint.Of(JointForm::normalized)[at],
                                corrected / PlainJoint::Sd(plain.reference, r) /
                                    PlainJoint::Sd(plain.target, t),
                                1e-9);
                    ASSERT_NEAR(joint.Of(JointForm::surprise)[at],
                                JointSurprise(static_cast<int64_t>(raw), chance), 1e-9);
                }
            }
        }
}

TEST(JointPsth, WindowsAreHalfOpenAndOneStimulusHasNoDeviation) {
    // From 90 to below 130 in bins of 10: a spike at 130 is outside, one at 129 in the last bin.
    const std::vector<int64_t> stimuli{100}, target{89, 90, 129, 130}, reference{100, 100};
    const JointPsth joint = MakeJointPsth(stimuli, target, reference, {4, 10, 1});
    EXPECT_EQ(joint.target, (std::vector<double>{1, 0, 0, 1}));
    EXPECT_EQ(joint.reference, (std::vector<double>{0, 2, 0, 0}));
    EXPECT_EQ(joint.Of(JointForm::raw)[joint.At(1, 0)], 2.0);
    EXPECT_EQ(joint.Of(JointForm::raw)[joint.At(1, 3)], 2.0);
    EXPECT_EQ(joint.Of(JointForm::normalized), JointMatrix(16));
    // Neither spikes nor any to be expected: the number is there, and nothing is shown.
    EXPECT_NEAR(joint.Of(JointForm::surprise)[0], std::log(std::exp(-1e-5) / (1.0 - std::exp(-1e-5))), 1e-6);
    EXPECT_TRUE(std::isnan(joint.Shown(JointForm::surprise, 0, 0)));
    EXPECT_FALSE(std::isnan(joint.Shown(JointForm::surprise, 1, 0)));
    const JointPsth none = MakeJointPsth({}, target, reference, {4, 10, 1, true});
    EXPECT_EQ(none.Of(JointForm::predictor), JointMatrix(16));
}

TEST(JointPsth, SurpriseHasBothTails) {
    for (const auto& [count, mean] :
         std::vector<std::pair<int, double>>{{0, 0.5}, {3, 2.0}, {2, 2.0}, {1, 7.5}, {12, 3.0}, {20, 60.0}}) {
        long double term = std::exp(-static_cast<long double>(mean)), within = 0.0, above = 0.0;
        for (int k = 0; k < 400; ++k) {
            (k <= count ? within : above) += term;
            term *= static_cast<long double>(mean) / (k + 1);
        }
        EXPECT_NEAR(JointSurprise(count, mean), static_cast<double>(std::log(within) - std::log(above)),
                    1e-10)
            << count << " of " << mean;
    }
    // P(X <= 0) = e^-m; far beyond what doubles hold, in both directions.
    EXPECT_DOUBLE_EQ(JointSurprise(0, 5000.0), -5000.0);
    // ln P(X > 300) of mean 0.001 is that of the first term, (0.001)^301 / 301!.
    EXPECT_NEAR(JointSurprise(300, 0.001), -(301.0 * std::log(0.001) - 0.001 - std::lgamma(302.0)), 1e-5);
}

TEST(JointPsth, DiagonalsAreAddedByTheirTime) {
    // A matrix whose cells tell their place: 10 x reference bin + target bin.
    JointPsth joint;
    joint.bins = 4;
    joint.isEmpty.resize(16);
    for (JointMatrix& form : joint.forms)
        for (int r = 0; r < 4; ++r)
            for (int t = 0; t < 4; ++t) form.push_back(10.0 * r + t);
    const auto raw = JointForm::raw;
    EXPECT_EQ(SumOfDiagonal(joint, raw, 1), 1.0 + 12.0 + 23.0);  // target after reference
    EXPECT_EQ(SumOfDiagonal(joint, raw, -2), 20.0 + 31.0);
    EXPECT_EQ(CoincidenceOf(joint, raw, 0, 0, 0), (std::vector<double>{0, 11, 22, 33}));
    EXPECT_EQ(CoincidenceOf(joint, raw, -1, 1, 0),
              (std::vector<double>{0, 11 + 1 + 10, 22 + 12 + 21, 33 + 23 + 32}));
    // Those beyond the matrix add nothing.
    EXPECT_EQ(CoincidenceOf(joint, raw, -9, 9, 0), CoincidenceOf(joint, raw, -3, 3, 0));
    EXPECT_EQ(JointCorrelogram(joint, raw), (std::vector<double>{63.0 / 3, 66.0 / 4, 36.0 / 3}));
    // A half window as wide as all leaves the mean.
    EXPECT_EQ(CoincidenceOf(joint, raw, 0, 0, 2), (std::vector<double>(4, 16.5)));
    joint.isEmpty[joint.At(1, 1)] = true;
    EXPECT_EQ(CoincidenceOf(joint, JointForm::surprise, 0, 0, 0), (std::vector<double>{0, 0, 22, 33}));
    const std::map<int, size_t> lengths{{2, 1}, {3, 1}, {50, 49}, {51, 49}};
    for (const auto& [bins, length] : lengths)
        EXPECT_EQ(JointCorrelogram(MakeJointPsth({}, {}, {}, {bins}), raw).size(), length) << bins;
}

}  // namespace
}  // namespace kymora
