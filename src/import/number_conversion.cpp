#include "import/number_conversion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "numerics/instruction_set.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Inner loops and all that they call: inlined into a form for each set of instructions.
#define KYMORA_INLINE inline __attribute__((always_inline))

namespace kymora {

static_assert(std::endian::native == std::endian::little, "little-endian numbers are taken as they stand");

namespace {

// --- one number ---

template <typename T>
KYMORA_INLINE T Turned(T number) {
    if constexpr (sizeof(T) == 2) return std::bit_cast<T>(__builtin_bswap16(std::bit_cast<uint16_t>(number)));
    if constexpr (sizeof(T) == 4) return std::bit_cast<T>(__builtin_bswap32(std::bit_cast<uint32_t>(number)));
    if constexpr (sizeof(T) == 8) return std::bit_cast<T>(__builtin_bswap64(std::bit_cast<uint64_t>(number)));
    return number;
}

template <typename T, bool isBig>
struct NumberIn {
    static constexpr int64_t bytes = sizeof(T);
    static KYMORA_INLINE T At(const std::byte* from) {
        T number;
        std::memcpy(&number, from, sizeof number);
        return isBig ? Turned(number) : number;
    }
};

// The byte behind it goes with it.
struct Int24 {};
template <bool isBig>
struct NumberIn<Int24, isBig> {
    static constexpr int64_t bytes = 3;
    static KYMORA_INLINE int32_t At(const std::byte* from) {
        const auto four = NumberIn<uint32_t, isBig>::At(from);
        return static_cast<int32_t>(isBig ? four : four << 8) >> 8;
    }
};

struct Int14 {};
template <bool isBig>
struct NumberIn<Int14, isBig> {
    static constexpr int64_t bytes = 2;
    static KYMORA_INLINE int16_t At(const std::byte* from) {
        return static_cast<int16_t>(NumberIn<int16_t, isBig>::At(from) >> 2);
    }
};

// --- a value of it ---

struct AsIs {
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        return static_cast<float>(number);
    }
};

struct Times {
    float factor;
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        return static_cast<float>(number) * factor;
    }
};

struct StepsTimesAndPlus {
    StepScale scale;
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        if constexpr (std::is_floating_point_v<T>)
            return (static_cast<float>(number) + static_cast<float>(scale.steps)) * scale.factor + scale.rest;
        else
            return static_cast<float>(static_cast<int32_t>(number) + scale.steps) * scale.factor + scale.rest;
    }
};

struct TimesAndPlus {
    double factor, offset;
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        return static_cast<float>(static_cast<double>(number) * factor + offset);
    }
};

struct TimesOverAndPlus {
    float factor, divisor, offset;
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        return static_cast<float>(number) * factor / divisor + offset;
    }
};

// The same bits by two fused multiplications, which take a fraction of a division's time: the reciprocal
// gives a quotient, and its remainder the digit that it lacks (Markstein, Computation of elementary functions
// on the IBM RISC System/6000 processor, 1990). Not near the ends of the range.
struct TimesOverAndPlusFused {
    float factor, divisor, offset, reciprocal;
    template <typename T>
    KYMORA_INLINE float Of(T number) const {
        const float dividend = static_cast<float>(number) * factor;
        const float quotient = dividend * reciprocal;
        const float remainder = __builtin_fmaf(-quotient, divisor, dividend);
        return __builtin_fmaf(remainder, reciprocal, quotient) + offset;
    }
};

// --- many ---

template <typename Number>
struct Strided {
    const std::byte* from;
    NumberPlaces places;
    int64_t count;
    float* to;
    template <typename Scale>
    KYMORA_INLINE void Run(Scale scale) const {
        const int64_t stride = places.stride;
        const std::byte* block = from;
        for (int64_t done = 0; done < count; block += places.blockBytes) {
            const int64_t n = std::min(places.perBlock, count - done);
            if (stride == Number::bytes)
                for (int64_t i = 0; i < n; ++i)
                    to[done + i] = scale.Of(Number::At(block + i * Number::bytes));
            else
                for (int64_t i = 0; i < n; ++i) to[done + i] = scale.Of(Number::At(block + i * stride));
            done += n;
        }
    }
};

struct InPlace {
    std::span<float> numbers;
    template <typename Scale>
    KYMORA_INLINE void Run(Scale scale) const {
        for (float& number : numbers) number = scale.Of(number);
    }
};

struct InPlaceOfWords {
    std::span<float> numbers;
    template <typename Scale>
    KYMORA_INLINE void Run(Scale scale) const {
        for (float& number : numbers) number = scale.Of(static_cast<int32_t>(number) >> 2);
    }
};

template <typename Loop, typename Scale>
void RunCommon(const Loop& loop, Scale scale) {
    loop.Run(scale);
}

#if defined(__x86_64__)
template <typename Loop, typename Scale>
__attribute__((target("avx2"))) void RunWide(const Loop& loop, Scale scale) {
    loop.Run(scale);
}
#endif

#if defined(__x86_64__)
template <typename Loop, typename Scale>
__attribute__((target("avx2,fma"))) void RunFused(const Loop& loop, Scale scale) {
    loop.Run(scale);
}
#endif

template <typename Loop, typename Scale>
void RunOver(const Loop& loop, Scale scale) {
#if defined(__x86_64__)
    static const bool hasWideVectors = WidestInstructionSet() >= InstructionSet::avx2;
    if (hasWideVectors) return RunWide(loop, scale);
#endif
    RunCommon(loop, scale);
}

bool IsShort(NumberType type) { return type == NumberType::u8 || AreWords(type); }

bool IsExactInSingle(NumberType type) {
    return IsShort(type) || type == NumberType::i24 || type == NumberType::f32;
}

template <typename Loop>
void RunDivided(const Loop& loop, const TimesOverAndPlus& scale, NumberType type) {
#if defined(__x86_64__)
    static const bool isFused =
        WidestInstructionSet() >= InstructionSet::avx2 && __builtin_cpu_supports("fma");
    const auto isUsual = [](float x) { return std::fabs(x) >= 1e-12f && std::fabs(x) <= 1e12f; };
    if (isFused && IsShort(type) && isUsual(scale.factor) && isUsual(scale.divisor))
        return RunFused(
            loop, TimesOverAndPlusFused{scale.factor, scale.divisor, scale.offset, 1.0f / scale.divisor});
#endif
    RunOver(loop, scale);
}

template <typename Loop>
void RunScaled(const Loop& loop, const ValueScale& scale, NumberType type) {
    const auto factor = static_cast<float>(scale.factor), offset = static_cast<float>(scale.offset);
    if (scale.divisor != 0.0f) return RunDivided(loop, TimesOverAndPlus{factor, scale.divisor, offset}, type);
    if (scale.offset != 0.0 && IsShort(type) && HasSteps(scale))
        return RunOver(loop, StepsTimesAndPlus{StepsOf(scale)});
    if (scale.offset != 0.0 || (scale.factor != 1.0 && !IsExactInSingle(type)))
        return RunOver(loop, TimesAndPlus{scale.factor, scale.offset});
    if (scale.factor != 1.0) return RunOver(loop, Times{factor});
    RunOver(loop, AsIs{});
}

template <bool isBig>
void ConvertIn(NumberType type, const std::byte* from, const NumberPlaces& places, int64_t count,
               const ValueScale& scale, float* to) {
    const auto run = [&]<typename Number>(Number) {
        RunScaled(Strided<Number>{from, places, count, to}, scale, type);
    };
    switch (type) {
    case NumberType::u8:
        return run(NumberIn<uint8_t, isBig>{});
    case NumberType::i14:
        return run(NumberIn<Int14, isBig>{});
    case NumberType::i16:
        return run(NumberIn<int16_t, isBig>{});
    case NumberType::i24:
        return run(NumberIn<Int24, isBig>{});
    case NumberType::i32:
        return run(NumberIn<int32_t, isBig>{});
    case NumberType::f32:
        return run(NumberIn<float, isBig>{});
    case NumberType::f64:
        return run(NumberIn<double, isBig>{});
    case NumberType::u16:
        return run(NumberIn<uint16_t, isBig>{});
    }
}

#if defined(__x86_64__)

template <NumberType type>
__attribute__((target("avx2"))) KYMORA_INLINE __m256i Widened(__m128i words) {
    if constexpr (type == NumberType::u16) return _mm256_cvtepu16_epi32(words);
    const __m256i numbers = _mm256_cvtepi16_epi32(words);
    return type == NumberType::i14 ? _mm256_srai_epi32(numbers, 2) : numbers;
}

// Squares of eight rows and eight channels, turned around by pairs, fours and eights. Answers how many rows
// they took.
template <NumberType type, bool hasOffset>
__attribute__((target("avx2"))) int64_t ConvertSquares(const std::byte* from, int64_t stride, int64_t count,
                                                       const StepScale* scales, float* const* to) {
    int64_t done = 0;
    for (; done + 8 <= count; done += 8) {
        __m128i rows[8], pairs[8];
        for (int r = 0; r < 8; ++r)
            rows[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + (done + r) * stride));
        for (int r = 0; r < 8; r += 2) {
            pairs[r] = _mm_unpacklo_epi16(rows[r], rows[r + 1]);
            pairs[r + 1] = _mm_unpackhi_epi16(rows[r], rows[r + 1]);
        }
        for (int half = 0; half < 2; ++half) {
            const __m128i early01 = _mm_unpacklo_epi32(pairs[half], pairs[half + 2]);
            const __m128i early23 = _mm_unpackhi_epi32(pairs[half], pairs[half + 2]);
            const __m128i late01 = _mm_unpacklo_epi32(pairs[half + 4], pairs[half + 6]);
            const __m128i late23 = _mm_unpackhi_epi32(pairs[half + 4], pairs[half + 6]);
            const __m128i columns[4] = {
                _mm_unpacklo_epi64(early01, late01), _mm_unpackhi_epi64(early01, late01),
                _mm_unpacklo_epi64(early23, late23), _mm_unpackhi_epi64(early23, late23)};
            for (int c = 0; c < 4; ++c) {
                const StepScale& scale = scales[4 * half + c];
                __m256i numbers = Widened<type>(columns[c]);
                if (hasOffset) numbers = _mm256_add_epi32(numbers, _mm256_set1_epi32(scale.steps));
                __m256 values = _mm256_mul_ps(_mm256_cvtepi32_ps(numbers), _mm256_set1_ps(scale.factor));
                if (hasOffset) values = _mm256_add_ps(values, _mm256_set1_ps(scale.rest));
                _mm256_storeu_ps(to[4 * half + c] + done, values);
            }
        }
    }
    return done;
}

#endif

template <NumberType type, typename Number, typename Scale>
void ConvertWords(const std::byte* from, int64_t stride, int64_t count, std::span<const StepScale> scales,
                  std::span<float* const> to, Scale scaleOf) {
#if defined(__x86_64__)
    static const bool hasWideVectors = WidestInstructionSet() >= InstructionSet::avx2;
    constexpr bool hasOffset = std::is_same_v<std::invoke_result_t<Scale, StepScale>, StepsTimesAndPlus>;
#endif
    for (size_t group = 0; group < to.size(); group += neighboursAtOnce) {
        const size_t first = std::min(group, to.size() - neighboursAtOnce);
        const std::byte* const rows = from + 2 * first;
        int64_t done = 0;
#if defined(__x86_64__)
        if (hasWideVectors)
            done = ConvertSquares<type, hasOffset>(rows, stride, count, &scales[first], &to[first]);
#endif
        for (size_t c = 0; c < neighboursAtOnce && done < count; ++c)
            for (int64_t i = done; i < count; ++i)
                to[first + c][i] = scaleOf(scales[first + c]).Of(Number::At(rows + i * stride + 2 * c));
    }
}

template <NumberType type, typename Number>
void ConvertWordsOf(const std::byte* from, int64_t stride, int64_t count, std::span<const StepScale> scales,
                    std::span<float* const> to) {
    const bool hasOffset = std::any_of(scales.begin(), scales.end(),
                                       [](auto& scale) { return scale.steps != 0 || scale.rest != 0.0f; });
    if (hasOffset)
        ConvertWords<type, Number>(from, stride, count, scales, to,
                                   [](const StepScale& scale) { return StepsTimesAndPlus{scale}; });
    else
        ConvertWords<type, Number>(from, stride, count, scales, to,
                                   [](const StepScale& scale) { return Times{scale.factor}; });
}

}  // namespace

bool HasSteps(const ValueScale& scale) {
    constexpr double most = 1 << 22;  // beside numbers of 16 bits still exact in single precision
    return scale.divisor == 0.0f && std::isfinite(scale.factor) &&
           std::fabs(scale.offset) <= most * std::fabs(scale.factor);
}

StepScale StepsOf(const ValueScale& scale) {
    const double steps = scale.offset == 0.0 ? 0.0 : std::nearbyint(scale.offset / scale.factor);
    return {static_cast<int32_t>(steps), static_cast<float>(scale.factor),
            static_cast<float>(scale.offset - steps * scale.factor)};
}

void ConvertNeighbours(NumberType type, const std::byte* from, int64_t stride, int64_t count,
                       std::span<const StepScale> scales, std::span<float* const> to) {
    if (type == NumberType::i14)
        ConvertWordsOf<NumberType::i14, NumberIn<Int14, false>>(from, stride, count, scales, to);
    else if (type == NumberType::u16)
        ConvertWordsOf<NumberType::u16, NumberIn<uint16_t, false>>(from, stride, count, scales, to);
    else
        ConvertWordsOf<NumberType::i16, NumberIn<int16_t, false>>(from, stride, count, scales, to);
}

int BytesOf(NumberType type) {
    constexpr int bytes[] = {1, 2, 2, 3, 4, 4, 8, 2};
    return bytes[static_cast<size_t>(type)];
}

void ConvertNumbers(NumberType type, ByteOrder order, const std::byte* from, const NumberPlaces& places,
                    int64_t count, const ValueScale& scale, float* to) {
    if (order == ByteOrder::big)
        ConvertIn<true>(type, from, places, count, scale, to);
    else
        ConvertIn<false>(type, from, places, count, scale, to);
}

void ScaleNumbers(NumberType type, const ValueScale& scale, std::span<float> numbers) {
    if (type == NumberType::i14) return RunScaled(InPlaceOfWords{numbers}, scale, type);
    const bool isUnchanged = scale.factor == 1.0 && scale.offset == 0.0 && scale.divisor == 0.0f;
    if (!isUnchanged) RunScaled(InPlace{numbers}, scale, type);
}

}  // namespace kymora

#undef KYMORA_INLINE
