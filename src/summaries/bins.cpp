#include "summaries/bins.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <limits>

#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int64_t closeTogether = 2048;  // samples; a call costs about as much as reading so many
constexpr int64_t leastPerPoll = 10000;  // samples of each trace: asking costs, too

// Forty bins where these are some ten thousand samples, and powers of two of that for shorter and longer
// ones, so that an answer is not long in coming.
int64_t SamplesPerPoll(int64_t samplesPerBin, int traces) {
    const int64_t most = (int64_t{1} << 22) / std::max(1, traces);
    int64_t step = samplesPerBin * binsPerPoll;
    while (step < leastPerPoll) step *= 2;
    while (step > most && step % 2 == 0) step /= 2;
    return step;
}

// Widens one slot by the valid ones of some values.
void FoldValid(std::span<const float> values, const uint8_t* flags, size_t slot, const TraceFold& fold) {
    const size_t end = values.size();
    for (size_t i = 0; i < end;) {
        if (flags[i] == 0) {
            ++i;
            continue;
        }
        const auto* gap = static_cast<const uint8_t*>(std::memchr(flags + i, 0, end - i));
        const size_t stop = gap ? static_cast<size_t>(gap - flags) : end;
        WidenRange(values.subspan(i, stop - i), fold.low[slot], fold.high[slot]);
        if (!fold.active.empty()) fold.active[slot] = 1;
        i = stop;
    }
}

}  // namespace

Bins StartBins(const CDataDoc& doc) {
    const auto traces = static_cast<size_t>(doc.traceCount);
    Bins bins;
    bins.min.assign(traces, std::vector<float>(binCount, FLT_MAX));
    bins.max.assign(traces, std::vector<float>(binCount, -FLT_MAX));
    if (doc.hasGaps || doc.noData) bins.active.assign(traces, std::vector<uint8_t>(binCount, 0));
    return bins;
}

void CloseBins(Bins& bins, int64_t samples, int64_t samplesPerBin) {
    const auto firstPast =
        static_cast<size_t>(std::min<int64_t>((samples + samplesPerBin - 1) / samplesPerBin, binCount));
    for (size_t t = 0; t < bins.active.size(); ++t)
        for (size_t b = 0; b < firstPast; ++b)
            if (bins.active[t][b] == 0) bins.min[t][b] = bins.max[t][b] = 0.0f;
    for (size_t t = 0; t < bins.min.size(); ++t) {
        const auto past = static_cast<std::ptrdiff_t>(firstPast);
        std::fill(bins.min[t].begin() + past, bins.min[t].end(), notANumber);
        std::fill(bins.max[t].begin() + past, bins.max[t].end(), notANumber);
    }
}

// --- folding ---

void FoldValues(std::span<const float> values, std::span<const uint8_t> valid, FoldSlots slots,
                const TraceFold& fold) {
    for (size_t at = 0; at < values.size();) {
        const int64_t position = slots.into + static_cast<int64_t>(at);
        const int64_t slot = position / slots.length;
        const size_t n =
            std::min(values.size() - at, static_cast<size_t>((slot + 1) * slots.length - position));
        const auto s = static_cast<size_t>(slot);
        if (valid.empty()) {
            WidenRange(values.subspan(at, n), fold.low[s], fold.high[s]);
            if (!fold.active.empty()) fold.active[s] = 1;
        } else {
            FoldValid(values.subspan(at, n), valid.data() + at, s, fold);
        }
        at += n;
    }
}

// Long enough for the reader, and all traces of it stay in a processor's cache.
int64_t SampleFolding::PieceLength(int traces) {
    return std::clamp<int64_t>(262144 / std::max(1, traces), 16384, 65536);
}

int64_t SampleFolding::Fold(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds) {
    if (doc_.FoldBlocks(from, count, slots, folds)) return count;
    const int64_t piece = PieceLength(static_cast<int>(folds.size()));
    for (int64_t done = 0; done < count;) {
        const auto n = static_cast<size_t>(std::min(piece, count - done));
        ReadPiece(from + done, n, folds);
        // A not-a-number at the first trace ends the scan of all traces.
        const size_t ends = folds.empty() ? 0 : FindNotANumber(blocks_[0].values);
        const FoldSlots part{slots.into + done, slots.length};
        for (size_t i = 0; i < folds.size(); ++i)
            FoldValues(blocks_[i].values.first(ends),
                       blocks_[i].valid.empty() ? blocks_[i].valid : blocks_[i].valid.first(ends), part,
                       folds[i]);
        done += static_cast<int64_t>(ends);
        if (ends < n) return done;
    }
    return count;
}

void SampleFolding::FoldStretches(int trace, std::span<const FoldStretch> stretches) {
    if (stretches.empty() || doc_.FoldStretches(trace, stretches)) return;
    const int64_t piece = PieceLength(1);
    const TraceFold only{trace, {}, {}, {}};
    int64_t held = 0, heldEnd = 0;  // what stands in the buffer
    for (size_t i = 0; i < stretches.size(); ++i) {
        const FoldStretch& stretch = stretches[i];
        const int64_t end = stretch.from + stretch.count;
        for (int64_t at = stretch.from; at < end;) {
            if (at < held || at >= heldEnd) {
                int64_t reach = end;  // on to those that lie close together
                for (size_t next = i + 1; next < stretches.size() && reach < at + piece &&
                                          stretches[next].from < reach + closeTogether;
                     ++next)
                    reach = stretches[next].from + stretches[next].count;
                held = at;
                heldEnd = std::min(reach, at + piece);
                ReadPiece(held, static_cast<size_t>(heldEnd - held), {&only, 1});
            }
            const auto first = static_cast<size_t>(at - held);
            const auto n = static_cast<size_t>(std::min(end, heldEnd) - at);
            const auto& valid = blocks_[0].valid;
            FoldValues(blocks_[0].values.subspan(first, n), valid.empty() ? valid : valid.subspan(first, n),
                       {0, static_cast<int64_t>(n)},
                       {trace, {stretch.low, 1}, {stretch.high, 1}, {stretch.active, 1}});
            at += static_cast<int64_t>(n);
        }
    }
}

void SampleFolding::ReadPiece(int64_t from, size_t count, std::span<const TraceFold> folds) {
    const bool gaps = doc_.hasGaps || doc_.noData;
    values_.resize(std::max(values_.size(), folds.size()));
    valid_.resize(std::max(valid_.size(), folds.size()));
    blocks_.resize(folds.size());
    for (size_t i = 0; i < folds.size(); ++i) {
        if (values_[i].size() < count) values_[i].resize(count);
        if (gaps && valid_[i].size() < count) valid_[i].resize(count);
        blocks_[i] = {folds[i].trace, std::span(values_[i]).first(count), {}};
        if (gaps) blocks_[i].valid = std::span(valid_[i]).first(count);
    }
    doc_.ReadBlocks(from, blocks_);
}

// --- bins ---

bool ReadBins(CDataDoc& doc, int64_t from, int level, Progress* progress, Bins& bins) {
    bins = StartBins(doc);
    const int64_t samplesPerBin = SamplesPerBin(level);
    if (doc.noData) {  // reads 0.0 without validity at every position
        CloseBins(bins, samplesPerBin * binCount, samplesPerBin);
        return true;
    }
    std::vector<TraceFold> folds(static_cast<size_t>(doc.traceCount));
    for (size_t t = 0; t < folds.size(); ++t)
        folds[t] = {static_cast<int>(t), bins.min[t], bins.max[t],
                    bins.active.empty() ? std::span<uint8_t>{} : std::span<uint8_t>(bins.active[t])};
    SampleFolding folding(doc);
    const int64_t total = std::clamp<int64_t>(doc.GetLength() - from, 0, samplesPerBin * binCount);
    const int64_t step = SamplesPerPoll(samplesPerBin, doc.traceCount);
    int64_t done = 0;
    while (done < total) {
        if (progress && !progress->Update(static_cast<uint64_t>(done / samplesPerBin))) return false;
        const int64_t count = std::min(step, total - done);
        const int64_t folded = folding.Fold(from + done, count, {done, samplesPerBin}, folds);
        done += folded;
        if (folded < count) break;
    }
    CloseBins(bins, done, samplesPerBin);
    return true;
}

}  // namespace kymora
