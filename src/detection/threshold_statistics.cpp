#include "detection/threshold_statistics.h"

namespace kymora {

void ThresholdStatistics::SetStretch(CDataDoc& doc, int trace, int64_t first, int64_t count) {
    if (doc_ == &doc && trace_ == trace && first_ == first && asked_ == count) return;
    Forget();
    doc_ = &doc;
    trace_ = trace;
    first_ = first;
    asked_ = count;
}

void ThresholdStatistics::Forget() { *this = ThresholdStatistics(); }

const MeanSd& ThresholdStatistics::Mean() {
    if (!mean_) mean_ = GetMeanSd(*doc_, trace_, first_, Count());
    return *mean_;
}

const MedianRobustSd& ThresholdStatistics::Robust() {
    if (!robust_) robust_ = GetMedianRobustSd(*doc_, trace_, first_, Count());
    return *robust_;
}

const PercentileValues& ThresholdStatistics::Percentile(int which, double percent) {
    std::optional<Known>& known = percentiles_[which];
    if (!known || known->percent != percent)
        known = Known{percent, GetPercentileValues(*doc_, trace_, first_, Count(), percent)};
    return known->values;
}

}  // namespace kymora
