#pragma once
// Markers, annotations, scale bars and cursors over the traces.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// The objects of the recording that lie in the viewport and whose switch is on.
void DrawOverlays(const PlotContext& context, DrawDevice& device);
// The lines of open dialogs.
void DrawGuides(const PlotContext& context, DrawDevice& device);
// Hollow boxes in the row of the channel, around the events that it holds already.
void DrawProposedEvents(const PlotContext& context, DrawDevice& device);
// The first and the last row of pixels on which a level of a trace that is shown can be drawn.
std::pair<int, int> GuideRows(const PlotContext& context, const ViewGuide& guide);
// The pixel of one across its line: x of a time and y of a level; nothing where it cannot be seen.
std::optional<int> GuidePlace(const PlotContext& context, const ViewGuide& guide);
// The view's own cursors with their labels.
void DrawCursors(const PlotContext& context, DrawDevice& device);

// --- what drags draw besides ---
// On each trace where a vertical cursor at a pixel meets it, at its sample there.
void DrawCursorDots(const PlotContext& context, DrawDevice& device, int x, const std::vector<float>& samples);
uint32_t CursorInk(const PlotContext& context);
void DrawMarkerCross(DrawDevice& device, int x);
// A dashed frame in place of what is dragged.
void DrawFocusRect(const PlotContext& context, DrawDevice& device, const PixelRect& rect);
// Where a dragged object would go, to the right of its place.
void DrawDragText(const PlotContext& context, DrawDevice& device, Point at, std::string_view text);

}  // namespace kymora
