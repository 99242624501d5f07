#pragma once
// Looking for the resting value of a run: averages, the window of the lowest average, and the percentile that
// runs along.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// The mean of any number of samples, by an update in double that cannot overflow.
class RunningMean {
  public:
    void Add(std::span<const float> samples) {
        for (const float sample : samples) mean_ = (sample - mean_) / static_cast<double>(++count_) + mean_;
    }
    double Mean() const { return mean_; }

  private:
    double mean_ = 0.0;
    int64_t count_ = 0;
};

// Of all windows of neighbouring samples the one with the lowest sum, ties going to the earliest. The sum is
// single precision and runs along: it loses its oldest sample, then takes the next.
class LowestWindow {
  public:
    // Windows of `length` samples, at least 1; each sample counts less the background.
    LowestWindow(size_t length, float background) : length_(length), background_(background) {}

    void Add(std::span<const float> samples) {
        for (const float sample : samples) AddOne(sample - background_);
    }
    // Start of the window, or -1 when there were too few samples.
    int64_t Start() const { return start_; }
    float Lowest() const { return lowest_; }

  private:
    void AddOne(float value) {
        ++taken_;
        if (ring_.size() < length_) {
            ring_.push_back(value);
            sum_ += value;
            if (ring_.size() == length_) Keep();
            return;
        }
        sum_ -= ring_[oldest_];
        sum_ += value;
        ring_[oldest_] = value;
        if (++oldest_ == length_) oldest_ = 0;
        if (sum_ < lowest_) Keep();
    }
    void Keep() {
        lowest_ = sum_;
        start_ = taken_ - static_cast<int64_t>(length_);
    }

    size_t length_;
    float background_;
    std::vector<float> ring_;
    size_t oldest_ = 0;
    int64_t taken_ = 0;
    float sum_ = 0.0f, lowest_ = 0.0f;
    int64_t start_ = -1;
};

}  // namespace kymora
