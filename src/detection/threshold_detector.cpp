#include "detection/threshold_detector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "numerics/band.h"

namespace kymora {

namespace {

// As many low bits.
uint64_t Below(size_t count) { return count >= maskSize ? ~uint64_t{0} : (uint64_t{1} << count) - 1; }

}  // namespace

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
    size_t at = 0;
    for (; at + maskSize <= samples.size(); at += maskSize) TakeMasked(&samples[at], maskSize, events);
    if (at == samples.size()) return;
    // What is no number is beyond no level.
    std::array<float, maskSize> rest;
    rest.fill(std::numeric_limits<float>::quiet_NaN());
    std::ranges::copy(samples.subspan(at), rest.begin());
    TakeMasked(rest.data(), samples.size() - at, events);
}

// The first `count` of 64 samples. Their tests are made together; then only onsets and ends are visited.
void ThresholdDetector::TakeMasked(const float* samples, size_t count, std::vector<DetectedSpan>& events) {
    const int64_t begin = position_;
    position_ += static_cast<int64_t>(count);
    if (!open_ && !AnyOutside(samples, on_.low, on_.high)) return;
    const uint64_t on = OutsideMask(samples, on_.low, on_.high);
    const uint64_t still = still_ == on_ ? on : OutsideMask(samples, still_.low, still_.high);
    const uint64_t limit = limitUsed_ ? OutsideMask(samples, limit_.low, limit_.high) : 0;
    const uint64_t all = count == maskSize ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
    for (size_t at = 0; at < count;) {
        const uint64_t sought = (open_ ? ~still & all : on) >> at;
        const size_t found = sought != 0 ? at + static_cast<size_t>(std::countr_zero(sought)) : count;
        if (open_) {
            if (((limit >> at) & Below(found - at)) != 0) limitReached_ = true;
            if (found == count) break;
            Close(begin + static_cast<int64_t>(found), events);
        } else {
            if (found == count) break;
            open_ = true;
            onset_ = begin + static_cast<int64_t>(found);
            limitReached_ = (limit >> found & 1) != 0;
        }
        at = found + 1;  // the sample that ends an event is not tested as an onset
    }
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
