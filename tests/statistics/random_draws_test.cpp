// Random draws: their distributions, and that they are the same everywhere.

#include "statistics/random_draws.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <array>
#include <functional>
#include <map>
#include <vector>

namespace kymora {
namespace {

TEST(RandomDrawsTest, TheLogarithmIsThatOfTheLibrary) {
    for (double x = 1e-300; x < 1e300; x *= 3.7)
        EXPECT_NEAR(LogOf(x), std::log(x), 2e-15 * (1.0 + std::fabs(std::log(x))));
    for (double x = 0.4; x < 2.5; x += 0.001) EXPECT_NEAR(LogOf(x), std::log(x), 4e-16);
    EXPECT_EQ(LogOf(1.0), 0.0);
    EXPECT_TRUE(std::isinf(LogOf(0.0)));
}

TEST(RandomDrawsTest, MomentsAndTails) {
    using Draw = std::function<double(NormalDraws&, std::mt19937&)>;
    const auto gamma = [](double shape) {
        return [shape](NormalDraws& normals, std::mt19937&) { return normals.Gamma(shape, 3.0); };
    };
    struct Case {
        const char* what;
        Draw draw;
        double mean, variance;
        double median;  // by the distribution function
    };
    const Case cases[] = {
        {"exponential", [](NormalDraws&, std::mt19937& random) { return ExponentialDraw(random, 3.0); }, 3.0,
         9.0, 3.0 * std::log(2.0)},
        {"normal", [](NormalDraws& normals, std::mt19937&) { return normals.Normal(); }, 0.0, 1.0, 0.0},
        {"gamma 0.5, half a chi square", gamma(0.5), 3.0, 18.0, 3.0 * 0.454936},
        {"gamma 1, an exponential", gamma(1.0), 3.0, 9.0, 3.0 * std::log(2.0)},
        {"gamma 4", gamma(4.0), 3.0, 2.25, 3.0 * 3.672061 / 4.0},
    };
    constexpr int count = 200000;
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        std::mt19937 random(5);
        NormalDraws normals(random);
        double sum = 0.0, squares = 0.0;
        int below = 0;
        for (int i = 0; i < count; ++i) {
            const double draw = one.draw(normals, random);
            sum += draw;
            squares += draw * draw;
            below += draw < one.median;
        }
        const double mean = sum / count;
        EXPECT_NEAR(mean, one.mean, 5.0 * std::sqrt(one.variance / count));
        EXPECT_NEAR((squares / count - mean * mean) / one.variance, 1.0, 0.04);
        EXPECT_NEAR(static_cast<double>(below) / count, 0.5, 0.006);
    }
}

// A list is put in each of its orders as often as in any other.
TEST(RandomDrawsTest, OrdersAreEquallyLikely) {
    std::mt19937 random(11);
    std::map<std::vector<int>, int> orders;
    constexpr int rounds = 24000;
    for (int i = 0; i < rounds; ++i) {
        std::vector<int> items{1, 2, 3, 4};
        Shuffle(random, items);
        ++orders[items];
    }
    ASSERT_EQ(orders.size(), 24u);
    for (const auto& [order, count] : orders) EXPECT_NEAR(count, rounds / 24, 160);
}

// Fixed for ever: whoever gives a seed gets these events on any machine.
TEST(RandomDrawsTest, OneSeedGivesTheSameBitsEverywhere) {
    std::mt19937 random(1);
    NormalDraws normals(random);
    const std::array<double, 5> draws{ExponentialDraw(random, 1.0), normals.Normal(), normals.Normal(),
                                      normals.Gamma(2.5, 1.0), normals.Gamma(0.3, 1.0)};
    const std::array<double, 5> kept{0x1.1447375f848e8p-1, -0x1.cba69fc03e5b1p-2, -0x1.9ab665f778871p-1,
                                     0x1.b2030747112afp-3, 0x1.1189db9d8211bp-6};
    EXPECT_EQ(draws, kept) << fmt::format("{:a} {:a} {:a} {:a} {:a}", draws[0], draws[1], draws[2], draws[3],
                                          draws[4]);
    EXPECT_EQ(IndexDraw(random, 1000), 723u);
}

}  // namespace
}  // namespace kymora
