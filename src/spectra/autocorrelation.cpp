#include "spectra/autocorrelation.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "numerics/moving_average.h"

namespace kymora {

namespace {

constexpr double transformRounding = 1e-12;
constexpr size_t mostAtOnce = size_t{1} << 16;  // transforms up to this length hold a whole stretch
constexpr size_t firstLags = 8192;              // of a long stretch
constexpr int smoothingPasses = 4;

bool IsConstant(std::span<const float> samples) {
    return std::ranges::adjacent_find(samples, std::not_equal_to()) == samples.end();
}

// A stretch with its lags where that is short, else pieces of which each has its lags behind it.
size_t TransformLength(size_t length, size_t mostLag) {
    const size_t whole = std::bit_ceil(length + mostLag);
    return std::min(whole, std::max(mostAtOnce, std::bit_ceil(4 * mostLag)));
}

void Reduce(std::vector<float>& samples, size_t factor) {
    const size_t count = samples.size() / factor;
    for (size_t i = 0; i < count; ++i) {
        double sum = 0.0;
        for (size_t k = 0; k < factor; ++k) sum += samples[i * factor + k];
        samples[i] = static_cast<float>(sum / static_cast<double>(factor));
    }
    samples.resize(count);
}

}  // namespace

Rhythm FindRhythm(std::span<const double> coefficients) {
    size_t at = 0;
    double trough = 1.0;
    for (; at < coefficients.size() && coefficients[at] <= trough + transformRounding; ++at)
        trough = std::min(trough, coefficients[at]);
    if (at == coefficients.size()) return {};
    size_t peakAt = at;
    for (; at < coefficients.size() && coefficients[at] >= coefficients[peakAt] - transformRounding; ++at)
        if (coefficients[at] > coefficients[peakAt] + transformRounding) peakAt = at;
    if (at == coefficients.size()) return {};
    return {(coefficients[peakAt] - trough) / 2.0, static_cast<int64_t>(peakAt) + 1};
}

Autocorrelator::Autocorrelator(size_t length, size_t mostLag)
    : mostLag_(std::max<size_t>(mostLag, 1)),
      fft_(Radix2Fft::Of(TransformLength(std::max<size_t>(length, 1), mostLag_))) {
    const size_t size = fft_->Length();
    piece_ = size - mostLag_;
    for (auto* values : {&re_, &im_, &sumRe_, &sumIm_}) values->resize(size);
}

std::span<const double> Autocorrelator::Coefficients(std::span<const float> samples) {
    if (IsConstant(samples)) return {};
    double sum = 0.0;
    for (const float sample : samples) sum += sample;
    const double mean = sum / static_cast<double>(samples.size());
    deviations_.resize(samples.size());
    double squares = 0.0;
    for (size_t i = 0; i < samples.size(); ++i) {
        deviations_[i] = samples[i] - mean;
        squares += deviations_[i] * deviations_[i];
    }
    std::ranges::fill(sumRe_, 0.0);
    std::ranges::fill(sumIm_, 0.0);
    for (size_t from = 0; from < samples.size(); from += piece_)
        AddProducts(from, std::min(piece_, samples.size() - from));
    fft_->Inverse(sumRe_, sumIm_);
    const size_t lags = std::min(mostLag_, samples.size() - 1);
    for (size_t lag = 1; lag <= lags; ++lag) sumRe_[lag] /= squares;
    return std::span(sumRe_).subspan(1, lags);
}

// Adds the spectrum of the products of a piece with what lies up to the greatest lag behind each of its
// samples. The piece goes through the transform as the real part and the piece with what follows as the
// imaginary one; the spectra of both come apart again by their symmetries.
void Autocorrelator::AddProducts(size_t from, size_t count) {
    const size_t size = re_.size();
    const size_t behind = std::min(mostLag_, deviations_.size() - from - count);
    const double* const x = deviations_.data() + from;
    std::fill(std::copy_n(x, count, re_.begin()), re_.end(), 0.0);
    if (behind == 0) {
        std::ranges::fill(im_, 0.0);
        fft_->Forward(re_, im_);
        for (size_t k = 0; k < size; ++k) sumRe_[k] += re_[k] * re_[k] + im_[k] * im_[k];
        return;
    }
    std::fill(std::copy_n(x, count + behind, im_.begin()), im_.end(), 0.0);
    fft_->Forward(re_, im_);
    for (size_t k = 0; k < size; ++k) {
        const size_t mirror = k == 0 ? 0 : size - k;
        const double pieceRe = (re_[k] + re_[mirror]) / 2.0, pieceIm = (im_[k] - im_[mirror]) / 2.0;
        const double allRe = (im_[k] + im_[mirror]) / 2.0, allIm = (re_[mirror] - re_[k]) / 2.0;
        sumRe_[k] += pieceRe * allRe + pieceIm * allIm;
        sumIm_[k] += pieceRe * allIm - pieceIm * allRe;
    }
}

Rhythm RhythmOf(Autocorrelator& autocorrelator, std::span<const float> samples) {
    return FindRhythm(autocorrelator.Coefficients(samples));
}

// A lag's coefficient does not depend on which others are made, so a rhythm that the shorter ones show is the
// one that all of them show.
Rhythm RhythmOf(std::span<const float> samples) {
    if (samples.size() < 3) return {};
    const size_t most = samples.size() - 1;
    size_t lags = samples.size() <= mostAtOnce ? most : firstLags;
    for (;; lags = std::min(most, 4 * lags)) {
        Autocorrelator autocorrelator(samples.size(), lags);
        const Rhythm rhythm = RhythmOf(autocorrelator, samples);
        if (rhythm.IsFound() || lags == most) return rhythm;
    }
}

Rhythm RhythmOf(Autocorrelator& autocorrelator, std::vector<float> window,
                const RhythmPreprocess& preprocess) {
    if (preprocess.rectify)
        for (float& sample : window) sample = std::fabs(sample);
    if (IsConstant(window)) return {};
    if (preprocess.smoothHalfWindow > 0)
        window = GetMovingAverageIter(window, smoothingPasses, preprocess.smoothHalfWindow);
    if (preprocess.reduceFactor > 1) Reduce(window, preprocess.reduceFactor);
    Rhythm rhythm = RhythmOf(autocorrelator, window);
    if (rhythm.IsFound()) rhythm.period *= static_cast<int64_t>(preprocess.reduceFactor);
    return rhythm;
}

}  // namespace kymora
