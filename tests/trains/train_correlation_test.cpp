#include "trains/train_correlation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

namespace kymora {
namespace {

using Stretches = std::vector<TrainStretch>;

TEST(TrainCoverage, IsThatOfASampleBySampleTable) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int64_t> place(0, 999), length(0, 60), reach(-20, 20);
    for (int round = 0; round < 200; ++round) {
        Stretches blocks;
        for (int i = 0; i < 6; ++i) {
            const int64_t first = place(random);
            blocks.push_back({first, std::min<int64_t>(1000, first + length(random))});
        }
        std::vector<int64_t> onsets(15);
        for (int64_t& onset : onsets) onset = place(random);
        std::sort(onsets.begin(), onsets.end());
        const int64_t from = reach(random), to = reach(random);
        std::vector<bool> inRegion(1000), isCovered(1000);
        for (const TrainStretch& block : blocks)
            for (int64_t at = block.first; at < block.end; ++at) inRegion[static_cast<size_t>(at)] = true;
        int64_t covered = 0, inside = 0;
        for (size_t at = 0; at < 1000; ++at) {
            for (const int64_t onset : onsets)
                if (static_cast<int64_t>(at) >= onset + from && static_cast<int64_t>(at) <= onset + to)
                    isCovered[at] = inRegion[at];
            covered += isCovered[at];
        }
        for (const int64_t onset : onsets) inside += isCovered[static_cast<size_t>(onset)];
        const Stretches region = JoinStretches(blocks), coverage = CoverageOf(onsets, from, to, region);
        ASSERT_EQ(LengthOf(region), std::count(inRegion.begin(), inRegion.end(), true));
        ASSERT_EQ(LengthOf(coverage), covered);
        ASSERT_EQ(CountWithin(onsets, coverage), inside);
        ASSERT_EQ(static_cast<int64_t>(PositionsWithin(onsets, coverage).size()), inside);
    }
}

TEST(CorrelationIndex, CountsAgainstChance) {
    const Stretches region{{0, 1000}};
    // 10 events each cover 10 samples: a tenth of the region.
    std::vector<int64_t> reference, other;
    for (int i = 0; i < 10; ++i) reference.push_back(100 * i);
    const CoveredTrain covered = CoverTrain(reference, 1, 10, region);
    EXPECT_DOUBLE_EQ(covered.share, 0.1);
    for (int i = 0; i < 60; ++i) other.push_back(i < 12 ? 5 + i / 2 * 100 % 1000 + i % 2 : 50 + i % 40);
    std::sort(other.begin(), other.end());
    CorrelationIndex found = IndexOf(covered, other);
    EXPECT_EQ(found.inside, 12);
    EXPECT_DOUBLE_EQ(found.index, 2.0);
    // (|12 - 6| - 0.5)^2 / 6 + (|48 - 54| - 0.5)^2 / 54 = 5.6018; p of chi-squared with one degree.
    EXPECT_NEAR(found.p, 0.017935, 1e-5);
    using State = CorrelationIndex::State;
    const struct {
        double share;
        size_t count;
        State state;
    } cases[] = {{0.1, 49, State::tooFewWithin},      // 4.9 are expected
                 {0.1, 50, State::found},             // 5
                 {0.92, 60, State::tooFewElsewhere},  // 4.8
                 {0.5, 0, State::noOther}};
    for (const auto& one : cases) {
        CoveredTrain train = covered;
        train.share = one.share;
        EXPECT_EQ(IndexOf(train, std::vector<int64_t>(one.count, 5)).state, one.state) << one.count;
    }
    EXPECT_EQ(IndexOf(CoverTrain({}, 1, 10, region), other).state, State::noReference);
}

// Trains in ms as positions of a recording with so many samples a ms.
CoveredTrain Covered(const std::vector<double>& times, double from, double to, double dt, double perMs) {
    std::vector<int64_t> onsets;
    for (const double time : times) onsets.push_back(std::llround(time * perMs));
    const int64_t reach = std::llround(dt * perMs);
    return CoverTrain(onsets, -reach, reach,
                      Stretches{{std::llround(from * perMs), std::llround(to * perMs) + 1}});
}

TEST(TilingCoefficient, IsThatOfPublishedCases) {
    const std::vector<double> a{1.3, 7.56, 15.87, 28.23, 30.9, 34.2, 38.2, 43.2};
    const std::vector<double> b{1.02, 2.71, 18.82, 28.46, 28.79, 43.6};
    const struct {
        std::vector<double> a, b;
        double end, dt, expected;
    } cases[] = {{a, b, 50, 5, 0.495860165593},
                 {{1}, {5}, 10, 5, 1.0},
                 {{1, 5, 9}, {5}, 10, 3, 1.0 / 3.0},
                 {a, b, 50, 5000, 1.0},
                 {a, a, 50, 0.01, 1.0}};
    for (const auto& one : cases) {
        const CoveredTrain first = Covered(one.a, 0, one.end, one.dt, 1e5);
        const CoveredTrain second = Covered(one.b, 0, one.end, one.dt, 1e5);
        EXPECT_NEAR(TilingCoefficient(first, second), one.expected, 2e-6);
        EXPECT_EQ(TilingCoefficient(first, second), TilingCoefficient(second, first));
    }
    const std::vector<CoveredTrain> trains{Covered(a, 0, 50, 5, 100), Covered({}, 0, 50, 5, 100),
                                           Covered(b, 0, 50, 5, 100)};
    const std::vector<double> all = TilingOfAll(trains);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_TRUE(std::isnan(all[0]) && std::isnan(all[2]));
    EXPECT_NEAR(all[1], 0.49586, 1e-2);
}

TEST(TilingCoefficient, IsLargestAtTheLagOfWhatFollows) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int64_t> place(0, 99000);
    std::vector<int64_t> a(200), b;
    for (int64_t& at : a) at = place(random);
    std::sort(a.begin(), a.end());
    for (const int64_t at : a) b.push_back(at + 300);
    const Stretches region{{0, 100000}};
    const std::vector<int64_t> lags{-300, 0, 290, 300, 310, 600};
    const auto found = TilingAgainstLag(CoverTrain(a, -5, 5, region), b, 5, lags, region);
    EXPECT_DOUBLE_EQ(found[3], 1.0);
    for (const size_t i : {0u, 1u, 2u, 4u, 5u}) EXPECT_LT(found[i], 0.2) << lags[i];
    const auto gone =
        TilingAgainstLag(CoverTrain(a, -5, 5, region), b, 5, std::vector<int64_t>{200000}, region);
    EXPECT_TRUE(std::isnan(gone[0]));
}

TEST(TilingCoefficient, IsThatOfTheAuthorsOnRealTrains) {
    const std::filesystem::path shared = KYMORA_SHARED_DATA;
    std::ifstream results(shared / "expected/spikes__sttc_pairs.json");
    std::ifstream table(shared / "spikes/P9_CTRL_MY1_1A.txt");
    if (!results || !table) GTEST_SKIP() << "no shared recordings";
    std::map<std::string, std::vector<double>> trains;  // s
    std::vector<std::string> names;
    // One line: the names, then rows of as many times; those of short columns are blank.
    constexpr size_t columns = 26;
    size_t i = 0;
    for (std::string cell; std::getline(table, cell, '\t'); ++i)
        if (i < columns)
            names.push_back(cell);
        else if (const double time = std::atof(cell.c_str()); time > 0.0)
            trains[names[i % columns]].push_back(time);
    int pairs = 0, isExact = 0;
    const nlohmann::json known = nlohmann::json::parse(results);
    for (const auto& pair : known.at("pairs")) {
        const double from = pair.at("range_s")[0], to = pair.at("range_s")[1], dt = pair.at("dt_s");
        const auto& a = trains.at(pair.at("a").get<std::string>());
        const auto& b = trains.at(pair.at("b").get<std::string>());
        // At a sample rate of a MHz a sample more or less in each window is some 1e-4 of it. Spikes lie on a
        // grid of 50 us: two that are as far apart as the window reaches count here, and in floating point
        // numbers they may or may not.
        const auto found = [&](double reach) {
            return TilingCoefficient(Covered(a, from, to, reach, 1e6), Covered(b, from, to, reach, 1e6));
        };
        const double expected = pair.at("sttc");
        EXPECT_LE(expected, found(dt) + 2e-5) << pair.dump();
        EXPECT_GE(expected, found(dt - 1e-6) - 2e-5) << pair.dump();
        isExact += std::fabs(found(dt) - expected) < 2e-5;
        ++pairs;
    }
    EXPECT_EQ(pairs, 45);
    EXPECT_GE(isExact, 43);
}

}  // namespace
}  // namespace kymora
