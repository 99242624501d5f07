#pragma once
// The statistics from which a detector takes its levels. What is known of a stretch of one trace stays known
// until another stretch is asked for, or until it is said that the data have changed.

#include <optional>

#include "document/sample_statistics.h"

namespace kymora {

class ThresholdStatistics {
  public:
    // The stretch of the calls below, all of which are of one recording. It is held to mostStatisticsSamples.
    void SetStretch(int trace, int64_t first, int64_t count);
    // Another recording, or the data may have changed: nothing is known any more.
    void Forget();

    int64_t First() const { return first_; }
    int64_t Count() const { return std::min<int64_t>(asked_, mostStatisticsSamples); }
    int64_t CountAsked() const { return asked_; }
    bool IsTruncated() const { return asked_ > mostStatisticsSamples; }

    // Each measures what is not known yet. Throws FileError.
    const MeanSd& Mean(SampleReader& samples);
    const MedianRobustSd& Robust(SampleReader& samples);
    // `which` is 0 for the onset, 1 for the offset, 2 for the limit.
    const PercentileValues& Percentile(SampleReader& samples, int which, double percent);

    // What is known already, for showing.
    const std::optional<MeanSd>& KnownMean() const { return mean_; }
    const std::optional<MedianRobustSd>& KnownRobust() const { return robust_; }

  private:
    struct Known {
        double percent;
        PercentileValues values;
    };

    int trace_ = -1;
    int64_t first_ = 0;
    int64_t asked_ = 0;
    std::optional<MeanSd> mean_;
    std::optional<MedianRobustSd> robust_;
    std::optional<Known> percentiles_[3];
};

}  // namespace kymora
