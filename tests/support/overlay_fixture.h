#pragma once
// A view of 880 x 560 pixels on a ramp: its plot reaches from 70 to 870 and from 10 to 510, and 1000 ms are
// in view, so that a pixel is 1.25 ms. Of two traces the first has the rows 20 to 250 for 1000 to -1000, the
// second the rows 270 to 500.

#include "display/overlays/overlay_drawing.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {

class OverlayTest : public ShownTest {
  protected:
    void Open(int traces = 2, int64_t length = 5000) { Show(Ramp(traces, length)); }
    void Show(std::unique_ptr<MemoryDoc> shown) {
        ShownTest::Show(std::move(shown), {}, 560);
        doc->SetModifiedFlag(false);
    }
    RecordingDevice Draw() const {
        RecordingDevice device;
        DrawOverlays(view->Plot(), device);
        DrawCursors(view->Plot(), device);
        DrawFeedback(view->Plot(), device);
        return device;
    }
    // The place of a text; (-1, -1) when it was not written in the colour.
    static Point PlaceOf(const RecordingDevice& device, std::string_view text, uint32_t colour) {
        for (const DrawnText& drawn : device.texts)
            if (drawn.text == text && drawn.style.colour == colour) return {drawn.x, drawn.y};
        return {-1, -1};
    }
};

}  // namespace kymora::test
