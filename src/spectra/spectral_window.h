#pragma once
// The windows under which stretches of samples are transformed (F. J. Harris, "On the use of windows for
// harmonic analysis with the discrete Fourier transform", Proc. IEEE 66, 1978, 51-83; P. D. Welch 1967). A
// window is symmetric: its first and last value are equal.

#include <cstddef>
#include <string>
#include <vector>

namespace kymora {

inline constexpr int windowRectangle = 0, windowHamming = 1, windowMultitaper = 8;
inline constexpr const char* noWindowLengthText = "nFreqBins must be power of 2";

// By their indices; the last one is the set of tapers.
const std::vector<std::string>& SpectralWindowNames();

// `n` values of the window of this index, 0 to 7; any other gives a rectangle. Throws std::invalid_argument
// where n is no power of two.
std::vector<double> SpectralWindow(int index, size_t n);

// The windows under which one stretch is transformed, whose periodograms are averaged: the window of the
// index alone, or for windowMultitaper the five lowest sine tapers sqrt(2 / (n + 1)) sin(pi k (i + 1) / (n +
// 1)), which are orthogonal (K. S. Riedel and A. Sidorenko, "Minimum bias multiple taper spectral
// estimation", IEEE Trans. Signal Processing 43, 1995, 188-195): one stretch alone then gives five nearly
// independent estimates over a band of six half bins. Throws the same.
std::vector<std::vector<double>> SpectralTapers(int index, size_t n);

}  // namespace kymora
