#pragma once
// The pixels of the traces of a recording under way. Column c stands at x = c modulo the width, so that only
// new columns are painted; a window shows the two halves the other way round where they scroll.

#include <cstdint>
#include <vector>

#include "display/live/live_traces.h"

namespace kymora {

class LiveRaster {
  public:
    struct Look {
        uint32_t argb = 0xFF000000;
        AxisScale rows{1.0, -1.0, 0, 1};
        int top = 0, bottom = 0;  // rows that it may cover; bottom is exclusive
        bool operator==(const Look& other) const;
    };

    // What is beyond these makes all be painted anew.
    void SetSize(int width, int height);
    void SetLooks(std::vector<Look> looks);
    void Forget() { painted_ = nothing; }

    // Paints what came since the last time.
    void Paint(const LiveTraces& traces);

    int Width() const { return width_; }
    int Height() const { return height_; }
    // Rows from the top, 0xAARRGGBB; 0 where nothing is.
    const std::vector<uint32_t>& Pixels() const { return pixels_; }

    // Columns behind the place where a sweep goes on that are blank, so that it can be seen.
    static constexpr int gap = 8;

  private:
    static constexpr int64_t nothing = -1;

    void Blank(int64_t column);
    void PaintColumn(const LiveTraces& traces, int64_t column);

    int width_ = 1, height_ = 0;
    std::vector<uint32_t> pixels_;
    std::vector<Look> looks_;
    int64_t painted_ = nothing;  // the first column that may still change
};

}  // namespace kymora
