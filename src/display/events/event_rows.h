#pragma once
// The events of the visible channels, each channel as a row with a shape by its channelDrawMode. Costs
// pixels, not events: about one rectangle per pixel column and row, whatever the number of events. No event
// is left out: where several start in one column it shows the most special of them (tagged, then of its own
// colour).

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// Shapes that channelDrawMode stands for. Any other number is drawn as the default and kept.
enum EventShape : int32_t {
    shapeTicks = 0,   // a line at the onset
    shapeBars = 1,    // a filled bar from onset to offset
    shapeUsual = 2,   // a line at the onset and a thin bar
    shapeBoxes = 3,   // an outline
    shapeDots = 4,    // a dot at the onset
    shapeShades = 5,  // as the default, and a pale shade behind the traces over the whole height
    shapeCount = 6,
};
inline constexpr int32_t defaultShape = shapeUsual;

inline constexpr int eventReach = 5;  // pixels of a row above and below its centre

// The ground of the rows above the traces, every second one tinted, and the line below them.
void DrawEventBand(const PlotContext& context, DrawDevice& device);
// What lies behind the traces.
void DrawEventShades(const PlotContext& context, DrawDevice& device);
// Lines through the bands of the traces in which events were found; nothing unless the view shows them.
void DrawEventTicks(const PlotContext& context, DrawDevice& device);
// Left of the plot, with the numbers of events. Names that find no room are left out.
void DrawEventNames(const PlotContext& context, DrawDevice& device);
void DrawEventRows(const PlotContext& context, DrawDevice& device);
// On the screen only: which channel the mouse works on.
void DrawSelectedChannel(const PlotContext& context, DrawDevice& device);

// The channel has a row in the view: it is visible and holds events, or events are inserted into it.
bool HasEventRow(const PlotContext& context, int channel);
// The pixel of the row's centre.
int EventRowY(const PlotContext& context, int channel);

}  // namespace kymora
