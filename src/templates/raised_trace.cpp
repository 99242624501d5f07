#include "templates/raised_trace.h"

#include <bit>
#include <cmath>

#include "spectra/interpolate_fft.h"

namespace kymora {

namespace {

constexpr int64_t raisedAtOnce = 0x8000;  // values of a block
constexpr int64_t mostBlocks = 256;       // that are kept: 32 MB
constexpr int64_t leastContext = 64;      // samples on both sides of it

}  // namespace

bool IsRaise(int multiplier) {
    return multiplier >= 1 && multiplier <= greatestRaise &&
           std::has_single_bit(static_cast<unsigned>(multiplier));
}

// Where nothing is raised, one sample of context tells whether a run goes on.
RaisedTrace::RaisedTrace(SampleReader& samples, int trace, std::vector<TraceStretch> stretches,
                         int multiplier, int spareBins, int64_t reach)
    : samples_(samples),
      trace_(trace),
      stretches_(std::move(stretches)),
      multiplier_(multiplier),
      blockSamples_(raisedAtOnce / multiplier),
      context_(multiplier == 1 ? 1 : std::max<int64_t>(leastContext, spareBins)),
      blocks_(static_cast<size_t>(std::min(reach / raisedAtOnce + 2, mostBlocks))) {}

const RaisedTrace::Block& RaisedTrace::Load(int64_t index) {
    auto at = std::ranges::find(blocks_, index, &Block::index);
    const bool isThere = at != blocks_.end();
    if (!isThere) --at;
    std::rotate(blocks_.begin(), at, at + 1);
    if (isThere) return blocks_[0];
    blocks_[0].index = -1;
    blocks_[0].runs.clear();
    blocks_[0].values.resize(static_cast<size_t>(raisedAtOnce));
    blocks_[0].index = index;
    try {
        Fill(blocks_[0]);
    } catch (...) {
        blocks_[0].index = -1;
        throw;
    }
    return blocks_[0];
}

void RaisedTrace::Fill(Block& block) {
    const int64_t first = block.index * blockSamples_, end = first + blockSamples_;
    const auto begin =
        std::ranges::partition_point(stretches_, [&](const TraceStretch& s) { return s.end <= first; });
    for (auto at = begin; at != stretches_.end() && at->start < end; ++at) AddStretch(block, *at);
}

void RaisedTrace::AddStretch(Block& block, const TraceStretch& stretch) {
    const int64_t first = block.index * blockSamples_;
    const int64_t from = std::max(stretch.start, first - context_);
    const int64_t end = std::min(stretch.end, first + blockSamples_ + context_);
    read_.resize(static_cast<size_t>(end - from));
    samples_.ReadBlock(trace_, from, read_);
    const auto isFinite = [](float x) { return std::isfinite(x); };
    for (auto at = read_.begin(); at != read_.end();) {
        at = std::find_if(at, read_.end(), isFinite);
        const auto to = std::find_if_not(at, read_.end(), isFinite);
        if (at != to) AddRun(block, from + (at - read_.begin()), {at, to});
        at = to;
    }
}

void RaisedTrace::AddRun(Block& block, int64_t first, std::span<const float> samples) {
    const int64_t start = block.index * blockSamples_;
    const int64_t from = std::max(first, start);
    const int64_t end = std::min(first + std::ssize(samples), start + blockSamples_);
    if (from >= end) return;
    std::span<const float> values = samples;
    if (multiplier_ > 1) {
        InterpolateExtended(samples, static_cast<int>(multiplier_), raised_);
        values = raised_;
    }
    std::ranges::copy(values.subspan(static_cast<size_t>((from - first) * multiplier_),
                                     static_cast<size_t>((end - from) * multiplier_)),
                      block.values.begin() + static_cast<std::ptrdiff_t>((from - start) * multiplier_));
    block.runs.push_back({from, end, first < from});
}

bool RaisedTrace::Read(int64_t firstBin, std::span<float> to) {
    if (firstBin < 0) return false;
    size_t filled = 0;
    ForEachPiece(firstBin, firstBin + std::ssize(to), [&](const Piece& piece) {
        const bool isNext =
            piece.firstBin == firstBin + static_cast<int64_t>(filled) && (filled == 0 || piece.continues);
        if (isNext) {
            std::ranges::copy(piece.values, to.begin() + static_cast<std::ptrdiff_t>(filled));
            filled += piece.values.size();
        }
        return isNext;
    });
    return filled == to.size();
}

}  // namespace kymora
