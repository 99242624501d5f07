#pragma once
// Where a threshold detector takes its levels from: the statistics of a stretch of one trace, or of the least
// active window in it.

#include "detection/threshold_detector.h"
#include "detection/threshold_statistics.h"
#include "operations/operation_job.h"

namespace kymora {

inline constexpr const char* searchCancelledText =
    "Note: Cancelling the operation means the result is invalid";
inline constexpr const char* searchLabel = "Searching for least active region";

enum class ThresholdSource { direct = 0, meanSd = 1, medianRobustSd = 2, percentile = 3 };

struct LevelSettings {
    ThresholdSource source = ThresholdSource::direct;
    float multipliers[3] = {}, percentiles[3] = {};  // of onset, offset and limit
    bool offsetEqualsOnset = false, limitUsed = false;
    int64_t window = 0;  // samples of the least active window; 0: the whole stretch
};

// What it has found out stays known until another stretch is asked for, or Forget.
class LevelMeter {
  public:
    // Goes to a stretch. A search for the least active window that was cancelled leaves the window at the
    // stretch's start, and is made again where `again`. Throws FileError.
    void Seek(SampleReader& samples, int trace, SampleSpan stretch, int64_t window, JobContext& context,
              bool again);
    // False when there is nothing to measure. Throws FileError.
    bool Measure(SampleReader& samples, const LevelSettings& settings, ThresholdLevels& levels);
    void Forget() { *this = {}; }

    const ThresholdStatistics& Statistics() const { return m_statistics; }
    bool HasSearched(int trace) const { return m_search.trace == trace; }

  private:
    SampleSpan LeastActive(SampleReader& samples, int trace, SampleSpan stretch, int64_t window,
                           JobContext& context, bool again);
    void TakePercentiles(SampleReader& samples, const LevelSettings& settings, ThresholdLevels& levels);

    // The last search for the least active window.
    struct Search {
        int trace = -1;
        SampleSpan stretch;
        int64_t window = 0;
        int64_t start = 0;
        bool isCancelled = false;
    };
    ThresholdStatistics m_statistics;
    Search m_search;
};

}  // namespace kymora
