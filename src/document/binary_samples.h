#pragma once
// Interleaved numbers of a file: rows that hold one number of each trace, little-endian.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "document/data_doc.h"
#include "host/file_system.h"
#include "numerics/instruction_set.h"

namespace kymora {

// `byte` has no sign; raw binary files are not asked for it.
enum class BinaryType : int { int16 = 0, int32 = 1, float32 = 2, float64 = 3, byte = 4 };

struct BinaryTypeInfo {
    std::string_view text;       // as the dialog names it
    std::string_view shortName;  // as import settings may name it
    int bytes;                   // of a sample
};
// Those of raw binary files, in the order of BinaryType.
inline constexpr BinaryTypeInfo binaryTypes[] = {
    {"2-byte (short) signed integer", "int16", 2},
    {"4-byte (long) signed integer", "int32", 4},
    {"4-byte float", "float", 4},
    {"8-byte double", "double", 8},
};
constexpr int BytesOf(BinaryType type) {
    return type == BinaryType::byte ? 1 : binaryTypes[static_cast<size_t>(type)].bytes;
}

inline constexpr int maxBinaryTraces = 16;

// How the bytes of a file become samples.
struct BinaryLayout {
    int traces = 1;
    BinaryType type = BinaryType::int16;
    uint64_t start = 0;  // file offset of the first row

    int BytesPerSample() const { return BytesOf(type); }
    int64_t Stride() const { return int64_t{traces} * BytesPerSample(); }
    bool IsInteger() const { return type == BinaryType::int16 || type == BinaryType::int32; }
};

// How an integer of a file becomes a value: its low `bits` as a number with a sign, or all of it without one,
// times `factor`, plus `offset`, in single precision and in this order. Four bytes have a sign.
struct CodeScale {
    bool hasSign = true;
    int bits = 16;  // of a number with a sign: at most as many as the integer has
    float factor = 1.0f;
    float offset = 0.0f;
};

// A trace, and where its samples go; all pieces of a read have one length.
struct BinaryPiece {
    int trace = 0;
    float* to = nullptr;
};

// A trace, the divisor of its values, and where the lowest and highest of each slot go.
struct BinaryFold {
    int trace = 0;
    double gain = 1.0;
    std::span<float> low, high;
};

class BinarySampleReader {
  public:
    // The file must outlive the reader.
    BinarySampleReader(const DataFile& file, BinaryLayout layout,
                       InstructionSet widest = WidestInstructionSet());

    // Reads `count` rows from row `from` on; a scale is for integers. Throws FileError, also where the file
    // ends before.
    void Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces,
              const CodeScale* scale = nullptr);
    // The same from a row that begins at `offset` of the file.
    void ReadAt(uint64_t offset, int64_t count, std::span<const BinaryPiece> pieces,
                const CodeScale* scale = nullptr);

    // Widens slots by the extremes of what Read would give, divided by the gains. Of integers with a sign
    // only: they are compared as they stand, and the extremes converted.
    void Fold(int64_t from, int64_t count, FoldSlots slots, std::span<const BinaryFold> folds);

    // Widens by many stretches of one trace, in ascending order. Those that lie close together are read in
    // one piece.
    void FoldStretches(int trace, double gain, std::span<const FoldStretch> stretches);

  private:
    static constexpr int64_t bytesAtOnce = 1 << 18;  // read from the file; they stay in a processor's cache

    uint64_t PlaceOf(int64_t row) const {
        return layout_.start + static_cast<uint64_t>(row * layout_.Stride());
    }
    const std::byte* Load(uint64_t offset, int64_t count);
    // binary_folds.cpp
    void FoldRows(const std::byte* rows, int64_t count, FoldSlots slots, std::span<const BinaryFold> folds);
    int64_t RowsOf(int64_t bytes) const { return std::max<int64_t>(bytes / layout_.Stride(), 1); }

    const DataFile& file_;
    BinaryLayout layout_;
    InstructionSet widest_;
    std::vector<std::byte> rows_;
};

}  // namespace kymora
