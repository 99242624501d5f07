#include "summaries/coarse_bins.h"

#include <algorithm>
#include <cfloat>

namespace kymora {

namespace {

constexpr int lookShift = 9;
constexpr int looks = 1 << lookShift;
constexpr int64_t samplesPerLook = 64;

// Places in an order that covers all of the bins early: halves, quarters, eighths ...
int ReverseBits(int number) {
    int reversed = 0;
    for (int bit = 0; bit < lookShift; ++bit)
        if ((number >> bit) & 1) reversed |= 1 << (lookShift - 1 - bit);
    return reversed;
}

size_t FirstBinOf(int place) { return static_cast<size_t>(place) * binCount / looks; }

// Samples of all traces at one place.
class Looker {
  public:
    Looker(CDataDoc& doc, Bins& bins) : doc_(doc), bins_(bins), traces_(static_cast<size_t>(doc.traceCount)) {
        values_.assign(traces_, std::vector<float>(samplesPerLook));
        valid_.assign(traces_, std::vector<uint8_t>(samplesPerLook));
    }

    void Look(int64_t from, int64_t count, size_t bin) {
        std::vector<TraceBlock> blocks(traces_);
        const auto n = static_cast<size_t>(count);
        for (size_t t = 0; t < traces_; ++t)
            blocks[t] = {static_cast<int>(t), std::span(values_[t]).first(n), std::span(valid_[t]).first(n)};
        doc_.ReadBlocks(from, blocks);
        for (size_t t = 0; t < traces_; ++t) {
            const auto active =
                bins_.active.empty() ? std::span<uint8_t>{} : std::span(bins_.active[t]).subspan(bin, 1);
            FoldValues(blocks[t].values, blocks[t].valid, {0, samplesPerLook},
                       {static_cast<int>(t), std::span(bins_.min[t]).subspan(bin, 1),
                        std::span(bins_.max[t]).subspan(bin, 1), active});
        }
    }

  private:
    CDataDoc& doc_;
    Bins& bins_;
    size_t traces_;
    std::vector<std::vector<float>> values_;
    std::vector<std::vector<uint8_t>> valid_;
};

// Gives every bin what the last place looked at before it saw.
void Spread(const std::vector<uint8_t>& looked, Bins& bins) {
    size_t source = 0;
    for (int place = 0; place < looks; ++place) {
        const size_t first = FirstBinOf(place);
        if (looked[static_cast<size_t>(place)] != 0) source = first;
        const size_t end = FirstBinOf(place + 1);
        for (size_t t = 0; t < bins.min.size(); ++t) {
            std::fill(bins.min[t].begin() + static_cast<std::ptrdiff_t>(first),
                      bins.min[t].begin() + static_cast<std::ptrdiff_t>(end), bins.min[t][source]);
            std::fill(bins.max[t].begin() + static_cast<std::ptrdiff_t>(first),
                      bins.max[t].begin() + static_cast<std::ptrdiff_t>(end), bins.max[t][source]);
            if (!bins.active.empty())
                std::fill(bins.active[t].begin() + static_cast<std::ptrdiff_t>(first),
                          bins.active[t].begin() + static_cast<std::ptrdiff_t>(end), bins.active[t][source]);
        }
    }
}

}  // namespace

Bins LookAtBins(CDataDoc& doc, int64_t from, int level, std::chrono::steady_clock::time_point deadline) {
    Bins bins = StartBins(doc);
    const int64_t samplesPerBin = SamplesPerBin(level);
    const int64_t total = std::clamp<int64_t>(doc.GetLength() - from, 0, samplesPerBin * binCount);
    std::vector<uint8_t> looked(looks, 0);
    if (!doc.noData) {
        Looker looker(doc, bins);
        for (int i = 0; i < looks; ++i) {
            const int place = ReverseBits(i);
            const size_t bin = FirstBinOf(place);
            const int64_t start = static_cast<int64_t>(bin) * samplesPerBin;
            if (start >= total) continue;
            looker.Look(from + start, std::min({samplesPerLook, samplesPerBin, total - start}), bin);
            looked[static_cast<size_t>(place)] = 1;
            if (std::chrono::steady_clock::now() >= deadline) break;
        }
    }
    Spread(looked, bins);
    CloseBins(bins, doc.noData ? samplesPerBin * binCount : total, samplesPerBin);
    return bins;
}

}  // namespace kymora
