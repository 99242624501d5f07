#include "detection/spike_rules.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numerics/band.h"

namespace kymora {

SpikeStatistics GetSpikeStatistics(std::span<const float> series, float alpha) {
    const MeanSd meanSd = GetMeanSd(series);
    const MedianRobustSd robust = GetMedianRobustSd({series.begin(), series.end()});
    const PercentileValues percentile = GetPercentileValues(series, 100.0 * static_cast<double>(alpha));
    return {static_cast<float>(robust.robustSd),
            static_cast<float>(robust.median),
            static_cast<float>(meanSd.sd),
            static_cast<float>(meanSd.mean),
            percentile.low,
            percentile.high};
}

SpikeLevels GetSpikeLevels(SpikeLevelSource source, const SpikeStatistics& statistics, float multiplier,
                           SpikeLevels user) {
    const auto around = [multiplier](float middle, float spread) {
        return SpikeLevels{middle + spread * multiplier, middle - spread * multiplier};
    };
    switch (source) {
    case SpikeLevelSource::meanSd:
        return around(statistics.mean, statistics.sd);
    case SpikeLevelSource::medianRobustSd:
        return around(statistics.median, statistics.robustSd);
    case SpikeLevelSource::percentile:
        return {statistics.upperPercentile, statistics.lowerPercentile};
    case SpikeLevelSource::user:
        break;
    }
    return user;
}

// --- the absolute rule ---

AbsSpikeRule::AbsSpikeRule(SpikeLevels levels, OutlierDirection direction, int64_t refractory)
    : low_(levels.lower), high_(levels.upper), refractory_(refractory), last_(-(refractory - 1)) {
    if (direction == OutlierDirection::above) low_ = -std::numeric_limits<float>::infinity();
    if (direction == OutlierDirection::below) high_ = std::numeric_limits<float>::infinity();
}

void AbsSpikeRule::Take(std::span<const float> series) {
    for (size_t i = 0; i < series.size(); ++i) {
        const auto rest = series.subspan(i);
        i += beyond_ ? FindNotOutside(rest, low_, high_) : FindOutside(rest, low_, high_);
        if (i == series.size()) break;
        beyond_ = !beyond_;
        if (!beyond_) continue;
        const int64_t at = position_ + static_cast<int64_t>(i);
        accepted_ = at - last_ > refractory_;
        if (!accepted_) continue;
        last_ = at;
        spikes_.push_back(at);
    }
    position_ += static_cast<int64_t>(series.size());
}

std::vector<int64_t> AbsSpikeRule::Finish() {
    if (beyond_ && accepted_) spikes_.pop_back();
    return std::move(spikes_);
}

// --- the peak-to-peak rule ---

PeakToPeakSpikeRule::PeakToPeakSpikeRule(SpikeLevels levels, int64_t spikeWindow, int64_t refractory)
    : difference_(levels.upper - levels.lower),
      window_(spikeWindow),
      refractory_(refractory),
      last_(-(refractory - 1)) {}

void PeakToPeakSpikeRule::Take(std::span<const float> series) {
    for (const float value : series) {
        // The sample two back is judged now, since a sample after the next one is what the walk asks for.
        const float middle = before_[1];
        const bool isMaximum = middle > before_[0] && middle > before_[2];
        const bool isMinimum = middle < before_[0] && middle < before_[2];
        if (position_ >= 3 && (isMaximum || isMinimum)) TakeExtremum({position_ - 2, middle});
        before_[0] = before_[1];
        before_[1] = before_[2];
        before_[2] = value;
        ++position_;
    }
}

void PeakToPeakSpikeRule::TakeExtremum(Extremum newest) {
    const int64_t oldest = queue_.empty() ? newest.at : queue_.front().at;
    if (newest.at - oldest < window_) return Enqueue(newest);
    if (queue_.empty()) Enqueue(newest);  // it is the oldest, too
    const Extremum& large = largest_.front();
    const Extremum& small = smallest_.front();
    const int64_t at = std::min(large.at, small.at);
    if (large.value - small.value > difference_ && at - last_ > refractory_) {
        last_ = at;
        spikes_.push_back(at);
    }
    if (queue_.back().at != newest.at) Enqueue(newest);
    DropUntil(newest.at - window_);
}

void PeakToPeakSpikeRule::Enqueue(Extremum extremum) {
    queue_.push_back(extremum);
    while (!largest_.empty() && largest_.back().value < extremum.value) largest_.pop_back();
    while (!smallest_.empty() && smallest_.back().value > extremum.value) smallest_.pop_back();
    largest_.push_back(extremum);
    smallest_.push_back(extremum);
}

void PeakToPeakSpikeRule::DropUntil(int64_t lastDropped) {
    for (std::deque<Extremum>* queue : {&queue_, &largest_, &smallest_})
        while (!queue->empty() && queue->front().at <= lastDropped) queue->pop_front();
}

}  // namespace kymora
