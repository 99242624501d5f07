#pragma once
// A view of 880 x 560 pixels on a ramp: its plot reaches from 70 to 870 and from 10 to 510, and 1000 ms are
// in view, so that a pixel is 1.25 ms. Of two traces the first has the rows 20 to 250 for 1000 to -1000, the
// second the rows 270 to 500.

#include "display/commands/commands.h"
#include "display/overlays/overlay_drawing.h"
#include "host/form.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {

class OverlayTest : public ViewTest {
  protected:
    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;

    void Open(int traces = 2, int64_t length = 5000) { Show(Ramp(traces, length)); }
    void Show(std::unique_ptr<MemoryDoc> shown) {
        view.reset();
        doc = std::move(shown);
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(880, 560);
        view->OnInitialUpdate();
        doc->SetModifiedFlag(false);
    }
    bool Run(std::string_view id, std::optional<Point> at = {}) {
        const Command* command = FindCommand(id);
        EXPECT_TRUE(command) << id;
        return command && RunCommand(*command, {*view, false, at});
    }
    bool IsEnabled(std::string_view id) const {
        const Command* command = FindCommand(id);
        return !command->enabled || command->enabled(*view);
    }
    bool IsChecked(std::string_view id) const { return FindCommand(id)->checked(*view); }
    void Press(int x, int y) { view->Mouse().Down({x, y}); }
    void Move(int x, int y) { view->Mouse().Move({x, y}); }
    void Release(int x, int y) { view->Mouse().Up({x, y}); }
    void Drag(int fromX, int fromY, int toX, int toY) {
        Press(fromX, fromY);
        Move((fromX + toX) / 2, (fromY + toY) / 2);
        Release(toX, toY);
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
    // Has the next form filled in and accepted.
    void Fill(std::function<void(Form&)> fill) {
        host.fillForms.push_back([fill = std::move(fill)](Form& form) {
            fill(form);
            return true;
        });
    }
};

}  // namespace kymora::test
