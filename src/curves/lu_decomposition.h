#pragma once
// Linear equations by LU decomposition with implicit scaled partial pivoting.

#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

namespace kymora {

inline constexpr const char* singularMatrixText = "Singular matrix in LUdcmp";

// A square system of linear equations, decomposed once (Crout, rows exchanged by the largest pivot relative
// to its row) and solved for any right-hand side. A zero pivot becomes 1e-40. Throws
// std::runtime_error("Singular matrix in LUdcmp") for a row of zeros.
class LUdcmp {
  public:
    // `rows` x `rows` values, row after row.
    LUdcmp(std::vector<double> matrix, size_t rows);
    // Throws std::runtime_error("LUdcmp::solve bad sizes") for another number of values than there are rows.
    std::vector<double> Solve(std::span<const double> rightSide) const;

  private:
    double& At(size_t row, size_t column) { return lu_[row * rows_ + column]; }
    double At(size_t row, size_t column) const { return lu_[row * rows_ + column]; }
    size_t PivotRow(size_t column, std::span<const double> rowScales) const;

    std::vector<double> lu_;
    size_t rows_;
    std::vector<size_t> exchanged_;  // the row that was exchanged with each
};

}  // namespace kymora
