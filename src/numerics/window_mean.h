#pragma once
// Means of windows that slide over a run, with a running sum in double precision.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// Takes a run of 2 x halfWindow + 1 samples or more, piece by piece, and gives the mean around each of them:
// emit(mean, sample). At both ends the window shrinks to the samples that exist: sums of halfWindow + 1 + i
// samples at the start. A mean comes when the sample behind its window does. The running sum loses the oldest
// sample before it gains the new one; one that is no finite number spoils all that follow.
class WindowMean {
  public:
    explicit WindowMean(size_t halfWindow) : half_(halfWindow), ring_(2 * halfWindow + 1) {}

    template <typename Emit>
    void Take(std::span<const float> samples, Emit emit) {
        size_t i = 0;
        for (; i < samples.size() && taken_ < ring_.size(); ++i) TakeFirst(samples[i], emit);
        const auto divisor = static_cast<double>(ring_.size());
        double sum = sum_;
        while (i < samples.size()) {
            const size_t oldest = taken_ % ring_.size(), middle = (taken_ + half_) % ring_.size();
            const size_t part = std::min(samples.size() - i, ring_.size() - std::max(oldest, middle));
            for (size_t j = 0; j < part; ++j) {
                emit(sum / divisor, ring_[middle + j]);
                sum -= ring_[oldest + j];
                sum += samples[i + j];
                ring_[oldest + j] = samples[i + j];
            }
            taken_ += part;
            i += part;
        }
        sum_ = sum;
    }

    template <typename Emit>
    void Finish(Emit emit) {
        emit(sum_ / static_cast<double>(ring_.size()), ring_[(taken_ + half_) % ring_.size()]);
        for (size_t left = ring_.size() - 1; left > half_; --left) {
            sum_ -= ring_[taken_++ % ring_.size()];
            emit(sum_ / static_cast<double>(left), ring_[(taken_ + half_) % ring_.size()]);
        }
    }

  private:
    // While the window is not whole.
    template <typename Emit>
    void TakeFirst(float sample, Emit emit) {
        if (taken_ > half_) emit(sum_ / static_cast<double>(taken_), ring_[taken_ - half_ - 1]);
        sum_ += sample;
        ring_[taken_++] = sample;
    }

    size_t half_;
    std::vector<float> ring_;
    size_t taken_ = 0;
    double sum_ = 0.0;
};

}  // namespace kymora
