#include "statistics/student_series.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace kymora {

namespace {

constexpr double quantileStep = 1e-6;
constexpr double settledTerm = 1e-16;  // of the sum
constexpr double tiny = 1e-300;

// 1 + q k/(k+1) (1 + q (k+2)/(k+3) (1 + ..)) with k = first, up to last.
double CosineSeries(double q, int first, int last) {
    double term = 1.0, sum = 1.0;
    for (int k = first; k <= last && term > settledTerm * sum; k += 2) {
        term *= q * k / (k + 1);
        sum += term;
    }
    return sum;
}

// Terms that are needed grow with the width of the distribution.
int MostTerms(double a) { return 1000 + static_cast<int>(std::min(1e6, 20.0 * std::sqrt(a))); }

double GammaFactor(double a, double x) { return std::exp(a * std::log(x) - x - std::lgamma(a)); }

double LowerBySeries(double a, double x) {
    double term = 1.0 / a, sum = term;
    for (int n = 1; n <= MostTerms(a); ++n) {
        term *= x / (a + n);
        sum += term;
        if (term < sum * settledTerm) return sum * GammaFactor(a, x);
    }
    return std::numeric_limits<double>::quiet_NaN();
}

// Lentz's way through the fraction.
double UpperByFraction(double a, double x) {
    double b = x + 1.0 - a, c = 1.0 / tiny, d = 1.0 / b, value = d;
    for (int n = 1; n <= MostTerms(a); ++n) {
        const double factor = -n * (n - a);
        b += 2.0;
        d = factor * d + b;
        if (std::fabs(d) < tiny) d = tiny;
        c = b + factor / c;
        if (std::fabs(c) < tiny) c = tiny;
        d = 1.0 / d;
        value *= d * c;
        if (std::fabs(d * c - 1.0) < 2 * settledTerm) return value * GammaFactor(a, x);
    }
    return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

double StudentTwoSided(double t, int freedom) {
    if (std::isnan(t)) return t;
    const double angle = std::atan(std::fabs(t) / std::sqrt(freedom));
    constexpr double quarter = std::numbers::pi / 2;
    if (freedom == 1) return 1.0 - angle / quarter;
    const double sine = std::sin(angle), cosine = std::cos(angle);
    const double inside =
        freedom % 2 == 1 ? (angle + sine * cosine * CosineSeries(cosine * cosine, 2, freedom - 3)) / quarter
                         : sine * CosineSeries(cosine * cosine, 1, freedom - 3);
    return std::max(0.0, 1.0 - inside);
}

double StudentQuantile(double p, int freedom) {
    double place = 0.5, step = 0.5, t = 0.0;
    while (step > quantileStep) {
        t = 1.0 / place - 1.0;
        step /= 2.0;
        place += StudentTwoSided(t, freedom) > p ? -step : step;
    }
    return t;
}

double UpperGamma(double a, double x) {
    if (!(x >= 0.0) || !(a > 0.0)) return std::numeric_limits<double>::quiet_NaN();
    if (x == 0.0) return 1.0;
    if (std::isinf(x)) return 0.0;
    return x < a + 1.0 ? 1.0 - LowerBySeries(a, x) : UpperByFraction(a, x);
}

}  // namespace kymora
