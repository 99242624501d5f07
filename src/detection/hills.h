#pragma once
// Hills and valleys of a slow signal: what lies between two troughs around a peak, with the fractions of its
// slopes at which it begins and ends. Valleys are hills of the signal with its sign reversed; their values
// are told in the units of the data.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "detection/turning_points.h"

namespace kymora {

enum class HillKind { hills = 0, valleys = 1 };
enum class SlopeFrom { centre = 0, edge = 1 };

inline constexpr double usualSlope = 10.0;  // %

struct HillRule {
    HillKind kind = HillKind::hills;
    // Where a hill begins and ends: per cent of the height on that side, 0 (the trough) to 100 (the peak).
    double upSlope = usualSlope, downSlope = usualSlope;
    // Looked for from the peak outwards, or from the troughs inwards.
    SlopeFrom from = SlopeFrom::centre;
    // In the units of the data. Smaller hills become part of their neighbours; those left whose height on
    // either side is below `excludeMolehills`, or whose peak does not reach `absolute`, are left out.
    double mergeFoothills = 0.0, excludeMolehills = 0.0;
    std::optional<double> absolute;  // of valleys: which the trough has to reach from above
    // Of the duration, in samples; both are accepted.
    int64_t minimumDuration = 0, maximumDuration = INT64_MAX;
};

// Positions are samples; `off` is behind the last one.
struct Hill {
    int64_t on = 0, off = 0;
    TurningPoint peak, left, right;
    // The peak above the higher one of the lowest points that lie between it and a higher peak, or the end of
    // the samples, on each side; and the width at half of that, in samples, from straight lines between
    // samples.
    double prominence = 0.0, halfWidth = 0.0;

    int64_t Duration() const { return off - on; }
    double LeftHeight() const;
    double RightHeight() const;
    double Height() const;  // on the shorter side
};

// The greatest height of a shorter side that any merging can leave; 0 without hills.
float GreatestMergedHeight(std::span<const TurningRun> runs);
// The heights of the shorter side of all hills of the runs, as exactly as they are held against thresholds.
std::vector<double> HillHeights(std::span<const TurningRun> runs);
// The values of their peaks.
std::vector<double> HillPeaks(std::span<const TurningRun> runs);

// Fills `values` with the samples from a position on.
using ReadSamples = std::function<void(int64_t from, std::span<float> values)>;
// Told how many of the peaks are done; false ends the search there.
using GoesOn = std::function<bool(size_t peaks)>;

// The hills of runs whose foothills are merged, whatever their durations. The runs are those of reversed
// values where valleys are sought.
std::vector<Hill> HillsOf(std::span<const TurningRun> runs, const HillRule& rule, const ReadSamples& read,
                          const GoesOn& goesOn = {});
bool HasDuration(const Hill& hill, const HillRule& rule);

}  // namespace kymora
