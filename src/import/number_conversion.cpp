#include "import/number_conversion.h"

#include <bit>
#include <cstring>

#include "numerics/instruction_set.h"

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

}  // namespace

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
