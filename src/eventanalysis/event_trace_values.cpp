#include "eventanalysis/event_trace_values.h"

#include <cmath>

namespace kymora {

const EventTraceValues::Extremes& EventTraceValues::GetExtremes() {
    if (extremes_) return *extremes_;
    Extremes found;
    const auto x = samples_.x;
    for (size_t k = 1; k < x.size(); ++k) {
        if (x[k] > x[found.highest]) found.highest = k;
        if (x[k] < x[found.lowest]) found.lowest = k;
    }
    return extremes_.emplace(found);
}

const MedianRobustSd& EventTraceValues::GetMedians() {
    if (!medians_) medians_ = GetMedianRobustSd({samples_.x.begin(), samples_.x.end()});
    return *medians_;
}

double EventTraceValues::Median() {
    if (medians_) return medians_->median;
    std::vector<float> copy(samples_.x.begin(), samples_.x.end());
    return GetMedian(copy);
}

double EventTraceValues::TimeTo(size_t k) const {
    return samples_.x.empty() ? noStatistic : static_cast<double>(samples_.Place(k)) * sampleInterval_;
}

double EventTraceValues::MinToMax() {
    const Extremes& found = GetExtremes();
    return static_cast<double>(samples_.Place(found.highest) - samples_.Place(found.lowest));
}

double EventTraceValues::Sum() const {
    double sum = 0.0;
    for (const float value : samples_.x) sum += value;
    return sum;
}

double EventTraceValues::SumOfSquares() const {
    double sum = 0.0;
    for (const float value : samples_.x) sum += double{value} * value;
    return sum;
}

double EventTraceValues::AreaReBase() const {
    const auto x = samples_.x;
    if (x.size() < 3) return 0.0;
    const size_t last = x.size() - 1;
    const auto start = static_cast<double>(samples_.Place(0));
    const double rise = (double{x[last]} - x[0]) / (static_cast<double>(samples_.Place(last)) - start);
    double sum = 0.0;
    for (size_t k = 1; k < last; ++k)
        sum += x[k] - (x[0] + rise * (static_cast<double>(samples_.Place(k)) - start));
    return sum * sampleInterval_;
}

double EventTraceValues::Slope() const {
    const auto x = samples_.x;
    if (x.size() < 2) return noStatistic;
    double meanPlace = 0.0;
    for (size_t k = 0; k < x.size(); ++k) meanPlace += static_cast<double>(samples_.Place(k));
    meanPlace /= Count();
    const double mean = Sum() / Count();
    double products = 0.0;
    double squares = 0.0;
    for (size_t k = 0; k < x.size(); ++k) {
        const double place = static_cast<double>(samples_.Place(k)) - meanPlace;
        products += place * (x[k] - mean);
        squares += place * place;
    }
    return products / squares * 1000.0 / sampleInterval_;
}

const Rhythm& EventTraceValues::GetRhythm() {
    if (!rhythm_) rhythm_ = RhythmOf(samples_.x);
    return *rhythm_;
}

bool EventTraceValues::IsUnbroken() const {
    const size_t last = samples_.x.size() - 1;
    return samples_.Place(last) - samples_.Place(0) == static_cast<int64_t>(last);
}

double EventTraceValues::Value(EvParam param) {
    if (samples_.x.empty()) return noStatistic;
    switch (param) {
    case EvParam::peakToPeak:
        return double{Highest()} - Lowest();
    case EvParam::peakToPeakDuration:
        return std::fabs(MinToMax()) * sampleInterval_;
    case EvParam::maxToMinTime:
        return MinToMax() * sampleInterval_;
    case EvParam::maximum:
        return Highest();
    case EvParam::minimum:
        return Lowest();
    case EvParam::average:
        return Sum() / Count();
    case EvParam::standardDeviation:
        return GetMeanSd(samples_.x).sd;
    case EvParam::median:
        return Median();
    case EvParam::mad:
        return GetMedians().mad;
    case EvParam::robustSd:
        return GetMedians().robustSd;
    case EvParam::area:
        return Sum() * sampleInterval_;
    case EvParam::areaReBase:
        return AreaReBase();
    case EvParam::slope:
        return Slope();
    case EvParam::rms:
        return std::sqrt(SumOfSquares() / Count());
    case EvParam::energy:
        return SumOfSquares() * sampleInterval_;
    case EvParam::rhythmIndex:
        return IsUnbroken() ? GetRhythm().index : noStatistic;
    case EvParam::rhythmPeriod:
        return IsUnbroken() && GetRhythm().IsFound()
                   ? static_cast<double>(GetRhythm().period) * sampleInterval_
                   : noStatistic;
    default:
        return noStatistic;
    }
}

}  // namespace kymora
