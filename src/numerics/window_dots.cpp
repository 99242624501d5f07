#include "numerics/window_dots.h"

#include <algorithm>
#include <vector>

#include "numerics/vector_state.h"

namespace kymora {

namespace {

// Results to be made: to[i] is the sum of coefficients[j] x samples[i + j], where j goes on by `step` from
// what the pointers name.
template <typename Number, typename To = float>
struct Dots {
    const Number* coefficients;
    size_t length;
    ptrdiff_t step;
    const Number* samples;
    double scale;
    To* to;
    size_t count;
};

// Sixteen bytes is what every 64-bit processor has.
namespace common_lanes {
#define KYMORA_VECTOR 16
#define KYMORA_TARGET
#include "numerics/window_dots_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace common_lanes

#if defined(__x86_64__)
namespace avx2_lanes {
#define KYMORA_VECTOR 32
#define KYMORA_TARGET __attribute__((target("avx2")))
#include "numerics/window_dots_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace avx2_lanes

namespace avx512_lanes {
#define KYMORA_VECTOR 64
#define KYMORA_TARGET __attribute__((target("avx512f")))
#include "numerics/window_dots_lanes.inc"
#undef KYMORA_VECTOR
#undef KYMORA_TARGET
}  // namespace avx512_lanes
#endif

// The widest vectors take what fills their tiles, narrower ones the most of what is left.
template <typename Number, typename To>
void AllDots(const Dots<Number, To>& dots, InstructionSet widest) {
    size_t at = 0;
#if defined(__x86_64__)
    if (widest >= InstructionSet::avx512) at = avx512_lanes::Tiles(dots, at);
    if (widest >= InstructionSet::avx2) {
        at = avx2_lanes::Tiles(dots, at);
        ClearVectorState();
    }
#else
    (void)widest;
#endif
    at = common_lanes::Tiles(dots, at);
    for (; at < dots.count; ++at) {
        Number sum = 0;
        const Number* coefficient = dots.coefficients;
        const Number* sample = dots.samples + at;
        for (size_t j = 0; j < dots.length; ++j, coefficient += dots.step, sample += dots.step)
            sum += *coefficient * *sample;
        dots.to[at] = static_cast<To>(sum * static_cast<Number>(dots.scale));
    }
}

constexpr size_t convertedAtOnce = 2048;  // results whose samples stay in the processor's cache

}  // namespace

void WindowDots(std::span<const float> coefficients, std::span<const float> samples, std::span<float> to,
                InstructionSet widest) {
    if (to.empty()) return;
    AllDots<float, float>(
        {coefficients.data(), coefficients.size(), 1, samples.data(), 1.0, to.data(), to.size()}, widest);
}

// The samples are made doubles once, and not anew for each coefficient.
void WindowDots(std::span<const double> coefficients, std::span<const float> samples, double scale,
                std::span<float> to, DotOrder order, InstructionSet widest) {
    const size_t length = coefficients.size();
    if (to.empty()) return;
    if (length == 0) {
        std::ranges::fill(to, static_cast<float>(0.0 * scale));
        return;
    }
    const bool isForward = order == DotOrder::oldestFirst;
    const size_t first = isForward ? 0 : length - 1;
    std::vector<double> wide(std::min(to.size(), convertedAtOnce) + length - 1);
    for (size_t done = 0; done < to.size(); done += convertedAtOnce) {
        const size_t count = std::min(convertedAtOnce, to.size() - done);
        std::ranges::copy(samples.subspan(done, count + length - 1), wide.begin());
        AllDots<double, float>({coefficients.data() + first, length, isForward ? 1 : -1, wide.data() + first,
                                scale, to.data() + done, count},
                               widest);
    }
}

void WindowDots(std::span<const double> coefficients, std::span<const double> samples, std::span<double> to,
                InstructionSet widest) {
    if (to.empty()) return;
    AllDots<double, double>(
        {coefficients.data(), coefficients.size(), 1, samples.data(), 1.0, to.data(), to.size()}, widest);
}

}  // namespace kymora
