#pragma once
// Where blocks of samples, and the extremes of stretches of them, go when they are read.

#include <cstdint>
#include <span>

namespace kymora {

inline constexpr int32_t bufferSize = 32768;  // samples per trace of the file buffer

// Where one trace's part of a block read goes. Both spans have the block's length; `valid` may be empty.
struct TraceBlock {
    int trace = 0;
    std::span<float> values;
    std::span<uint8_t> valid;
};

// Samples laid side by side in slots of one length: the first lies `into` samples behind the start of slot 0.
struct FoldSlots {
    int64_t into = 0;
    int64_t length = 1;
};

// Where the lowest and highest samples of each slot of one trace go. They are widened, so they begin at
// FLT_MAX and -FLT_MAX. `active` may be empty; otherwise a slot with a valid sample becomes 1.
struct TraceFold {
    int trace = 0;
    std::span<float> low, high;
    std::span<uint8_t> active;
};

// A stretch of one trace, and where its lowest and highest samples go, as in TraceFold. `active` is not null.
struct FoldStretch {
    int64_t from = 0;
    int64_t count = 0;
    float* low = nullptr;
    float* high = nullptr;
    uint8_t* active = nullptr;
};

}  // namespace kymora
