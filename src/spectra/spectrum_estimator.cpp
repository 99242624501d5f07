#include "spectra/spectrum_estimator.h"

#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "spectra/segment_loops.h"
#include "spectra/spectral_window.h"

namespace kymora {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Level and slope per sample, about the middle of the segment.
struct Line {
    double level = 0.0, slope = 0.0;
};

Line TrendOf(std::span<const float> samples, SegmentTrend trend) {
    const auto n = static_cast<double>(samples.size());
    const double middle = (n - 1.0) / 2.0;
    Line line{std::accumulate(samples.begin(), samples.end(), 0.0) / n, 0.0};
    if (trend == SegmentTrend::mean) return line;
    double sum = 0.0;
    for (size_t i = 0; i < samples.size(); ++i)
        sum += (static_cast<double>(i) - middle) * (samples[i] - line.level);
    line.slope = sum / (n * (n * n - 1.0) / 12.0);
    return line;
}

}  // namespace

CSpectrumEstimator::CSpectrumEstimator(const SpectrumSettings& settings)
    : settings_(settings),
      tapers_(SpectralTapers(settings.window, 2 * settings.bins)),
      fftA_(2 * settings.bins),
      fftB_(settings.mode == SpectrumMode::spectrum ? 2 : 2 * settings.bins) {
    const double divisor = settings_.isDensity ? settings_.sampleRate : static_cast<double>(SegmentLength());
    for (const std::vector<double>& taper : tapers_) {
        const double squares = std::inner_product(taper.begin(), taper.end(), taper.begin(), 0.0);
        factors_.push_back(2.0 / (divisor * squares) / static_cast<double>(tapers_.size()));
    }
    Clear();
}

void CSpectrumEstimator::Clear() {
    const size_t count = settings_.bins + 1;
    segments_ = 0;
    if (settings_.mode != SpectrumMode::crossSpectrum) powerA_.assign(count, 0.0);
    if (settings_.mode == SpectrumMode::coherence) powerB_.assign(count, 0.0);
    if (settings_.mode == SpectrumMode::spectrum) return;
    crossRe_.assign(count, 0.0);
    crossIm_.assign(count, 0.0);
}

void CSpectrumEstimator::Load(std::span<const float> samples, size_t taper, RealFft& fft) {
    const std::vector<double>& window = tapers_[taper];
    const std::span<double> to = fft.Input();
    if (settings_.trend == SegmentTrend::none) return WindowSegment(samples, window, to);
    const Line line = TrendOf(samples, settings_.trend);
    const double middle = static_cast<double>(to.size() - 1) / 2.0;
    for (size_t i = 0; i < to.size(); ++i)
        to[i] = (samples[i] - line.level - line.slope * (static_cast<double>(i) - middle)) * window[i];
}

void CSpectrumEstimator::AddSegment(std::span<const float> a) {
    if (a.size() != SegmentLength()) throw std::invalid_argument(wrongSegmentText);
    ++segments_;
    for (size_t taper = 0; taper < tapers_.size(); ++taper) {
        Load(a, taper, fftA_);
        AddPowers(fftA_.Forward(), factors_[taper], powerA_);
    }
}

void CSpectrumEstimator::AddSegment(std::span<const float> a, std::span<const float> b) {
    if (a.size() != SegmentLength() || b.size() != SegmentLength())
        throw std::invalid_argument(wrongSegmentText);
    ++segments_;
    for (size_t taper = 0; taper < tapers_.size(); ++taper) {
        Load(a, taper, fftA_);
        Load(b, taper, fftB_);
        const auto binsA = fftA_.Forward();
        const auto binsB = fftB_.Forward();
        AddProducts(binsA, binsB, factors_[taper], crossRe_, crossIm_);
        if (settings_.mode != SpectrumMode::coherence) continue;
        AddPowers(binsA, factors_[taper], powerA_);
        AddPowers(binsB, factors_[taper], powerB_);
    }
}

double CSpectrumEstimator::Mean(std::span<const double> sums, size_t bin) const {
    const bool isEnd = bin == 0 || bin == settings_.bins;
    return (isEnd ? 0.5 : 1.0) * sums[bin] / static_cast<double>(segments_);
}

double CSpectrumEstimator::Magnitude(size_t bin) const {
    const double re = Mean(crossRe_, bin);
    return bin == settings_.bins ? -re : std::hypot(re, Mean(crossIm_, bin));
}

std::vector<double> CSpectrumEstimator::Result() const {
    std::vector<double> values(settings_.bins + 1, 0.0);
    if (segments_ == 0) return values;
    for (size_t i = 0; i < values.size(); ++i) {
        if (settings_.mode == SpectrumMode::spectrum) {
            values[i] = Mean(powerA_, i);
            continue;
        }
        values[i] = Magnitude(i);
        if (settings_.mode == SpectrumMode::crossSpectrum) continue;
        // By turns, so that no product leaves the range of a double.
        const double a = Mean(powerA_, i), b = Mean(powerB_, i);
        values[i] = a > 0.0 && b > 0.0 ? values[i] / a * (values[i] / b) : nan;
    }
    return values;
}

std::vector<double> CSpectrumEstimator::Phase() const {
    std::vector<double> phases(crossRe_.size(), nan);
    for (size_t i = 0; i < phases.size(); ++i)
        if (crossRe_[i] != 0.0 || crossIm_[i] != 0.0) phases[i] = std::atan2(crossIm_[i], crossRe_[i]);
    return phases;
}

std::vector<double> CSpectrumEstimator::Gain() const {
    std::vector<double> gains(powerA_.size(), nan);
    for (size_t i = 0; i < gains.size(); ++i)
        if (powerA_[i] > 0.0) gains[i] = std::hypot(crossRe_[i], crossIm_[i]) / powerA_[i];
    return gains;
}

}  // namespace kymora
