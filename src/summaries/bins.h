#pragma once
// The bins of a display cache, and their plain making: every sample of them is looked at.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "document/data_doc.h"
#include "drawing/viewport.h"

namespace kymora {

inline constexpr int binsPerPoll = 40;  // of the user's wish to stop

struct Bins {
    // [trace][bin]. Not-a-number from the end of the data on. Where no sample of a bin was a number, the
    // minimum is above the maximum.
    std::vector<std::vector<float>> min, max;
    // 1 where a bin has a valid sample; empty for documents without gaps.
    std::vector<std::vector<uint8_t>> active;

    bool IsEmpty() const { return min.empty(); }
};

// Bins of a document's traces before their first sample: the least and greatest that any sample replaces.
Bins StartBins(const CDataDoc& doc);

// Bins that lie behind the first `samples` samples are past the end of the data; those before it that saw no
// valid sample are gaps, which store 0.
void CloseBins(Bins& bins, int64_t samples, int64_t samplesPerBin);

// Reads 4,000 bins of 2^level samples from position `from` on. False when `progress` stopped it, which is
// asked at every 40th bin. Throws FileError.
bool ReadBins(CDataDoc& doc, int64_t from, int level, Progress* progress, Bins& bins);

// Reads samples of all traces, or of one, and widens slots by them. It keeps its buffers from call to call.
class SampleFolding {
  public:
    explicit SampleFolding(CDataDoc& doc) : doc_(doc) {}

    // Widens by [from, from + count) of all traces, which lie within the recording, and answers how many
    // samples come before the first not-a-number of trace 0; those behind it enter no slot.
    int64_t Fold(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds);
    // Widens by many stretches of one trace, in ascending order; a not-a-number has no meaning here.
    void FoldStretches(int trace, std::span<const FoldStretch> stretches);

    // Samples of each trace that it reads at a time where the format cannot fold.
    static int64_t PieceLength(int traces);

  private:
    void ReadPiece(int64_t from, size_t count, std::span<const TraceFold> folds);

    CDataDoc& doc_;
    std::vector<std::vector<float>> values_;
    std::vector<std::vector<uint8_t>> valid_;
    std::vector<TraceBlock> blocks_;
};

// Widens slots by values; `valid` may be empty.
void FoldValues(std::span<const float> values, std::span<const uint8_t> valid, FoldSlots slots,
                const TraceFold& fold);

}  // namespace kymora
