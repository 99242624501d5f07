#include "statistics/poisson_tail.h"

#include <algorithm>
#include <cmath>

#include "numerics/portable_functions.h"

namespace kymora {

namespace {

constexpr double twoPi = 6.283185307179586;
constexpr double leastTerm = 1e-17;  // of the sum

// c ln(c / m) + m - c, without loss of digits where both are nearly equal.
template <typename Log>
double Deviance(double c, double m, Log log) {
    if (std::fabs(c - m) >= 0.1 * (c + m)) return c * log(c / m) + m - c;
    const double v = (c - m) / (c + m), square = v * v;
    double sum = (c - m) * v, power = 2.0 * c * v;
    for (int j = 1;; ++j) {
        power *= square;
        const double next = sum + power / (2 * j + 1);
        if (next == sum) return sum;
        sum = next;
    }
}

// ln(c!) less Stirling's formula.
double StirlingError(double c) {
    if (c < 16.0) {
        double product = 1.0;
        for (double k = 2.0; k <= c; ++k) product *= k;
        return LogOf(product) - (c + 0.5) * LogOf(c) + c - 0.5 * LogOf(twoPi);
    }
    const double square = 1.0 / (c * c);
    return (1.0 / 12 - (1.0 / 360 - (1.0 / 1260 - (1.0 / 1680 - square / 1188) * square) * square) * square) /
           c;
}

// -ln P(X = count), for a count from 0 on.
double MinusLogTerm(double count, double mean) {
    if (count == 0.0) return mean;
    return Deviance(count, mean, LogOf) + StirlingError(count) + 0.5 * LogOf(twoPi * count);
}

// The term at `count` and all behind it, as so many of it.
double TermsFrom(double count, double mean) {
    double sum = 1.0, term = 1.0;
    for (double k = count + 1.0; term > leastTerm * sum; ++k) {
        term *= mean / k;
        sum += term;
    }
    return sum;
}

// The term at `count` and all before it.
double TermsUpTo(double count, double mean) {
    double sum = 1.0, term = 1.0;
    for (double k = count; k > 0.0 && term > leastTerm * sum; --k) {
        term *= k / mean;
        sum += term;
    }
    return sum;
}

}  // namespace

double LogPoissonTail(int64_t count, double mean) {
    const auto c = static_cast<double>(count);
    if (mean <= c) return std::min(0.0, LogOf(TermsFrom(c, mean)) - MinusLogTerm(c, mean));
    const double below = ExpOfMinus(MinusLogTerm(c - 1.0, mean)) * TermsUpTo(c - 1.0, mean);
    return LogOf(1.0 - std::min(1.0, below));
}

double LogPoissonHead(int64_t count, double mean) {
    const auto c = static_cast<double>(count);
    if (mean > c) return std::min(0.0, LogOf(TermsUpTo(c, mean)) - MinusLogTerm(c, mean));
    const double above = ExpOfMinus(MinusLogTerm(c + 1.0, mean)) * TermsFrom(c + 1.0, mean);
    return LogOf(1.0 - std::min(1.0, above));
}

double PoissonSurpriseBound(int64_t count, double mean) {
    const auto c = static_cast<double>(count);
    const auto log = [](double x) { return std::log(x); };
    if (mean > c) {
        const double k = c - 1.0;
        const double below = k == 0.0 ? mean : Deviance(k, mean, log);
        return -std::log1p(-std::min(0.5, std::exp(-below)));
    }
    const double least = 2.0 * c / (c - mean + std::sqrt((c - mean) * (c - mean) + 4.0 * mean));
    return Deviance(c, mean, log) + 1.0 / (12.0 * c) + 0.5 * std::log(twoPi * c / (least * least));
}

}  // namespace kymora
