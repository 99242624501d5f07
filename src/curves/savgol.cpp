#include "curves/savgol.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

// The sums of k^p over k = -left .. right, for p = 0 .. most; 0^0 counts as 1.
std::vector<double> PowerSums(int64_t left, int64_t right, size_t most) {
    std::vector<double> sums(most + 1, 0.0);
    for (int64_t k = -left; k <= right; ++k) {
        double power = 1.0;
        for (double& sum : sums) {
            sum += power;
            power *= static_cast<double>(k);
        }
    }
    return sums;
}

}  // namespace

std::vector<double> savgol(int64_t length, int64_t left, int64_t right, int derivative, int degree) {
    if (left < 0 || right < 0 || length < left + right + 1 || derivative < 0 || derivative > degree ||
        left + right < degree)
        throw std::invalid_argument("bad args in savgol");
    const size_t terms = static_cast<size_t>(degree) + 1;
    const std::vector<double> sums = PowerSums(left, right, 2 * static_cast<size_t>(degree));
    std::vector<double> matrix(terms * terms);
    for (size_t i = 0; i < terms; ++i)
        for (size_t j = 0; j < terms; ++j) matrix[i * terms + j] = sums[i + j];
    std::vector<double> unit(terms, 0.0);
    unit[static_cast<size_t>(derivative)] = 1.0;
    const std::vector<double> b = LUdcmp(std::move(matrix), terms).Solve(unit);
    std::vector<double> coefficients(static_cast<size_t>(length), 0.0);
    for (int64_t k = -left; k <= right; ++k) {
        double sum = b[0];
        double power = 1.0;
        for (size_t i = 1; i < terms; ++i) {
            power *= static_cast<double>(k);
            sum += b[i] * power;
        }
        coefficients[static_cast<size_t>(k > 0 ? length - k : -k)] = sum;
    }
    return coefficients;
}

std::vector<double> SavgolRow(int64_t left, int64_t right, int derivative, int degree) {
    std::vector<double> row = savgol(left + right + 1, left, right, derivative, degree);
    // The place itself stands first and the samples to its left follow it; so the newest sample comes next.
    std::rotate(row.begin(), row.begin() + left + 1, row.end());
    std::reverse(row.begin(), row.end());
    const double factorial = derivative == 2 ? 2.0 : derivative == 3 ? 6.0 : 1.0;
    for (double& coefficient : row) coefficient *= factorial;
    return row;
}

}  // namespace kymora
