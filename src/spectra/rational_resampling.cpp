#include "spectra/rational_resampling.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace kymora {

namespace {

constexpr double attenuation = 100.0;  // dB, of the stop band
constexpr double transition = 0.1;     // of the lower Nyquist frequency

// Kaiser's parameter of the window for an attenuation above 50 dB.
constexpr double windowParameter = 0.1102 * (attenuation - 8.7);

// Modified Bessel function of the first kind and order 0, by its series.
double BesselI0(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; term > sum * 1e-17; ++k) {
        const double factor = x / (2.0 * k);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

// Half the length of the filter, in samples of the lower rate: Kaiser's formula.
double HalfLength() { return (attenuation - 7.95) / (2.285 * transition * std::numbers::pi) / 2.0; }

double Sinc(double x) { return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

// At a distance from its middle, as a part of half its length.
double Window(double part) {
    static const double middle = BesselI0(windowParameter);
    return part < 1.0 ? BesselI0(windowParameter * std::sqrt(1.0 - part * part)) / middle : 0.0;
}

}  // namespace

RateFactor RateFactor::InLowestTerms() const {
    const int32_t common = std::gcd(up, down);
    return common > 1 ? RateFactor{up / common, down / common} : *this;
}

// By the Stern-Brocot tree: between two fractions lies their mediant, and every fraction in lowest terms is
// met before any other one as near.
RateFactor NearestFactor(double ratio) {
    constexpr int64_t most = greatestResamplingFactor;
    if (!(ratio > 1.0 / most)) return {1, greatestResamplingFactor};
    if (ratio >= most) return {greatestResamplingFactor, 1};
    int64_t lowUp = 0, lowDown = 1, highUp = 1, highDown = 0;
    RateFactor best{1, 1};
    double least = std::abs(ratio - 1.0);
    while (true) {
        const int64_t up = lowUp + highUp, down = lowDown + highDown;
        if (up > most || down > most) return best;
        const double value = static_cast<double>(up) / static_cast<double>(down);
        if (const double miss = std::abs(value - ratio); miss < least) {
            least = miss;
            best = {static_cast<int32_t>(up), static_cast<int32_t>(down)};
        }
        if (value == ratio) return best;
        if (value < ratio) {
            lowUp = up;
            lowDown = down;
        } else {
            highUp = up;
            highDown = down;
        }
    }
}

int64_t FirstResultFrom(int64_t position, RateFactor factor) {
    return (position * factor.up + factor.down - 1) / factor.down;
}

RationalResampler::RationalResampler(RateFactor factor) : factor_(factor.InLowestTerms()) {
    // Distances in samples of the lower rate.
    const double perSample = std::min(1.0, factor_.Value());
    const double half = HalfLength();
    reach_ = static_cast<int64_t>(std::ceil(half / perSample)) + 1;
    const auto width = static_cast<size_t>(2 * reach_);
    rows_.resize(static_cast<size_t>(factor_.up) * width);
    for (int64_t phase = 0; phase < factor_.up; ++phase) {
        const auto row = std::span(rows_).subspan(static_cast<size_t>(phase) * width, width);
        const double place = static_cast<double>(phase) / factor_.up;
        for (size_t i = 0; i < width; ++i) {
            const double distance =
                std::abs(static_cast<double>(static_cast<int64_t>(i) - (reach_ - 1)) - place) * perSample;
            row[i] = Sinc((1.0 - transition / 2.0) * distance) * Window(distance / half);
        }
        // A constant stays what it is, whatever the phase.
        const double sum = std::accumulate(row.begin(), row.end(), 0.0);
        for (double& coefficient : row) coefficient /= sum;
    }
}

// Four sums side by side, which the processor adds at once.
float RationalResampler::At(int64_t phase, const float* window) const {
    const auto width = static_cast<size_t>(2 * reach_);
    const double* row = rows_.data() + static_cast<size_t>(phase) * width;
    double sums[4] = {};
    size_t i = 0;
    for (; i + 4 <= width; i += 4)
        for (size_t lane = 0; lane < 4; ++lane)
            sums[lane] += row[i + lane] * static_cast<double>(window[i + lane]);
    for (; i < width; ++i) sums[0] += row[i] * static_cast<double>(window[i]);
    return static_cast<float>((sums[0] + sums[2]) + (sums[1] + sums[3]));
}

}  // namespace kymora
