#pragma once
// Fewer samples of a trace: one for each group of neighbours, or its extremes.

#include <cstdint>
#include <span>

#include "document/run_list.h"

namespace kymora {

enum class ReduceMode {
    average = 0,   // the mean of the group's valid samples
    skip = 1,      // its first sample
    extremes = 2,  // the greatest of its valid samples, then the smallest
};

struct ReduceSettings {
    int32_t factor = 2;  // from 1
    ReduceMode mode = ReduceMode::average;

    // Samples of a group, and what is made of one.
    int64_t Group() const { return mode == ReduceMode::extremes ? int64_t{2} * factor : factor; }
    int64_t Results() const { return mode == ReduceMode::extremes ? 2 : 1; }
    // Groups of a trace of that many samples; those of a remainder make none.
    int64_t Groups(int64_t length) const {
        return mode == ReduceMode::extremes ? length / factor / 2 : length / factor;
    }
};

// The runs of the reduced trace. A group is as valid as its first sample.
RunList ReducedRuns(const RunList& runs, const ReduceSettings& settings);

// Reduces whole groups whose first samples are valid. `valid` holds a flag for each sample, or is empty where
// all are. Sums are double and rounded once. Extremes pass over what is not a number, unless there is nothing
// else.
void ReduceGroups(std::span<const float> samples, std::span<const uint8_t> valid,
                  const ReduceSettings& settings, std::span<float> to);

}  // namespace kymora
