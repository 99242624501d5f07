#pragma once
// What lies under the mouse: the one object that a click would take, for menus and for what is told of it.

#include "display/events/event_hits.h"
#include "display/kymora_view.h"
#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_scale_bars.h"

namespace kymora {

struct ViewObject {
    enum class Kind {
        nothing,
        plot,
        event,
        eventRow,  // of a channel, beside its events or on its name
        marker,
        annotation,
        scaleBar,
        vertCursor,  // or a label of it
        horzCursor,
        axis,
        traceName,
        timeAxis,
        slider,
    };
    Kind kind = Kind::nothing;
    int number = -1;  // channel, marker, cursor, axis or trace
    EventHit event{};
    AnnotationId annotation{};
    ScaleBarId bar{};
};

// In the order in which the mouse takes hold of them.
ViewObject ObjectAt(const PlotContext& context, Point at);
// "event", "eventRow" and so on.
// "Trace 2: electrode 2"
std::string TraceTitle(const CDataDoc& doc, int trace);

const char* KindName(ViewObject::Kind kind);

// The trace whose curve passes under a pixel or close by, or -1; of several the nearest.
int TraceAt(const PlotContext& context, Point at);

// What is worth knowing of it, in a few short lines; of the plot, where a trace passes, its value there.
// Empty where there is nothing to tell.
std::string HoverText(CKymoraView& view, Point at);

}  // namespace kymora
