#pragma once
// The geometry of the view in small value objects: which stretch of time is shown, where a time and a value
// lie in pixels, and how many samples share one bin of the display cache. Every conversion is total: no
// width, limit or viewport, however senseless, makes it divide by zero or leave the range of a pixel.

#include <algorithm>
#include <cmath>

#include "numerics/rounding.h"

namespace kymora {

inline constexpr int binCount = 4000;  // bins of the display cache, per trace

// Pixels stay within this distance of the window's corner, so that an infinite value is still a line to
// somewhere.
inline constexpr int farthestPixel = 1000000;

inline int ClampPixel(int64_t pixel) {
    return static_cast<int>(std::clamp<int64_t>(pixel, -farthestPixel, farthestPixel));
}

// Right and bottom are exclusive for areas that are filled, and the last line for frames.
struct PixelRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool Contains(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
    bool operator==(const PixelRect&) const = default;
};

struct Viewport {
    double start = 0.0;  // ms
    double end = 0.0;    // ms
    double Duration() const { return end - start; }
    bool operator==(const Viewport&) const = default;
};

// Time to x and back.
class TimeScale {
  public:
    TimeScale(Viewport viewport, int plotLeft, int plotWidth)
        : start_(viewport.start), duration_(viewport.Duration()), left_(plotLeft), width_(plotWidth) {}

    int ToPixel(double timeMs) const {
        if (!IsUsable()) return left_;
        return ClampPixel(RoundHalfAway((timeMs - start_) * width_ / duration_) + int64_t{left_});
    }
    // The same between pixels, and beyond them.
    double ToPlace(double timeMs) const {
        return IsUsable() ? (timeMs - start_) * width_ / duration_ + left_ : left_;
    }
    double ToTime(double x) const {
        if (!IsUsable()) return start_;
        return duration_ * (x - left_) / width_ + start_;
    }
    // False when the plot has no width or the viewport no duration; all times then lie at the left edge.
    bool IsUsable() const { return width_ > 0 && duration_ > 0.0 && std::isfinite(duration_); }

  private:
    double start_, duration_;
    int left_, width_;
};

// Value to y and back, within one band. The limits may be reversed; when they are equal, or the band has no
// height, every value lies at the bottom.
class AxisScale {
  public:
    // `top` and `bottom` are the pixels of axisTop and axisBottom.
    AxisScale(double axisTop, double axisBottom, int top, int bottom)
        : axisBottom_(axisBottom),
          perPixel_((axisTop - axisBottom) / std::max(1, bottom - top)),
          bottom_(bottom) {
        usable_ = bottom > top && perPixel_ != 0.0 && std::isfinite(perPixel_);
    }

    int ToPixel(double value) const {
        if (!usable_) return bottom_;
        return ClampPixel(RoundHalfAway((axisBottom_ - value) / perPixel_) + int64_t{bottom_});
    }
    double ToPlace(double value) const {
        return usable_ ? bottom_ + (axisBottom_ - value) / perPixel_ : bottom_;
    }
    double ToValue(double y) const { return axisBottom_ + perPixel_ * (bottom_ - y); }

  private:
    double axisBottom_, perPixel_;
    int bottom_;
    bool usable_ = false;
};

// The decimation level of a viewport: above 0 a bin joins 2^level samples, otherwise it holds one. `binsMs`
// is the time of sample 4000.
inline int ChooseCacheLevel(Viewport viewport, double binsMs) {
    int level = -5;
    while (level < 20 && !(viewport.end <= viewport.start + binsMs * std::ldexp(1.0, level))) ++level;
    return level;
}

inline int64_t SamplesPerBin(int level) { return int64_t{1} << std::clamp(level, 0, 20); }

}  // namespace kymora
