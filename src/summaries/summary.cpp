#include "summaries/summary.h"

#include <algorithm>
#include <cfloat>

#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr int64_t chunkSamples = 1 << 21;  // of all traces

}  // namespace

// --- shape ---

SummaryShape SummaryShape::Make(int traces, int64_t length, int baseShift) {
    SummaryShape shape{traces, length, baseShift, 1};
    while (shape.BlockCount(shape.levels - 1) > 1) ++shape.levels;
    return shape;
}

std::optional<SummaryShape> SummaryShape::Plan(int traces, int64_t length, uint64_t mostBytes) {
    if (traces <= 0 || length <= 0) return {};
    for (int shift = leastBaseShift; shift <= greatestBaseShift; ++shift) {
        const SummaryShape shape = Make(traces, length, shift);
        if (shape.Bytes() <= mostBytes) return shape;
    }
    return {};
}

int64_t SummaryShape::Offset(int level, int trace) const {
    int64_t offset = 0;
    for (int below = 0; below < level; ++below) offset += traces * BlockCount(below);
    return trace == 0 ? offset : offset + trace * BlockCount(level);
}

MemorySummary::MemorySummary(SummaryShape shape)
    // Left as it comes: a chunk fills its blocks, and until then their memory need not exist.
    : Summary(shape), blocks_(new BlockRange[static_cast<size_t>(shape.TotalBlocks())]) {}

// --- building ---

SummaryBuilder::SummaryBuilder(SummaryShape shape)
    : shape_(shape), summary_(std::make_shared<MemorySummary>(shape)) {
    chunkLength_ = shape.BlockLength(0);
    while (chunkLength_ * 2 * shape.traces <= chunkSamples) chunkLength_ *= 2;
    done_.assign(static_cast<size_t>((shape.length + chunkLength_ - 1) / chunkLength_), 0);
}

int64_t SummaryBuilder::FirstMissing(int64_t from, int64_t to) const {
    if (to <= from) return -1;
    const int64_t end = std::min((to - 1) / chunkLength_ + 1, ChunkCount());
    for (int64_t chunk = from / chunkLength_; chunk < end; ++chunk)
        if (done_[static_cast<size_t>(chunk)] == 0) return chunk;
    return -1;
}

void SummaryBuilder::BuildChunk(CDataDoc& doc, int64_t chunk) {
    ReadChunk(doc, chunk);
    SetDone(chunk);
}

void SummaryBuilder::ReadChunk(CDataDoc& doc, int64_t chunk) const {
    const int64_t from = chunk * chunkLength_;
    const int64_t count = std::min(chunkLength_, shape_.length - from);
    const auto length = static_cast<size_t>((count - 1) / shape_.BlockLength(0) + 1);
    const auto traces = static_cast<size_t>(shape_.traces);
    Blocks blocks;
    blocks.low.assign(traces, std::vector<float>(length, FLT_MAX));
    blocks.high.assign(traces, std::vector<float>(length, -FLT_MAX));
    blocks.active.assign(traces, std::vector<uint8_t>(length, 0));
    FoldChunk(doc, from, count, blocks);
    Store(from / shape_.BlockLength(0), blocks);
}

void SummaryBuilder::SetDone(int64_t chunk) {
    uint8_t& done = done_[static_cast<size_t>(chunk)];
    if (done == 0) ++chunksDone_;
    done = 1;
    if (IsComplete()) MakeUpperLevels();
}

// Unlike a view's scan, this goes on behind a not-a-number of trace 0, since a view may begin there.
void SummaryBuilder::FoldChunk(CDataDoc& doc, int64_t from, int64_t count, Blocks& blocks) const {
    const FoldSlots slots{0, shape_.BlockLength(0)};
    std::vector<TraceFold> folds(blocks.low.size());
    for (size_t t = 0; t < folds.size(); ++t)
        folds[t] = {static_cast<int>(t), blocks.low[t], blocks.high[t], blocks.active[t]};
    if (doc.FoldBlocks(from, count, slots, folds)) return;
    const int64_t piece = std::max(SampleFolding::PieceLength(shape_.traces), slots.length);
    std::vector<float> values(static_cast<size_t>(piece));
    std::vector<uint8_t> valid(doc.hasGaps ? static_cast<size_t>(piece) : 0);
    for (const TraceFold& fold : folds) {
        for (int64_t done = 0; done < count; done += piece) {
            const auto n = static_cast<size_t>(std::min(piece, count - done));
            const auto flags = std::span(valid).first(doc.hasGaps ? n : 0);
            doc.ReadBlock(fold.trace, from + done, std::span(values).first(n), flags);
            FoldValues(std::span(values).first(n), flags, {done, slots.length}, fold);
            if (fold.trace != 0) continue;
            for (size_t at = 0; at < n;) {
                at += FindNotANumber(std::span(values).subspan(at, n - at));
                if (at >= n) break;
                const int64_t block = (done + static_cast<int64_t>(at)) / slots.length;
                blocks.active[0][static_cast<size_t>(block)] = 2;
                at = static_cast<size_t>((block + 1) * slots.length - done);
            }
        }
    }
}

void SummaryBuilder::Store(int64_t firstBlock, const Blocks& blocks) const {
    for (size_t t = 0; t < blocks.low.size(); ++t) {
        BlockRange* to = summary_->Block(0, static_cast<int>(t), firstBlock);
        const auto& active = blocks.active[t];
        for (size_t b = 0; b < active.size(); ++b)
            to[b] = active[b] == 0   ? BlockRange::Inactive()
                    : active[b] == 2 ? BlockRange::WithNotANumber()
                                     : BlockRange{blocks.low[t][b], blocks.high[t][b]};
    }
}

void SummaryBuilder::MakeUpperLevels() {
    constexpr int64_t children = int64_t{1} << SummaryShape::levelShift;
    for (int level = 1; level < shape_.levels; ++level) {
        const int64_t below = shape_.BlockCount(level - 1);
        for (int t = 0; t < shape_.traces; ++t) {
            const BlockRange* from = summary_->Block(level - 1, t, 0);
            BlockRange* to = summary_->Block(level, t, 0);
            for (int64_t b = 0; b < shape_.BlockCount(level); ++b) {
                BlockRange joined;
                bool any = false, bad = false;
                for (int64_t i = b * children; i < std::min((b + 1) * children, below); ++i) {
                    bad = bad || from[i].HoldsNotANumber();
                    if (from[i].IsInactive()) continue;
                    any = true;
                    joined.Widen(from[i]);
                }
                to[b] = bad ? BlockRange::WithNotANumber() : any ? joined : BlockRange::Inactive();
            }
        }
    }
    summary_->levels_ = shape_.levels;
}

}  // namespace kymora
