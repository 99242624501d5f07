// The robust local fit against normal equations in extended precision, and against fits known beforehand.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "curves/local_fit.h"

namespace kymora {
namespace {

using Wide = long double;

// Weighted least squares in powers of the sample's number, by elimination with pivots.
std::vector<Wide> PlainFit(const std::vector<float>& y, const std::vector<Wide>& w, int degree) {
    const auto m = static_cast<size_t>(degree) + 1;
    std::vector<std::vector<Wide>> a(m, std::vector<Wide>(m + 1, 0));
    for (size_t i = 0; i < y.size(); ++i)
        for (size_t r = 0; r < m; ++r) {
            const Wide part = w[i] * std::pow(Wide(i), Wide(r));
            for (size_t c = 0; c < m; ++c) a[r][c] += part * std::pow(Wide(i), Wide(c));
            a[r][m] += part * y[i];
        }
    for (size_t k = 0; k < m; ++k) {
        size_t best = k;
        for (size_t r = k; r < m; ++r)
            if (std::fabs(a[r][k]) > std::fabs(a[best][k])) best = r;
        std::swap(a[k], a[best]);
        for (size_t r = 0; r < m; ++r) {
            if (r == k) continue;
            const Wide factor = a[r][k] / a[k][k];
            for (size_t c = k; c <= m; ++c) a[r][c] -= factor * a[k][c];
        }
    }
    std::vector<Wide> b(m);
    for (size_t k = 0; k < m; ++k) b[k] = a[k][m] / a[k][k];
    return b;
}

Wide Horner(const std::vector<Wide>& b, Wide x) {
    Wide sum = 0;
    for (size_t i = b.size(); i-- > 0;) sum = sum * x + b[i];
    return sum;
}

Wide PlainValue(const std::vector<float>& y, size_t c, const LocalFitSettings& settings) {
    const size_t n = y.size();
    std::vector<Wide> w(n);
    const Wide farthest = std::max(c, n - 1 - c);
    for (size_t i = 0; i < n; ++i) {
        const Wide u = std::fabs(Wide(i) - Wide(c)) / farthest;
        w[i] = std::pow(1 - u * u * u, Wide(3));
    }
    std::vector<Wide> b = PlainFit(y, w, settings.polyDegree);
    for (int round = 0; round < settings.robustRounds; ++round) {
        std::vector<Wide> sizes(n), robust(n);
        for (size_t i = 0; i < n; ++i) sizes[i] = std::fabs(y[i] - Horner(b, Wide(i)));
        std::sort(sizes.begin(), sizes.end());
        const Wide s = settings.outlierThreshold * sizes[n / 2];
        for (size_t i = 0; i < n; ++i) {
            const Wide r = (y[i] - Horner(b, Wide(i))) / s;
            robust[i] = std::fabs(r) < 1 ? w[i] * (1 - r * r) * (1 - r * r) : 0;
        }
        const std::vector<Wide> next = PlainFit(y, robust, settings.polyDegree);
        Wide change = 0;
        for (size_t i = 0; i < b.size(); ++i) change = std::max(change, std::fabs((next[i] - b[i]) / b[i]));
        b = next;
        if (change < 1e-6L) break;
    }
    return Horner(b, Wide(c));
}

TEST(LocalFit, IsTheWeightedPolynomial) {
    std::mt19937 random(11);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    for (const size_t window : {size_t{9}, size_t{21}, size_t{61}})
        for (const int degree : {0, 1, 2, 3})
            for (const int rounds : {0, 1, 2, 10})
                for (const size_t place : {size_t{0}, size_t{1}, window / 2, window - 2, window - 1}) {
                    std::vector<float> y(window);
                    for (size_t i = 0; i < window; ++i)
                        y[i] = 100.0f + normal(random) + (random() % 9 == 0 ? 40.0f : 0.0f);
                    const LocalFitSettings settings{degree, rounds, 6.0};
                    EXPECT_NEAR(LocalFit(window, place, settings).Value(y),
                                static_cast<double>(PlainValue(y, place, settings)), 2e-6)
                        << window << " " << degree << " " << rounds << " " << place;
                }
}

TEST(LocalFit, KeepsAPolynomialAndIgnoresAnOutlier) {
    std::vector<float> y;
    for (int i = 0; i < 41; ++i)
        y.push_back(3.0f + 0.5f * static_cast<float>(i * i) - 4.0f * static_cast<float>(i));
    const auto value = [&](size_t place, int rounds) {
        return LocalFit(41, place, {2, rounds, 6.0}).Value(y);
    };
    for (const size_t place : {0, 5, 20, 40}) {
        EXPECT_NEAR(value(place, 0), y[place], 1e-9);
        EXPECT_NEAR(value(place, 3), y[place], 1e-9);
    }
    const float clean = y[22];
    y[22] += 1000.0f;
    EXPECT_GT(std::fabs(value(22, 0) - clean), 50.0);
    EXPECT_NEAR(value(22, 3), clean, 1e-6);
    EXPECT_NEAR(value(20, 3), y[20], 1e-6);
}

// A high degree in a long window, where powers of the sample's number would be of no use.
TEST(LocalFit, IsStable) {
    std::vector<float> y;
    for (int i = 0; i < 4001; ++i) y.push_back(std::pow(static_cast<float>(i) / 4000.0f, 6.0f));
    for (const size_t place : {0, 1000, 2000, 4000})
        EXPECT_NEAR(LocalFit(4001, place, {6, 2, 6.0}).Value(y),
                    std::pow(static_cast<double>(place) / 4000.0, 6.0), 2e-7);
}

TEST(LocalFit, LowersTheDegreeWhereSamplesAreFew) {
    // The farthest sample weighs nothing: of three samples one is left in the middle and two at an end.
    const std::vector<float> y = {4, 10, 7};
    for (const double threshold : {1.0, 6.0})
        for (const int rounds : {0, 1, 5})
            for (const int degree : {1, 2, 6})
                for (const size_t place : {0, 1, 2})
                    EXPECT_NEAR(LocalFit(3, place, {degree, rounds, threshold}).Value(y), y[place], 1e-9);
    const std::vector<float> level(7, 2.5f);
    EXPECT_NEAR(LocalFit(7, 3, {6, 4, 1.0}).Value(level), 2.5, 1e-12);
    EXPECT_EQ(LocalFit(7, 3, {2, 4, 1.0}).Value(std::vector<float>(7, 0.0f)), 0.0);
}

TEST(LocalFit, IsSpoiledByWhatIsNoNumber) {
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        for (const size_t at : {0, 3, 5}) {
            std::vector<float> y = {1, 2, 4, 3, 5, 6, 2};
            y[at] = bad;
            EXPECT_FALSE(std::isfinite(LocalFit(7, 3, {2, 3, 6.0}).Value(y))) << at;
        }
}

}  // namespace
}  // namespace kymora
