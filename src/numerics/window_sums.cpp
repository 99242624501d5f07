#include "numerics/window_sums.h"

#include <algorithm>
#include <cmath>

namespace kymora {

void WindowSums::LongSum::Add(double value) {
    const double sum = high + value;
    const double part = sum - high;
    const double rest = low + ((high - (sum - part)) + (value - part));
    high = sum + rest;
    low = rest - (high - sum);
}

WindowSums::WindowSums(int64_t length) : ring_(static_cast<size_t>(std::max<int64_t>(length, 1))) {}

void WindowSums::StartAt(int64_t position) {
    taken_ = oldest_ = 0;
    sum_ = {};
    position_ = position;
}

void WindowSums::Add(std::span<const float> samples) {
    for (const float sample : samples) {
        if (!std::isfinite(sample)) {
            StartAt(position_ + 1);
            continue;
        }
        ++position_;
        if (taken_ == ring_.size())
            sum_.Add(-double{ring_[oldest_]});
        else
            ++taken_;
        sum_.Add(sample);
        ring_[oldest_] = sample;
        oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
        if (taken_ < ring_.size()) continue;
        const Best now{position_ - static_cast<int64_t>(ring_.size()), sum_};
        if (least_.start < 0 || now.sum < least_.sum) least_ = now;
        if (greatest_.start < 0 || greatest_.sum < now.sum) greatest_ = now;
    }
}

}  // namespace kymora
