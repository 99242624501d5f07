#include "detection/threshold_detector.h"

#include <algorithm>
#include <limits>

#include "numerics/band.h"

namespace kymora {

ThresholdDetector::ThresholdDetector(const ThresholdRule& rule, int64_t first)
    : on_(MakeBand(rule.direction, rule.levels.OnPos, rule.levels.OnNeg)),
      still_(MakeBand(rule.direction, rule.levels.OffPos, rule.levels.OffNeg)),
      limit_(MakeBand(rule.direction, rule.levels.LimitPos, rule.levels.LimitNeg)),
      limitUsed_(rule.limitLogicUsed),
      limitLogic_(rule.limitLogic),
      position_(first) {}

ThresholdDetector::Band ThresholdDetector::MakeBand(OnsetDirection direction, float positive,
                                                    float negative) {
    constexpr float never = std::numeric_limits<float>::infinity();
    return {direction == OnsetDirection::positive ? -never : negative,
            direction == OnsetDirection::negative ? never : positive};
}

void ThresholdDetector::Take(std::span<const float> samples, std::vector<DetectedSpan>& events) {
    for (size_t i = 0; i < samples.size();) {
        if (!open_) {
            i += FindOutside(samples.subspan(i), on_.low, on_.high);
            if (i == samples.size()) break;
            open_ = true;
            onset_ = position_ + static_cast<int64_t>(i);
            limitReached_ = limit_.IsCrossedBy(samples[i]);
            ++i;
        } else {
            i = FindOffset(samples, i);
            if (i == samples.size()) break;
            Close(position_ + static_cast<int64_t>(i), events);
            ++i;  // the sample that ends an event is not tested as an onset
        }
    }
    position_ += static_cast<int64_t>(samples.size());
}

// Index of the first sample from `from` on that is not still on. Notes whether those before it reach the
// limit.
size_t ThresholdDetector::FindOffset(std::span<const float> samples, size_t from) {
    const size_t offset = from + FindNotOutside(samples.subspan(from), still_.low, still_.high);
    if (limitUsed_ && !limitReached_) {
        const auto event = samples.subspan(from, offset - from);
        limitReached_ = FindOutside(event, limit_.low, limit_.high) < event.size();
    }
    return offset;
}

bool ThresholdDetector::IsAccepted() const {
    if (!limitUsed_) return true;
    return limitReached_ == (limitLogic_ == LimitLogic::mustCross);
}

void ThresholdDetector::Close(int64_t offset, std::vector<DetectedSpan>& events) {
    open_ = false;
    if (IsAccepted()) events.push_back({onset_, offset});
}

void ThresholdDetector::Finish(std::vector<DetectedSpan>& events) {
    if (open_) Close(position_, events);
}

}  // namespace kymora
