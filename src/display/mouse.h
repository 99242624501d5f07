#pragma once
// The mouse on a view, without a window: what is under it, what a press starts, and the modes in which a
// press means something else. The view tries its targets in their order and hands the mouse to the drag that
// one of them starts; every part of the view brings its own targets and modes.

#include <memory>
#include <span>
#include <string_view>

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
    virtual void Draw(const CKymoraView&, DrawDevice&) const {}
    virtual CursorShape Shape() const { return CursorShape::arrow; }
};

// Something on the view that the mouse can take hold of in the normal mode.
struct HitTarget {
    // Whether it lies under the pixel, and the pointer over it.
    bool (*hit)(const CKymoraView& view, int x, int y);
    CursorShape shape;
    // Starts on a press of the left button; null when the press was all.
    std::unique_ptr<MouseDrag> (*grab)(CKymoraView& view, const MouseEvent& event);
    // A double click; null when it means nothing here.
    void (*doubleClick)(CKymoraView& view, const MouseEvent& event) = nullptr;
};

// A mode other than the normal one. ESC ends it.
struct MouseMode {
    int mode;
    std::string_view status;  // what the status line says meanwhile
    CursorShape shape;
    // A press of the left button: answers the drag that it starts, or null. A mode that ends with its press
    // calls SetMouseMode(0) itself.
    std::unique_ptr<MouseDrag> (*press)(CKymoraView& view, const MouseEvent& event);
};

// Modes beyond those that one number can tell apart in the normal table of modes.
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
};

// Of cursors, markers, annotations and scale bars; of events; and of the view itself. The targets are tried
// in this order.
std::span<const HitTarget> OverlayTargets();
std::span<const HitTarget> EventTargets();
std::span<const HitTarget> ViewTargets();
std::span<const MouseMode> OverlayModes();
std::span<const MouseMode> EventModes();
std::span<const MouseMode> ViewModes();

}  // namespace kymora
