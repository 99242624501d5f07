#pragma once
// Coefficients of the filters of Savitzky and Golay (Analytical Chemistry 36, 1964): a polynomial is fitted
// by least squares to a window, and its value or derivative at one place is a fixed sum of the samples.

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "curves/lu_decomposition.h"

namespace kymora {

// The coefficients for a window that reaches `left` samples to the left of a place and `right` to its right:
// of the derivative `derivative` (0: the value) of a polynomial of degree `degree`, without its factorial.
// They stand in the order of convolutions: that of the sample k places to the right at (length - k) % length.
// Throws std::invalid_argument("bad args in savgol").
std::vector<double> savgol(int64_t length, int64_t left, int64_t right, int derivative, int degree);

// The same from the window's oldest sample to its newest, with the factorial: their sum of products with the
// samples is the derivative per sample interval.
std::vector<double> SavgolRow(int64_t left, int64_t right, int derivative, int degree);

}  // namespace kymora
