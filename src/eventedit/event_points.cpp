#include "eventedit/event_points.h"

#include "numerics/rounding.h"

namespace kymora {

namespace {

// The sums from which the centre of gravity follows once the smallest sample is known. Values are taken from
// the first one on, so that a large offset costs no digits.
struct Sums {
    int64_t count = 0, first = 0;
    double base = 0.0, least = 0.0;
    double values = 0.0, places = 0.0, products = 0.0;

    void Add(int64_t at, float value) {
        if (count++ == 0) {
            first = at;
            base = value;
        }
        const double x = value - base, place = static_cast<double>(at - first);
        least = std::min(least, x);
        values += x;
        places += place;
        products += x * place;
    }
    int64_t Centre() const {
        const double mass = values - static_cast<double>(count) * least;
        const double centre =
            mass > 0.0 ? (products - least * places) / mass : places / static_cast<double>(count);
        return first + RoundHalfAway64(centre);
    }
};

std::optional<int32_t> CentreOfGravity(const CEventKM& event, EventTrace& trace) {
    Sums sums;
    trace.Each(event.onPosition, event.offPosition, [&](int64_t at, float value) { sums.Add(at, value); });
    if (sums.count == 0) return std::nullopt;
    return static_cast<int32_t>(sums.Centre());
}

}  // namespace

int32_t PointAtFraction(const CEventKM& event, double fraction) {
    const double duration = static_cast<double>(int64_t{event.offPosition} - event.onPosition);
    const int64_t point = event.onPosition + RoundHalfAway64(fraction * duration);
    return static_cast<int32_t>(
        std::max<int64_t>(event.onPosition, std::min<int64_t>(point, int64_t{event.offPosition} - 1)));
}

std::optional<int32_t> PointInTrace(const CEventKM& event, PointOfEvent method, EventTrace& trace) {
    if (method == PointOfEvent::centreOfGravity) return CentreOfGravity(event, trace);
    const bool isMaximum = method == PointOfEvent::maximum;
    std::optional<int32_t> point;
    float extreme = 0.0f;
    trace.Each(event.onPosition, event.offPosition, [&](int64_t at, float value) {
        if (point && !(isMaximum ? value > extreme : value < extreme)) return;
        point = static_cast<int32_t>(at);
        extreme = value;
    });
    return point;
}

}  // namespace kymora
