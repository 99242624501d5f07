#include "sorting/unit_templates.h"

#include <cmath>

#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr double thresholdSds = 3.0;

// Of what `at(i)` gives for the values of a segment.
template <typename At>
double SegmentVariance(WaveSegment segment, At at) {
    if (segment.count < 2) return noStatistic;
    const auto first = static_cast<size_t>(segment.first), end = static_cast<size_t>(segment.End());
    double sum = 0.0, squares = 0.0;
    const double shift = at(first);
    for (size_t i = first; i < end; ++i) {
        const double x = at(i) - shift;
        sum += x;
        squares += x * x;
    }
    const double count = segment.count;
    return std::max(0.0, (squares - sum * sum / count) / (count - 1.0));
}

double DifferenceVariance(std::span<const float> a, std::span<const float> b, WaveSegment segment) {
    return SegmentVariance(segment, [&](size_t i) { return double{a[i]} - double{b[i]}; });
}

}  // namespace

std::vector<float> MeanRow(const SpikeWaves& waves, std::span<const int32_t> ids, int32_t id) {
    std::vector<double> sums(waves.shape.RowLength());
    double count = 0.0;
    for (size_t i = 0; i < ids.size(); ++i) {
        if (ids[i] != id) continue;
        const std::span<const float> row = waves.Row(i);
        for (size_t j = 0; j < row.size(); ++j) sums[j] += row[j];
        ++count;
    }
    std::vector<float> mean(sums.size());
    for (size_t j = 0; count > 0.0 && j < sums.size(); ++j) mean[j] = static_cast<float>(sums[j] / count);
    return mean;
}

double VarianceRatio(std::span<const float> wave, std::span<const float> other, const WaveShape& shape,
                     WaveSegment segment, std::span<const SpikeNoise> noise) {
    double sum = 0.0;
    for (int t = 0; t < shape.traces; ++t)
        sum += DifferenceVariance(shape.OfTrace(wave, t), shape.OfTrace(other, t), segment) /
               noise[static_cast<size_t>(t)].variance;
    return sum / shape.traces;
}

float AutomaticThreshold(std::span<const double> ratios) {
    if (ratios.empty()) return 0.0f;
    const MedianRobustSd spread = GetMedianRobustSd(std::vector<float>(ratios.begin(), ratios.end()));
    return static_cast<float>(spread.median + thresholdSds * spread.robustSd);
}

std::vector<int64_t> ErrorHistogramCounts(std::span<const double> ratios, double greatestX, size_t bins) {
    std::vector<int64_t> counts(bins);
    for (const double ratio : ratios) {
        if (!(ratio >= 0.0 && ratio <= greatestX) || bins == 0) continue;
        const auto bin = static_cast<size_t>(ratio / greatestX * static_cast<double>(bins));
        ++counts[std::min(bin, bins - 1)];
    }
    return counts;
}

double RelativeDifference(const cCluster& primary, const cCluster& other, const WaveShape& shape) {
    double difference = 0.0, own = 0.0;
    for (int t = 0; t < shape.traces; ++t) {
        const std::span<const float> wave = shape.OfTrace(primary.m_vfFullTmpl, t);
        difference += DifferenceVariance(wave, shape.OfTrace(other.m_vfFullTmpl, t), primary.Window());
        own += SegmentVariance(primary.Window(), [&](size_t i) { return double{wave[i]}; });
    }
    return own > 0.0 ? difference / own : noStatistic;
}

}  // namespace kymora
