// The lowest and highest of stretches of interleaved integers.

#include <algorithm>
#include <cstring>

#include "document/binary_samples.h"
#include "numerics/number_at.h"

namespace kymora {

namespace {

constexpr int64_t closeTogether = 12000;  // bytes; a call costs about as much as reading so many

// Calls part(slot, first, count) for each slot that holds some of `count` samples.
template <typename Part>
void ForSlots(int64_t count, FoldSlots slots, Part part) {
    for (int64_t at = 0; at < count;) {
        const int64_t slot = (slots.into + at) / slots.length;
        const int64_t n = std::min(count - at, (slot + 1) * slots.length - slots.into - at);
        part(slot, at, n);
        at += n;
    }
}

template <typename T>
void Widen(T number, T& low, T& high) {
    low = std::min(low, number);
    high = std::max(high, number);
}

// The extremes of each trace. So many rows side by side are compared with the rows below them that the loop
// is wide whatever the number of traces.
template <typename T>
void ExtremesOfRows(const std::byte* rows, int64_t count, int traces, T* low, T* high) {
    constexpr int64_t sideBySide = 16;
    T lows[sideBySide * maxBinaryTraces], highs[sideBySide * maxBinaryTraces];
    const int64_t width = sideBySide * traces;
    const int64_t wide = count / sideBySide;
    const auto at = [rows](int64_t index) { return NumberAt<T>(rows + index * int64_t{sizeof(T)}); };
    for (int t = 0; t < traces; ++t) low[t] = high[t] = at(t);
    if (wide > 1) {
        std::memcpy(lows, rows, static_cast<size_t>(width) * sizeof(T));
        std::memcpy(highs, rows, static_cast<size_t>(width) * sizeof(T));
        for (int64_t row = 1; row < wide; ++row)
            for (int64_t i = 0; i < width; ++i) {
                const T number = at(row * width + i);
                lows[i] = number < lows[i] ? number : lows[i];
                highs[i] = number > highs[i] ? number : highs[i];
            }
        for (int64_t i = 0; i < width; ++i) {
            low[i % traces] = std::min(low[i % traces], lows[i]);
            high[i % traces] = std::max(high[i % traces], highs[i]);
        }
    }
    for (int64_t row = wide > 1 ? wide * sideBySide : 1; row < count; ++row)
        for (int t = 0; t < traces; ++t) Widen(at(row * traces + t), low[t], high[t]);
}

float DividedBy(double gain, float value) { return gain == 1.0 ? value : static_cast<float>(value / gain); }

template <typename T>
void FoldSlot(const std::byte* rows, int64_t count, int traces, size_t slot,
              std::span<const BinaryFold> folds) {
    T low[maxBinaryTraces], high[maxBinaryTraces];
    ExtremesOfRows<T>(rows, count, traces, low, high);
    for (const BinaryFold& fold : folds)
        // A negative gain turns the two around.
        for (const T number : {low[fold.trace], high[fold.trace]})
            Widen(DividedBy(fold.gain, static_cast<float>(number)), fold.low[slot], fold.high[slot]);
}

}  // namespace

void BinarySampleReader::FoldRows(const std::byte* rows, int64_t count, FoldSlots slots,
                                  std::span<const BinaryFold> folds) {
    ForSlots(count, slots, [&](int64_t slot, int64_t at, int64_t n) {
        const std::byte* first = rows + at * layout_.Stride();
        const auto place = static_cast<size_t>(slot);
        if (layout_.type == BinaryType::int16)
            FoldSlot<int16_t>(first, n, layout_.traces, place, folds);
        else
            FoldSlot<int32_t>(first, n, layout_.traces, place, folds);
    });
}

void BinarySampleReader::Fold(int64_t from, int64_t count, FoldSlots slots,
                              std::span<const BinaryFold> folds) {
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min(RowsOf(bytesAtOnce), count - done);
        FoldRows(Load(PlaceOf(from + done), n), n, {slots.into + done, slots.length}, folds);
        done += n;
    }
}

void BinarySampleReader::FoldStretches(int trace, double gain, std::span<const FoldStretch> stretches) {
    const std::byte* rows = nullptr;
    int64_t held = 0, heldEnd = 0;  // what stands in `rows`
    for (size_t i = 0; i < stretches.size(); ++i) {
        const FoldStretch& stretch = stretches[i];
        const BinaryFold fold{trace, gain, {stretch.low, 1}, {stretch.high, 1}};
        const int64_t end = stretch.from + stretch.count;
        for (int64_t at = stretch.from; at < end;) {
            if (at < held || at >= heldEnd) {
                const int64_t most = at + RowsOf(bytesAtOnce);
                int64_t reach = end;
                for (size_t next = i + 1; next < stretches.size() && reach < most &&
                                          stretches[next].from < reach + RowsOf(closeTogether);
                     ++next)
                    reach = std::max(reach, stretches[next].from + stretches[next].count);
                held = at;
                heldEnd = std::min(reach, most);
                rows = Load(PlaceOf(held), heldEnd - held);
            }
            const int64_t n = std::min(end, heldEnd) - at;
            FoldRows(rows + (at - held) * layout_.Stride(), n, {0, n}, {&fold, 1});
            at += n;
        }
    }
}

}  // namespace kymora
