#pragma once
// A quick picture of bins that take long to read.

#include <chrono>

#include "summaries/bins.h"

namespace kymora {

// Bins of 2^level samples from a sparse look: a few samples at places spread evenly over them, each of which
// stands for the bins around it. When the time is up, fewer places have to do. Where data end and where there
// is none is shown as it is. Throws FileError.
Bins LookAtBins(CDataDoc& doc, int64_t from, int level, std::chrono::steady_clock::time_point deadline);

}  // namespace kymora
