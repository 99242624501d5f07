#pragma once
// Elementary functions that give the same bits on every machine: they are made of additions, multiplications,
// divisions and square roots, which IEEE 754 fixes. Those of the library are not.

#include <cmath>
#include <limits>

namespace kymora {

// e^-x for x >= 0, to about 1e-13 up to x = 70 and less exactly for the tiny values beyond: the series at
// x / 1024, squared ten times.
inline double ExpOfMinus(double x) {
    if (x > 700.0) return 0.0;
    const double y = -x / 1024.0;
    double sum = 1.0;
    for (int k = 8; k >= 1; --k) sum = 1.0 + sum * y / k;
    for (int i = 0; i < 10; ++i) sum *= sum;
    return sum;
}

// The natural logarithm, to about 1e-15: the power of two apart, and of what lies between the roots of 1/2
// and 2 the series of the inverse hyperbolic tangent. Minus infinity for 0.
inline double LogOf(double x) {
    if (x <= 0.0) return -std::numeric_limits<double>::infinity();
    int power = 0;
    double fraction = std::frexp(x, &power);
    if (fraction < 0.7071067811865476) {
        fraction *= 2.0;
        --power;
    }
    const double s = (fraction - 1.0) / (fraction + 1.0);
    const double square = s * s;
    constexpr double terms[] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9, 1.0 / 11,
                                1.0 / 13, 1.0 / 15, 1.0 / 17, 1.0 / 19};
    double sum = 1.0 / 21;
    for (int k = 8; k >= 0; --k) sum = terms[k] + sum * square;
    return power * 0.6931471805599453 + 2.0 * s * (1.0 + sum * square);
}

// The sine of an angle in turns: folded to a quarter, then the series, to about 1e-13.
inline double SineOfTurns(double turns) {
    double x = turns - std::floor(turns);
    const double sign = x >= 0.5 ? -1.0 : 1.0;
    if (x >= 0.5) x -= 0.5;
    if (x > 0.25) x = 0.5 - x;
    const double angle = x * 6.283185307179586;
    const double square = angle * angle;
    double sum = 1.0;
    for (int k = 16; k >= 2; k -= 2) sum = 1.0 - sum * square / (k * (k + 1));
    return sign * angle * sum;
}

}  // namespace kymora
