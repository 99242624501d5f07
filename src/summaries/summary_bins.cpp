#include "summaries/summary_bins.h"

#include <algorithm>

#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr size_t stretchesAtOnce = 1024;
// Shorter bins that do not begin with a block would have to be read almost whole, in small pieces.
constexpr int worthwhileShift = 3;

// One bin of one trace while it is being put together.
struct Bin {
    BlockRange range;
    uint8_t active = 0;

    void Join(BlockRange block) {
        if (block.IsInactive()) return;
        active = 1;
        range.Widen(block);
    }
    // True when no sample of the block could change the bin.
    bool Covers(BlockRange block) const {
        return block.IsInactive() || (active != 0 && block.low >= range.low && block.high <= range.high);
    }
};

class SummaryReader {
  public:
    SummaryReader(CDataDoc& doc, Summary& summary, int64_t from, int level)
        : doc_(doc),
          summary_(summary),
          shape_(summary.Shape()),
          blockLength_(shape_.BlockLength(0)),
          folding_(doc),
          from_(from),
          perBin_(SamplesPerBin(level)) {}

    bool Read(Progress* progress, Bins& bins);

  private:
    void FindEnd();
    int64_t FindNotANumberFrom(int level, int64_t first, int64_t end);
    int64_t FindNotANumberIn(int64_t block);
    bool ReadTrace(int trace, Progress* progress);
    void JoinWholeBlocks(int trace, size_t bin);
    void JoinBlocks(int trace, int level, int64_t first, int64_t end, Bin& bin);
    void JoinRow(int trace, int level, int64_t first, int64_t end, Bin& bin);
    void WantEdge(int trace, size_t rightBin);
    void Want(int64_t from, int64_t to, Bin& bin);

    int64_t BinStart(size_t bin) const { return from_ + static_cast<int64_t>(bin) * perBin_; }
    int64_t BinEnd(size_t bin) const { return std::min(BinStart(bin) + perBin_, end_); }

    CDataDoc& doc_;
    Summary& summary_;
    SummaryShape shape_;
    int64_t blockLength_;
    SampleFolding folding_;
    int64_t from_, perBin_;
    int64_t end_ = 0;                  // of the scan, exclusive
    std::vector<Bin> bins_;            // of the trace at work; those that begin before the end
    std::vector<FoldStretch> wanted_;  // samples that no whole block tells
};

bool SummaryReader::Read(Progress* progress, Bins& bins) {
    bins = StartBins(doc_);
    FindEnd();
    const int64_t samples = std::max<int64_t>(end_ - from_, 0);
    for (int t = 0; t < shape_.traces; ++t) {
        bins_.assign(static_cast<size_t>((samples + perBin_ - 1) / perBin_), {});
        if (!ReadTrace(t, progress)) return false;
        const auto i = static_cast<size_t>(t);
        for (size_t b = 0; b < bins_.size(); ++b) {
            bins.min[i][b] = bins_[b].range.low;
            bins.max[i][b] = bins_[b].range.high;
            if (!bins.active.empty()) bins.active[i][b] = bins_[b].active;
        }
    }
    CloseBins(bins, samples, perBin_);
    return true;
}

// --- the end of the scan ---

// The end of the bins or of the recording, or the first not-a-number of trace 0.
void SummaryReader::FindEnd() {
    end_ = std::min(from_ + perBin_ * binCount, shape_.length);
    if (from_ >= end_) return;
    const int top = summary_.Levels() - 1;
    const int64_t found = FindNotANumberFrom(top, 0, shape_.BlockCount(top));
    if (found >= 0) end_ = found;
}

// The first not-a-number in the blocks [first, end) of a level, as far as they lie in [from_, end_).
int64_t SummaryReader::FindNotANumberFrom(int level, int64_t first, int64_t end) {
    const int shift = shape_.Shift(level);
    first = std::max(first, from_ >> shift);
    end = std::min(end, ((end_ - 1) >> shift) + 1);
    while (first < end) {
        const auto row = summary_.From(level, 0, first, end - first);
        const auto found = std::find_if(row.begin(), row.end(),
                                        [](const BlockRange& block) { return block.HoldsNotANumber(); });
        first += found - row.begin();
        if (found == row.end()) continue;
        const int64_t children = int64_t{1} << SummaryShape::levelShift;
        const int64_t position =
            level == 0 ? FindNotANumberIn(first)
                       : FindNotANumberFrom(level - 1, first * children, (first + 1) * children);
        if (position >= 0) return position;
        ++first;
    }
    return -1;
}

int64_t SummaryReader::FindNotANumberIn(int64_t block) {
    const int64_t start = std::max(block * blockLength_, from_);
    const int64_t count = std::min((block + 1) * blockLength_, end_) - start;
    std::vector<float> values(static_cast<size_t>(count));
    doc_.ReadBlock(0, start, values);
    const auto found = static_cast<int64_t>(FindNotANumber(values));
    return found < count ? start + found : -1;
}

// --- the bins of one trace ---

bool SummaryReader::ReadTrace(int trace, Progress* progress) {
    const auto goOn = [&](size_t bin) {
        if (!progress || bin % binsPerPoll != 0) return true;
        return progress->Update((static_cast<uint64_t>(trace) * binCount + bin) /
                                static_cast<uint64_t>(shape_.traces));
    };
    for (size_t bin = 0; bin < bins_.size(); ++bin) JoinWholeBlocks(trace, bin);
    for (size_t bin = 0; bin <= bins_.size(); ++bin) {
        if (wanted_.size() >= stretchesAtOnce) {
            folding_.FoldStretches(trace, wanted_);
            wanted_.clear();
        }
        if (!goOn(bin)) return false;
        WantEdge(trace, bin);
    }
    folding_.FoldStretches(trace, wanted_);
    wanted_.clear();
    return true;
}

void SummaryReader::JoinWholeBlocks(int trace, size_t bin) {
    const int64_t first = (BinStart(bin) + blockLength_ - 1) / blockLength_;
    const int64_t binEnd = BinEnd(bin);
    // The recording's last block is whole, however short.
    const int64_t end = binEnd == shape_.length ? shape_.BlockCount(0) : binEnd / blockLength_;
    if (first < end) JoinBlocks(trace, 0, first, end, bins_[bin]);
}

// Joins the blocks [first, end) of a level by as few blocks as there are.
void SummaryReader::JoinBlocks(int trace, int level, int64_t first, int64_t end, Bin& bin) {
    constexpr int64_t children = int64_t{1} << SummaryShape::levelShift;
    const int64_t firstAbove = (first + children - 1) / children;
    const int64_t endAbove =
        end == shape_.BlockCount(level) ? (end + children - 1) / children : end / children;
    if (level + 1 >= summary_.Levels() || firstAbove >= endAbove)
        return JoinRow(trace, level, first, end, bin);
    JoinRow(trace, level, first, firstAbove * children, bin);
    JoinBlocks(trace, level + 1, firstAbove, endAbove, bin);
    JoinRow(trace, level, endAbove * children, end, bin);
}

void SummaryReader::JoinRow(int trace, int level, int64_t first, int64_t end, Bin& bin) {
    while (first < end) {
        const auto row = summary_.From(level, trace, first, end - first);
        for (const BlockRange& block : row) bin.Join(block);
        first += static_cast<int64_t>(row.size());
    }
}

// The block in which one bin ends and the next, `rightBin`, begins: its samples are wanted where it reaches
// beyond what these bins hold already.
void SummaryReader::WantEdge(int trace, size_t rightBin) {
    const bool hasRight = rightBin<bins_.size(), hasLeft = rightBin> 0;
    if (!hasRight && !hasLeft) return;
    const int64_t edge = hasRight ? BinStart(rightBin) : end_;
    if (edge % blockLength_ == 0 || edge == shape_.length) return;
    const int64_t blockIndex = edge / blockLength_;
    const BlockRange block = summary_.From(0, trace, blockIndex, 1)[0];
    if (hasLeft && !bins_[rightBin - 1].Covers(block))
        Want(std::max(blockIndex * blockLength_, BinStart(rightBin - 1)), edge, bins_[rightBin - 1]);
    if (hasRight && !bins_[rightBin].Covers(block))
        Want(edge, std::min((blockIndex + 1) * blockLength_, BinEnd(rightBin)), bins_[rightBin]);
}

void SummaryReader::Want(int64_t from, int64_t to, Bin& bin) {
    wanted_.push_back({from, to - from, &bin.range.low, &bin.range.high, &bin.active});
}

}  // namespace

bool SummaryServes(const SummaryShape& shape, int64_t from, int level) {
    const int shift = std::clamp(level, 0, 20);
    return shift >= shape.baseShift + worthwhileShift ||
           (shift >= shape.baseShift && from % shape.BlockLength(0) == 0);
}

bool ReadBinsFromSummary(CDataDoc& doc, Summary& summary, int64_t from, int level, Progress* progress,
                         Bins& bins) {
    return SummaryReader(doc, summary, from, level).Read(progress, bins);
}

}  // namespace kymora
