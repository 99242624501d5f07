#pragma once
// Sampling a band-limited series at another rate, up / down times the old one, by a polyphase filter of
// windowed sinc: the low-pass that takes away what the lower of both rates cannot hold and the interpolation
// between samples are one and the same filter. It is symmetric about each result, so that nothing is delayed.
//
// R. E. Crochiere and L. R. Rabiner, Multirate Digital Signal Processing, Prentice-Hall 1983, chapters 2 and
// 4; the window is that of J. F. Kaiser, "Nonrecursive digital filter design using the I0-sinh window
// function", Proc. IEEE Int. Symp. Circuits and Systems 1974, 20-23, with his formulas for its parameter and
// the length. The pass band reaches to 0.9 of the lower Nyquist frequency, the stop band begins at it and
// lies 100 dB below.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

inline constexpr int32_t greatestResamplingFactor = 10000;

struct RateFactor {
    int32_t up = 1, down = 1;  // from 1 to greatestResamplingFactor
    double Value() const { return static_cast<double>(up) / down; }
    RateFactor InLowestTerms() const;
    bool operator==(const RateFactor&) const = default;
};

// The factor nearest to a number above 0, in lowest terms. Numbers outside of what factors can be give the
// nearest end.
RateFactor NearestFactor(double ratio);

// The first result at or behind the boundary in front of sample `position`, where result 0 lies at sample 0.
int64_t FirstResultFrom(int64_t position, RateFactor factor);

class RationalResampler {
  public:
    explicit RationalResampler(RateFactor factor);

    const RateFactor& Factor() const { return factor_; }
    // Samples on each side that a result looks at: those of [floor + 1 - Reach, floor + Reach], floor being
    // the sample at or before it.
    int64_t Reach() const { return reach_; }
    // The result `phase` / up samples behind the sample at index Reach() - 1 of a window of 2 x Reach().
    float At(int64_t phase, const float* window) const;

  private:
    RateFactor factor_;
    int64_t reach_;
    std::vector<double> rows_;  // of each phase, 2 x reach_ coefficients whose sum is 1
};

}  // namespace kymora
