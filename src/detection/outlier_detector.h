#pragma once
// The simple detector: each run of samples beyond an upper or a lower level is one event. Samples come as for
// ThresholdDetector.

#include "detection/threshold_detector.h"

namespace kymora {

// Of the lines that show the levels, 0x00BBGGRR.
inline constexpr uint32_t upperColour = 0x0000FF, lowerColour = 0xFF00FF;

enum class OutlierDirection { both = 0, above = 1, below = 2 };

class OutlierDetector {
  public:
    // `first` is the position of the first sample that Take will get.
    OutlierDetector(float upper, float lower, OutlierDirection direction, int64_t first = 0);

    void Take(std::span<const float> samples, std::vector<DetectedSpan>& events) {
        detector_.Take(samples, events);
    }
    // Ends the run of samples. An event still open ends at the position of the last sample, which it thus
    // does not hold: one that begins with the last sample has no length.
    void Finish(std::vector<DetectedSpan>& events);

  private:
    ThresholdDetector detector_;
};

}  // namespace kymora
