#pragma once
// The mouse on a view, without a window: what is under it, what a press starts, and the modes in which a
// press means something else. Every part of the view brings a tool with its targets and modes, and a dialog
// can add one while it is open; the mouse goes to the drag that the topmost target starts.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

class CKymoraView;

enum class MouseButton { none, left, middle, right };

struct MouseEvent {
    int x = 0, y = 0;
    MouseButton button = MouseButton::left;
    bool ctrl = false, shift = false, alt = false;
};

enum class CursorShape { arrow, cross, horizontal, vertical, hand, grabbed, forbidden };

// What the mouse does while its button is held.
class MouseDrag {
  public:
    virtual ~MouseDrag() = default;
    virtual void Move(CKymoraView& view, const MouseEvent& event) = 0;
    virtual void Release(CKymoraView& view, const MouseEvent& event) = 0;
    // ESC: everything is as it was before the press.
    virtual void Cancel(CKymoraView&) {}
    // Over the finished picture.
    virtual void Draw(const PlotContext&, DrawDevice&) const {}
    virtual CursorShape Shape() const { return CursorShape::arrow; }
};

// What the drag under way draws over the picture.
inline void DrawFeedback(const PlotContext& context, DrawDevice& device) {
    if (context.drag) context.drag->Draw(context, device);
}

// Something on the view that the mouse can take hold of in the normal mode.
struct HitTarget {
    // Whether it lies under the pixel, and the pointer over it.
    std::function<bool(const PlotContext& context, int x, int y)> hit;
    CursorShape shape = CursorShape::arrow;
    // Starts on a press of the left button; null when the press was all.
    std::function<std::unique_ptr<MouseDrag>(CKymoraView& view, const MouseEvent& event)> grab;
    // A double click; empty when it means nothing here.
    std::function<void(CKymoraView& view, const MouseEvent& event)> doubleClick{};
    // A press that starts no drag goes on to what lies below.
    bool letsThrough = false;
};

// A mode other than the normal one. ESC ends it.
struct MouseMode {
    int mode;
    std::string_view status;  // what the status line says meanwhile
    CursorShape shape;
    // A press of the left button: answers the drag that it starts, or null. A mode that ends with its press
    // calls SetMouseMode(0) itself.
    std::function<std::unique_ptr<MouseDrag>(CKymoraView& view, const MouseEvent& event)> press;
};

// What one part of the program lets the mouse do.
struct MouseTool {
    std::vector<HitTarget> targets;  // tried in their order
    std::vector<MouseMode> modes{};
};

// The modes of the tools that every view has. Those of tools that come later have numbers from
// firstModeOfDialogs on.
enum : int {
    mouseNormal = 0,
    mouseMergeEvents = 1,
    mouseDeleteChannel = 2,
    mouseDeleteEvents = 3,
    mouseInsertFirst = 4,  // to 6: events of the three kinds of insertion
    mouseInsertLast = 6,
    mouseDeleteMarker = 8,
    mouseEditMarker = 9,
    mouseDeleteAnnotation = 10,
    mouseEditAnnotation = 11,
    mouseAddTag = 12,
    mouseDeleteTag = 13,
    mouseEditLabel = 14,
    mouseClearLabel = 15,
    mouseColourEvents = 16,
    mouseMagnifyHorizontally = 17,
    mouseMagnifyVertically = 18,
    mouseStretch = 19,
    mouseEventGroup = 20,
    mouseMoveEvents = 21,
    mouseAddVertCursors = 30,
    mouseAddHorzCursors = 31,
    mouseDeleteVertCursor = 32,
    mouseDeleteHorzCursor = 33,
    mouseAddMarker = 34,
    mouseAddAnnotation = 35,
    mouseDeleteScaleBar = 36,
    mouseSelectTime = 40,
    firstModeOfDialogs = 100,
};

// From the lowest on: of the view itself, of events, of cursors, markers, annotations and scale bars, and of
// the lines of dialogs.
MouseTool ViewTool();
MouseTool EventTool();
MouseTool OverlayTool();
MouseTool GuideTool();

// The mouse of one view: the tools, of which the last one lies on top, and the drag under way.
class ViewMouse {
  public:
    // With the tools that every view has.
    explicit ViewMouse(CKymoraView& view);

    // A tool stays until it is removed; a drag of it is abandoned then, and a mode of it ended.
    const MouseTool* Add(MouseTool tool);
    void Remove(const MouseTool* tool);

    void Down(const MouseEvent& event);
    void Move(const MouseEvent& event);
    void Up(const MouseEvent& event);
    void DoubleClick(const MouseEvent& event);
    // Puts back what the drag has done. False when there is none.
    bool Abandon();
    const MouseDrag* Drag() const { return drag_.get(); }
    // Null for the normal mode.
    const MouseMode* FindMode(int mode) const;
    // The pointer and the status line are those of the mode again.
    void ShowMode() const;

  private:
    // Calls `use(tool, target)` for what lies under a pixel, from the top, until it answers true.
    template <typename Use>
    void ForTargets(const MouseEvent& at, Use use) const;
    const MouseTool* ToolOfMode(int mode) const;
    const HitTarget* TargetAt(const MouseEvent& at) const;
    void ShowShape(CursorShape shape) const;

    CKymoraView& view_;
    std::vector<std::unique_ptr<MouseTool>> tools_;  // from the lowest on
    std::unique_ptr<MouseDrag> drag_;
    const MouseTool* dragged_ = nullptr;  // whose drag it is
};

}  // namespace kymora
