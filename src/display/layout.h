#pragma once
// Where the parts of the view stand in its window.

#include "drawing/viewport.h"

namespace kymora {

struct LayoutInput {
    int width = 0;  // client size
    int height = 0;
    bool showAxes = true;
    float dataArea = 1.0f;  // fraction of the height given to the traces
    int visibleAxes = 1;
    int gutter = 0;  // left of everything else, for names
};

struct Layout {
    int width = 0;
    int height = 0;
    int gutter = 0;  // the axes and the plot begin there
    bool showAxes = true;
    PixelRect plot;
    PixelRect traces;        // of no height when the data area is 0
    int axisGap = 10;        // pixels free above and below the values of each band
    int band = 0;            // height of a band
    bool axesShown = false;  // the vertical axes are drawn

    // The pixels of the limits of the axis in a slot counted from the top; right is that of the plot.
    PixelRect BandLimits(int slot) const;
    // The slot whose band holds y, or -1.
    int SlotAt(int y, int slots) const;
    // Centre of the row of events at a fraction of the plot's height.
    int EventRow(double fraction) const;
    // The share of the height that leaves the traces a top at y.
    float DataAreaAt(int y) const;
    bool operator==(const Layout&) const = default;
};

// Pixels of the height that the plot leaves to the margin above it and the time axis below.
inline constexpr int aroundPlotHeight = 60;

Layout CalcLayout(const LayoutInput& input);

// The strip at the window's bottom that shows which part of the recording is seen.
struct Slider {
    PixelRect strip;
    PixelRect thumb;
    // The viewport's start after a drag has put the thumb's left edge at x.
    double StartAt(int x, double fileEndMs) const;
};
inline constexpr int sliderHeight = 8;
Slider CalcSlider(const Layout& layout, Viewport viewport, double fileEndMs);

}  // namespace kymora
