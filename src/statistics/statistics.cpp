#include "statistics/statistics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>

#include "numerics/band.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr size_t piece = 4096;
constexpr size_t sumLanes = 8;  // independent sums, so that the compiler may use wide registers

uint32_t IsNotFinite(float value) {
    constexpr uint32_t exponent = 0x7F800000u;
    return (std::bit_cast<uint32_t>(value) & exponent) == exponent ? 1u : 0u;
}

bool AreFinite(const float* samples, size_t count) {
    uint32_t found = 0;
    for (size_t i = 0; i < count; ++i) found |= IsNotFinite(samples[i]);
    return found == 0;
}

// Hands the finite samples on in pieces of at most `piece`.
template <typename Work>
void ForFinite(std::span<const float> samples, Work work) {
    std::array<float, piece> kept;
    for (size_t at = 0; at < samples.size(); at += piece) {
        const float* from = samples.data() + at;
        size_t count = std::min(piece, samples.size() - at);
        if (!AreFinite(from, count)) {
            const auto end = std::copy_if(from, from + count, kept.begin(),
                                          [](float value) { return IsNotFinite(value) == 0; });
            count = static_cast<size_t>(end - kept.begin());
            from = kept.data();
        }
        if (count != 0) work(from, count);
    }
}

template <typename Term>
double SumOf(const float* samples, size_t count, Term term) {
    std::array<double, sumLanes> sums{};
    size_t i = 0;
    for (; i + sumLanes <= count; i += sumLanes)
        for (size_t k = 0; k < sumLanes; ++k) sums[k] += term(samples[i + k]);
    double sum = 0.0;
    for (const double lane : sums) sum += lane;
    for (; i < count; ++i) sum += term(samples[i]);
    return sum;
}

// Puts a value in the place of the top of a heap.
void ReplaceTop(std::vector<float>& heap, float value) {
    const size_t size = heap.size();
    size_t at = 0;
    for (size_t child = 1; child < size; child = 2 * at + 1) {
        if (child + 1 < size && heap[child] < heap[child + 1]) ++child;
        if (!(value < heap[child])) break;
        heap[at] = heap[child];
        at = child;
    }
    heap[at] = value;
}

// The k-th smallest of the smallest samples that a heap holds.
float KthOf(std::vector<float>& heap, size_t k) {
    while (heap.size() > k) {
        std::pop_heap(heap.begin(), heap.end());
        heap.pop_back();
    }
    return heap.front();
}

}  // namespace

void AppendFinite(std::span<const float> samples, std::vector<float>& to) {
    ForFinite(samples, [&to](const float* from, size_t count) { to.insert(to.end(), from, from + count); });
}

// --- mean and standard deviation ---

void MeanSdSum::Add(std::span<const float> samples) {
    ForFinite(samples, [this](const float* from, size_t count) { AddPiece(from, count); });
}

void MeanSdSum::AddPiece(const float* samples, size_t count) {
    const double n = static_cast<double>(count);
    const double mean = SumOf(samples, count, [](float value) { return static_cast<double>(value); }) / n;
    const double squares = SumOf(samples, count, [mean](float value) {
        const double deviation = value - mean;
        return deviation * deviation;
    });
    const double before = static_cast<double>(count_);
    const double step = mean - mean_;
    mean_ += step * (n / (before + n));
    squares_ += squares + step * step * (before * (n / (before + n)));
    count_ += static_cast<int64_t>(count);
}

MeanSd MeanSdSum::Result() const {
    if (count_ == 0) return {};
    const double sd = count_ == 1 ? 0.0 : std::sqrt(squares_ / static_cast<double>(count_ - 1));
    return {count_, mean_, sd};
}

MeanSd GetMeanSd(std::span<const float> samples) {
    MeanSdSum sum;
    sum.Add(samples);
    return sum.Result();
}

// --- median and robust standard deviation ---

double GetMedian(std::span<float> samples) {
    if (samples.empty()) return noStatistic;
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    if (samples.size() % 2 != 0) return *middle;
    return (static_cast<double>(*std::max_element(samples.begin(), middle)) + *middle) / 2.0;
}

MedianRobustSd GetMedianRobustSd(std::vector<float> samples) {
    std::erase_if(samples, [](float value) { return IsNotFinite(value) != 0; });
    MedianRobustSd result;
    result.count = static_cast<int64_t>(samples.size());
    if (samples.empty()) return result;
    const double median = result.median = GetMedian(samples);
    double sum = 0.0;
    for (float& sample : samples) {
        const double deviation = std::fabs(sample - median);
        sum += deviation;
        // Two floats may lie farther apart than any float reaches.
        sample = static_cast<float>(std::min<double>(deviation, FLT_MAX));
    }
    result.mad = GetMedian(samples);
    result.robustSd = result.mad / 0.6745f;
    if (result.robustSd < FLT_MIN) result.robustSd = sum / static_cast<double>(result.count) / 0.8;
    if (result.robustSd < FLT_MIN) result.robustSd = FLT_MIN;
    return result;
}

// --- percentiles ---

int64_t PercentileRank(int64_t count, double percent) {
    const int64_t rank = RoundHalfAway64(static_cast<double>(count) * percent / 100.0);
    return std::max<int64_t>(1, std::min(rank, count));
}

PercentileSearch::PercentileSearch(int64_t most, double percent)
    : percent_(percent), rank_(static_cast<size_t>(PercentileRank(most, percent))) {
    lowest_.reserve(rank_);
    negative_.reserve(rank_);
}

void PercentileSearch::Add(std::span<const float> samples) {
    ForFinite(samples, [this](const float* from, size_t count) { AddFinite({from, count}); });
}

void PercentileSearch::AddFinite(std::span<const float> samples) {
    count_ += static_cast<int64_t>(samples.size());
    if (lowest_.size() < rank_) {
        const auto first = samples.first(std::min(samples.size(), rank_ - lowest_.size()));
        for (const float value : first) {
            lowest_.push_back(value);
            negative_.push_back(-value);
        }
        samples = samples.subspan(first.size());
        if (lowest_.size() < rank_) return;
        std::make_heap(lowest_.begin(), lowest_.end());
        std::make_heap(negative_.begin(), negative_.end());
    }
    // Most samples lie between the tops of the heaps and concern neither.
    while (!samples.empty()) {
        const size_t at = FindOutside(samples, lowest_.front(), -negative_.front());
        if (at == samples.size()) return;
        const float value = samples[at];
        if (value < lowest_.front()) ReplaceTop(lowest_, value);
        if (-value < negative_.front()) ReplaceTop(negative_, -value);
        samples = samples.subspan(at + 1);
    }
}

PercentileValues PercentileSearch::Result() {
    if (count_ == 0) return {};
    if (lowest_.size() < rank_) {
        std::make_heap(lowest_.begin(), lowest_.end());
        std::make_heap(negative_.begin(), negative_.end());
    }
    const auto rank = std::min(static_cast<size_t>(PercentileRank(count_, percent_)), lowest_.size());
    return {count_, KthOf(lowest_, rank), -KthOf(negative_, rank)};
}

PercentileValues GetPercentileValues(std::span<const float> samples, double percent) {
    PercentileSearch search(static_cast<int64_t>(samples.size()), percent);
    search.Add(samples);
    return search.Result();
}

}  // namespace kymora
