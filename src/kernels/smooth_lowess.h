#pragma once
// Robust locally weighted regression over a run.

#include <span>

#include "curves/local_fit.h"
#include "host/host.h"
#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

struct LowessSettings {
    int64_t halfWindow = 1;  // samples
    LocalFitSettings fit;
};

inline constexpr const char* lowessProgressText = "LOWESS smoothing";
inline constexpr int64_t lowessPollInterval = 2000;  // results

// A local fit for each sample, in the middle of its window; at the ends the first and the last window serve
// for halfWindow samples each. When the window begins to move, the last sample of the first window is taken a
// second time and the first one leaves. So results halfWindow .. 2 x halfWindow - 1 are centred one sample
// ahead of their place, and the second copy leaves the window after 2 x halfWindow further samples.
//
// Shows its progress at the host; a cancel fails silently, with a line in the log. A run shorter than the
// window fails with a note. A half window of 0 changes nothing. `output` has the length of `input` and is
// another array.
KernelOutcome SmoothLOWESS(std::span<const float> input, const LowessSettings& settings,
                           std::span<float> output, Host& host);
// The same in double precision, for values that are no samples.
KernelOutcome SmoothLOWESS(std::span<const double> input, const LowessSettings& settings,
                           std::span<double> output, Host& host);
// The same results. `count` is the number of samples of the run.
KernelOutcome SmoothLOWESS(FloatSource& source, int64_t count, const LowessSettings& settings,
                           FloatSink& sink, Host& host);

}  // namespace kymora
