#pragma once
// The series in which the interactive spike detector looks for spikes, made from samples block by block: as
// they are, or rectified and smoothed, and then, if wanted, filtered by a high-pass. What is shown of a short
// stretch and what a run over the whole recording sees come from the same code.

#include <optional>
#include <span>
#include <vector>

#include "numerics/moving_average.h"
#include "spectra/single_pole.h"

namespace kymora {

struct SpikeSeriesSettings {
    bool rectifies = false;
    size_t halfWindow = 1;
    int32_t iterations = 1;
    bool filters = false;
    float cutoff = 10.0f;         // Hz
    double sampleInterval = 1.0;  // ms
};

class SpikeSeries {
  public:
    // `count` samples will come; `mean` is what rectifying subtracts from them.
    SpikeSeries(const SpikeSeriesSettings& settings, int64_t count, double mean);

    // Append what has become known of the series. In a smoother and in a filter a sample that is no finite
    // number would spoil all that follow, so there it counts as the one before it.
    void Take(std::span<const float> samples, std::vector<float>& series);
    void Finish(std::vector<float>& series);

  private:
    void Smooth(std::span<const float> samples, size_t firstPass, std::vector<float>& to);
    void Filter(std::vector<float>& series, size_t from);

    double mean_;
    std::vector<MovingAveragePass> passes_;
    std::optional<SinglePoleHighPass> filter_;
    float last_ = 0.0f;  // finite sample
};

}  // namespace kymora
