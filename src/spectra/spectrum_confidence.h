#pragma once
// How sure averaged spectra are.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace kymora {

// Independent segments that are worth as much as `segments` overlapping ones, each `step` samples behind the
// one before, under this window (Welch 1967, equation for the variance of the mean).
double IndependentSegments(std::span<const double> window, size_t step, int64_t segments);

// What a power is multiplied by for the lower and upper end of its 95 % band, by the chi-squared distribution
// with 2 `segments` degrees of freedom. The bins 0 and N have one real value a segment, and so half of them.
std::pair<double, double> PowerBand(double segments);

// The 95 % band of a coherence (the squared magnitude, 0 to 1) by Fisher's z of its root with the variance
// 1 / (2 `segments`) (D. M. Halliday et al., "A framework for the analysis of mixed time series / point
// process data", Prog. Biophys. Molec. Biol. 64, 1995, 237-278).
std::pair<double, double> CoherenceBand(double coherence, double segments);

// The coherence that `averages` segments of traces without any relation reach with a probability of `alpha`:
// 2F / (v + 2F), where F is the quantile 1 - alpha of the F distribution with 2 and v = averages - 2 degrees
// of freedom. Nothing below 3.
std::optional<double> CriticalCoherence(int64_t averages, double alpha);

}  // namespace kymora
