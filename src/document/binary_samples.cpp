#include "document/binary_samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "numerics/number_at.h"

namespace kymora {

static_assert(std::endian::native == std::endian::little, "the files are little-endian");

namespace {

constexpr int64_t bytesInNearCache = 1 << 14;  // of rows, whose traces are taken one after the other
constexpr int64_t squareSide = 4;              // rows, and columns of them, that are turned around at once
// A load of the last column reaches behind its row.
constexpr int64_t bytesBehind = squareSide * sizeof(double);

using FourFloats = float __attribute__((vector_size(16)));
using FourInts = int32_t __attribute__((vector_size(16)));
template <typename T>
struct Four {
    typedef T Vector __attribute__((vector_size(squareSide * sizeof(T))));
};
template <>
struct Four<int16_t> : Four<int32_t> {};  // pairs of neighbours, until they are converted

// Traces that stand in one column of a square.
template <typename T>
constexpr int64_t tracesInColumn = sizeof(T) == sizeof(int16_t) ? 2 : 1;
template <typename T>
constexpr int64_t tracesInSquare = tracesInColumn<T>* squareSide;
constexpr int halfOfPair = 16;  // bits
constexpr size_t mostInSquare = tracesInSquare<int16_t>;

void StoreFour(float* to, FourFloats values) { std::memcpy(to, &values, sizeof values); }

// The columns of one row of a square; wide numbers become narrower as soon as they are loaded.
template <typename T>
auto LoadRow(const std::byte* bytes) {
    typename Four<T>::Vector numbers;
    std::memcpy(&numbers, bytes, sizeof numbers);
    if constexpr (std::is_same_v<T, int16_t>)
        return numbers;
    else
        return __builtin_convertvector(numbers, FourFloats);
}

void StoreColumn(FourFloats column, float* const* to, int64_t at) { StoreFour(to[0] + at, column); }

// A pair's first number is the lower half.
void StoreColumn(FourInts column, float* const* to, int64_t at) {
    StoreFour(to[0] + at, __builtin_convertvector((column << halfOfPair) >> halfOfPair, FourFloats));
    StoreFour(to[1] + at, __builtin_convertvector(column >> halfOfPair, FourFloats));
}

// Writes the numbers of one trace, `stride` bytes apart.
template <typename T>
void TakeOne(const std::byte* from, int64_t stride, int64_t count, float* to) {
    for (int64_t i = 0; i < count; ++i) to[i] = static_cast<float>(NumberAt<T>(from + i * stride));
}

// A file of one trace.
template <typename T>
void TakeContiguous(const std::byte* from, int64_t count, float* to) {
    if constexpr (std::is_same_v<T, float>)
        std::memcpy(to, from, static_cast<size_t>(count) * sizeof(float));
    else
        TakeOne<T>(from, sizeof(T), count, to);
}

// A file of two traces of pairs.
int64_t TakePairs(const std::byte* from, int64_t count, float* const* to) {
    int64_t i = 0;
    for (; i + squareSide <= count; i += squareSide)
        StoreColumn(NumberAt<FourInts>(from + i * int64_t{sizeof(int32_t)}), to, i);
    return i;
}

// Writes the traces of the first `columns` columns: squares are turned around.
template <typename T, int columns>
void TakeSquares(const std::byte* from, int64_t stride, int64_t count,
                 const std::array<float*, mostInSquare>& places) {
    constexpr auto each = static_cast<size_t>(tracesInColumn<T>);
    const std::array<float*, mostInSquare> to = places;  // nothing that is written can change it
    int64_t i = 0;
    if (each == 2 && stride == sizeof(int32_t)) {
        i = TakePairs(from, count, to.data());
        from += i * stride;
    }
    for (; i + squareSide <= count; i += squareSide, from += squareSide * stride) {
        const auto r0 = LoadRow<T>(from), r1 = LoadRow<T>(from + stride), r2 = LoadRow<T>(from + 2 * stride),
                   r3 = LoadRow<T>(from + 3 * stride);
        const auto left01 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5),
                   left23 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5),
                   right01 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7),
                   right23 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
        StoreColumn(__builtin_shufflevector(left01, left23, 0, 1, 4, 5), &to[0], i);
        if constexpr (columns > 1)
            StoreColumn(__builtin_shufflevector(left01, left23, 2, 3, 6, 7), &to[each], i);
        if constexpr (columns > 2)
            StoreColumn(__builtin_shufflevector(right01, right23, 0, 1, 4, 5), &to[2 * each], i);
        if constexpr (columns > 3)
            StoreColumn(__builtin_shufflevector(right01, right23, 2, 3, 6, 7), &to[3 * each], i);
    }
    for (; i < count; ++i, from += stride)
        for (size_t trace = 0; trace < columns * each; ++trace)
            to[trace][i] = static_cast<float>(NumberAt<T>(from + trace * sizeof(T)));
}

// Where each trace goes; null for those that nobody wants.
using Places = std::array<float*, maxBinaryTraces>;

Places PlacesOf(std::span<const BinaryPiece> pieces) {
    Places places{};
    for (const BinaryPiece& piece : pieces) places[static_cast<size_t>(piece.trace)] = piece.to;
    return places;
}

// Neighbouring traces that are taken together.
struct Group {
    int64_t firstTrace = 0;
    std::array<float*, mostInSquare> to{};  // null for those that nobody wants
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

template <typename T>
void TakeTogether(const std::byte* from, int64_t stride, int64_t count, const Group& group,
                  const std::array<float*, mostInSquare>& to) {
    switch ((group.used + tracesInColumn<T> - 1) / tracesInColumn<T>) {
    case 1:
        return TakeSquares<T, 1>(from, stride, count, to);
    case 2:
        return TakeSquares<T, 2>(from, stride, count, to);
    case 3:
        return TakeSquares<T, 3>(from, stride, count, to);
    default:
        return TakeSquares<T, 4>(from, stride, count, to);
    }
}

// Of up to as many rows as the near cache takes, the samples from `done` on.
template <typename T>
void TakeGroup(const std::byte* rows, int64_t stride, int64_t done, int64_t count, const Group& group) {
    const std::byte* from = rows + group.firstTrace * int64_t{sizeof(T)};
    if (group.wanted == 1) {
        const auto last = static_cast<size_t>(group.used - 1);
        return TakeOne<T>(from + last * sizeof(T), stride, count, group.to[last] + done);
    }
    float unwanted[bytesInNearCache / (2 * sizeof(int16_t))];
    std::array<float*, mostInSquare> to{};
    for (size_t i = 0; i < to.size(); ++i) to[i] = group.to[i] != nullptr ? group.to[i] + done : unwanted;
    TakeTogether<T>(from, stride, count, group, to);
}

template <typename T>
void TakePieces(const std::byte* rows, int64_t stride, int64_t done, int64_t count, const Places& places,
                const BinarySampleReader::Scale& scale) {
    const bool isOneTrace = stride == sizeof(T);
    const std::vector<Group> groups = isOneTrace ? std::vector<Group>() : GroupsOf(places, tracesInSquare<T>);
    const int64_t part = std::max<int64_t>(bytesInNearCache / stride, squareSide);
    for (int64_t at = 0; at < count; at += part) {
        const std::byte* const from = rows + at * stride;
        const int64_t n = std::min(part, count - at);
        if (isOneTrace) TakeContiguous<T>(from, n, places[0] + done + at);
        for (const Group& group : groups) TakeGroup<T>(from, stride, done + at, n, group);
        if (!scale) continue;
        for (float* const place : places)
            if (place != nullptr) scale({place + done + at, static_cast<size_t>(n)});
    }
}

}  // namespace

BinarySampleReader::BinarySampleReader(const DataFile& file, BinaryLayout layout)
    : file_(file), layout_(layout), rows_(static_cast<size_t>(bytesAtOnce + bytesBehind)) {}

const std::byte* BinarySampleReader::Load(int64_t from, int64_t count) {
    ReadWhole(file_, layout_.start + static_cast<uint64_t>(from * layout_.Stride()),
              std::span(rows_).first(static_cast<size_t>(count * layout_.Stride())));
    return rows_.data();
}

void BinarySampleReader::Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces,
                              const Scale& scale) {
    const Places places = PlacesOf(pieces);
    if (pieces.empty()) return;
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min(RowsOf(bytesAtOnce), count - done);
        const std::byte* rows = Load(from + done, n);
        switch (layout_.type) {
        case BinaryType::int16:
            TakePieces<int16_t>(rows, layout_.Stride(), done, n, places, scale);
            break;
        case BinaryType::int32:
            TakePieces<int32_t>(rows, layout_.Stride(), done, n, places, scale);
            break;
        case BinaryType::float32:
            TakePieces<float>(rows, layout_.Stride(), done, n, places, scale);
            break;
        case BinaryType::float64:
            TakePieces<double>(rows, layout_.Stride(), done, n, places, scale);
            break;
        }
        done += n;
    }
    // A trace may be asked for twice.
    for (const BinaryPiece& piece : pieces)
        if (const float* filled = places[static_cast<size_t>(piece.trace)]; filled != piece.to)
            std::copy_n(filled, count, piece.to);
}

}  // namespace kymora
