#pragma once
// Resampling a run by a rational factor. Results lie on one grid over the whole recording, whose result 0 is
// sample 0, so that runs with gaps between them keep their distance.

#include <span>
#include <vector>

#include "kernels/passes.h"
#include "spectra/rational_resampling.h"

namespace kymora {

// A pass over a run that begins at position `start` of the recording. Beyond its ends the run goes on as its
// own mirror image through the end sample: value and slope have no break there. Where the image is used up
// its last value stays.
class ResamplePass {
  public:
    ResamplePass(const RationalResampler& filter, int64_t start);

    void Take(std::span<const float> samples, ResultBuffer& results);
    void Finish(ResultBuffer& results);

  private:
    int64_t Index() const { return place_ / filter_.Factor().up; }  // the sample at or before the next result
    int64_t Phase() const { return place_ % filter_.Factor().up; }
    float Sample(int64_t index) const { return held_[static_cast<size_t>(index - heldFrom_)]; }
    float Extended(int64_t index) const;
    void AddResult(ResultBuffer& results);
    void Drop();

    const RationalResampler& filter_;
    int64_t place_;              // of the next result, from the run's first sample, in parts of 1 / up sample
    int64_t seen_ = 0;           // samples that were taken
    float first_ = 0.0f;         // the run's first sample
    int64_t heldFrom_ = 0;       // the index of held_[0] in the run
    std::vector<float> held_;    // what coming results look at
    std::vector<float> window_;  // of a result at an end
};

}  // namespace kymora
