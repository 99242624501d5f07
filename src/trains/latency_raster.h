#pragma once
// The responses to stimuli, one row for each stimulus and one mark for each response at its latency.

#include <cstdint>
#include <span>
#include <vector>

#include "numerics/poll.h"

namespace kymora {

struct LatencyMark {
    int32_t stimulus = 0;  // ranks among those given, from 0
    int32_t response = 0;
    int64_t latency = 0;  // samples
    bool operator==(const LatencyMark&) const = default;
};

// Marks for the responses from `from` up to, not including, `end` samples after each stimulus; stimulus by
// stimulus, each by latency. Positions ascend. A response in the windows of two stimuli has two marks. No
// more than `most` are made: whether there are more is what the marks' number tells then. Throws Cancelled.
std::vector<LatencyMark> MakeLatencyMarks(std::span<const int64_t> stimuli,
                                          std::span<const int64_t> responses, int64_t from, int64_t end,
                                          size_t most, const Poll& poll = {});

// The order of rows, from the lowest, by the latency of their first mark at or after the stimulus; rows
// without one stand last, in the order of stimuli.
std::vector<int32_t> RowsByLatency(std::span<const LatencyMark> marks, int32_t stimuli);

// Responses to a stimulus in bins of latency, smoothed by four moving averages: the mean over all stimuli,
// and its standard error. A half window of 0 leaves the counts; one stimulus has a standard error of 0.
struct SmoothedResponses {
    std::vector<double> mean, standardError;
};
SmoothedResponses SmoothResponses(std::span<const LatencyMark> marks, int32_t stimuli, double from,
                                  double width, int bins, int halfWindow, const Poll& poll = {});

// The shortest time between neighbouring stimuli that are not at one place; 0 where there is none.
int64_t ShortestInterval(std::span<const int64_t> ascending);

}  // namespace kymora
