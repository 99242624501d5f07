#pragma once
// Bursts by the lengths of intervals alone, and the limit that the distribution of intervals itself suggests.

#include <optional>

#include "rhythms/event_train.h"

namespace kymora {

// Samples. An interval shorter than `start` opens a burst at its first event; one longer than `within` closes
// it before its second. A burst that is open at the end closes there.
struct IntervalLimitsOfBursts {
    int64_t start = 0, within = 0;
};
std::vector<EventStretch> FindIntervalBursts(const EventTrain& train, const IntervalLimitsOfBursts& limits);

// Where intervals within bursts and those between them part: the density of log10(interval), by a Gaussian
// kernel of a tenth of a decade, has its highest peak at or below `longestWithin` and a later one, and
// between the two its trough. They are apart where the void 1 - trough / sqrt(peak x peak) is at least 0.7
// (V. Pasquale, S. Martinoia and M. Chiappalone, J. Comput. Neurosci. 29, 2010); of several later peaks the
// first such one counts.
struct IntervalCut {
    double interval = 0.0;  // that of the trough, ms
    double voidParameter = 0.0;
};
// Intervals of 0 ms have no logarithm and do not count.
std::optional<IntervalCut> FindIntervalCut(std::span<const double> intervals, double longestWithin);

}  // namespace kymora
