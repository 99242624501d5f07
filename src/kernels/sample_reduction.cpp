#include "kernels/sample_reduction.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace kymora {

namespace {

struct EveryOne {
    bool operator[](size_t) const { return true; }
};

template <typename Valid>
float Mean(std::span<const float> group, Valid valid, size_t at) {
    double sum = static_cast<double>(group[0]);
    int64_t count = 1;
    for (size_t i = 1; i < group.size(); ++i)
        if (valid[at + i]) {
            sum += static_cast<double>(group[i]);
            ++count;
        }
    return static_cast<float>(sum / static_cast<double>(count));
}

template <typename Valid>
void Extremes(std::span<const float> group, Valid valid, size_t at, float* to) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    float greatest = -infinite, smallest = infinite;
    for (size_t i = 0; i < group.size(); ++i) {
        if (!valid[at + i]) continue;
        greatest = group[i] > greatest ? group[i] : greatest;
        smallest = group[i] < smallest ? group[i] : smallest;
    }
    const bool hasNumber = greatest >= smallest;
    to[0] = hasNumber ? greatest : std::numeric_limits<float>::quiet_NaN();
    to[1] = hasNumber ? smallest : std::numeric_limits<float>::quiet_NaN();
}

template <typename Valid>
void Reduce(std::span<const float> samples, Valid valid, const ReduceSettings& settings, float* to) {
    const auto size = static_cast<size_t>(settings.Group());
    for (size_t at = 0; at < samples.size(); at += size) {
        const auto group = samples.subspan(at, size);
        if (settings.mode == ReduceMode::average)
            *to = Mean(group, valid, at);
        else if (settings.mode == ReduceMode::skip)
            *to = group[0];
        else
            Extremes(group, valid, at, to);
        to += settings.Results();
    }
}

}  // namespace

RunList ReducedRuns(const RunList& runs, const ReduceSettings& settings) {
    const int64_t group = settings.Group(), groups = settings.Groups(runs.Length());
    std::vector<uint32_t> reduced{0};
    int64_t end = 0, next = 0;  // of the run at hand; the first group that begins in it or behind it
    for (int i = 0; i < runs.Size() && next < groups; ++i) {
        end += runs[i];
        const int64_t behind = std::min(groups, (end + group - 1) / group);
        AddRun(reduced, i % 2 == 0, (behind - next) * settings.Results());
        next = behind;
    }
    return RunList(std::move(reduced));
}

void ReduceGroups(std::span<const float> samples, std::span<const uint8_t> valid,
                  const ReduceSettings& settings, std::span<float> to) {
    if (valid.empty())
        Reduce(samples, EveryOne(), settings, to.data());
    else
        Reduce(samples, valid.data(), settings, to.data());
}

}  // namespace kymora
