#pragma once
// Location and spread of samples: mean and standard deviation, median and robust standard deviation, and the
// values at a percentile. Samples that are no finite numbers do not count: a not-a-number or an infinity is
// no measurement, just as a gap is none, and one of them must not spoil the levels taken from millions of
// others. `count` is always the number of samples that counted; with none, the results are not-a-numbers, and
// no sample compares as beyond a level that is made from them.

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace kymora {

inline constexpr double noStatistic = std::numeric_limits<double>::quiet_NaN();

// Appends the finite ones of the samples.
void AppendFinite(std::span<const float> samples, std::vector<float>& to);

struct MeanSd {
    int64_t count = 0;
    double mean = noStatistic;
    double sd = noStatistic;  // divides by count - 1; 0 for a single sample
};

// Mean and s.d. of samples that arrive block by block. Each block's own mean and sum of squared deviations
// are joined by the rule of Chan, Golub and LeVeque, so a large offset costs no digits.
class MeanSdSum {
  public:
    void Add(std::span<const float> samples);
    MeanSd Result() const;

  private:
    void AddPiece(const float* samples, size_t count);

    int64_t count_ = 0;
    double mean_ = 0.0;
    double squares_ = 0.0;  // of the deviations from the mean
};

MeanSd GetMeanSd(std::span<const float> samples);

// Both functions put the samples, which must be finite, into another order.
// The median of an even count is the mean of the two central values; of no samples, not-a-number.
double GetMedian(std::span<float> samples);

struct MedianRobustSd {
    int64_t count = 0;
    double median = noStatistic;
    double mad = noStatistic;  // median of the absolute deviations from the median, in single precision each
    double robustSd = noStatistic;
};

// The robust s.d. is mad / 0.6745; where that is below the smallest normal float, the mean absolute deviation
// from the median / 0.8; where that is too, the smallest normal float. It is therefore never zero.
MedianRobustSd GetMedianRobustSd(std::vector<float> samples);

// The k of the k-th smallest and the k-th largest of `count` samples at a percentile: count x percent / 100,
// rounded and held to 1 .. count.
int64_t PercentileRank(int64_t count, double percent);

struct PercentileValues {
    int64_t count = 0;
    float low = std::numeric_limits<float>::quiet_NaN();   // the k-th smallest sample
    float high = std::numeric_limits<float>::quiet_NaN();  // the k-th largest
};

// Both values at a percentile in one pass, with two heaps of k samples each.
class PercentileSearch {
  public:
    // `most` is the number of samples that will come at most. If fewer of them count, the heaps are cut to
    // the smaller k at the end.
    PercentileSearch(int64_t most, double percent);
    void Add(std::span<const float> samples);
    // Ends the search.
    PercentileValues Result();

  private:
    void AddFinite(std::span<const float> samples);

    double percent_;
    size_t rank_;
    int64_t count_ = 0;
    std::vector<float> lowest_;    // a heap with the largest of the k smallest on top
    std::vector<float> negative_;  // the same of the negated samples
};

PercentileValues GetPercentileValues(std::span<const float> samples, double percent);

}  // namespace kymora
