#include "eventedit/adjust_times.h"

#include "numerics/rounding.h"

namespace kymora {

namespace {

struct Place {
    int64_t at = -1;
    float value = 0.0f;
};

struct Peak {
    Place left, top, right;
};

// No recording is as long; sums of a few of them and positions stay whole.
constexpr double farthest = 1e12;

int64_t Samples(double count) { return RoundHalfAway64(std::clamp(count, -farthest, farthest)); }

// The side of the peak that is not known to be its slope yet is the right one.
std::optional<Peak> FindPeak(const CEventKM& event, EventTrace& trace) {
    std::optional<Peak> found;
    Place least;  // so far
    trace.Each(event.onPosition, event.offPosition, [&](int64_t at, float value) {
        if (least.at < 0 || value <= least.value) least = {at, value};
        if (!found || value > found->top.value)
            found = Peak{least, {at, value}, {at, value}};
        else if (value < found->right.value)
            found->right = {at, value};
    });
    return found;
}

double LevelOf(const Place& trough, const Place& top, double part) {
    return static_cast<double>(trough.value) + part * (static_cast<double>(top.value) - trough.value);
}

}  // namespace

EventEnds AdjustedEnds(const CEventKM& event, const AdjustedBy& by, NormalDraws& normals) {
    const double on = event.onPosition, off = event.offPosition;
    if (by.kind == TimeAdjustment::relative)
        return {Samples(on + by.start * (off - on)), Samples(on + by.end * (off - on))};
    const bool isOffset = by.kind == TimeAdjustment::offset;
    const double first = by.sd > 0.0 ? by.sd * normals.Normal() : 0.0;
    const double second = isOffset ? first : by.sd > 0.0 ? by.sd * normals.Normal() : 0.0;
    // An event that is moved keeps its duration.
    const int64_t moved = Samples(by.start + first);
    return {event.onPosition + moved, event.offPosition + (isOffset ? moved : Samples(by.end + second))};
}

std::optional<EventEnds> BracketPeak(const CEventKM& event, EventTrace& trace, double rising,
                                     double falling) {
    const auto peak = FindPeak(event, trace);
    if (!peak) return std::nullopt;
    EventEnds ends{peak->top.at, peak->top.at + 1};
    const double onLevel = LevelOf(peak->left, peak->top, rising);
    trace.Each(peak->left.at, peak->top.at, [&](int64_t at, float value) {
        if (at < ends.on && value > onLevel) ends.on = at;
    });
    const double offLevel = LevelOf(peak->right, peak->top, falling);
    trace.Each(peak->top.at + 1, peak->right.at + 1, [&](int64_t at, float value) {
        if (value > offLevel) ends.off = at + 1;
    });
    return ends;
}

EventEnds HeldEnds(EventEnds ends, int64_t length) {
    ends.on = std::clamp<int64_t>(ends.on, 0, length);
    ends.off = std::clamp<int64_t>(ends.off, 0, length);
    ends.stays = ends.off > ends.on;
    return ends;
}

}  // namespace kymora
