#include "kernels/normalize.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "kernels/f0_search.h"
#include "kernels/run_reader.h"
#include "kernels/smooth_order.h"
#include "numerics/min_max.h"
#include "numerics/rounding.h"
#include "numerics/running_order.h"

namespace kymora {

namespace {

bool IsNearZero(float value) { return std::fabs(static_cast<double>(value)) <= 1e-7; }

NormalizeOutcome Failure(const char* message = "") { return {KernelOutcome::Failure(message), {}}; }

// Each result a function of its sample.
template <typename Map>
class MapPass {
  public:
    explicit MapPass(Map map) : map_(map) {}

    void Take(std::span<const float> samples, ResultBuffer& results) const {
        const std::span<float> to = results.Room(samples.size());
        for (size_t i = 0; i < samples.size(); ++i) to[i] = map_(samples[i]);
    }
    void Finish(ResultBuffer&) const {}

  private:
    Map map_;
};

template <typename Input, typename Output>
NormalizeOutcome ToExtremes(const Input& input, NormType type, Output& output) {
    float low = std::numeric_limits<float>::infinity(), high = -low;
    ForEachBlock(input, [&](std::span<const float> samples) { WidenRange(samples, low, high); });
    if (type == NormType::maxToOne) {
        RunPass(input, output, MapPass([high](float v) { return v / high; }));
        return {};
    }
    const float range = high - low;
    if (IsNearZero(range)) return Failure(rangeNearZeroText);
    if (type == NormType::zeroToOne)
        RunPass(input, output, MapPass([low, range](float v) { return (v - low) / range; }));
    else
        RunPass(input, output, MapPass([low, range](float v) { return 2.0f * (v - low) / range - 1.0f; }));
    return {};
}

// (v - F0) / denominator, of the samples less `background`.
template <typename Input, typename Output>
NormalizeOutcome ToF0(const Input& input, float background, float f0, float denominator, Output& output) {
    RunPass(input, output, MapPass([=](float v) { return (v - background - f0) / denominator; }));
    NormalizeOutcome outcome;
    outcome.f0 = f0;
    if (!std::isfinite(f0)) outcome.note = averageNotFiniteText;
    return outcome;
}

template <typename Input>
double MeanOf(const Input& input, NormalizedStretch stretch) {
    RunningMean mean;
    int64_t at = 0;
    const int64_t end = stretch.first + stretch.count;
    ForEachBlockWhile(input, [&](std::span<const float> samples) {
        const auto length = static_cast<int64_t>(samples.size());
        const int64_t from = std::clamp<int64_t>(stretch.first - at, 0, length);
        const int64_t to = std::clamp<int64_t>(end - at, 0, length);
        mean.Add(samples.subspan(static_cast<size_t>(from), static_cast<size_t>(to - from)));
        at += length;
        return at < end;
    });
    return mean.Mean();
}

// Methods whole, userTimes and explicitValue.
template <typename Input, typename Output>
NormalizeOutcome ToAverage(const Input& input, int64_t count, const NormalizeSettings& settings,
                           const char* nearZeroText, Output& output) {
    float f0 = settings.f0Value, denominator = settings.f0Value;
    if (settings.method != F0Method::explicitValue) {
        NormalizedStretch stretch{0, count};
        if (settings.method == F0Method::userTimes) {
            stretch =
                WithoutGaps(StretchOfTimes(settings.f0Start, settings.f0Duration, settings.sampleInterval),
                            settings.validRuns);
            if (stretch.first >= count || stretch.count < 1) return Failure(durationTooLongText);
            stretch.count = std::min(stretch.count, count - stretch.first);
        }
        f0 = static_cast<float>(MeanOf(input, stretch) - settings.background);
        denominator = f0 + settings.f0Offset;
    }
    if (IsNearZero(f0)) return Failure(nearZeroText);
    return ToF0(input, 0.0f, f0, denominator, output);
}

size_t RankOf(int64_t halfWindow, int percentile) {
    return static_cast<size_t>(OrderRank({OrderMode::percentile, halfWindow, percentile}));
}

// The baseline of a sample is the percentile of the window around it; the first and the last window stand for
// the samples at the ends.
class BaselinePass {
  public:
    BaselinePass(size_t halfWindow, const NormalizeSettings& settings)
        : half_(halfWindow),
          ring_(2 * halfWindow + 1),
          order_(ring_.size(), RankOf(settings.halfWindow, settings.percentile)),
          background_(settings.background),
          offset_(settings.f0Offset) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        for (const float sample : samples) {
            const float value = sample - background_;
            ring_[taken_ % ring_.size()] = value;
            baseline_ = order_.Push(value);
            if (++taken_ < ring_.size()) continue;
            while (written_ + half_ < taken_) WriteOne(results);
        }
    }
    void Finish(ResultBuffer& results) {
        while (written_ < taken_) WriteOne(results);
    }

  private:
    void WriteOne(ResultBuffer& results) {
        const float value = ring_[written_++ % ring_.size()];
        results.Add((value - baseline_) / (baseline_ + offset_));
    }

    size_t half_;
    std::vector<float> ring_;  // the samples of the window, less the background
    RunningOrder order_;
    float background_, offset_;
    size_t taken_ = 0, written_ = 0;
    float baseline_ = 0.0f;
};

template <typename Input>
LowestWindow FindLowestWindow(const Input& input, size_t window, float background, const KernelPoll& goOn) {
    LowestWindow lowest(window, background);
    int64_t done = 0;
    ForEachBlockWhile(input, [&](std::span<const float> samples) {
        if (goOn && !goOn(done)) {
            lowest = LowestWindow(window, background);
            return false;
        }
        lowest.Add(samples);
        done += static_cast<int64_t>(samples.size());
        return true;
    });
    return lowest;
}

template <typename Input, typename Output>
NormalizeOutcome ToLowestAverage(const Input& input, size_t window, const NormalizeSettings& settings,
                                 const KernelPoll& goOn, Output& output) {
    const LowestWindow lowest = FindLowestWindow(input, window, settings.background, goOn);
    if (lowest.Start() < 0) return Failure();
    float f0 = lowest.Lowest() / static_cast<float>(window);
    // On a stream the region is averaged anew, so the value has no rounding of a long running sum.
    if constexpr (std::is_same_v<Input, RepeatedSource>) {
        const double mean = MeanOf(input, {lowest.Start(), static_cast<int64_t>(window)});
        f0 = static_cast<float>(mean - settings.background);
    }
    return ToF0(input, settings.background, f0, f0 + settings.f0Offset, output);
}

template <typename Input, typename Output>
NormalizeOutcome Run(const Input& input, int64_t count, const NormalizeSettings& settings,
                     const char* nearZeroText, const KernelPoll& goOn, Output& output) {
    if (settings.type != NormType::deltaF) return ToExtremes(input, settings.type, output);
    if (settings.method != F0Method::percentile && settings.method != F0Method::lowestAverage)
        return ToAverage(input, count, settings, nearZeroText, output);
    const auto half = static_cast<size_t>(std::max(settings.halfWindow, 0));
    const size_t window = 2 * half + 1;
    if (count < static_cast<int64_t>(window)) {
        NormalizeOutcome outcome = Failure();
        outcome.note = runShorterThanWindowText;
        return outcome;
    }
    if (settings.method == F0Method::lowestAverage)
        return ToLowestAverage(input, window, settings, goOn, output);
    RunPass(input, output, BaselinePass(half, settings));
    return {};
}

}  // namespace

NormalizedStretch StretchOfTimes(double startMs, double durationMs, double sampleInterval) {
    return {std::max<int64_t>(RoundHalfAway(startMs / sampleInterval), 0),
            std::max<int64_t>(RoundHalfAway(durationMs / sampleInterval), 1)};
}

NormalizedStretch WithoutGaps(NormalizedStretch stretch, std::span<const uint32_t> validRuns) {
    if (validRuns.empty()) return stretch;
    const int64_t end = stretch.first + stretch.count;
    NormalizedStretch left;
    int64_t at = 0;
    for (size_t i = 0; i < validRuns.size(); ++i) {
        const int64_t next = at + validRuns[i];
        if (i % 2 == 0) {
            left.first += std::clamp<int64_t>(stretch.first - at, 0, next - at);
            left.count += std::max<int64_t>(std::min(end, next) - std::max(stretch.first, at), 0);
        }
        at = next;
    }
    return left;
}

NormalizeOutcome Normalize(std::span<const float> input, const NormalizeSettings& settings,
                           std::span<float> output) {
    return Run(input, static_cast<int64_t>(input.size()), settings, averageNearZeroInMemoryText, {}, output);
}

NormalizeOutcome Normalize(const SourceMaker& makeSource, int64_t count, const NormalizeSettings& settings,
                           FloatSink& sink, const KernelPoll& goOn) {
    return Run(RepeatedSource{makeSource}, count, settings, averageNearZeroText, goOn, sink);
}

}  // namespace kymora
