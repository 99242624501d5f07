#include "curves/lu_decomposition.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kymora {

LUdcmp::LUdcmp(std::vector<double> matrix, size_t rows)
    : lu_(std::move(matrix)), rows_(rows), exchanged_(rows) {
    std::vector<double> scales(rows);
    for (size_t row = 0; row < rows; ++row) {
        double largest = 0.0;
        for (size_t column = 0; column < rows; ++column)
            largest = std::max(largest, std::fabs(At(row, column)));
        if (largest == 0.0) throw std::runtime_error(singularMatrixText);
        scales[row] = 1.0 / largest;
    }
    for (size_t k = 0; k < rows; ++k) {
        const size_t pivot = PivotRow(k, scales);
        exchanged_[k] = pivot;
        if (pivot != k) {
            for (size_t column = 0; column < rows; ++column) std::swap(At(pivot, column), At(k, column));
            scales[pivot] = scales[k];
        }
        if (At(k, k) == 0.0) At(k, k) = 1e-40;
        for (size_t row = k + 1; row < rows; ++row) {
            const double factor = At(row, k) /= At(k, k);
            for (size_t column = k + 1; column < rows; ++column) At(row, column) -= factor * At(k, column);
        }
    }
}

size_t LUdcmp::PivotRow(size_t column, std::span<const double> rowScales) const {
    size_t best = column;
    double largest = 0.0;
    for (size_t row = column; row < rows_; ++row) {
        const double scaled = rowScales[row] * std::fabs(At(row, column));
        if (scaled > largest) {
            largest = scaled;
            best = row;
        }
    }
    return best;
}

std::vector<double> LUdcmp::Solve(std::span<const double> rightSide) const {
    if (rightSide.size() != rows_) throw std::runtime_error("LUdcmp::solve bad sizes");
    std::vector<double> x(rightSide.begin(), rightSide.end());
    for (size_t row = 0; row < rows_; ++row) {
        std::swap(x[row], x[exchanged_[row]]);
        for (size_t column = 0; column < row; ++column) x[row] -= At(row, column) * x[column];
    }
    for (size_t row = rows_; row-- > 0;) {
        for (size_t column = row + 1; column < rows_; ++column) x[row] -= At(row, column) * x[column];
        x[row] /= At(row, row);
    }
    return x;
}

}  // namespace kymora
