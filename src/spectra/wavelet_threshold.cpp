#include "spectra/wavelet_threshold.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kymora {

namespace {

constexpr double scadKnee = 3.7;
constexpr double madOfSd = 0.6745;

using Between = CWaveletTransform::Between;

constexpr size_t valuesAtOnce = 1 << 16;

// Does it with each value, and asks in between.
template <typename Value, typename Work>
void ForEach(std::span<Value> values, const Between& between, Work work) {
    for (; !values.empty(); values = values.subspan(std::min(values.size(), valuesAtOnce))) {
        for (Value& value : values.first(std::min(values.size(), valuesAtOnce))) work(value);
        if (between) between(0);
    }
}

size_t CountNumbers(std::span<const float> values, const Between& between) {
    size_t count = 0;
    ForEach(values, between, [&](float value) { count += std::isnan(value) ? 0 : 1; });
    return count;
}

// The value with this index among the absolute values in ascending order. Their bits ascend as they do, so
// that two counts, of the upper and of the lower halves, find it without a copy. Those of a not-a-number are
// above all others, so that none is reached by an index below CountNumbers.
double AbsoluteAt(std::span<const float> values, size_t index, const Between& between) {
    constexpr uint32_t noSign = 0x7FFFFFFF;
    constexpr int halfBits = 16;
    const auto bitsOf = [](float value) { return std::bit_cast<uint32_t>(value) & noSign; };
    std::vector<size_t> counts(size_t{1} << halfBits);
    const auto find = [&] {
        uint32_t half = 0;
        for (; counts[half] <= index; ++half) index -= counts[half];
        return half;
    };
    ForEach(values, between, [&](float value) { ++counts[bitsOf(value) >> halfBits]; });
    const uint32_t upper = find();
    counts.assign(counts.size(), 0);
    ForEach(values, between, [&](float value) {
        if (const uint32_t bits = bitsOf(value); bits >> halfBits == upper) ++counts[bits & 0xFFFF];
    });
    return std::bit_cast<float>(upper << halfBits | find());
}

}  // namespace

double Thresholded(double value, double lambda, ThresholdMethod method) {
    const double size = std::fabs(value);
    if (method == ThresholdMethod::scad && size > 2.0 * lambda) {
        if (size > scadKnee * lambda) return value;
        return ((scadKnee - 1.0) * value - std::copysign(scadKnee * lambda, value)) / (scadKnee - 2.0);
    }
    if (size <= lambda) return 0.0;
    return method == ThresholdMethod::hard ? value : std::copysign(size - lambda, value);
}

double AbsoluteQuantile(std::span<const float> values, int percent, const Between& between) {
    const size_t rank = (static_cast<size_t>(percent) * CountNumbers(values, between) + 99) / 100;
    return rank == 0 ? 0.0 : AbsoluteAt(values, rank - 1, between);
}

double AbsoluteMedian(std::span<const float> values, const Between& between) {
    const size_t count = CountNumbers(values, between);
    if (count == 0) return 0.0;
    const size_t half = count / 2;
    const double upper = AbsoluteAt(values, half, between);
    return count % 2 == 1 ? upper : (AbsoluteAt(values, half - 1, between) + upper) / 2.0;
}

ThresholdOutcome ThresholdDetails(const CWaveletTransform& transform, std::span<float> coefficients,
                                  size_t samples, const ThresholdSettings& settings, const Between& between) {
    ThresholdOutcome outcome;
    const std::vector<WaveletBand> bands = transform.Bands();
    const std::span<float> details = coefficients.subspan(bands.back().count);
    if (settings.origin == ThresholdOrigin::quantile) {
        outcome.lambda = AbsoluteQuantile(details, settings.percent, between);
    } else {
        double noise = settings.noise;
        if (settings.origin == ThresholdOrigin::universalInternal) {
            const WaveletBand& top = bands.front();
            noise = top.isSmooth
                        ? 0.0
                        : AbsoluteMedian(coefficients.subspan(top.first, top.count), between) / madOfSd;
            outcome.noise = noise;
        }
        outcome.lambda = samples < 2 ? 0.0 : noise * std::sqrt(2.0 * std::log(static_cast<double>(samples)));
    }
    ForEach(details, between, [&](float& value) {
        const auto made = static_cast<float>(Thresholded(value, outcome.lambda, settings.method));
        if (made == 0.0f && value != 0.0f) ++outcome.zeroed;
        value = made;
    });
    return outcome;
}

}  // namespace kymora
