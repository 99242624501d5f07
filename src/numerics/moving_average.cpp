#include "numerics/moving_average.h"

#include <algorithm>

namespace kymora {

namespace {

void AveragePass(std::span<const float> in, std::span<float> out, size_t half) {
    const size_t n = in.size();
    const size_t window = 2 * half + 1;
    float sum = 0.0f;
    for (size_t i = 0; i <= half; ++i) sum += in[i];
    for (size_t i = 0; i < half; ++i) {
        out[i] = sum / static_cast<float>(half + 1 + i);
        sum += in[half + 1 + i];
    }
    size_t i = half;
    for (; i + half + 1 < n; ++i) {
        out[i] = sum / static_cast<float>(window);
        sum -= in[i - half];
        sum += in[i + half + 1];
    }
    out[i++] = sum / static_cast<float>(window);
    for (size_t left = window - 1; i < n; ++i, --left) {
        sum -= in[i - half - 1];
        out[i] = sum / static_cast<float>(left);
    }
}

float MeanOf(std::span<const float> samples) {
    double sum = 0.0;
    for (const float value : samples) sum += value;
    return static_cast<float>(sum / static_cast<double>(samples.size()));
}

}  // namespace

std::vector<float> GetMovingAverageIter(std::span<const float> input, int iterations, size_t halfWindow) {
    std::vector<float> result(input.size());
    GetMovingAverageIter(input, iterations, halfWindow, result);
    return result;
}

void GetMovingAverageIter(std::span<const float> input, int iterations, size_t halfWindow,
                          std::span<float> output) {
    if (input.empty()) return;
    if (halfWindow > (input.size() - 1) / 2) {
        std::fill(output.begin(), output.end(), MeanOf(input));
        return;
    }
    if (iterations < 1) {
        std::copy(input.begin(), input.end(), output.begin());
        return;
    }
    AveragePass(input, output, halfWindow);
    std::vector<float> from(iterations > 1 ? input.size() : 0);
    for (int pass = 1; pass < iterations; ++pass) {
        std::copy(output.begin(), output.end(), from.begin());
        AveragePass(from, output, halfWindow);
    }
}

MovingAveragePass::MovingAveragePass(int64_t count, size_t halfWindow)
    : half_(halfWindow),
      count_(count),
      isShort_(count < 2 * static_cast<int64_t>(halfWindow) + 1),
      ring_(isShort_ ? 0 : 2 * halfWindow + 1) {}

void MovingAveragePass::Take(std::span<const float> samples, std::vector<float>& to) {
    for (const float sample : samples) TakeOne(sample, to);
}

// Result i stands for the window around sample i; it is due when sample i + half + 1 is there.
void MovingAveragePass::TakeOne(float sample, std::vector<float>& to) {
    const int64_t due = taken_++ - static_cast<int64_t>(half_) - 1;
    if (isShort_) {
        total_ += sample;
        return;
    }
    if (due >= 0 && due < static_cast<int64_t>(half_)) {
        to.push_back(sum_ / static_cast<float>(static_cast<int64_t>(half_) + 1 + due));
    } else if (due >= 0) {
        to.push_back(sum_ / static_cast<float>(ring_.size()));
        sum_ -= ring_[oldest_];
    }
    sum_ += sample;
    ring_[oldest_] = sample;
    oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
}

void MovingAveragePass::Finish(std::vector<float>& to) {
    if (isShort_) {
        const auto mean = static_cast<float>(total_ / static_cast<double>(count_));
        to.insert(to.end(), static_cast<size_t>(count_), mean);
        return;
    }
    to.push_back(sum_ / static_cast<float>(ring_.size()));
    for (size_t left = ring_.size() - 1; left > half_; --left) {
        sum_ -= ring_[oldest_];
        oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
        to.push_back(sum_ / static_cast<float>(left));
    }
}

}  // namespace kymora
