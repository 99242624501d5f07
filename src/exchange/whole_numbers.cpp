#include "exchange/whole_numbers.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "numerics/instruction_set.h"

// Inlined into a form for each set of instructions.
#define KYMORA_INLINE inline __attribute__((always_inline))

namespace kymora {

static_assert(std::endian::native == std::endian::little, "numbers are written as they stand in memory");

namespace {

template <typename Number>
KYMORA_INLINE void Round(std::span<const float> values, const NumberScale& scale, Number* to) {
    const NumberScale s = scale;
    const float* from = values.data();
    const size_t count = values.size();
    for (size_t i = 0; i < count; ++i) {
        double x = (static_cast<double>(from[i]) - s.zero) * s.perUnit + s.offset;
        x = x < s.low ? s.low : x;
        x = x > s.high ? s.high : x;
        to[i] = static_cast<Number>(static_cast<int32_t>(x + std::copysign(0.5, x)));
    }
}

template <typename Number>
void RoundCommon(std::span<const float> values, const NumberScale& scale, Number* to) {
    Round(values, scale, to);
}

#if defined(__x86_64__)
template <typename Number>
__attribute__((target("avx2"))) void RoundWide(std::span<const float> values, const NumberScale& scale,
                                               Number* to) {
    Round(values, scale, to);
}
#endif

template <typename Number>
void RoundAll(std::span<const float> values, const NumberScale& scale, Number* to) {
#if defined(__x86_64__)
    static const bool hasWideVectors = WidestInstructionSet() >= InstructionSet::avx2;
    if (hasWideVectors) return RoundWide(values, scale, to);
#endif
    RoundCommon(values, scale, to);
}

}  // namespace

void ToWholeNumbers(std::span<const float> values, const NumberScale& scale, int16_t* to) {
    RoundAll(values, scale, to);
}
void ToWholeNumbers(std::span<const float> values, const NumberScale& scale, int32_t* to) {
    RoundAll(values, scale, to);
}

// Four bytes at a time, of which the next number takes the last back.
void PackInt24(std::span<const int32_t> numbers, std::byte* to) {
    if (numbers.empty()) return;
    for (const int32_t number : numbers.first(numbers.size() - 1)) {
        std::memcpy(to, &number, sizeof number);
        to += 3;
    }
    std::memcpy(to, &numbers.back(), 3);
}

}  // namespace kymora

#undef KYMORA_INLINE
