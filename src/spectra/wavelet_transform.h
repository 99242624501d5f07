#pragma once
// The discrete wavelet transform, periodic and orthonormal, by the pyramid of S. G. Mallat ("A theory for
// multiresolution signal decomposition", IEEE Trans. PAMI 11, 1989, 674-693). With the scaling filter h of L
// values, level j makes of its n input values n / 2 smooth ones, s(i) = sum over k of h(k) x(2i + k), and n /
// 2 details by the alternating flip g(k) = (-1)^k h(L - 1 - k), where indices beyond the end go on at the
// beginning. The smooth values are the input of the next level, as long as there are at least L of them, and
// at least 2.

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace kymora {

// One set of coefficients: the details of a level (1 is that of the highest frequencies), or the smooth
// values of the last one.
struct WaveletBand {
    int level = 0;
    bool isSmooth = false;
    size_t first = 0, count = 0;  // in the row of coefficients
};

// Of both filters the values with even and with odd index: those of a level work on even and odd samples.
struct WaveletTaps {
    std::vector<double> lowEven, lowOdd, highEven, highOdd;
};

class CWaveletTransform {
  public:
    // `length` is a power of two, 1 at least. Throws std::invalid_argument for others, and for a wavelet
    // without a filter.
    CWaveletTransform(int wavelet, size_t length);

    size_t Length() const { return length_; }
    int Levels() const { return levels_; }
    // The details from level 1 on, then the smooth values.
    std::vector<WaveletBand> Bands() const;

    // In place, of Length() values. Coefficients stand as smooth values, then details from the last level to
    // the first. `between` is called now and then, with about the number of values done since; it may throw,
    // and what the span holds is then of no use. Sums are made in double precision for both.
    using Between = std::function<void(size_t)>;
    void Forward(std::span<double> values, const Between& between = {}) const;
    void Forward(std::span<float> values, const Between& between = {}) const;
    void Inverse(std::span<double> coefficients, const Between& between = {}) const;
    void Inverse(std::span<float> coefficients, const Between& between = {}) const;

  private:
    size_t length_;
    int levels_ = 0;
    WaveletTaps taps_;
};

// The power of two that a run of so many values is extended to.
size_t WaveletLength(size_t values);
// Behind the first `run` of the values as many of them as there is room for, mirrored at the last of them,
// and again at the first where that is reached.
void ExtendByMirroring(std::span<float> values, size_t run, const CWaveletTransform::Between& between = {});

}  // namespace kymora
