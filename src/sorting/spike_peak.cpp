#include "sorting/spike_peak.h"

#include <cmath>

namespace kymora {

namespace {

// The height above the level, of which only what is above 0 counts as a peak.
struct Heights {
    std::span<const float> wave;
    float level;
    bool isMirrored;
    float At(size_t i) const { return isMirrored ? level - wave[i] : wave[i] - level; }
    bool IsAbove(size_t i) const { return At(i) > 0.0f; }
};

std::optional<size_t> NearestAbove(const Heights& heights, size_t centre) {
    const size_t count = heights.wave.size();
    for (size_t away = 0; away < count; ++away) {
        if (centre + away < count && heights.IsAbove(centre + away)) return centre + away;
        if (away <= centre && heights.IsAbove(centre - away)) return centre - away;
    }
    return std::nullopt;
}

std::optional<size_t> FarthestFromLevel(std::span<const float> wave, float level) {
    std::optional<size_t> peak;
    float farthest = 0.0f;
    for (size_t i = 0; i < wave.size(); ++i) {
        const float away = std::abs(wave[i] - level);
        if (!(away > farthest)) continue;
        farthest = away;
        peak = i;
    }
    return peak;
}

}  // namespace

std::optional<size_t> FindSpikePeak(std::span<const float> wave, size_t centre, float level,
                                    Polarity polarity) {
    if (polarity == Polarity::either) return FarthestFromLevel(wave, level);
    const Heights heights{wave, level, polarity == Polarity::down};
    const auto inside = NearestAbove(heights, centre);
    if (!inside) return std::nullopt;
    size_t first = *inside;
    while (first > 0 && heights.IsAbove(first - 1)) --first;
    size_t peak = first;
    for (size_t i = first + 1; i < wave.size() && heights.IsAbove(i); ++i)
        if (heights.At(i) > heights.At(peak)) peak = i;
    return peak;
}

}  // namespace kymora
