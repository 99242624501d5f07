#include "spectra/segment_loops.h"

namespace kymora {

namespace {

namespace common_lanes {
#define KYMORA_TARGET
#include "spectra/segment_lanes.inc"
#undef KYMORA_TARGET
}  // namespace common_lanes

#if defined(__x86_64__)
namespace avx2_lanes {
#define KYMORA_TARGET __attribute__((target("avx2")))
#include "spectra/segment_lanes.inc"
#undef KYMORA_TARGET
}  // namespace avx2_lanes

namespace avx512_lanes {
#define KYMORA_TARGET __attribute__((target("avx512f,prefer-vector-width=512")))
#include "spectra/segment_lanes.inc"
#undef KYMORA_TARGET
}  // namespace avx512_lanes
#endif

using WindowLoop = decltype(&common_lanes::Window);
using PowersLoop = decltype(&common_lanes::Powers);
using ProductsLoop = decltype(&common_lanes::Products);

struct Loops {
    WindowLoop window = common_lanes::Window;
    PowersLoop powers = common_lanes::Powers;
    ProductsLoop products = common_lanes::Products;
};

Loops LoopsFor(InstructionSet widest) {
#if defined(__x86_64__)
    if (widest >= InstructionSet::avx512)
        return {avx512_lanes::Window, avx512_lanes::Powers, avx512_lanes::Products};
    if (widest >= InstructionSet::avx2) return {avx2_lanes::Window, avx2_lanes::Powers, avx2_lanes::Products};
#else
    (void)widest;
#endif
    return {};
}

const double* Parts(std::span<const std::complex<double>> bins) {
    return reinterpret_cast<const double*>(bins.data());
}

}  // namespace

void WindowSegment(std::span<const float> samples, std::span<const double> window, std::span<double> to,
                   InstructionSet widest) {
    LoopsFor(widest).window(samples.data(), window.data(), to.size(), to.data());
}

void AddPowers(std::span<const std::complex<double>> bins, double factor, std::span<double> sums,
               InstructionSet widest) {
    LoopsFor(widest).powers(Parts(bins), sums.size(), factor, sums.data());
}

void AddProducts(std::span<const std::complex<double>> a, std::span<const std::complex<double>> b,
                 double factor, std::span<double> re, std::span<double> im, InstructionSet widest) {
    LoopsFor(widest).products(Parts(a), Parts(b), re.size(), factor, re.data(), im.data());
}

}  // namespace kymora
