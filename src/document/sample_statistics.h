#pragma once
// Statistics of a stretch of one trace: `count` samples from position `from` on. Gap samples, samples outside
// the recording and samples that are no finite numbers do not count (statistics/statistics.h). All of them
// read block by block, leave readPosition alone and throw FileError when the samples cannot be read.

#include "document/sample_reader.h"
#include "host/progress.h"
#include "statistics/statistics.h"

namespace kymora {

// Longer stretches are cut to this count, after the user was told.
inline constexpr int32_t mostStatisticsSamples = 2000000;
// Takes the count asked for, and the limit.
inline constexpr const char* tooManyStatisticsSamplesText =
    "You are attempting to collect stats from > {} samples. Truncating to {} samples.";

// Steps the progress, if there is one, by the samples that it reads; throws Cancelled.
MeanSd GetMeanSd(SampleReader& reader, int trace, int64_t from, int64_t count,
                 ProgressScope* progress = nullptr);
// Holds all counted samples in memory.
MedianRobustSd GetMedianRobustSd(SampleReader& reader, int trace, int64_t from, int64_t count);
// Holds twice `percent` of the stretch in memory.
PercentileValues GetPercentileValues(SampleReader& reader, int trace, int64_t from, int64_t count,
                                     double percent);

inline constexpr int64_t noWindow = -1;
// First position of the least active window of `length` samples within [from, from + count); see
// numerics/least_active_window.h. Only windows without a gap take part. `noWindow` when the progress, which
// is asked every 1024 samples and may be null, ends the search; `from` when no window fits.
int64_t FindLeastActiveWindow(SampleReader& reader, int trace, int64_t from, int64_t count, int64_t length,
                              Progress* progress = nullptr);

}  // namespace kymora
