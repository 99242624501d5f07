#include "detection/outlier_detector.h"

namespace kymora {

namespace {

ThresholdRule RuleOf(float upper, float lower, OutlierDirection direction) {
    ThresholdRule rule;
    rule.levels.OnPos = rule.levels.OffPos = upper;
    rule.levels.OnNeg = rule.levels.OffNeg = lower;
    rule.direction = direction == OutlierDirection::both    ? OnsetDirection::both
                     : direction == OutlierDirection::above ? OnsetDirection::positive
                                                            : OnsetDirection::negative;
    return rule;
}

}  // namespace

OutlierDetector::OutlierDetector(float upper, float lower, OutlierDirection direction, int64_t first)
    : detector_(RuleOf(upper, lower, direction), first) {}

void OutlierDetector::Finish(std::vector<DetectedSpan>& events) {
    if (detector_.IsOpen()) events.push_back({detector_.Onset(), detector_.Position() - 1});
}

}  // namespace kymora
