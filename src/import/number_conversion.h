#pragma once
// Stored numbers to values. The loops are compiled for wider vectors, too; see numerics/instruction_set.h.

#include <cstddef>
#include <cstdint>
#include <span>

#include "import/file_fields.h"

namespace kymora {

// `i14` is the upper 14 bits of 16, whose lower two are marks.
enum class NumberType { u8, i14, i16, i24, i32, f32, f64, u16 };
int BytesOf(NumberType type);

// How a stored number becomes a value: number x factor + offset, in double precision where single precision
// would cost digits.
struct ValueScale {
    double factor = 1.0;
    double offset = 0.0;
    // Single precision throughout: number x factor / divisor + offset. Not used where it is 0.
    float divisor = 0.0f;
};

// The same of whole numbers of 16 bits or fewer: (number + steps) x factor + rest. The rest is less than a
// step, so that single precision loses nothing where number and offset nearly cancel.
struct StepScale {
    int32_t steps = 0;
    float factor = 1.0f;
    float rest = 0.0f;
};
// Whether a scale is one, which it is not where the offset is millions of steps or there is a divisor.
bool HasSteps(const ValueScale& scale);
StepScale StepsOf(const ValueScale& scale);

inline constexpr size_t bytesBehindNumbers = 1;  // that ConvertNumbers may read

// Where numbers lie: `stride` bytes apart, `perBlock` of them in each block where they come in blocks, whose
// beginnings lie `blockBytes` apart.
struct NumberPlaces {
    int64_t stride = 0;
    int64_t perBlock = INT64_MAX;
    int64_t blockBytes = 0;
};

// Converts `count` numbers, of which the first begins a block.
void ConvertNumbers(NumberType type, ByteOrder order, const std::byte* from, const NumberPlaces& places,
                    int64_t count, const ValueScale& scale, float* to);
// The same for numbers that have become single precision: of `i14` as whole words.
void ScaleNumbers(NumberType type, const ValueScale& scale, std::span<float> numbers);

inline constexpr size_t neighboursAtOnce = 8;  // channels

// Types that ConvertNeighbours takes.
constexpr bool AreWords(NumberType type) {
    return type == NumberType::i14 || type == NumberType::i16 || type == NumberType::u16;
}

// The same for little-endian words of so many channels or more that lie side by side in rows `stride` bytes
// apart, each with its scale.
void ConvertNeighbours(NumberType type, const std::byte* from, int64_t stride, int64_t count,
                       std::span<const StepScale> scales, std::span<float* const> to);

}  // namespace kymora
