#pragma once
// Many axes, a few at a time: pages of the axes that are visible.

#include "display/kymora_view.h"

namespace kymora {

// Axes that can be read, one above the other, in a usual window.
inline constexpr int mostReadableAxes = 32, usualAxesAtOnce = 16;

// The axes that the user has chosen to see, on any page.
int VisibleAxes(const ViewSettings& settings);
// Whether some of them are on other pages.
bool HasAxisPages(const ViewSettings& settings);
bool HasAxesBefore(const ViewSettings& settings);
bool HasAxesBehind(const ViewSettings& settings);

// Where a view has more axes than can be read, the usual number of them at a time. No step of undo.
void LimitAxesAtOnce(CKymoraView& view);
// Half as many as are shown, or twice as many; of powers of two.
void ShowFewerAxes(CKymoraView& view);
void ShowMoreAxes(CKymoraView& view);
void ShowAllAxes(CKymoraView& view);
void ShowNextAxes(CKymoraView& view);
void ShowPreviousAxes(CKymoraView& view);

// The strip right of the traces that shows which of the axes are seen; empty where all are.
struct AxisStrip {
    PixelRect strip, thumb;
    int FirstAt(int y, int visible) const;
};
AxisStrip CalcAxisStrip(const PlotContext& context);
void DrawAxisStrip(const PlotContext& context, DrawDevice& device);
bool HitsAxisStrip(const PlotContext& context, int x, int y);
std::unique_ptr<MouseDrag> GrabAxisStrip(CKymoraView& view, const MouseEvent& event);

}  // namespace kymora
