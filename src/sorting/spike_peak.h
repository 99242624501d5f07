#pragma once
// Where a spike's peak lies in its waveform.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kymora {

enum class Polarity : int32_t {
    up = 0,      // above the level
    down = 1,    // the same on the waveform mirrored at the level
    either = 2,  // what lies furthest from the level, anywhere in the waveform
};

// Up: where the sample at the centre is not above the level, the nearest one that is takes its place, the
// later one of two that are equally near. The peak is the largest sample of the region above the level around
// it, the first of equals. Nothing where no sample is beyond the level. The centre lies in the waveform.
std::optional<size_t> FindSpikePeak(std::span<const float> wave, size_t centre, float level,
                                    Polarity polarity);

}  // namespace kymora
