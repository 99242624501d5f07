#pragma once
// The arithmetic of the interactive spike detector: the series that is shown, its statistics, the levels
// taken from them, and the two rules that find spikes. Positions are indices of the series.

#include <cstdint>
#include <deque>
#include <span>
#include <utility>
#include <vector>

#include "detection/outlier_detector.h"
#include "statistics/statistics.h"

namespace kymora {

// --- statistics and levels ---

struct SpikeStatistics {
    float robustSd = 0.0f;
    float median = 0.0f;
    float sd = 0.0f;
    float mean = 0.0f;
    float lowerPercentile = 0.0f;  // the value at the quantile alpha
    float upperPercentile = 0.0f;  // the value at 1 - alpha
};
SpikeStatistics GetSpikeStatistics(std::span<const float> series, float alpha);

enum class SpikeLevelSource { user = 0, meanSd = 1, medianRobustSd = 2, percentile = 3 };

struct SpikeLevels {
    float upper = 0.0f;
    float lower = 0.0f;
};
// `user` are the levels that the source "user" keeps.
SpikeLevels GetSpikeLevels(SpikeLevelSource source, const SpikeStatistics& statistics, float multiplier,
                           SpikeLevels user);

// --- the rules ---

// Both rules accept a spike only if it lies more than the refractory time behind the last accepted one, which
// to begin with counts as lying at -(refractory - 1). They take a series in blocks of any size; what they
// accepted is complete after Finish.

// Each entry beyond the levels is a spike. Samples beyond them at the very start are skipped. A spike from
// which the series does not come back before it ends is dropped; if the refractory time had refused it, there
// is nothing to drop.
class AbsSpikeRule {
  public:
    AbsSpikeRule(SpikeLevels levels, OutlierDirection direction, int64_t refractory);
    void Take(std::span<const float> series);
    std::vector<int64_t> Finish();

  private:
    float low_, high_;  // a side that is not tested has an infinite level
    int64_t refractory_;
    int64_t position_ = 0;
    int64_t last_;
    bool beyond_ = true;     // a series counts as beyond the levels until a sample shows the contrary
    bool accepted_ = false;  // the present stay beyond them began with an accepted spike
    std::vector<int64_t> spikes_;
};

// Local extrema within the spike window of each other, whose values differ by more than upper - lower, are
// one spike at the earlier of the two. The newest extremum of a window only closes it: its value does not
// count yet. The first sample and the last two of a series are no extrema.
class PeakToPeakSpikeRule {
  public:
    PeakToPeakSpikeRule(SpikeLevels levels, int64_t spikeWindow, int64_t refractory);
    void Take(std::span<const float> series);
    std::vector<int64_t> Finish() { return std::move(spikes_); }

  private:
    struct Extremum {
        int64_t at;
        float value;
    };
    void TakeExtremum(Extremum newest);
    void Enqueue(Extremum extremum);
    void DropUntil(int64_t lastDropped);

    float difference_;
    int64_t window_;
    int64_t refractory_;
    int64_t position_ = 0;
    int64_t last_;
    float before_[3] = {};  // the latest samples, the newest last
    std::deque<Extremum> queue_;
    // The largest and the smallest of the queue stand in front: each deque holds those entries that no later
    // one outdoes. Of equal ones the earliest is in front.
    std::deque<Extremum> largest_, smallest_;
    std::vector<int64_t> spikes_;
};

}  // namespace kymora
