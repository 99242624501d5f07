// The lowest and highest of stretches of EDF samples.

#include <algorithm>
#include <cmath>
#include <future>

#include "import/edf_samples.h"
#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr int64_t foldedAtOnce = 65536;     // samples of each signal
constexpr int64_t sliceWorthACall = 8192;   // bytes; shorter slices are read as whole records
constexpr int64_t numbersAtOnce = 1 << 16;  // of one signal: they stay in a processor's cache
constexpr int64_t closeTogether = 2000;     // samples; a call costs about as much as reading so many
constexpr int64_t recordBytesAtOnce = 1 << 18;
constexpr int64_t samplesWorthAThread = 1 << 18;
constexpr size_t stretchesWorthAThread = 512;

template <typename Number>
struct ValueRange {
    Number low, high;
};

template <typename Number>
ValueRange<Number> RangeOf(const Number* numbers, int64_t count) {
    Number low = numbers[0], high = numbers[0];
    for (int64_t i = 1; i < count; ++i) {
        low = std::min(low, numbers[i]);
        high = std::max(high, numbers[i]);
    }
    return {low, high};
}

float ValueOf(int32_t number, const EdfFold& fold) {
    const float value = fold.signal->scale.Apply(number);
    return fold.gain == 1.0 ? value : static_cast<float>(value / fold.gain);
}

void Widen(const EdfFold& fold, int64_t slot, float value) {
    float& low = fold.low[static_cast<size_t>(slot)];
    float& high = fold.high[static_cast<size_t>(slot)];
    if (value < low) low = value;
    if (value > high) high = value;
}

// Calls part(slot, first, count) for each slot that holds some of `count` samples.
template <typename Part>
void ForSlots(int64_t into, int64_t count, int64_t slotLength, Part part) {
    for (int64_t at = 0; at < count;) {
        const int64_t slot = (into + at) / slotLength;
        const int64_t n = std::min(count - at, (slot + 1) * slotLength - into - at);
        part(slot, at, n);
        at += n;
    }
}

template <typename Number>
void FoldNumbers(const Number* numbers, int64_t count, int64_t into, int64_t slotLength,
                 const EdfFold& fold) {
    ForSlots(into, count, slotLength, [&](int64_t slot, int64_t at, int64_t n) {
        const auto range = RangeOf(numbers + at, n);
        // A negative scale or gain turns the two around.
        Widen(fold, slot, ValueOf(range.low, fold));
        Widen(fold, slot, ValueOf(range.high, fold));
    });
}

}  // namespace

bool EdfFoldIsExact(const EdfScale& scale) {
    return std::isfinite(scale.Apply(-(1 << 23))) && std::isfinite(scale.Apply(1 << 23));
}

// Half of the signals are left to a second reader on a thread of its own where the work is worth it and the
// file is read signal by signal. The slots of two signals never meet.
template <typename Number>
void EdfNumbersReader<Number>::Fold(int64_t from, int64_t count, int64_t endRecord, int64_t into,
                                    int64_t slotLength, std::span<const EdfFold> folds) {
    const bool bySlices = numberBytes * std::min(count, samplesPerRecord_) >= sliceWorthACall;
    if (folds.size() < 2 || !bySlices || count * static_cast<int64_t>(folds.size()) < samplesWorthAThread)
        return FoldAlone(from, count, endRecord, into, slotLength, folds);
    const size_t half = folds.size() / 2;
    EdfNumbersReader other(file_, header_, samplesPerRecord_);
    auto rest = std::async(std::launch::async, [&] {
        other.FoldAlone(from, count, endRecord, into, slotLength, folds.subspan(half));
    });
    FoldAlone(from, count, endRecord, into, slotLength, folds.first(half));
    rest.get();
}

template <typename Number>
void EdfNumbersReader<Number>::FoldAlone(int64_t from, int64_t count, int64_t endRecord, int64_t into,
                                         int64_t slotLength, std::span<const EdfFold> folds) {
    std::vector<EdfFold> direct, slower;
    for (const EdfFold& fold : folds) (fold.signal->expansionFactor == 1 ? direct : slower).push_back(fold);
    std::vector<EdfPiece> pieces;
    for (const EdfFold& fold : direct) pieces.push_back({fold.signal, nullptr});
    // Parts end with records, so that the file is read from its start to its end.
    const int64_t step = std::max(foldedAtOnce / samplesPerRecord_, int64_t{1}) * samplesPerRecord_;
    for (int64_t done = 0; done < count;) {
        const Range part{from + done, std::min(count - done, step - (from + done) % step)};
        const int64_t slice = numberBytes * std::min(part.count, samplesPerRecord_);
        if (!direct.empty() && slice < sliceWorthACall && !SlicesAreCheaper(part, pieces))
            FoldRecords(part, into + done, slotLength, direct);
        else
            FoldSlices(part, into + done, slotLength, direct);
        if (!slower.empty()) FoldSlower(part, endRecord, into + done, slotLength, slower);
        done += part.count;
    }
}

// Many stretches are folded in two halves, one of them by a second reader on a thread of its own.
template <typename Number>
void EdfNumbersReader<Number>::FoldStretches(const EdfSignal& signal, double gain,
                                             std::span<const FoldStretch> stretches) {
    if (stretches.size() < stretchesWorthAThread) return FoldStretchesAlone(signal, gain, stretches);
    size_t half = stretches.size() / 2;
    // Both ends of a bin stay together.
    while (half < stretches.size() && stretches[half].low == stretches[half - 1].low) ++half;
    EdfNumbersReader other(file_, header_, samplesPerRecord_);
    auto rest = std::async(std::launch::async,
                           [&] { other.FoldStretchesAlone(signal, gain, stretches.subspan(half)); });
    FoldStretchesAlone(signal, gain, stretches.first(half));
    rest.get();
}

template <typename Number>
void EdfNumbersReader<Number>::FoldStretchesAlone(const EdfSignal& signal, double gain,
                                                  std::span<const FoldStretch> stretches) {
    int64_t held = 0, heldEnd = 0;  // what stands in source_
    for (size_t i = 0; i < stretches.size(); ++i) {
        const FoldStretch& stretch = stretches[i];
        const EdfFold fold{&signal, gain, {stretch.low, 1}, {stretch.high, 1}};
        const int64_t end = stretch.from + stretch.count;
        for (int64_t at = stretch.from; at < end;) {
            if (at < held || at >= heldEnd) {
                const int64_t record = at / samplesPerRecord_;
                const int64_t most = std::min((record + 1) * samplesPerRecord_, at + numbersAtOnce);
                int64_t reach = end;
                for (size_t next = i + 1;
                     next < stretches.size() && reach < most && stretches[next].from < reach + closeTogether;
                     ++next)
                    reach = stretches[next].from + stretches[next].count;
                reach = std::min(reach, most);
                held = at;
                heldEnd = reach;
                LoadSlice(signal, at, reach - at);
            }
            const int64_t n = std::min(end, heldEnd) - at;
            FoldNumbers(source_.data() + (at - held), n, 0, n, fold);
            at += n;
        }
    }
}

// Reads samples of one record to source_.
template <typename Number>
void EdfNumbersReader<Number>::LoadSlice(const EdfSignal& signal, int64_t from, int64_t count) {
    if (source_.size() < static_cast<size_t>(count)) source_.resize(static_cast<size_t>(count));
    const int64_t offset = header_.headerLength + from / samplesPerRecord_ * header_.bytesPerRecord +
                           signal.sliceOffset + numberBytes * (from % samplesPerRecord_);
    ReadNumbers(offset, std::span(source_).first(static_cast<size_t>(count)));
}

template <typename Number>
void EdfNumbersReader<Number>::FoldSlices(Range range, int64_t into, int64_t slotLength,
                                          std::span<const EdfFold> folds) {
    for (int64_t done = 0; done < range.count;) {
        const int64_t inSlice = (range.from + done) % samplesPerRecord_;
        const int64_t n = std::min({range.count - done, samplesPerRecord_ - inSlice, numbersAtOnce});
        for (const EdfFold& fold : folds) {
            LoadSlice(*fold.signal, range.from + done, n);
            FoldNumbers(source_.data(), n, into + done, slotLength, fold);
        }
        done += n;
    }
}

template <typename Number>
void EdfNumbersReader<Number>::FoldRecords(Range range, int64_t into, int64_t slotLength,
                                           std::span<const EdfFold> folds) {
    const int64_t atOnce = std::max<int64_t>(recordBytesAtOnce / header_.bytesPerRecord, 1);
    const int64_t end = range.from + range.count;
    const int64_t endOfRecords = (end - 1) / samplesPerRecord_ + 1;
    for (int64_t record = range.from / samplesPerRecord_; record < endOfRecords; ++record) {
        if (record >= firstRecord_ + recordsHeld_ || record < firstRecord_ ||
            record == range.from / samplesPerRecord_)
            LoadRecords(record, std::min(atOnce, endOfRecords - record));
        const int64_t at = std::max(range.from, record * samplesPerRecord_);
        const int64_t n = std::min(end, (record + 1) * samplesPerRecord_) - at;
        const int64_t place = into + (at - range.from);
        for (const EdfFold& fold : folds) {
            const int64_t first = (record - firstRecord_) * header_.bytesPerRecord + fold.signal->sliceOffset;
            FoldNumbers(records_.data() + first / numberBytes + at % samplesPerRecord_, n, place, slotLength,
                        fold);
        }
    }
}

// Signals of lower rates are drawn out, and the values compared.
template <typename Number>
void EdfNumbersReader<Number>::FoldSlower(Range range, int64_t endRecord, int64_t into, int64_t slotLength,
                                          std::span<const EdfFold> folds) {
    drawnOut_.resize(std::max(drawnOut_.size(), folds.size()));
    std::vector<EdfPiece> pieces(folds.size());
    for (int64_t done = 0; done < range.count;) {
        const int64_t n = std::min(range.count - done, foldedAtOnce);
        for (size_t i = 0; i < folds.size(); ++i) {
            drawnOut_[i].resize(foldedAtOnce);
            pieces[i] = {folds[i].signal, drawnOut_[i].data()};
        }
        Read(range.from + done, n, endRecord, pieces);
        for (size_t i = 0; i < folds.size(); ++i) {
            const std::span<float> values = std::span(drawnOut_[i]).first(static_cast<size_t>(n));
            if (folds[i].gain != 1.0)
                for (float& value : values) value = static_cast<float>(value / folds[i].gain);
            ForSlots(into + done, n, slotLength, [&](int64_t slot, int64_t at, int64_t length) {
                WidenRange(values.subspan(static_cast<size_t>(at), static_cast<size_t>(length)),
                           folds[i].low[static_cast<size_t>(slot)], folds[i].high[static_cast<size_t>(slot)]);
            });
        }
        done += n;
    }
}

template void EdfNumbersReader<int16_t>::Fold(int64_t, int64_t, int64_t, int64_t, int64_t,
                                              std::span<const EdfFold>);
template void EdfNumbersReader<int16_t>::FoldStretches(const EdfSignal&, double,
                                                       std::span<const FoldStretch>);
template void EdfNumbersReader<int32_t>::Fold(int64_t, int64_t, int64_t, int64_t, int64_t,
                                              std::span<const EdfFold>);
template void EdfNumbersReader<int32_t>::FoldStretches(const EdfSignal&, double,
                                                       std::span<const FoldStretch>);

}  // namespace kymora
