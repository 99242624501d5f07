#pragma once
// The time axis below the plot and the vertical axes left of it. The first
// four draw for whatever has a band and a scale, the others for a view.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// Bracket, limits, ticks at round numbers and label left of a band, in the room of Layout's left margin. What
// does not fit into a low band is left out.
struct ValueAxis {
    PixelRect band;
    double min = 0.0, max = 1.0;
    std::string label, units;
    int left = 0;  // where that room begins
    int gap = 0;   // pixels above and below the band that the label may take
    int significantFigures = 4;
    bool hasTicks = true;
    uint32_t ink = 0, labelInk = 0;
    bool isSelected = false;
};
void DrawValueAxis(DrawDevice& device, const ValueAxis& axis);

void DrawTimeBracket(DrawDevice& device, const PixelRect& plot);

// Ticks on the bracket at round times, and their numbers in it.
struct TimeTicks {
    Viewport viewport;
    int unit = 0;
    // The time of day at the start of the recording, ms since midnight: the numbers are then times of day.
    std::optional<double> clock{};
    uint32_t paper = 0xFFFFFF;
};
void DrawTimeTicks(DrawDevice& device, const PixelRect& plot, const TimeTicks& ticks, uint32_t ink);

// Below the bracket. Where the plot is too narrow for all three, the two ends say what the middle would.
struct TimeTexts {
    std::string start, caption, end;
};
void DrawTimeTexts(DrawDevice& device, const PixelRect& plot, const TimeTexts& texts, uint32_t ink);

// The bracket below the plot. The texts are drawn in files; in a window, edit boxes stand in their place.
void DrawTimeAxis(const PlotContext& context, DrawDevice& device, bool withTexts);

// Bracket, limits and label of each shown axis. What does not fit into a low band is left out.
// `showSelection` marks the axes that commands act on.
void DrawVerticalAxes(const PlotContext& context, DrawDevice& device, bool showSelection);

// Where the text of a limit stands, and where a click on it is taken; empty where the band has no room for
// it.
PixelRect LimitRect(const PlotContext& context, int axis, bool isMax);

}  // namespace kymora
