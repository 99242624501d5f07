#pragma once
// Trains of events for tests.

#include <random>

#include "rhythms/event_train.h"

namespace kymora::test {

// Events of a sample each, at these intervals from the first one.
inline EventTrain TrainOf(const std::vector<int>& intervals, int32_t first = 0) {
    EventTrain train;
    train.onsets.push_back(first);
    for (const int interval : intervals) train.onsets.push_back(train.onsets.back() + interval);
    for (const int32_t onset : train.onsets) train.offsets.push_back(onset + 1);
    return train;
}

// Bursts of short intervals among long ones.
inline std::vector<int> BurstyIntervals(std::mt19937& random, int count) {
    std::vector<int> intervals;
    while (static_cast<int>(intervals.size()) < count) {
        const int inBurst = static_cast<int>(random() % 9), between = static_cast<int>(random() % 6);
        for (int i = 0; i < inBurst; ++i) intervals.push_back(1 + static_cast<int>(random() % 12));
        for (int i = 0; i < between; ++i) intervals.push_back(20 + static_cast<int>(random() % 120));
    }
    intervals.resize(static_cast<size_t>(count));
    return intervals;
}

}  // namespace kymora::test
