#include "document/binary_samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

#include "numerics/number_at.h"

namespace kymora {

static_assert(std::endian::native == std::endian::little, "the files are little-endian");

namespace {

constexpr int64_t bytesInNearCache = 1 << 14;  // of rows, whose traces are taken one after the other
constexpr int64_t squareSide = 4;              // rows, and columns of them, that are turned around at once
// A load of the last column reaches behind its row.
constexpr int64_t bytesBehind = squareSide * sizeof(double);

template <typename T, int64_t squares>
struct Wide {
    typedef T Vector __attribute__((vector_size(squares * squareSide * sizeof(T))));
};
using FourFloats = Wide<float, 1>::Vector;
using FourInts = Wide<int32_t, 1>::Vector;

// Traces that stand in one column of a square: words are taken as pairs of neighbours until they are
// converted. Bytes are taken trace by trace.
template <typename T>
constexpr bool isByte = sizeof(T) == 1;
template <typename T>
constexpr int64_t tracesInColumn = sizeof(T) == sizeof(int16_t) ? 2 : 1;
template <typename T>
constexpr int64_t tracesInSquare = isByte<T> ? 1 : tracesInColumn<T>* squareSide;
constexpr int bitsOfCode = 32, halfOfPair = 16;
constexpr size_t mostInSquare = tracesInSquare<int16_t>;

// Rows that were read, `stride` bytes each; their first is sample `done` of what was asked for.
struct Rows {
    const std::byte* bytes;
    int64_t stride, done, count;
};

// Where each trace goes; null for those that nobody wants.
using Places = std::array<float*, maxBinaryTraces>;

Places PlacesOf(std::span<const BinaryPiece> pieces) {
    Places places{};
    for (const BinaryPiece& piece : pieces) places[static_cast<size_t>(piece.trace)] = piece.to;
    return places;
}

using GroupPlaces = std::array<float*, mostInSquare>;

// Neighbouring traces that are taken together.
struct Group {
    int64_t firstTrace = 0;
    GroupPlaces to{};  // null for those that nobody wants
    int64_t wanted = 0;
    int64_t used = 0;  // up to the last that is wanted
};

std::vector<Group> GroupsOf(const Places& places, int64_t size) {
    std::vector<Group> groups;
    for (int64_t first = 0; first < maxBinaryTraces; first += size) {
        Group group{first};
        for (int64_t i = 0; i < size; ++i) {
            float* place = places[static_cast<size_t>(first + i)];
            group.to[static_cast<size_t>(i)] = place;
            if (place == nullptr) continue;
            ++group.wanted;
            group.used = i + 1;
        }
        if (group.wanted != 0) groups.push_back(group);
    }
    return groups;
}

namespace common_lanes {
constexpr int64_t squaresAtOnce = 1;
#define KYMORA_TARGET
#include "document/binary_lanes.inc"
#undef KYMORA_TARGET
}  // namespace common_lanes

#if defined(__x86_64__)
namespace avx2_lanes {
constexpr int64_t squaresAtOnce = 2;
#define KYMORA_TARGET __attribute__((target("avx2")))
#include "document/binary_lanes.inc"
#undef KYMORA_TARGET
}  // namespace avx2_lanes
#endif

decltype(&common_lanes::Take) TakeFor(InstructionSet widest) {
#if defined(__x86_64__)
    if (widest >= InstructionSet::avx2) return avx2_lanes::Take;
#else
    (void)widest;
#endif
    return common_lanes::Take;
}

}  // namespace

BinarySampleReader::BinarySampleReader(const DataFile& file, BinaryLayout layout, InstructionSet widest)
    : file_(file), layout_(layout), widest_(widest), rows_(static_cast<size_t>(bytesAtOnce + bytesBehind)) {}

const std::byte* BinarySampleReader::Load(uint64_t offset, int64_t count) {
    ReadWhole(file_, offset, std::span(rows_).first(static_cast<size_t>(count * layout_.Stride())));
    return rows_.data();
}

void BinarySampleReader::Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces,
                              const CodeScale* scale) {
    ReadAt(PlaceOf(from), count, pieces, scale);
}

void BinarySampleReader::ReadAt(uint64_t offset, int64_t count, std::span<const BinaryPiece> pieces,
                                const CodeScale* scale) {
    const Places places = PlacesOf(pieces);
    if (pieces.empty()) return;
    const auto take = TakeFor(widest_);
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min(RowsOf(bytesAtOnce), count - done);
        take(layout_.type,
             {Load(offset + static_cast<uint64_t>(done * layout_.Stride()), n), layout_.Stride(), done, n},
             places, scale);
        done += n;
    }
    // A trace may be asked for twice.
    for (const BinaryPiece& piece : pieces)
        if (const float* filled = places[static_cast<size_t>(piece.trace)]; filled != piece.to)
            std::copy_n(filled, count, piece.to);
}

}  // namespace kymora
