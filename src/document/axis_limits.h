#pragma once
// The limits of an axis that shows all values of a trace, gathered while they are written.

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "document/data_doc.h"

namespace kymora {

// The extremes of the values that are numbers; they are set apart where they are equal.
class AxisLimits {
  public:
    void Include(std::span<const float> values) {
        for (const float value : values) {
            if (!std::isfinite(value)) continue;
            low_ = std::min(low_, value);
            high_ = std::max(high_, value);
        }
    }
    // Without a number the trace keeps its limits.
    void Give(TraceSettings& trace) const {
        if (low_ > high_) return;
        const double margin = low_ < high_ ? 0.0 : low_ == 0.0f ? 0.1 : std::fabs(double{low_}) / 20.0;
        trace.axisBottom = low_ - margin;
        trace.axisTop = high_ + margin;
    }

  private:
    float low_ = std::numeric_limits<float>::max();
    float high_ = std::numeric_limits<float>::lowest();
};

}  // namespace kymora
