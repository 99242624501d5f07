#include "display/live/live_raster.h"

#include <algorithm>

namespace kymora {

bool LiveRaster::Look::operator==(const Look& other) const {
    return argb == other.argb && top == other.top && bottom == other.bottom &&
           rows.ToValue(0.0) == other.rows.ToValue(0.0) && rows.ToValue(1.0) == other.rows.ToValue(1.0);
}

void LiveRaster::SetSize(int width, int height) {
    width = std::max(width, 1);
    height = std::max(height, 0);
    if (width == width_ && height == height_) return;
    width_ = width;
    height_ = height;
    pixels_.assign(static_cast<size_t>(width_) * static_cast<size_t>(height_), 0);
    Forget();
}

void LiveRaster::SetLooks(std::vector<Look> looks) {
    if (looks == looks_) return;
    looks_ = std::move(looks);
    Forget();
}

void LiveRaster::Paint(const LiveTraces& traces) {
    if (painted_ == nothing) std::ranges::fill(pixels_, 0u);
    if (traces.Scans() == 0) return;
    const int64_t last = traces.LastColumn();
    const int64_t first = std::max({int64_t{0}, painted_, last - width_ + 1});
    for (int64_t column = first; column <= last; ++column) PaintColumn(traces, column);
    painted_ = traces.OpenColumn();
    if (traces.Restarts()) {
        // Up to the right edge: a full sweep stands whole until the next one begins.
        const int64_t end = std::min<int64_t>(last + gap, last - last % width_ + width_ - 1);
        for (int64_t column = last + 1; column <= end; ++column) Blank(column);
    }
}

void LiveRaster::Blank(int64_t column) {
    const auto x = static_cast<size_t>(column % width_);
    for (size_t at = x; at < pixels_.size(); at += static_cast<size_t>(width_)) pixels_[at] = 0;
}

void LiveRaster::PaintColumn(const LiveTraces& traces, int64_t column) {
    Blank(column);
    const auto x = static_cast<size_t>(column % width_);
    for (size_t trace = 0; trace < std::min(looks_.size(), traces.Traces()); ++trace) {
        const Look& look = looks_[trace];
        const auto span = traces.Span(trace, column, look.rows);
        if (!span) continue;
        const int top = std::max({span->top, look.top, 0});
        const int bottom = std::min({span->bottom + 1, look.bottom, height_});
        for (int y = top; y < bottom; ++y)
            pixels_[static_cast<size_t>(y) * static_cast<size_t>(width_) + x] = look.argb;
    }
}

}  // namespace kymora
