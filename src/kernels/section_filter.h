#pragma once
// A run through a filter of second-order sections, one way or both ways.

#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"
#include "spectra/sections.h"

namespace kymora {

struct SectionFilterSettings {
    std::vector<Section> sections;
    bool isBidirectional = false;  // and again from the end, so that no phase is left
};

inline constexpr int64_t mostReflected = 1 << 20;  // samples

// In double; results are rounded to single precision. One way it begins as if the run's first sample had
// come for ever, so that a trace far from 0 does not begin with a step. Both ways it begins and ends with the
// run's own samples turned about its first and last one, as many as the filter remembers or as there are.
// Between the two ways results are single precision. No sections copy the run. `output` has the length of
// `input` and is another array. `goOn` is asked now and then; false ends it by Cancelled.
KernelOutcome FilterSections(std::span<const float> input, const SectionFilterSettings& settings,
                             std::span<float> output, const KernelPoll& goOn = {});
// The same results. `count` is the number of samples of the run. Both ways take two scratch runs.
KernelOutcome FilterSections(FloatSource& source, int64_t count, const SectionFilterSettings& settings,
                             FloatSink& sink, ScratchRoom& room);

}  // namespace kymora
