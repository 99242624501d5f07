#pragma once
// The filters of orthonormal wavelets with compact support, as published: the extremal-phase and the least
// asymmetric ones of I. Daubechies (Ten Lectures on Wavelets, SIAM 1992, tables 6.1 and 6.3; that of 68
// values by the same construction), and her coiflets (table 8.1). A wavelet is named by the number of its
// filter's values.

#include <span>
#include <string>
#include <vector>

namespace kymora {

inline constexpr const char* noWaveletText = "Unimplemented wavelet in CWaveletTransforms::Set\n";

// "Daub-4" .. "Daub-20", "Daub-68", "Coiff-6" .. "Coiff-30", "Sym-4" .. "Sym-16".
const std::vector<std::string>& WaveletNames();

// The scaling (low-pass) filter, whose sum is sqrt(2) and whose sum of squares is 1. Throws
// std::invalid_argument for an index without a filter.
std::span<const double> ScalingFilter(int wavelet);

}  // namespace kymora
