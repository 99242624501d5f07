#pragma once
// A trace at a multiple of its sample rate, read in any place as if it had been recorded so: without block
// edges, and without a value that depends on where a reader begins. Places are bins, `multiplier` to a
// sample, counted from the start of the recording: sample p is bin p x multiplier.

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "document/sample_reader.h"
#include "document/trace_stretches.h"

namespace kymora {

inline constexpr int greatestRaise = 64;
// 1, 2, 4 and so on to 64.
bool IsRaise(int multiplier);

class RaisedTrace {
  public:
    // The stretches, ascending, are where samples neighbour each other; nothing is raised across their ends
    // or across a sample that is no finite number. So many spare samples, and 64 at least, are taken on both
    // sides of what is raised at once. The blocks that were asked for last are kept, as many as it takes for
    // going back by `reach` bins again and again, and at least two.
    RaisedTrace(SampleReader& samples, int trace, std::vector<TraceStretch> stretches, int multiplier,
                int spareBins, int64_t reach = 0);

    int Multiplier() const { return static_cast<int>(multiplier_); }

    // Neighbouring values from `firstBin` on. `continues`: the value before it neighbours it, too.
    struct Piece {
        int64_t firstBin = 0;
        std::span<const float> values;
        bool continues = false;
    };
    // Hands on the values that there are in [firstBin, endBin), in order, until `take(piece)` answers false;
    // that is then the answer. Throws FileError.
    template <typename Take>
    bool ForEachPiece(int64_t firstBin, int64_t endBin, Take take) {
        const int64_t perBlock = blockSamples_ * multiplier_;
        for (int64_t index = firstBin / perBlock; index * perBlock < endBin; ++index) {
            const Block& block = Load(index);
            for (const Run& run : block.runs) {
                const int64_t from = std::max(firstBin, run.first * multiplier_);
                const int64_t end = std::min(endBin, run.end * multiplier_);
                if (from >= end) continue;
                const bool continues = from > firstBin && run.continues;
                const auto values = std::span(block.values)
                                        .subspan(static_cast<size_t>(from - index * perBlock),
                                                 static_cast<size_t>(end - from));
                if (!take(Piece{from, values, continues})) return false;
            }
        }
        return true;
    }
    // Fills `to` with the values from a bin on. False where not all of them are there, as neighbours.
    bool Read(int64_t firstBin, std::span<float> to);

  private:
    // Neighbouring samples of a block. `continues`: the sample before them neighbours them, too.
    struct Run {
        int64_t first = 0, end = 0;
        bool continues = false;
    };
    // Always the same samples of the recording, whoever asks.
    struct Block {
        int64_t index = -1;
        std::vector<float> values;
        std::vector<Run> runs;
    };
    const Block& Load(int64_t index);
    void Fill(Block& block);
    void AddStretch(Block& block, const TraceStretch& stretch);
    void AddRun(Block& block, int64_t first, std::span<const float> samples);

    SampleReader& samples_;
    int trace_;
    std::vector<TraceStretch> stretches_;
    int64_t multiplier_, blockSamples_, context_;
    std::vector<Block> blocks_;  // the last ones that were asked for, the newest first
    std::vector<float> read_, raised_;
};

}  // namespace kymora
