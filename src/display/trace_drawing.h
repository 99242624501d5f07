#pragma once
// Paints traces from bins: an envelope of minimum and maximum where bins are narrower than a pixel, the plain
// line where a bin is one sample. Nothing here reads a file.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

inline constexpr uint32_t frameColour = Rgb(255, 192, 192);
inline constexpr uint32_t gridColour = Rgb(192, 192, 224);
inline constexpr uint32_t inactiveColour = Rgb(192, 192, 192);

// Bins of one trace, in the order of time: as the display cache has them (see Min, Max and Active there), or
// folded from samples.
struct TraceBins {
    std::span<const float> low, high;
    std::span<const uint8_t> active;  // empty: all are
    size_t first = 0, end = 0;        // those that are painted
    double start = 0.0, step = 1.0;   // the time of bin 0, and from one to the next
    double until = 0.0;               // the time up to which what lies past the end is drawn
    std::span<const int> x{};         // of each bin, where it is known already
    bool areSamples = false;          // a bin is one sample; one without neighbours is then made visible
};

struct TraceLook {
    Pen pen;
    bool drawAsDots = false;
    int dotSize = 0;  // 0 to 3
    bool showsInactive = false;
};

void DrawTraceBins(DrawDevice& device, const TraceLook& look, const TraceBins& bins, const TimeScale& times,
                   const AxisScale& values);

// Of the classic colours the frame is one; the even ones, and dark papers, have a grey one.
uint32_t FrameColourOn(const PlotContext& context, uint32_t paper);
// The frame around the plot (with axes on) and the grid.
void DrawFrameAndGrid(const PlotContext& context, DrawDevice& device);

// All traces that are shown, in the order of their axes, clipped to the plot.
void DrawTraces(const PlotContext& context, DrawDevice& device);

}  // namespace kymora
