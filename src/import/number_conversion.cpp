#include "import/number_conversion.h"

#include <bit>
#include <cstring>

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

// --- many ---

template <typename Number>
struct Strided {
    const std::byte* from;
    int64_t stride, count;
    float* to;
    template <typename Scale>
    KYMORA_INLINE void Run(Scale scale) const {
        if (stride == Number::bytes)
            for (int64_t i = 0; i < count; ++i) to[i] = scale.Of(Number::At(from + i * Number::bytes));
        else
            for (int64_t i = 0; i < count; ++i) to[i] = scale.Of(Number::At(from + i * stride));
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

template <typename Loop, typename Scale>
void RunOver(const Loop& loop, Scale scale) {
#if defined(__x86_64__)
    static const bool hasWideVectors = WidestInstructionSet() >= InstructionSet::avx2;
    if (hasWideVectors) return RunWide(loop, scale);
#endif
    RunCommon(loop, scale);
}

template <typename Loop>
void RunScaled(const Loop& loop, const ValueScale& scale, bool isExactInSingle) {
    const auto factor = static_cast<float>(scale.factor), offset = static_cast<float>(scale.offset);
    if (scale.divisor != 0.0f) return RunOver(loop, TimesOverAndPlus{factor, scale.divisor, offset});
    if (scale.offset != 0.0 || (scale.factor != 1.0 && !isExactInSingle))
        return RunOver(loop, TimesAndPlus{scale.factor, scale.offset});
    if (scale.factor != 1.0) return RunOver(loop, Times{factor});
    RunOver(loop, AsIs{});
}

bool IsExactInSingle(NumberType type) {
    return type <= NumberType::i24 || type == NumberType::f32 || type == NumberType::u16;
}

template <bool isBig>
void ConvertIn(NumberType type, const std::byte* from, int64_t stride, int64_t count, const ValueScale& scale,
               float* to) {
    const bool isExact = IsExactInSingle(type);
    switch (type) {
    case NumberType::u8:
        return RunScaled(Strided<NumberIn<uint8_t, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::i14:
        return RunScaled(Strided<NumberIn<Int14, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::i16:
        return RunScaled(Strided<NumberIn<int16_t, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::i24:
        return RunScaled(Strided<NumberIn<Int24, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::i32:
        return RunScaled(Strided<NumberIn<int32_t, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::f32:
        return RunScaled(Strided<NumberIn<float, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::f64:
        return RunScaled(Strided<NumberIn<double, isBig>>{from, stride, count, to}, scale, isExact);
    case NumberType::u16:
        return RunScaled(Strided<NumberIn<uint16_t, isBig>>{from, stride, count, to}, scale, isExact);
    }
}

#if defined(__x86_64__)

// Squares of eight rows and eight channels, turned around by pairs, fours and eights. Answers how many rows
// they took.
__attribute__((target("avx2"))) int64_t ConvertSquares(const std::byte* from, int64_t stride, int64_t count,
                                                       const float* factors, float* const* to) {
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
                const __m256 numbers = _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(columns[c]));
                const int channel = 4 * half + c;
                _mm256_storeu_ps(to[channel] + done,
                                 _mm256_mul_ps(numbers, _mm256_set1_ps(factors[channel])));
            }
        }
    }
    return done;
}

#endif

}  // namespace

void ConvertNeighbours(const std::byte* from, int64_t stride, int64_t count,
                       std::span<const float, neighboursAtOnce> factors,
                       std::span<float* const, neighboursAtOnce> to) {
    int64_t done = 0;
#if defined(__x86_64__)
    static const bool hasWideVectors = WidestInstructionSet() >= InstructionSet::avx2;
    if (hasWideVectors) done = ConvertSquares(from, stride, count, factors.data(), to.data());
#endif
    for (size_t c = 0; c < neighboursAtOnce; ++c)
        for (int64_t i = done; i < count; ++i)
            to[c][i] = Times{factors[c]}.Of(
                NumberIn<int16_t, false>::At(from + i * stride + 2 * static_cast<int64_t>(c)));
}

int BytesOf(NumberType type) {
    constexpr int bytes[] = {1, 2, 2, 3, 4, 4, 8, 2};
    return bytes[static_cast<size_t>(type)];
}

void ConvertNumbers(NumberType type, ByteOrder order, const std::byte* from, int64_t stride, int64_t count,
                    const ValueScale& scale, float* to) {
    if (order == ByteOrder::big)
        ConvertIn<true>(type, from, stride, count, scale, to);
    else
        ConvertIn<false>(type, from, stride, count, scale, to);
}

void ScaleNumbers(NumberType type, const ValueScale& scale, std::span<float> numbers) {
    if (type == NumberType::i14) return RunScaled(InPlaceOfWords{numbers}, scale, true);
    const bool isUnchanged = scale.factor == 1.0 && scale.offset == 0.0 && scale.divisor == 0.0f;
    if (!isUnchanged) RunScaled(InPlace{numbers}, scale, IsExactInSingle(type));
}

}  // namespace kymora

#undef KYMORA_INLINE
