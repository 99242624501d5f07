#include "detection/threshold_statistics.h"

namespace kymora {

void ThresholdStatistics::SetStretch(int trace, int64_t first, int64_t count) {
    if (trace_ == trace && first_ == first && asked_ == count) return;
    Forget();
    trace_ = trace;
    first_ = first;
    asked_ = count;
}

void ThresholdStatistics::Forget() { *this = ThresholdStatistics(); }

const MeanSd& ThresholdStatistics::Mean(SampleReader& samples) {
    if (!mean_) mean_ = GetMeanSd(samples, trace_, first_, Count());
    return *mean_;
}

const MedianRobustSd& ThresholdStatistics::Robust(SampleReader& samples) {
    if (!robust_) robust_ = GetMedianRobustSd(samples, trace_, first_, Count());
    return *robust_;
}

const PercentileValues& ThresholdStatistics::Percentile(SampleReader& samples, int which, double percent) {
    std::optional<Known>& known = percentiles_[which];
    if (!known || known->percent != percent)
        known = Known{percent, GetPercentileValues(samples, trace_, first_, Count(), percent)};
    return known->values;
}

}  // namespace kymora
