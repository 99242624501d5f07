// How well units are isolated, against values worked by hand and tables of the chi-square distribution.

#include "sorting/unit_quality.h"

#include <gtest/gtest.h>

#include <cmath>

#include "operations/operation_job.h"

namespace kymora::test {
namespace {

TEST(UnitQuality, IsolationIsThatOfSquaredDistances) {
    // Six spikes whose covariance is the identity, and seven outside at squared distances 4, 9 .. 64.
    const auto r = static_cast<float>(std::sqrt(2.5));
    std::vector<SpikeWeights> weights{{r, 0, 0},  {0, 7, 0}, {-r, 0, 0}, {0, r, 0}, {0, -r, 0},
                                      {0, 0, -4}, {0, 0, r}, {0, 0, -r}, {2, 0, 0}, {0, -3, 0},
                                      {5, 0, 0},  {0, 6, 0}, {0, 0, 8},  {1, 1, 1}};
    const std::vector<int32_t> ids{2, 0, 2, 2, 2, 1, 2, 2, 0, 3, 0, 1, 0, leftOutId};
    const UnitIsolation isolation = IsolationOf(weights, ids, 2);
    EXPECT_NEAR(isolation.distance, 49.0, 1e-4);
    EXPECT_NEAR(isolation.lRatio, (0.2614641 + 0.0292909 + 0.0011340 + 0.0000154) / 6.0, 1e-6);

    std::vector<int32_t> fewOutside = ids;
    fewOutside[8] = fewOutside[9] = leftOutId;
    EXPECT_TRUE(std::isnan(IsolationOf(weights, fewOutside, 2).distance));
    EXPECT_TRUE(std::isnan(IsolationOf(weights, ids, 1).lRatio));
    const std::vector<SpikeWeights> flat{{0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {3, 2, 1}, {1, 1, 1}};
    EXPECT_TRUE(std::isnan(IsolationOf(flat, std::vector<int32_t>(5, 1), 1).lRatio));
}

TEST(UnitQuality, SilhouettesAreMeansOverUnits) {
    UnheardContext unheard;
    const std::vector<SpikeWeights> weights{{0, 0, 0}, {9, 9, 9}, {1, 0, 0}, {0, 0, 4}, {0, 0, 6}};
    const std::vector<int32_t> ids{1, 0, 1, 3, 3};
    const double far = std::sqrt(17.0), farther = std::sqrt(37.0);
    const double firstMean =
        ((5.0 - 1.0) / 5.0 + ((far + farther) / 2.0 - 1.0) / ((far + farther) / 2.0)) / 2.0;
    const double nearest = (4.0 + far) / 2.0, next = (6.0 + farther) / 2.0;
    const std::vector<double> silhouettes =
        SilhouettesOf(weights, ids, std::vector<int32_t>{1, 2, 3}, unheard);
    EXPECT_NEAR(silhouettes[0], firstMean, 1e-12);
    EXPECT_TRUE(std::isnan(silhouettes[1]));
    EXPECT_NEAR(silhouettes[2], ((nearest - 2.0) / nearest + (next - 2.0) / next) / 2.0, 1e-12);
    EXPECT_TRUE(std::isnan(SilhouettesOf(weights, ids, std::vector<int32_t>{1, 2}, unheard)[0]));

    // Of many spikes some are taken, from all of the unit: one half lies at 0 and the other at 2.
    std::vector<SpikeWeights> many;
    std::vector<int32_t> manyIds;
    for (int i = 0; i < 6000; ++i) {
        many.push_back({i < 2000 ? 0.0f : i < 4000 ? 2.0f : 100.0f, 0, 0});
        manyIds.push_back(i < 4000 ? 1 : 2);
    }
    const double expected = ((100.0 - 1000.0 / 999.0) / 100.0 + (98.0 - 1000.0 / 999.0) / 98.0) / 2.0;
    EXPECT_NEAR(SilhouettesOf(many, manyIds, std::vector<int32_t>{1, 2}, unheard)[0], expected, 1e-9);
}

}  // namespace
}  // namespace kymora::test
