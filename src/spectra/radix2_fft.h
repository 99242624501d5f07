#pragma once
// The Fourier transform of lengths that are powers of two, on separate real and imaginary parts.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace kymora {

// What transforms of one length share: where each value goes, and the powers of the unit root, each taken
// from sine and cosine by itself so that no rounding adds up.
class Radix2Fft {
  public:
    // `length` is a power of two, 1 at least.
    explicit Radix2Fft(size_t length);
    // A plan that stays with the calling thread; those of great lengths are made anew for each caller.
    static std::shared_ptr<const Radix2Fft> Of(size_t length);

    size_t Length() const { return places_.size(); }
    // In place; both spans have the plan's length. Bin k is the sum over t of x[t] exp(-2 pi i k t / length).
    // `between` is called between its stages: it may throw, and what the spans hold is then of no use.
    void Forward(std::span<double> re, std::span<double> im, const std::function<void()>& between = {}) const;
    // The way back: with the opposite sign in the exponent, and both parts divided by the length.
    void Inverse(std::span<double> re, std::span<double> im, const std::function<void()>& between = {}) const;

  private:
    std::vector<uint32_t> places_;   // of each value, by its number with the bits reversed
    std::vector<double> cos_, sin_;  // of each stage, its half-length from `half` on; sines are negative
};

}  // namespace kymora
