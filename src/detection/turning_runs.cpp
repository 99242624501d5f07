#include "detection/turning_runs.h"

#include "document/sample_scan.h"

namespace kymora {

std::vector<TurningRun> TurningRunsOf(SampleReader& samples, int trace, std::span<const SampleSpan> blocks,
                                      bool reverses, ProgressScope& progress) {
    TurningPointSearch search(reverses);
    for (const SampleSpan& block : blocks) {
        search.StartAt(block.first, block.Count());
        ScanSamples(samples, trace, block.first, block.Count(), [&](std::span<const float> values) {
            search.Take(values);
            progress.Step(values.size());
            return true;
        });
    }
    return search.Finish();
}

}  // namespace kymora
