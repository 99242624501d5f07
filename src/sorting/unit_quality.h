#pragma once
// How well the units of a sorting are told from noise and from each other.
//
// - SNR: the peak-to-peak amplitude of the template over twice the s.d. of the noise (S. Suner et al., IEEE
//   Trans. Neural Syst. Rehabil. Eng. 13, 2005), the noise being that beside the spikes; of several traces
//   the largest.
// - Refractory violations: intervals between successive events below the refractory time, and their share of
//   all intervals (D. N. Hill, S. B. Mehta and D. Kleinfeld, J. Neurosci. 31, 2011).
// - Isolation distance and L-ratio, from the squared Mahalanobis distances of the spikes outside of a unit to
//   its centre (N. Schmitzer-Torbert et al., Neuroscience 131, 2005).
// - Silhouette (P. J. Rousseeuw, J. Comput. Appl. Math. 20, 1987), Euclidean.
//
// The last three are measured on the weights on three principal components. Spikes that are compounds take no
// part in them, since their weights are those of several units.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "host/progress.h"
#include "sorting/spike_sorting.h"

namespace kymora {

// --- the measures ---

using SpikeWeights = std::array<float, 3>;
// Of a spike that takes no part.
inline constexpr int32_t leftOutId = -1;

struct UnitIsolation {
    // The squared distance of the n-th nearest spike outside of a unit of n; not a number where fewer than n
    // lie outside.
    double distance = 0.0;
    // The sum over the spikes outside of the probability that one of the unit lies farther away, over n.
    double lRatio = 0.0;
};
// Of the unit with this id; all others but those left out lie outside. Not-a-numbers for a unit of fewer than
// 4 spikes, or whose weights do not spread in all directions.
UnitIsolation IsolationOf(std::span<const SpikeWeights> weights, std::span<const int32_t> ids, int32_t id);

inline constexpr size_t mostSilhouetteSpikes = 1000;

// The mean silhouette of each of the units, -1 to 1: of at most mostSilhouetteSpikes of its spikes, evenly
// taken. Not a number for a unit without spikes, or without another unit that has some. Throws Cancelled.
std::vector<double> SilhouettesOf(std::span<const SpikeWeights> weights, std::span<const int32_t> ids,
                                  std::span<const int32_t> units, ProgressSource& progress);

// Intervals between successive places, which ascend, that are shorter than the limit.
int64_t CountShortIntervals(std::span<const int64_t> places, double limit);

// --- of a sorting ---

struct SpikeAmplitude {
    int64_t place = 0;  // as that of a UnitEvent
    size_t spike = 0;
    double value = 0.0;  // in units of the trace
};

struct UnitQuality {
    int32_t id = 0;
    int64_t events = 0;
    double snr = 0.0;
    int64_t violations = 0;
    double violationShare = 0.0;  // %; not a number without an interval
    UnitIsolation isolation;
    double silhouette = 0.0;
    // Of each event, ascending: its value less the mean of the noise where the template is farthest from
    // that, less what the other components of a compound have there.
    std::vector<SpikeAmplitude> amplitudes;
    double meanAmplitude = 0.0, sdAmplitude = 0.0;  // n - 1
};

// The events of each cluster: as assigned, or, before an assignment, the spikes first placed in it, of which
// those within the given time count once, too.
std::vector<std::vector<UnitEvent>> EventsOfClusters(const SpikeSorting& sorting, double mergeWithinMs);

// The limit of the places of two events that follow each other within the refractory time.
double RefractoryPlaces(const SpikeSorting& sorting, double refractoryMs);

// Of each unit of a sorting that has clusters. What weights are needed for is not a number where there are
// none, as with templates from elsewhere. Throws Cancelled.
std::vector<UnitQuality> MeasureUnits(const SpikeSorting& sorting, double mergeWithinMs, double refractoryMs,
                                      ProgressSource& progress);

}  // namespace kymora
