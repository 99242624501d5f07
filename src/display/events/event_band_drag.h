#pragma once
// The lower edge of the event rows, which the mouse takes hold of to give them more or less of the height.

#include <memory>

#include "display/mouse.h"
#include "display/plot_context.h"

namespace kymora {

bool HitsEventBandEdge(const PlotContext& context, int x, int y);
std::unique_ptr<MouseDrag> GrabEventBandEdge(CKymoraView& view, const MouseEvent& event);

}  // namespace kymora
