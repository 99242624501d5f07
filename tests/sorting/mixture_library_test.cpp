// Templates, compounds of them, and the search for the nearest.

#include "sorting/mixture_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>

#include "operations/operation_job.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

TEST(UnitTemplatesTest, ErrorsByHand) {
    const WaveShape shape{4, 1, 2, 1};
    const std::vector<SpikeNoise> noise{{0.0, 2.0, 10}, {0.0, 0.5, 10}};
    const std::vector<float> wave{1, 5, 2, 9, 0, 0, 3, 0}, flat(8);
    // The middle two of each trace: (5, 2) and (0, 3), whose variances are 4.5 each.
    EXPECT_NEAR(VarianceRatio(wave, flat, shape, {1, 2}, noise), (4.5 / 2.0 + 4.5 / 0.5) / 2.0, 1e-12);
    std::vector<float> shifted = wave;
    for (float& x : shifted) x += 7.0f;  // an offset is no error
    EXPECT_NEAR(VarianceRatio(shifted, wave, shape, {0, 4}, noise), 0.0, 1e-12);

    cCluster one, other;
    one.m_nTmplSamp = 4;
    one.m_vfFullTmpl = {0, 2, 0, -2, 0, 4, 0, -4};
    other.m_vfFullTmpl = {0, 1, 0, -1, 0, 4, 0, -4};
    EXPECT_NEAR(RelativeDifference(one, other, shape), (2.0 / 3.0) / (8.0 / 3.0 + 32.0 / 3.0), 1e-12);
    EXPECT_EQ(RelativeDifference(one, one, shape), 0.0);

    EXPECT_EQ(ErrorHistogramCounts(std::vector<double>{0.0, 0.9, 1.0, 1.9, 2.0, 2.1, -1.0}, 2.0, 2),
              (std::vector<int64_t>{2, 3}));
    // Median 3, absolute deviations 2 1 0 1 97: their median is 1.
    EXPECT_NEAR(AutomaticThreshold(std::vector<double>{1, 2, 3, 4, 100}), 3.0 + 3.0 / 0.6745, 1e-5);
    EXPECT_EQ(AutomaticThreshold({}), 0.0f);
}

TEST(NearestWaveTest, FindsWhatLookingAtAllFinds) {
    std::mt19937 random(3);
    std::normal_distribution<float> normal;
    for (const size_t length : {1u, 5u, 40u})
        for (const size_t count : {1u, 2u, 17u, 900u}) {
            SCOPED_TRACE(std::to_string(length) + " x " + std::to_string(count));
            // Few axes hold most of the variance, and some rows stand there twice.
            std::vector<float> waves;
            for (size_t row = 0; row < count; ++row) {
                const float a = 5.0f * normal(random), b = 3.0f * normal(random);
                for (size_t i = 0; i < length; ++i)
                    waves.push_back(row % 7 == 6 ? waves[(row - 3) * length + i]
                                                 : a * std::sin(0.2f * static_cast<float>(i)) +
                                                       b * std::cos(0.5f * static_cast<float>(i)) +
                                                       0.3f * normal(random));
            }
            const NearestWave tree(waves, length);
            EXPECT_EQ(tree.Count(), count);
            for (int query = 0; query < 60; ++query) {
                std::vector<float> wave(length);
                const size_t like = random() % count;
                for (size_t i = 0; i < length; ++i)
                    wave[i] = waves[like * length + i] + (query % 3) * 2.0f * normal(random);
                double best = std::numeric_limits<double>::infinity();
                size_t nearest = 0;
                for (size_t row = 0; row < count; ++row) {
                    double sum = 0.0;
                    for (size_t i = 0; i < length; ++i)
                        sum += std::pow(static_cast<double>(wave[i] - waves[row * length + i]), 2);
                    if (sum >= best) continue;
                    best = sum;
                    nearest = row;
                }
                const auto answer = tree.Find(wave);
                EXPECT_EQ(answer.row, nearest);
                EXPECT_NEAR(answer.squaredDistance, best, 1e-4 * best + 1e-6);
            }
        }
}

class MixtureTest : public ::testing::Test {
  protected:
    static constexpr int n = 12;
    TestHost host;

    // Bells of three sizes, two up and one down, over a level of 3.
    void SetUp() override {
        waves.shape = {n, 5, 1, 1};
        waves.noise = {{3.0, 1.0, 100}};
        for (const auto& [height, width] : {std::pair{10.0, 1.0}, {6.0, 1.6}, {-8.0, 1.2}}) {
            cCluster& cluster = clusters.emplace_back();
            cluster.m_nTmplSamp = n;
            cluster.m_iCount = 10;
            for (int i = 0; i < n; ++i)
                cluster.m_vfFullTmpl.push_back(
                    static_cast<float>(3.0 + height * std::exp(-0.5 * std::pow((i - 5) / width, 2))));
        }
    }
    float At(size_t cluster, int i) const {
        return i < 0 || i >= n ? 0.0f : clusters[cluster].m_vfFullTmpl[static_cast<size_t>(i)] - 3.0f;
    }
    using PlainLibrary = std::map<MixtureEntry, std::vector<float>>;  // with the rows
    // The compounds of three points, or of two where the last is below 0, as they are told, one by one.
    void AddPlain(PlainLibrary& entries, std::vector<std::pair<int, int>> parts, Polarity polarity) const {
        std::ranges::sort(parts);
        std::vector<float> sum(2 * n);
        for (const auto& [id, point] : parts)
            for (int i = 0; i < 2 * n; ++i)
                sum[static_cast<size_t>(i)] += At(static_cast<size_t>(id) - 1, i - point + 5);
        std::set<std::optional<size_t>> peaks;
        for (const auto& [id, point] : parts)
            peaks.insert(FindSpikePeak(sum, static_cast<size_t>(point), 0.0f, polarity));
        if (peaks.size() != 1 || !*peaks.begin()) return;
        MixtureEntry entry;
        for (size_t i = 0; i < parts.size(); ++i) {
            entry.ids[i] = parts[i].first;
            entry.delays[i] = parts[i].second - static_cast<int>(**peaks.begin());
        }
        const int start = static_cast<int>(**peaks.begin()) - 5;
        std::vector<float> row(n);
        for (int i = std::max(0, -start); i < std::min<int>(n, 2 * n - start); ++i)
            row[static_cast<size_t>(i)] = sum[static_cast<size_t>(start + i)];
        entry.inBuffer.first = std::max(0, -start);
        entry.inBuffer.count = std::min<int>(n, 2 * n - start) - entry.inBuffer.first;
        entries.emplace(entry, row);
    }
    PlainLibrary PlainEntries(int limit, Polarity polarity) const {
        PlainLibrary entries;
        for (int a = 1; a <= 3; ++a) {
            MixtureEntry pure;
            pure.ids[0] = a;
            pure.inBuffer = {0, n};
            std::vector<float>& row = entries[pure];
            for (int i = 0; i < n; ++i) row.push_back(At(static_cast<size_t>(a) - 1, i));
            for (int b = a + 1; b <= 3; ++b)
                for (int d = 2 * n / 6; d <= 2 * n - 2 * n / 6; ++d) {
                    AddPlain(entries, {{a, n}, {b, d}}, polarity);
                    for (int e = 1; limit > 2 && e <= 2 * n - 3; ++e)
                        AddPlain(entries, {{a, n}, {b, d}, {6 - a - b, e}}, polarity);
                }
        }
        return entries;
    }
    MixtureLibraries Build(int limit, Polarity polarity, size_t most = size_t{1} << 30) {
        return MixtureLibraries::Build(clusters, waves, limit, polarity, host, most);
    }

    SpikeWaves waves;
    std::vector<cCluster> clusters;
};

TEST_F(MixtureTest, HoldsTheCompoundsThatAreTold) {
    for (const int limit : {2, 3})
        for (const Polarity polarity : {Polarity::up, Polarity::down, Polarity::either}) {
            SCOPED_TRACE(std::to_string(limit) + " of polarity " +
                         std::to_string(static_cast<int>(polarity)));
            const MixtureLibraries built = Build(limit, polarity);
            PlainLibrary entries;
            for (const MixtureLibrary& library : built.Libraries())
                for (const MixtureEntry& entry : library.entries) entries[entry] = built.RowOf(entry);
            EXPECT_EQ(entries, PlainEntries(limit, polarity));
            EXPECT_EQ(built.Entries(), entries.size());
            for (const MixtureLibrary& library : built.Libraries())
                EXPECT_EQ(library.waves->Count(), library.entries.size());
        }
}

TEST_F(MixtureTest, FindsTheCompoundOfARow) {
    const MixtureLibraries built = Build(2, Polarity::either);
    const MixtureEntry entry{{1, 3, -1}, {0, 4, 0}, {0, n}};
    std::vector<float> row = built.RowOf(entry);
    for (int i = 0; i < n; ++i) {
        EXPECT_FLOAT_EQ(row[static_cast<size_t>(i)], At(0, i) + At(2, i - 4));
        row[static_cast<size_t>(i)] += i % 2 == 0 ? 0.1f : -0.1f;
    }
    const auto matches = built.Search(row);
    EXPECT_EQ(matches.size(), built.Libraries().size());
    EXPECT_EQ(matches.front().entry, entry);
    EXPECT_NEAR(matches.front().ratio, 0.01 * n / (n - 1), 1e-6);
    for (size_t i = 1; i < matches.size(); ++i) EXPECT_GE(matches[i].ratio, matches[i - 1].ratio);
}

TEST_F(MixtureTest, FlagsWindowsAndLimits) {
    clusters[0].m_iTmplStartRelDisp = 2;
    clusters[0].m_nTmplSamp = 5;
    clusters[1].m_iTmplStartRelDisp = 4;
    clusters[1].m_nTmplSamp = 6;
    clusters[2].m_bIgnore = true;
    const MixtureLibraries flagged = Build(3, Polarity::up);
    ASSERT_EQ(flagged.Libraries().size(), 4u);  // three templates alone, and one pair
    EXPECT_EQ(flagged.Libraries()[3].window, (WaveSegment{2, 8}));
    clusters[1].m_bMixedTmpl = true;
    EXPECT_EQ(Build(3, Polarity::up).Libraries().size(), 3u);
    clusters[1].m_bMixedTmpl = clusters[2].m_bIgnore = false;
    EXPECT_GE(MixtureLibraries::ExpectedBytes(clusters, waves.shape, 3),
              static_cast<double>(Build(3, Polarity::up).Bytes()));
    EXPECT_THROW(Build(3, Polarity::up, 1000), JobRefused);
    for (const uint64_t call : {1, 2, 40}) {
        host.cancelAtCall = call;
        EXPECT_THROW(Build(3, Polarity::up), Cancelled);
    }
}

}  // namespace
}  // namespace kymora::test
