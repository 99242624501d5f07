#include "spectra/morlet.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace kymora {

namespace {

constexpr double bellReach = 8.5;  // s.d.s, beyond which a bell is below the rounding of a double

}  // namespace

std::vector<double> MorletFrequencies(double lowest, double highest, int voices) {
    std::vector<double> frequencies;
    constexpr double rounding = 1e-9;
    for (int i = 0;; ++i) {
        const double frequency = lowest * std::exp2(static_cast<double>(i) / voices);
        if (frequency > highest * (1.0 + rounding)) return frequencies;
        frequencies.push_back(frequency);
    }
}

double MorletEdge(double frequency, double omega) {
    return std::numbers::sqrt2 * omega / (2.0 * std::numbers::pi * frequency);
}

MorletTransform::MorletTransform(std::span<const float> run, double omega,
                                 const std::function<void()>& between)
    : samples_(run.size()), omega_(omega), fft_(Radix2Fft::Of(std::bit_ceil(2 * run.size()))) {
    const size_t length = fft_->Length(), period = 2 * (samples_ - 1), behind = (length - samples_) / 2;
    re_.resize(length);
    im_.resize(length);
    // The half behind the run mirrors its end; the rest, which comes before it as the transform is periodic,
    // its start.
    for (size_t i = 0; i < length; ++i) {
        const size_t away = i < samples_ + behind ? i : length - i;
        const size_t at = away % period;
        re_[i] = run[at < samples_ ? at : period - at];
    }
    fft_->Forward(re_, im_, between);
    shownRe_.resize(length);
    shownIm_.resize(length);
}

std::span<const double> MorletTransform::Powers(double frequency, const std::function<void()>& between) {
    std::fill(shownRe_.begin(), shownRe_.end(), 0.0);
    std::fill(shownIm_.begin(), shownIm_.end(), 0.0);
    const auto length = static_cast<double>(fft_->Length());
    const double middle = frequency * length, sd = middle / omega_;
    const auto first = static_cast<size_t>(std::max(1.0, middle - bellReach * sd));
    const size_t end = std::min(fft_->Length() / 2, static_cast<size_t>(middle + bellReach * sd) + 1);
    for (size_t k = first; k < end; ++k) {
        const double away = (static_cast<double>(k) - middle) / sd;
        const double bell = 2.0 * std::exp(-0.5 * away * away);
        shownRe_[k] = bell * re_[k];
        shownIm_[k] = bell * im_[k];
    }
    fft_->Inverse(shownRe_, shownIm_, between);
    // The amplitude's square is twice a sine's mean square.
    for (size_t i = 0; i < samples_; ++i)
        shownRe_[i] = (shownRe_[i] * shownRe_[i] + shownIm_[i] * shownIm_[i]) / 2.0;
    return std::span(shownRe_).first(samples_);
}

}  // namespace kymora
