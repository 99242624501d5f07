#pragma once
// The turning points of the samples of a trace, read block by block.

#include "detection/turning_points.h"
#include "operations/operation_job.h"

namespace kymora {

// Runs within blocks of neighbouring samples; `reverses` as in TurningPointSearch. Steps through the samples
// of all blocks. Throws FileError and Cancelled.
std::vector<TurningRun> TurningRunsOf(SampleReader& samples, int trace, std::span<const SampleSpan> blocks,
                                      bool reverses, ProgressScope& progress);

}  // namespace kymora
