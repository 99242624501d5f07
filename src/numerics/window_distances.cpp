#include "numerics/window_distances.h"

#include <cmath>

#include "numerics/vector_state.h"

namespace kymora {

namespace {

constexpr size_t binsBetweenLooks = 8;  // at whether all sums of a tile are above the limit

struct Distances {
    const double* row;
    size_t length;
    const double* samples;
    double limit, none;
    double* to;
    size_t count;
};

namespace common_distances {
#define KYMORA_VECTOR 16
#define KYMORA_TARGET
#include "numerics/window_distances_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace common_distances

#if defined(__x86_64__)
namespace avx2_distances {
#define KYMORA_VECTOR 32
#define KYMORA_TARGET __attribute__((target("avx2")))
#include "numerics/window_distances_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace avx2_distances

namespace avx512_distances {
#define KYMORA_VECTOR 64
#define KYMORA_TARGET __attribute__((target("avx512f")))
#include "numerics/window_distances_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace avx512_distances
#endif

}  // namespace

void WindowDistances(std::span<const double> row, std::span<const double> samples, std::span<double> to,
                     double limit, InstructionSet widest) {
    const Distances all{
        row.data(), row.size(), samples.data(), limit, std::numeric_limits<double>::infinity(),
        to.data(),  to.size()};
    size_t at = 0;
#if defined(__x86_64__)
    if (widest >= InstructionSet::avx512) at = avx512_distances::Tiles(all, at);
    if (widest >= InstructionSet::avx2) {
        at = avx2_distances::Tiles(all, at);
        ClearVectorState();
    }
#else
    (void)widest;
#endif
    at = common_distances::Tiles(all, at);
    for (; at < to.size(); ++at) {
        double sum = 0.0;
        for (size_t i = 0; i < row.size(); ++i) sum += std::abs(samples[at + i] - row[i]);
        to[at] = sum;
    }
}

}  // namespace kymora
