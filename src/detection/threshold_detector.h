#pragma once
// Threshold detection: a stretch of samples that begins beyond an onset level and stays beyond an offset
// level is one event. The samples come in blocks of any size, as the sequential reads give them (gaps as
// 0.0); block edges leave no trace in the result. All comparisons are strict, and the natural ones: a
// not-a-number crosses no level, and it ends an event.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

struct ThresholdLevels {
    float OnPos = 0.0f, OffPos = 0.0f, LimitPos = 0.0f;
    float OnNeg = 0.0f, OffNeg = 0.0f, LimitNeg = 0.0f;

    bool operator==(const ThresholdLevels&) const = default;
};

enum class OnsetDirection { positive = 0, negative = 1, both = 2 };
enum class LimitLogic { mustNotCross = 0, mustCross = 1 };

struct ThresholdRule {
    ThresholdLevels levels;
    OnsetDirection direction = OnsetDirection::positive;
    bool limitLogicUsed = false;
    LimitLogic limitLogic = LimitLogic::mustNotCross;
};

// Positions of the first sample of an event and of the first one behind it.
struct DetectedSpan {
    int64_t on = 0;
    int64_t off = 0;

    bool operator==(const DetectedSpan&) const = default;
};

class ThresholdDetector {
  public:
    // `first` is the position of the first sample that Take will get.
    explicit ThresholdDetector(const ThresholdRule& rule, int64_t first = 0);

    // The next samples. Appends the events that end among them. With "both" the sides are not tied to each
    // other: an event that began above the positive onset lasts while a sample is below the negative offset.
    void Take(std::span<const float> samples, std::vector<DetectedSpan>& events);
    // Ends the run of samples: an event still open ends behind the last one.
    void Finish(std::vector<DetectedSpan>& events);

    bool IsOpen() const { return open_; }
    int64_t Position() const { return position_; }  // of the next sample
    int64_t Onset() const { return onset_; }        // of the open event

  private:
    // The levels of one test; a side that the direction does not test has a level that nothing crosses.
    struct Band {
        float low, high;
        bool operator==(const Band&) const = default;
    };
    static Band MakeBand(OnsetDirection direction, float positive, float negative);
    void TakeMasked(const float* samples, size_t count, std::vector<DetectedSpan>& events);
    bool IsAccepted() const;
    void Close(int64_t offset, std::vector<DetectedSpan>& events);

    Band on_, still_, limit_;
    bool limitUsed_;
    LimitLogic limitLogic_;
    int64_t position_;
    bool open_ = false;
    bool limitReached_ = false;
    int64_t onset_ = 0;
};

}  // namespace kymora
