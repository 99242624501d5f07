#pragma once
// The autocorrelation of a stretch of samples, and the rhythm that it shows.
//
// With x the samples less their mean, the coefficient of lag k is r(k) = sum x(i) x(i + k) / sum x(i)^2, the
// "biased" estimate (Box and Jenkins, Time Series Analysis, 1970): it falls with the overlap, so a later peak
// of a steady rhythm is lower than the first. Lags are in samples.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "spectra/radix2_fft.h"

namespace kymora {

// What the coefficients show: half the height from their first trough to the next peak, 0 to 1, and the lag
// of that peak. 0 and -1 where there is no such trough or peak.
struct Rhythm {
    double index = 0.0;
    int64_t period = -1;  // samples

    bool IsFound() const { return period > 0; }
    bool operator==(const Rhythm&) const = default;
};

// By the coefficients of the lags 1, 2, ... Lag 0, whose coefficient is 1, lies before them; the last of them
// is neither trough nor peak, as nothing is known behind it. Of equal values the first counts. Differences
// below 1e-12 are the rounding of the transform.
Rhythm FindRhythm(std::span<const double> coefficients);

// Coefficients of many stretches, by way of their spectra: O(n log L) for n samples and L lags.
class Autocorrelator {
  public:
    // For stretches of about `length` samples and lags up to `mostLag`, at least 1.
    Autocorrelator(size_t length, size_t mostLag);

    size_t MostLag() const { return mostLag_; }
    // Of the lags 1 to mostLag() that the stretch has, which stay until the next call.
    // The samples are finite. Empty for samples that are all equal, which have no variance.
    std::span<const double> Coefficients(std::span<const float> samples);

  private:
    void AddProducts(size_t from, size_t count);

    size_t mostLag_;
    size_t piece_;  // samples that one transform takes
    std::shared_ptr<const Radix2Fft> fft_;
    std::vector<double> deviations_, re_, im_, sumRe_, sumIm_;
};

// The rhythm of a stretch within the lags of the autocorrelator.
Rhythm RhythmOf(Autocorrelator& autocorrelator, std::span<const float> samples);
// The same within all lags that the stretch has. Of long stretches short lags are looked at first.
Rhythm RhythmOf(std::span<const float> samples);

// What is done to a window before its rhythm is looked for.
struct RhythmPreprocess {
    bool rectify = false;
    size_t smoothHalfWindow = 0;  // samples; four passes of the moving average. 0: none
    size_t reduceFactor = 1;      // each so many samples become their mean; what is left over is dropped
};
// The rhythm of a window after that. The autocorrelator's lags are those of the reduced samples, and the
// period is multiplied again. A window that is constant before the smoothing has none.
Rhythm RhythmOf(Autocorrelator& autocorrelator, std::vector<float> window,
                const RhythmPreprocess& preprocess);

}  // namespace kymora
