#pragma once
// Normalisation of a run: to its extremes, or to a resting value F0 (delta F / F0).

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/passes.h"
#include "kernels/streams.h"

namespace kymora {

enum class NormType { zeroToOne = 0, minusOneToOne = 1, maxToOne = 2, deltaF = 3 };
enum class F0Method { whole = 0, userTimes = 1, explicitValue = 2, percentile = 3, lowestAverage = 4 };

struct NormalizeSettings {
    NormType type = NormType::zeroToOne;
    // All that follows is for deltaF.
    F0Method method = F0Method::whole;
    float f0Start = 0.0f, f0Duration = 100.0f;  // ms from the first sample; userTimes
    float f0Value = 1.0f;                       // explicitValue
    float background = 0.0f;                    // fluorescence that is not the cell's
    float f0Offset = 0.0f;                      // added to the denominator
    int halfWindow = 1;                         // samples; percentile and lowestAverage
    int percentile = 50;
    double sampleInterval = 1.0;  // ms
    // Where the samples are those of a recording without its gaps: the lengths of its valid stretches and
    // gaps by turns, a valid stretch first. The user's times count the gaps. Empty: nothing is left out.
    std::vector<uint32_t> validRuns;
};

struct NormalizeOutcome : KernelOutcome {
    std::optional<float> f0;  // the value used, where there is one for the whole run
};

// A stretch of the samples of a run. What passes the end of the run is not there.
struct NormalizedStretch {
    int64_t first = 0;
    int64_t count = 0;
};

// The samples of the user's times, at least one.
NormalizedStretch StretchOfTimes(double startMs, double durationMs, double sampleInterval);
// The same stretch in the samples that are left when gaps are left out; none where it lies in a gap.
NormalizedStretch WithoutGaps(NormalizedStretch stretch, std::span<const uint32_t> validRuns);

inline constexpr const char* rangeNearZeroText =
    "The data range is very close to 0, so normalization will fail";
inline constexpr const char* durationTooLongText =
    "The user-specified duration of the average is longer than the recording/episode.";
inline constexpr const char* averageNearZeroText =
    "The average value is very close to 0, so normalization will fail. Suggest increase F0 offset.";
// What runs in memory say.
inline constexpr const char* averageNearZeroInMemoryText =
    "he average value is very close to 0, so normalization will fail. Suggest increase F0 offset.";
// For the log.
inline constexpr const char* averageNotFiniteText =
    "WARNING; the average is no finite number, so the results are none either\n";
inline constexpr const char* lowestAverageProgressText = "Searching for max and/or min active regions";

// Not-a-numbers have no part in the extremes; in an average they spoil the run, and the note says so. A run
// shorter than the window of percentile or lowestAverage is a failure without a message, an ended search too.
// `output` has the length of `input` and is another array.
NormalizeOutcome Normalize(std::span<const float> input, const NormalizeSettings& settings,
                           std::span<float> output);
// `count` is the number of samples of the run. Reads it up to three times; `goOn` is asked while the stretch
// of the lowest average is looked for.
NormalizeOutcome Normalize(const SourceMaker& makeSource, int64_t count, const NormalizeSettings& settings,
                           FloatSink& sink, const KernelPoll& goOn = {});

}  // namespace kymora
