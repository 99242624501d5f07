#pragma once
// The samples of a trace that is made of points in time: each point a sample of its own with gaps between, or
// a curve through all of them.

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "document/run_list.h"
#include "exchange/fill_words.h"

namespace kymora {

// The sample nearest to a time from 0 on; half a sample goes up, also where the division misses it by its
// rounding, so that points at an interval have a sample each.
int64_t SparsePosition(double timeMs, double interval);

class SparseSamples {
  public:
    // Times in ms, rising, each with a sample of its own; values without a not-a-number where there is to be
    // a curve. The trace has `length` samples and ends behind the last point, or later. Throws
    // std::logic_error for too few points.
    SparseSamples(std::vector<double> times, std::vector<float> values, double interval, int64_t length,
                  const FillSettings& fill);

    const RunList& Runs() const { return runs_; }
    // The samples from position `from` on; not-a-number in gaps.
    void Read(int64_t from, std::span<float> to) const;
    // The samples outside of gaps, in their order. What `take` throws ends it.
    void ForBlocks(const std::function<void(std::span<const float>)>& take) const;

  private:
    std::vector<float> values_;
    double interval_;
    int64_t first_ = 0;  // the sample at which the curve begins
    std::unique_ptr<Interpolator> curve_;
    RunList runs_;
};

}  // namespace kymora
