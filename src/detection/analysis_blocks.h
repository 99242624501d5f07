#pragma once
// The stretches of a region across which nothing is sought: between them lie gaps and the ends of episodes.

#include "document/trace_stretches.h"
#include "operations/operation_job.h"

namespace kymora {

// Of neighbouring valid samples of a trace; none of them is empty.
std::vector<SampleSpan> BlocksOf(const CDataDoc& doc, int trace, SampleSpan region);

// The same, cut at samples that are no finite numbers, too, and without blocks shorter than `least`. Reads
// all samples; throws FileError and Cancelled.
std::vector<SampleSpan> FiniteBlocks(SampleReader& samples, int trace, std::span<const SampleSpan> blocks,
                                     int64_t least, ProgressScope& progress);

inline int64_t LongestOf(std::span<const SampleSpan> blocks) {
    int64_t longest = 0;
    for (const SampleSpan& block : blocks) longest = std::max(longest, block.Count());
    return longest;
}

}  // namespace kymora
