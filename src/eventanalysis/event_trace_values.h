#pragma once
// What the samples of one event give: extremes, averages, areas, slope, energy and rhythm.

#include <limits>
#include <optional>

#include "eventanalysis/event_parameters.h"
#include "eventanalysis/event_samples.h"
#include "spectra/autocorrelation.h"
#include "statistics/statistics.h"

namespace kymora {

// Answers for one event at a time; what several parameters need is worked out once. The samples must stay
// where they are. Sums are double; times are milliseconds.
class EventTraceValues {
  public:
    EventTraceValues(EventSamples samples, double sampleInterval)
        : samples_(samples), sampleInterval_(sampleInterval) {}

    // The value of a parameter from peakToPeak to energy, rhythmIndex or rhythmPeriod; not-a-number without
    // samples. The slope is amplitude per second, and not-a-number below two samples. The rhythm is that of
    // all lags that the event has; without one its index is 0 and its period not-a-number, and both are
    // not-a-numbers where samples between others do not count.
    double Value(EvParam param);
    // Time from the event's onset to its largest or smallest sample, the first of equals.
    double TimeOfMaximum() { return TimeTo(GetExtremes().highest); }
    double TimeOfMinimum() { return TimeTo(GetExtremes().lowest); }

  private:
    struct Extremes {
        size_t highest = 0;
        size_t lowest = 0;
    };
    const Extremes& GetExtremes();
    const MedianRobustSd& GetMedians();
    double Median();
    float Highest() { return samples_.x[GetExtremes().highest]; }
    float Lowest() { return samples_.x[GetExtremes().lowest]; }
    double TimeTo(size_t k) const;
    // Samples from the smallest to the largest.
    double MinToMax();
    double Count() const { return static_cast<double>(samples_.x.size()); }
    double Sum() const;
    double SumOfSquares() const;
    double AreaReBase() const;
    double Slope() const;
    const Rhythm& GetRhythm();
    bool IsUnbroken() const;

    EventSamples samples_;
    double sampleInterval_;
    std::optional<Extremes> extremes_;
    std::optional<MedianRobustSd> medians_;
    std::optional<Rhythm> rhythm_;
};

}  // namespace kymora
