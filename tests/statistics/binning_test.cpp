// Bins: where values go, and how counts are shown.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "statistics/binning.h"

namespace kymora {
namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Binning, ValuesGoToTheirBins) {
    constexpr int below = -1;
    constexpr int above = -2;
    constexpr int none = -3;
    const struct {
        BinGrid grid;
        double value;
        int bin;
    } cases[] = {
        {{10, 0.0, 1.0}, 0.0, 0},
        {{10, 0.0, 1.0}, 0.7f, 7},        // 0.69999999 in single precision
        {{10, 0.0, 1.0}, 0.3, 3},         // 2.9999999999999996 widths
        {{10, 0.0, 1.0}, 0.3 - 2e-7, 2},  // 2e-6 of a width below the edge
        {{10, 0.0, 1.0}, 0.99999999, 9},  // would be bin 10
        {{10, 0.0, 1.0}, 1.0, above},
        {{10, 0.0, 1.0}, 1.0f, above},
        {{10, 0.0, 1.0}, inf, above},
        {{10, 0.0, 1.0}, -1e-300, below},
        {{10, 0.0, 1.0}, -inf, below},
        {{10, 0.0, 1.0}, nan, none},
        {{3, -10.0, -1.0}, -1.0000001, 2},
        {{3, -10.0, -1.0}, -7.0, 1},
        {{1, 5.0, 5.5}, 5.25, 0},
        {{mostBins, 0.0, 1.0}, 0.5, 5000000},
        {{4, -1e308, 1e307}, 1.7e308, above},  // quotients stay in their range
        {{4, 1.0, 1.0}, 3.0, below},           // no grid at all
        {{0, 0.0, 1.0}, 0.5, below},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message()
                     << row.value << " in " << row.grid.minimum << " to " << row.grid.maximum);
        const Histogram found = GetHistogram(std::span(&row.value, 1), row.grid);
        EXPECT_EQ(found.Below(), row.bin == below);
        EXPECT_EQ(found.Above(), row.bin == above);
        EXPECT_EQ(found.NotNumbers(), row.bin == none);
        EXPECT_EQ(found.InRange(), row.bin >= 0);
        if (row.bin < 0) continue;
        EXPECT_EQ(found.Counts()[static_cast<size_t>(row.bin)], 1.0);
        EXPECT_EQ(BinOf(row.grid, row.value), row.bin);
    }
}

// The rule written down plainly, over blocks that do not end where pieces do.
TEST(Binning, BlocksOfAnyKindAreCountedByTheRule) {
    std::mt19937 random(3);
    std::vector<float> values(5000);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] =
            i % 50 == 0 ? static_cast<float>(nan) : static_cast<float>(random() % 1300) / 10.0f - 10.0f;
    const BinGrid grid{100, 0.0, 100.0};
    std::vector<double> expected(100);
    double below = 0;
    double above = 0;
    for (const double value : values) {
        if (value < 0.0) ++below;
        if (value >= 100.0) ++above;
        if (!(value >= 0.0 && value < 100.0)) continue;
        const double next = std::floor(value) + 1.0;
        ++expected[std::min<size_t>(99, static_cast<size_t>(next - value <= 1e-6 ? next : next - 1.0))];
    }
    Histogram histogram(grid);
    histogram.Add(std::span<const float>(values).first(1500));
    const std::vector<double> rest(values.begin() + 1500, values.end());
    histogram.Add(rest);
    EXPECT_EQ(std::vector<double>(histogram.Counts().begin(), histogram.Counts().end()), expected);
    EXPECT_EQ(histogram.Below(), below);
    EXPECT_EQ(histogram.Above(), above);
    EXPECT_EQ(histogram.NotNumbers(), 100.0);
}

TEST(Binning, GridsWithFaultsAreTold) {
    const struct {
        BinGrid grid;
        GridFault fault;
    } cases[] = {
        {{50, 0.0, 1.0}, GridFault::none},
        {{0, 0.0, 1.0}, GridFault::count},
        {{mostBins + 1, 0.0, 1.0}, GridFault::count},
        {{50, nan, 1.0}, GridFault::limits},
        {{50, 0.0, inf}, GridFault::limits},
        {{50, -1.5e308, 1.5e308}, GridFault::limits},
        {{50, 1.0, 1.0}, GridFault::order},
        {{50, 2.0, 1.0}, GridFault::order},
        {{50, 1e16, 1e16 + 10}, GridFault::width},
    };
    for (const auto& row : cases)
        EXPECT_EQ(FaultOf(row.grid), row.fault) << row.grid.minimum << " to " << row.grid.maximum;
    EXPECT_EQ(BinCountForWidth(0.0, 10.0, 0.1), 100);
    EXPECT_EQ(BinCountForWidth(0.0, 10.0, 99.0), 1);
    for (const double width : {0.0, -1.0, nan, 1e-9})
        EXPECT_EQ(BinCountForWidth(0.0, 10.0, width), std::nullopt);
}

TEST(Binning, CountsAreShownInSixForms) {
    // 4 of 16 counts in a bin of 2 ms: 2,000 in a second.
    const struct {
        CountDisplay display;
        double four;
        double zero;
    } cases[] = {
        {CountDisplay::count, 4.0, 0.0},     {CountDisplay::percent, 25.0, 0.0},
        {CountDisplay::density, 0.125, 0.0}, {CountDisplay::lnCount, std::log(4.0), nan},
        {CountDisplay::sqrtCount, 2.0, 0.0}, {CountDisplay::lnHz, std::log(2000.0), nan},
    };
    for (const auto& row : cases) {
        const double zero = DisplayedCount(row.display, 0.0, 0.0, 2.0);
        EXPECT_DOUBLE_EQ(DisplayedCount(row.display, 4.0, 16.0, 2.0), row.four);
        EXPECT_DOUBLE_EQ(DisplayedDensity(row.display, 0.125, 16.0, 2.0), row.four);
        EXPECT_TRUE(std::isnan(row.zero) ? std::isnan(zero) : zero == row.zero);
    }
    const std::vector<double> counts{1, 0, 5};
    EXPECT_EQ(CumulativeCounts(counts, 2.0), (std::vector<double>{3, 3, 8}));
}

}  // namespace
}  // namespace kymora
