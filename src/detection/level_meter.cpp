#include "detection/level_meter.h"

#include <algorithm>

namespace kymora {

namespace {

constexpr uint64_t searchedAtOnce = 1000;  // longer stretches are searched with a progress box

}  // namespace

void LevelMeter::Seek(SampleReader& samples, int trace, SampleSpan stretch, int64_t window,
                      JobContext& context, bool again) {
    if (window > 0) stretch = LeastActive(samples, trace, stretch, window, context, again);
    m_statistics.SetStretch(trace, stretch.first, stretch.Count());
}

SampleSpan LevelMeter::LeastActive(SampleReader& samples, int trace, SampleSpan stretch, int64_t window,
                                   JobContext& context, bool again) {
    const bool isKnown = m_search.trace == trace && m_search.stretch == stretch && m_search.window == window;
    if (!isKnown || (m_search.isCancelled && again)) {
        {
            const ProgressScope progress(context, searchLabel, static_cast<uint64_t>(stretch.Count()),
                                         searchedAtOnce);
            const int64_t start =
                FindLeastActiveWindow(samples, trace, stretch.first, stretch.Count(), window, progress.Get());
            const bool isCancelled = start == noWindow;
            m_search = {trace, stretch, window, isCancelled ? stretch.first : start, isCancelled};
        }
        if (m_search.isCancelled) context.Warn(searchCancelledText);
    }
    const int64_t end = std::min<int64_t>(m_search.start + window, stretch.end);
    return {static_cast<int32_t>(m_search.start), static_cast<int32_t>(end)};
}

bool LevelMeter::Measure(SampleReader& samples, const LevelSettings& settings, ThresholdLevels& levels) {
    if (settings.source == ThresholdSource::percentile) {
        if (m_statistics.Percentile(samples, 0, settings.percentiles[0]).count == 0) return false;
        TakePercentiles(samples, settings, levels);
        return true;
    }
    const bool isMean = settings.source == ThresholdSource::meanSd;
    if ((isMean ? m_statistics.Mean(samples).count : m_statistics.Robust(samples).count) == 0) return false;
    const double middle = isMean ? m_statistics.Mean(samples).mean : m_statistics.Robust(samples).median;
    const double spread = isMean ? m_statistics.Mean(samples).sd : m_statistics.Robust(samples).robustSd;
    const auto around = [&](float multiplier, float& positive, float& negative) {
        positive = static_cast<float>(middle + multiplier * spread);
        negative = static_cast<float>(middle - multiplier * spread);
    };
    around(settings.multipliers[0], levels.OnPos, levels.OnNeg);
    around(settings.multipliers[1], levels.OffPos, levels.OffNeg);
    around(settings.multipliers[2], levels.LimitPos, levels.LimitNeg);
    return true;
}

void LevelMeter::TakePercentiles(SampleReader& samples, const LevelSettings& settings,
                                 ThresholdLevels& levels) {
    const PercentileValues& on = m_statistics.Percentile(samples, 0, settings.percentiles[0]);
    levels.OnNeg = on.low;
    levels.OnPos = on.high;
    if (settings.offsetEqualsOnset) {
        // The negative offset keeps what it was: the two sides are not alike here.
        levels.OffPos = levels.OnPos;
    } else {
        const PercentileValues& off = m_statistics.Percentile(samples, 1, settings.percentiles[1]);
        levels.OffNeg = off.low;
        levels.OffPos = off.high;
    }
    if (!settings.limitUsed) return;
    const PercentileValues& limit = m_statistics.Percentile(samples, 2, settings.percentiles[2]);
    levels.LimitNeg = limit.low;
    levels.LimitPos = limit.high;
}

}  // namespace kymora
