#pragma once
// The samples of a trace as points of a fit.

#include <cstdint>
#include <vector>

#include "document/sample_reader.h"
#include "operations/operation_job.h"

namespace kymora {

struct FitSamples {
    std::vector<double> t, y;  // t: ms from the first sample of the stretch
};

// Those of a stretch that are there: gaps have none, and count in the time. Throws JobRefused for a sample
// that is no finite number (which tells the trace, and its time from `originMs` on), FileError or Cancelled.
FitSamples ReadFitSamples(SampleReader& samples, int trace, SampleSpan span, double interval,
                          double originMs);

}  // namespace kymora
