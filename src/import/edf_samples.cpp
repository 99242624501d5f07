#include "import/edf_samples.h"

#include <algorithm>
#include <bit>

#include "numerics/instruction_set.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kymora {

static_assert(std::endian::native == std::endian::little, "stored numbers are taken as they stand in memory");

namespace {

constexpr int64_t scratchBytes =
    1 << 18;  // of whole records read at a time; they stay in a processor's cache
constexpr int64_t mostRecordBytes = 1 << 20;  // that are read whole
constexpr int64_t bytesPerCall = 4096;  // a call of the system costs about as much as reading so many bytes

#if defined(__x86_64__)

// The same operations on wider vectors.
template <typename Number>
__attribute__((target("avx2"))) void ConvertWide(const Number* from, int64_t count, const EdfScale& scale,
                                                 float* to) {
    const EdfScale s = scale;
    for (int64_t i = 0; i < count; ++i)
        to[i] = static_cast<float>((from[i] - s.digitalMinimum) * s.scale + s.physicalMinimum);
}

// As many as lie within `count` with all that is read, and how many these are.
__attribute__((target("avx2"))) size_t WidenEight(const std::byte* from, size_t count, int32_t* to) {
    // Each number goes to the upper three bytes of its place.
    const __m256i places = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 0, 1, 2,
                                            -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    size_t done = 0;
    for (; done + 16 <= count; done += 8) {
        const auto load = [&](size_t at) __attribute__((target("avx2"))) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 3 * at));
        };
        const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(load(done)), load(done + 4), 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + done),
                            _mm256_srai_epi32(_mm256_shuffle_epi8(bytes, places), 8));
    }
    return done;
}

bool HasWideVectors() {
    static const bool has = WidestInstructionSet() >= InstructionSet::avx2;
    return has;
}

#endif

// From three bytes to four. They may lie at the end of the room for the numbers: what is written lies before
// what is still to be read.
void WidenNumbers(const std::byte* from, std::span<int32_t> to) {
    size_t done = 0;
#if defined(__x86_64__)
    if (HasWideVectors()) done = WidenEight(from, to.size(), to.data());
#endif
    for (; done < to.size(); ++done) {
        const auto byte = [&](size_t i) { return static_cast<uint32_t>(from[3 * done + i]); };
        to[done] = static_cast<int32_t>(byte(2) << 24 | byte(1) << 16 | byte(0) << 8) >> 8;
    }
}

}  // namespace

template <typename Number>
void ConvertEdfSamples(const Number* from, int64_t count, const EdfScale& scale, float* to) {
#if defined(__x86_64__)
    if (HasWideVectors()) return ConvertWide(from, count, scale, to);
#endif
    const EdfScale s = scale;
    for (int64_t i = 0; i < count; ++i) to[i] = s.Apply(from[i]);
}

template <typename Number>
void InterpolateEdfSamples(const Number* source, int64_t count, int32_t factor, int32_t phase,
                           const EdfScale& scale, float* to) {
    const EdfScale s = scale;
    const auto steps = static_cast<float>(factor);
    for (int64_t done = 0; done < count; ++source, phase = 0) {
        const auto a = static_cast<float>(source[0]);
        const float difference = static_cast<float>(source[1]) - a;
        const int64_t here = std::min<int64_t>(factor - phase, count - done);
        for (int64_t i = 0; i < here; ++i) {
            const float number = difference * static_cast<float>(phase + i) / steps + a;
            to[done + i] = s.Apply(number);
        }
        done += here;
    }
}

template <typename Number>
void EdfNumbersReader<Number>::Read(int64_t from, int64_t count, int64_t endRecord,
                                    std::span<const EdfPiece> pieces) {
    if (count <= 0) return;
    const Range range{from, count};
    if (!SlicesAreCheaper(range, pieces)) return ReadRecords(range, endRecord, pieces);
    for (const EdfPiece& piece : pieces) ReadSlices(range, endRecord, piece);
}

template <typename Number>
bool EdfNumbersReader<Number>::SlicesAreCheaper(Range range, std::span<const EdfPiece> pieces) const {
    if (header_.bytesPerRecord > mostRecordBytes) return true;
    const int64_t records =
        (range.from + range.count - 1) / samplesPerRecord_ - range.from / samplesPerRecord_ + 1;
    int64_t slices = 0;
    for (const EdfPiece& piece : pieces)
        slices += numberBytes * (range.count / piece.signal->expansionFactor) + bytesPerCall * records;
    const int64_t recordsAtOnce = std::max<int64_t>(scratchBytes / header_.bytesPerRecord, 1);
    return slices < records * header_.bytesPerRecord + bytesPerCall * (records / recordsAtOnce + 1);
}

template <typename Number>
void EdfNumbersReader<Number>::ReadNumbers(int64_t offset, std::span<Number> to) {
    const auto bytes = std::as_writable_bytes(to);
    const auto stored = bytes.last(to.size() * numberBytes);
    ReadWhole(file_, static_cast<uint64_t>(offset), stored);
    if constexpr (sizeof(Number) > 2) WidenNumbers(stored.data(), to);
}

// --- whole records ---

template <typename Number>
void EdfNumbersReader<Number>::ReadRecords(Range range, int64_t endRecord, std::span<const EdfPiece> pieces) {
    const int64_t recordsAtOnce = std::max<int64_t>(scratchBytes / header_.bytesPerRecord, 1);
    const bool interpolates = std::any_of(pieces.begin(), pieces.end(),
                                          [](const EdfPiece& p) { return p.signal->expansionFactor > 1; });
    const int64_t end = range.from + range.count;
    for (int64_t at = range.from; at < end;) {
        const int64_t first = at / samplesPerRecord_;
        const int64_t last = std::min(first + recordsAtOnce, (end - 1) / samplesPerRecord_ + 1);
        // One record more holds the right-hand partners of the last samples.
        const int64_t needed = interpolates ? std::min(last + 1, endRecord) : last;
        LoadRecords(first, needed - first);
        const int64_t partEnd = std::min(end, last * samplesPerRecord_);
        for (const EdfPiece& piece : pieces)
            TakeFromRecords({at, partEnd - at}, endRecord, piece, at - range.from);
        at = partEnd;
    }
}

template <typename Number>
void EdfNumbersReader<Number>::LoadRecords(int64_t first, int64_t count) {
    const auto numbers = static_cast<size_t>(count * header_.bytesPerRecord / numberBytes);
    if (records_.size() < numbers) records_.resize(numbers);
    recordsHeld_ = 0;
    ReadNumbers(header_.headerLength + first * header_.bytesPerRecord, std::span(records_).first(numbers));
    firstRecord_ = first;
    recordsHeld_ = count;
}

// Calls fetch(record, first sample in its slice, number, place in the sequence) for each record that holds a
// part of the source samples; fetch answers how many it got, and the walk ends where that is fewer. Answers
// the sum.
template <typename Number>
template <typename Fetch>
int64_t EdfNumbersReader<Number>::Gather(const EdfSignal& signal, int64_t source, int64_t count,
                                         Fetch fetch) {
    int64_t done = 0;
    while (done < count) {
        const int64_t record = (source + done) / signal.samplesPerRecord;
        const int64_t inSlice = (source + done) % signal.samplesPerRecord;
        const int64_t wanted = std::min(signal.samplesPerRecord - inSlice, count - done);
        const int64_t got = fetch(record, inSlice, wanted, done);
        done += got;
        if (got < wanted) break;
    }
    return done;
}

template <typename Number>
void EdfNumbersReader<Number>::TakeFromRecords(Range part, int64_t endRecord, const EdfPiece& piece,
                                               int64_t offset) {
    const EdfSignal& signal = *piece.signal;
    float* to = piece.to + offset;
    const auto slice = [&](int64_t record, int64_t inSlice) {
        return records_.data() +
               ((record - firstRecord_) * header_.bytesPerRecord + signal.sliceOffset) / numberBytes +
               inSlice;
    };
    if (signal.expansionFactor == 1) {
        Gather(signal, part.from, part.count, [&](int64_t record, int64_t inSlice, int64_t n, int64_t at) {
            ConvertEdfSamples(slice(record, inSlice), n, signal.scale, to + at);
            return n;
        });
        return;
    }
    const Range source = SourceOf(part, endRecord, signal);
    source_.resize(static_cast<size_t>(source.count) + 1);
    const int64_t got = Gather(signal, source.from, source.count,
                               [&](int64_t record, int64_t inSlice, int64_t n, int64_t at) {
                                   if (record >= firstRecord_ + recordsHeld_) return int64_t{0};
                                   std::copy_n(slice(record, inSlice), n, source_.data() + at);
                                   return n;
                               });
    Interpolate(part, endRecord, signal, got, to);
}

// --- slices ---

template <typename Number>
void EdfNumbersReader<Number>::ReadSlices(Range range, int64_t endRecord, const EdfPiece& piece) {
    const EdfSignal& signal = *piece.signal;
    const int64_t factor = signal.expansionFactor;
    const int64_t most = scratchBytes / numberBytes;  // samples at a time
    const int64_t end = range.from + range.count;
    for (int64_t at = range.from; at < end;) {
        const Range part{at, std::min(end - at, most * factor)};
        const Range source = SourceOf(part, endRecord, signal);
        source_.resize(static_cast<size_t>(source.count) + 1);
        const int64_t got = Gather(
            signal, source.from, source.count, [&](int64_t record, int64_t inSlice, int64_t n, int64_t to) {
                const int64_t offset = header_.headerLength + record * header_.bytesPerRecord +
                                       signal.sliceOffset + numberBytes * inSlice;
                ReadNumbers(offset,
                            std::span(source_).subspan(static_cast<size_t>(to), static_cast<size_t>(n)));
                return n;
            });
        Interpolate(part, endRecord, signal, got, piece.to + (at - range.from));
        at += part.count;
    }
}

// --- both ---

// The source samples that a part of the document needs, with the right-hand partner where there is one.
template <typename Number>
typename EdfNumbersReader<Number>::Range EdfNumbersReader<Number>::SourceOf(Range part, int64_t endRecord,
                                                                            const EdfSignal& signal) const {
    const int64_t factor = signal.expansionFactor;
    const int64_t first = part.from / factor;
    const int64_t partner = (part.from + part.count - 1) / factor + (factor > 1 ? 1 : 0);
    const int64_t last = std::min(partner, endRecord * signal.samplesPerRecord - 1);
    return {first, last - first + 1};
}

// Converts what stands in source_, of which `available` samples could be read.
template <typename Number>
void EdfNumbersReader<Number>::Interpolate(Range part, int64_t endRecord, const EdfSignal& signal,
                                           int64_t available, float* to) {
    const int64_t factor = signal.expansionFactor;
    const Range source = SourceOf(part, endRecord, signal);
    const int64_t reach = available <= 0 ? 0 : (source.from + available) * factor - part.from;
    if (reach < part.count) std::fill(to + std::max<int64_t>(reach, 0), to + part.count, 0.0f);
    if (reach <= 0) return;
    if (factor == 1)
        return ConvertEdfSamples(source_.data(), std::min(part.count, available), signal.scale, to);
    // The end of a run, and of a file that lost its end, has no partner: the last sample stands for it.
    source_[static_cast<size_t>(available)] = source_[static_cast<size_t>(available - 1)];
    InterpolateEdfSamples(source_.data(), std::min(part.count, reach), static_cast<int32_t>(factor),
                          static_cast<int32_t>(part.from % factor), signal.scale, to);
}

template class EdfNumbersReader<int16_t>;
template class EdfNumbersReader<int32_t>;

std::unique_ptr<EdfSampleReader> MakeEdfSampleReader(const DataFile& file, const EdfHeader& header,
                                                     int64_t samplesPerRecord) {
    if (header.is24Bit) return std::make_unique<EdfNumbersReader<int32_t>>(file, header, samplesPerRecord);
    return std::make_unique<EdfNumbersReader<int16_t>>(file, header, samplesPerRecord);
}

}  // namespace kymora
