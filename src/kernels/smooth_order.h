#pragma once
// The moving median and the moving percentile of a run.

#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

enum class OrderMode {
    median,
    percentile,          // by heap, fast for any window
    explicitPercentile,  // of the run reflected at both ends; one pass, whatever the iterations
};

struct OrderSettings {
    OrderMode mode = OrderMode::median;
    int64_t halfWindow = 1;  // samples
    int percentile = 50;     // 0 .. 100
    int iterations = 1;
};

// The rank that the settings stand for in a window of 2 x halfWindow + 1 samples: for median and percentile
// the k of the k-th largest, 1 .. window; for the explicit percentile an index from the smallest, 0 .. window
// - 1. Computed in single precision.
int64_t OrderRank(const OrderSettings& settings);

// The order statistic of the window around each sample. By heap, the first and the last halfWindow results
// repeat the first and the last whole window's; in between one sample stays in the window twice: the last one
// of the first window is taken again when the window begins to move, and leaves after 2 x halfWindow further
// samples.
//
// A run shorter than the window fails, with a note but without a message, and leaves the data unchanged in
// `output`. `output` has the length of `input` and is another array. A window for which there is no memory is
// a std::runtime_error. `goOn` is asked now and then, with the samples of the present iteration; false is a
// silent failure.
KernelOutcome SmoothOrder(std::span<const float> input, const OrderSettings& settings,
                          std::span<float> output, const KernelPoll& goOn = {});

// On streams the heap's results come one sample later than in memory, from the end of the first window on:
// the first one is written halfWindow + 1 times, the last one halfWindow times. A half window of 0 changes
// nothing. The explicit percentile is the same in both forms. `count` is the number of samples of the run.
KernelOutcome SmoothOrder(FloatSource& source, int64_t count, const OrderSettings& settings, FloatSink& sink,
                          ScratchRoom& room);

}  // namespace kymora
