#include "display/vector_trace.h"

#include <array>

namespace kymora {

namespace {

constexpr std::array<int, 4> vectorDotRadius{3, 6, 10, 25};

// Narrows the stretch of a way to where it lies within limits: `from` and `to` are shares of it.
void Narrow(double at, double goesTo, double low, double high, double& from, double& to) {
    const double way = goesTo - at;
    if (way == 0.0) {
        if (at < low || at > high) to = -1.0;
        return;
    }
    const double first = (low - at) / way, second = (high - at) / way;
    from = std::max(from, std::min(first, second));
    to = std::min(to, std::max(first, second));
}

}  // namespace

int VectorDotRadius(int dotSize) { return vectorDotRadius[static_cast<size_t>(std::clamp(dotSize, 0, 3))]; }

void VectorTraceLine::Dot(double x, int y, bool isInside) {
    const Point at{RoundHalfAway(x), y};
    if (isInside && lastDot_ != at) writer_.Disc(at.x, at.y, look_.dotRadius, look_.dotColour);
    if (isInside) lastDot_ = at;
}

void VectorTraceLine::CutTo(Place to, bool isInside) {
    if (!hasLast_) {
        if (!isInside) return;
        writer_.BeginLine();
        return writer_.LineTo(RoundHalfAway(to.x), RoundHalfAway(to.y));
    }
    double from = 0.0, until = 1.0;
    if (!isInside_ || !isInside) {
        Narrow(last_.x, to.x, 0.0, right_, from, until);
        if (look_.rows) Narrow(last_.y, to.y, look_.rows->first, look_.rows->second, from, until);
    }
    const auto at = [&](double share) {
        writer_.LineTo(RoundHalfAway(last_.x + share * (to.x - last_.x)),
                       RoundHalfAway(last_.y + share * (to.y - last_.y)));
    };
    if (isInside_) {
        at(std::max(0.0, until));
        writer_.EndLine();
    } else if (isInside) {
        writer_.BeginLine();
        at(std::min(1.0, from));
        writer_.LineTo(RoundHalfAway(to.x), RoundHalfAway(to.y));
    } else if (from < until) {
        writer_.BeginLine();
        at(from);
        at(until);
        writer_.EndLine();
    }
}

}  // namespace kymora
