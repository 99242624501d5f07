#pragma once
// The Fourier transform of real values, by FFTW (M. Frigo and S. G. Johnson, "The design and implementation
// of FFTW3", Proc. IEEE 93, 2005, 216-231). Plans are estimated and never measured: the same length has the
// same plan, and so the same bytes, in every run.

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

namespace kymora {

inline constexpr const char* noFourierLengthText = "n must be power of 2 in four1";

// One transform with its arrays, for one thread at a time.
class RealFft {
  public:
    // `length` is a power of two, 2 at least. Throws std::invalid_argument for others, std::bad_alloc.
    explicit RealFft(size_t length);
    ~RealFft();
    RealFft(RealFft&&) noexcept;
    RealFft& operator=(RealFft&&) noexcept;

    size_t Length() const;
    // The values to be transformed, which stay.
    std::span<double> Input();
    // The bins 0 to length / 2 of the input, until the next call. Bin k is the sum over t of
    // x[t] exp(-2 pi i k t / length).
    std::span<const std::complex<double>> Forward();

  private:
    struct Plan;
    std::unique_ptr<Plan> plan_;
};

}  // namespace kymora
