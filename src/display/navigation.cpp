#include "display/navigation.h"

namespace kymora {

Viewport Navigation::Compress() const {
    const double length = std::min(2.0 * shown.Duration(), longest);
    const double before = (length - shown.Duration()) / 2.0;
    const double start = keepsLeftEdge ? shown.start : std::max(0.0, shown.start - before);
    return {start, start + length};
}

Viewport Navigation::Expand() const {
    const double start = keepsLeftEdge ? shown.start : shown.start + shown.Duration() / 4.0;
    return {start, start + shown.Duration() / 2.0};
}

Viewport Navigation::FollowEnd(double before) const {
    const double slack = 1.5 * sample;
    const bool sawEnd = shown.start < before && shown.end >= before - slack;
    if (!sawEnd || shown.end >= end) return shown;
    if (shown.start <= 0.0 && shown.end <= before + slack) return ShowAll();
    return {end - shown.Duration(), end};
}

Viewport Navigation::OfLength(double length) const {
    const double start = keepsLeftEdge ? shown.start : std::max(0.0, Reference() - length / 2.0);
    return {start, start + length};
}

Viewport Navigation::Around(double time, double factor) const {
    const double start = std::max(0.0, time - (time - shown.start) * factor);
    return {start, start + shown.Duration() * factor};
}

}  // namespace kymora
