#pragma once
// The template of each cluster of spikes, how far waveforms are from it, and the threshold within which they
// are its own.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sorting/spike_waves.h"

namespace kymora {

struct cCluster {
    int32_t m_iTmplStartRelDisp = 0;  // first value of the analysis window, in the display window
    int32_t m_nTmplSamp = 0;          // values of the analysis window, of each trace
    double m_dHistMaxX = 0.0;         // X limit of its error histogram
    float m_fErrThresh = 0.0f;        // in units of noise variance
    std::vector<float> m_vfFullTmpl;  // a row, the mean of its spikes
    int32_t m_iCount = 0;             // waveforms first placed in it
    bool m_bMixedTmpl = false;        // a compound of others, not a unit
    bool m_bIgnore = false;           // left out of sorting

    WaveSegment Window() const { return {m_iTmplStartRelDisp, m_nTmplSamp}; }
    // It has spikes, and gets events.
    bool IsUnit() const { return m_iCount > 0 && !m_bMixedTmpl && !m_bIgnore; }
    bool operator==(const cCluster&) const = default;
};

// The mean row of the spikes of a cluster (ids from 1), in double. Zeros where it has none.
std::vector<float> MeanRow(const SpikeWaves& waves, std::span<const int32_t> ids, int32_t id);

// The sample variance (n - 1) of the difference over the segment, divided by the variance of the noise; the
// mean of that over the traces. Not a number for a segment of fewer than 2 values.
double VarianceRatio(std::span<const float> wave, std::span<const float> other, const WaveShape& shape,
                     WaveSegment segment, std::span<const SpikeNoise> noise);

// Median + 3 robust s.d. of the ratios; 0 without any.
float AutomaticThreshold(std::span<const double> ratios);

// How many ratios lie in each of the bins of equal width from 0 to the greatest x; the last one takes in its
// upper edge. What lies beyond is not counted.
std::vector<int64_t> ErrorHistogramCounts(std::span<const double> ratios, double greatestX, size_t bins);

// The variance of the difference of two templates over the primary's window, divided by that of the primary,
// each the mean over the traces: small means similar. Not a number for a flat primary.
double RelativeDifference(const cCluster& primary, const cCluster& other, const WaveShape& shape);

}  // namespace kymora
