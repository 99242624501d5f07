#pragma once
// The whole picture of a recording on a device: what a window shows, and what a file gets.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

enum class PictureTarget {
    window,  // edit boxes stand for the times, the selected axes and the slider are shown
    file,    // everything is drawn
};

// Draws the view at the size of its layout.
void PaintRecording(const PlotContext& context, DrawDevice& device, PictureTarget target);

}  // namespace kymora
