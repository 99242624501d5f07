#pragma once
// The estimator of power spectra, cross-spectra and coherence: the mean of the modified periodograms of
// segments (P. D. Welch, "The use of fast Fourier transform for the estimation of power spectra", IEEE Trans.
// Audio Electroacoust. 15, 1967, 70-73).
//
// A segment has 2N samples and gives N + 1 bins, bin i at i / 2N of the sample rate. With the factor 2 / (2N
// W), where W is the sum of the window's squares, the powers of all bins add up to the mean square of the
// windowed samples over the mean square of the window; of a density, to the same once multiplied by the bins'
// distance.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "spectra/real_fft.h"

namespace kymora {

enum class SpectrumMode : int32_t { spectrum = 0, crossSpectrum = 1, coherence = 2 };
// What is taken off each segment before its window: nothing, its mean, or the straight line of least squares.
enum class SegmentTrend : int32_t { none = 0, mean = 1, line = 2 };

inline constexpr const char* wrongSegmentText = "wrong size data segment";

struct SpectrumSettings {
    size_t bins = 64;            // N, a power of two
    double sampleRate = 1000.0;  // Hz; counts for densities alone
    SpectrumMode mode = SpectrumMode::spectrum;
    bool isDensity = false;  // in square units per Hz
    int window = 1;          // spectral_window.h
    SegmentTrend trend = SegmentTrend::none;
};

class CSpectrumEstimator {
  public:
    // Throws std::invalid_argument where the bins are no power of two.
    explicit CSpectrumEstimator(const SpectrumSettings& settings);

    size_t Bins() const { return settings_.bins; }
    size_t SegmentLength() const { return 2 * settings_.bins; }
    // Segments that were added.
    int64_t Segments() const { return segments_; }
    // Periodograms of each: 1, or as many as the window has tapers.
    size_t Tapers() const { return tapers_.size(); }
    std::span<const double> Window() const { return tapers_.front(); }

    // A segment of one trace, or of two in the modes that compare them. Throws std::invalid_argument where
    // the length is not SegmentLength().
    void AddSegment(std::span<const float> a);
    void AddSegment(std::span<const float> a, std::span<const float> b);
    // Forgets all segments.
    void Clear();

    // N + 1 values: powers; magnitudes of the cross-spectrum, the last of which is the negative of the real
    // value there, sign included; or coherences, not-a-number where a trace has no power. Zeros before the
    // first segment.
    std::vector<double> Result() const;
    // Of the modes that compare two traces, in radians, -pi to pi: positive where A leads B. Not-a-number
    // where there is no cross power.
    std::vector<double> Phase() const;
    // Of coherence: the amplitude of B for one of A, as far as B follows A linearly.
    std::vector<double> Gain() const;

  private:
    void Load(std::span<const float> samples, size_t taper, RealFft& fft);
    // Of a sum: the bins 0 and N stand for one frequency, all others for a positive and a negative one.
    double Mean(std::span<const double> sums, size_t bin) const;
    double Magnitude(size_t bin) const;

    SpectrumSettings settings_;
    std::vector<std::vector<double>> tapers_;
    std::vector<double> factors_;  // of each taper; the bins 0 and N get half of it in the end
    RealFft fftA_, fftB_;
    std::vector<double> powerA_, powerB_;
    std::vector<double> crossRe_, crossIm_;  // A times the conjugate of B; sums over segments, as the powers
    int64_t segments_ = 0;
};

}  // namespace kymora
