#include "detection/analysis_blocks.h"

#include <algorithm>
#include <cmath>

#include "document/sample_scan.h"

namespace kymora {

std::vector<SampleSpan> BlocksOf(const CDataDoc& doc, int trace, SampleSpan region) {
    std::vector<SampleSpan> blocks;
    for (const TraceStretch& stretch : UnbrokenStretches(doc, trace)) {
        const int64_t first = std::max<int64_t>(stretch.start, region.first);
        const int64_t end = std::min<int64_t>(stretch.end, region.end);
        if (first < end) blocks.push_back({static_cast<int32_t>(first), static_cast<int32_t>(end)});
    }
    return blocks;
}

std::vector<SampleSpan> FiniteBlocks(SampleReader& samples, int trace, std::span<const SampleSpan> blocks,
                                     int64_t least, ProgressScope& progress) {
    std::vector<SampleSpan> finite;
    const auto add = [&](int64_t first, int64_t end) {
        if (end - first >= least) finite.push_back({static_cast<int32_t>(first), static_cast<int32_t>(end)});
    };
    for (const SampleSpan& block : blocks) {
        int64_t first = block.first, at = block.first;
        ScanSamples(samples, trace, block.first, block.Count(), [&](std::span<const float> values) {
            for (const float value : values) {
                if (!std::isfinite(value)) add(std::exchange(first, at + 1), at);
                ++at;
            }
            progress.Step(values.size());
            return true;
        });
        add(first, block.end);
    }
    return finite;
}

}  // namespace kymora
