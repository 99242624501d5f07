// Curves through points, held against closed formulas and against Boost.Math's own evaluation.

#include "curves/interpolator.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <math.h>

#include <boost/math/interpolators/makima.hpp>
#include <boost/math/interpolators/pchip.hpp>
#include <random>

namespace kymora {
namespace {

using Numbers = std::vector<double>;
using enum InterpolatorKind;
constexpr InterpolatorKind curves[] = {linear, cubicSpline, catmullRom, modifiedAkima, bezier, pchip};

std::unique_ptr<Interpolator> Make(InterpolatorKind kind, const Numbers& x, const Numbers& y) {
    return MakeInterpolator(kind, x, y);
}

// Points at uneven distances, some of them closer than a sample.
struct Scattered {
    Numbers x, y;
    explicit Scattered(size_t count, double first = 3.7) {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> step(0.05, 9.0), value(-5.0, 5.0);
        for (double at = first; x.size() < count; at += step(random)) {
            x.push_back(at);
            y.push_back(value(random));
        }
    }
};

TEST(InterpolatorTest, GoesThroughItsPointsAndKeepsLines) {
    const Scattered points(50);
    Numbers line;
    for (const double x : points.x) line.push_back(4.0 - 0.5 * x);
    for (const InterpolatorKind kind : curves) {
        SCOPED_TRACE(static_cast<int>(kind));
        const auto curve = Make(kind, points.x, points.y);
        for (size_t i = 0; i < points.x.size(); ++i) EXPECT_EQ((*curve)(points.x[i]), points.y[i]);
        const auto straight = Make(kind, points.x, line);
        for (double x = points.x[0] - 20.0; x < points.x.back() + 20.0; x += 0.37)
            EXPECT_NEAR((*straight)(x), 4.0 - 0.5 * x, 1e-9);
    }
    EXPECT_EQ(Make(gaps, points.x, points.y), nullptr);
}

TEST(InterpolatorTest, FillsInOrderWhatItAnswersOneByOne) {
    const Scattered points(300);
    for (const InterpolatorKind kind : curves)
        for (const double interval : {0.01, 0.73, 40.0}) {
            SCOPED_TRACE(fmt::format("{} at {}", static_cast<int>(kind), interval));
            const auto curve = Make(kind, points.x, points.y);
            const auto end = static_cast<int64_t>(points.x.back() / interval) + 50;
            // In blocks, as samples are written.
            std::vector<float> filled(static_cast<size_t>(end));
            for (size_t at = 0; at < filled.size(); at += 1000)
                curve->Fill(static_cast<int64_t>(at), interval,
                            std::span(filled).subspan(at, std::min<size_t>(1000, filled.size() - at)));
            for (int64_t k = 0; k < end; ++k)
                ASSERT_EQ(filled[static_cast<size_t>(k)],
                          static_cast<float>((*curve)(static_cast<double>(k) * interval)))
                    << k;
        }
}

TEST(InterpolatorTest, NaturalSpline) {
    // -x^3 / 2 + 3 x / 2, and the same from the other side.
    const CubicSpline spline(Numbers{0, 1, 2}, Numbers{0, 1, 0});
    for (const auto& [x, y] : {std::pair{0.5, 0.6875}, {1.5, 0.6875}, {1.0, 1.0}, {-2.0, -3.0}, {4.0, -3.0}})
        EXPECT_NEAR(spline(x), y, 1e-14) << x;
    const CubicSpline two(Numbers{1, 3}, Numbers{5, 1});
    EXPECT_EQ(two(0) + two(2) + two(4), 7.0 + 3.0 - 1.0);
}

TEST(InterpolatorTest, SlopesOfTheKinds) {
    // In the middle of a segment: half the sum of the ends, and an eighth of the step times the slopes'
    // difference.
    const Numbers x = {0, 1, 3, 4, 8}, y = {0, 2, 1, 5, 5};
    const Numbers slopes = {2, 1.0 / 3, 1, 0.8, 0};
    const auto curve = Make(catmullRom, x, y);
    for (size_t i = 0; i + 1 < x.size(); ++i) {
        const double step = x[i + 1] - x[i];
        EXPECT_NEAR((*curve)(x[i] + step / 2), (y[i] + y[i + 1]) / 2 + step * (slopes[i] - slopes[i + 1]) / 8,
                    1e-14);
    }
    EXPECT_EQ((*curve)(-1), -2.0);
    EXPECT_EQ((*curve)(9), 5.0);
    // Handles on the tangents of parabolas keep a parabola, also where it goes on as a line.
    Numbers squares;
    for (const double at : x) squares.push_back(at * at);
    const auto square = Make(bezier, x, squares);
    for (double at = 0.0; at <= 8.0; at += 0.25) EXPECT_NEAR((*square)(at), at * at, 1e-12);
    EXPECT_NEAR((*square)(-2), 0.0, 1e-12);
    EXPECT_NEAR((*square)(10), 64.0 + 2 * 16.0, 1e-12);
}

template <typename Boosted>
void ExpectBitsOfBoost(InterpolatorKind kind) {
    Scattered points(200);
    for (size_t i = 40; i < 60; ++i) points.y[i] = 1.5;  // a plateau
    const auto curve = Make(kind, points.x, points.y);
    const Boosted boosted(Numbers(points.x), Numbers(points.y));
    for (double x = points.x.front(); x <= points.x.back(); x += 0.0917)
        ASSERT_EQ((*curve)(x), boosted(x)) << x;
    EXPECT_EQ((*curve)(points.x.front() - 2.0), points.y.front() - 2.0 * boosted.prime(points.x.front()));
    EXPECT_EQ((*curve)(points.x.back() + 2.0), points.y.back() + 2.0 * boosted.prime(points.x.back()));
}

TEST(InterpolatorTest, AkimaAndPchipAreThoseOfBoost) {
    ExpectBitsOfBoost<boost::math::interpolators::makima<Numbers>>(modifiedAkima);
    ExpectBitsOfBoost<boost::math::interpolators::pchip<Numbers>>(pchip);
}

TEST(InterpolatorTest, TooFewPointsAreRefusedInTheWordsOfTheKind) {
    const struct {
        InterpolatorKind kind;
        size_t least;
        const char* words;
    } kinds[] = {
        {gaps, 0, ""},
        {linear, 2, "Linear: x and y must have the same size and at least two points."},
        {cubicSpline, 2, "CubicSpline: x and y must have the same size and at least two points."},
        {catmullRom, 4, "CatmullRomSpline: x and y must have the same size and at least four points."},
        {modifiedAkima, 4, "Must be at least four data points."},
        {bezier, 4, "Bezier: x and y must have the same size and at least four points."},
        {pchip, 4, "Must be at least four data points."},
    };
    for (const auto& [kind, least, words] : kinds)
        for (size_t points = 0; points < 6; ++points)
            EXPECT_EQ(InterpolatorFault(kind, points), points < least ? words : "")
                << static_cast<int>(kind) << " of " << points;
    const auto words = [](const auto& curve) -> std::string {
        try {
            return std::to_string(curve(1.0));
        } catch (const std::logic_error& error) {
            return error.what();
        }
    };
    EXPECT_EQ(words(CubicSpline()), "CubicSpline: No data set.");
    EXPECT_EQ(words(CatmullRomSpline()), "CatmullRomSpline: Not enough points set.");
    EXPECT_THROW(CubicSpline(Numbers{1, 2, 3}, Numbers{1, 2}), std::invalid_argument);
}

}  // namespace
}  // namespace kymora
