#pragma once
// Takes the slow part of a run away: each sample less the mean of those around it.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/passes.h"

namespace kymora {

// The window has 2 x halfWindow + 1 samples and shrinks at both ends to those that exist; a run that is no
// longer loses its mean. Sums are double, results rounded once, the same in both forms bit by bit. `goOn` is
// asked now and then; false ends it by Cancelled.
KernelOutcome RemoveLocalDC(std::span<const float> input, int64_t halfWindow, std::span<float> output,
                            const KernelPoll& goOn = {});
// `count` is the number of samples of the run.
KernelOutcome RemoveLocalDC(const SourceMaker& makeSource, int64_t count, int64_t halfWindow,
                            FloatSink& sink);

}  // namespace kymora
