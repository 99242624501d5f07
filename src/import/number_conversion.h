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

// How a stored number becomes a value: number x factor + offset. In double precision where there is an
// offset, which would cost single precision digits.
struct ValueScale {
    double factor = 1.0;
    double offset = 0.0;
    // Single precision throughout: number x factor / divisor + offset. Not used where it is 0.
    float divisor = 0.0f;
};

inline constexpr size_t bytesBehindNumbers = 1;  // that ConvertNumbers may read

// Converts `count` numbers that lie `stride` bytes apart.
void ConvertNumbers(NumberType type, ByteOrder order, const std::byte* from, int64_t stride, int64_t count,
                    const ValueScale& scale, float* to);
// The same for numbers that have become single precision: of `i14` as whole words.
void ScaleNumbers(NumberType type, const ValueScale& scale, std::span<float> numbers);

inline constexpr size_t neighboursAtOnce = 8;

// The same for so many little-endian i16 channels that lie side by side in rows `stride` bytes apart, each
// with its factor.
void ConvertNeighbours(const std::byte* from, int64_t stride, int64_t count,
                       std::span<const float, neighboursAtOnce> factors,
                       std::span<float* const, neighboursAtOnce> to);

}  // namespace kymora
