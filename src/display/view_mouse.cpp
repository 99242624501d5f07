// The mouse and the modes of the view: who gets a press, and what follows it.

#include "display/kymora_view.h"

namespace kymora {

ViewMouse::ViewMouse(CKymoraView& view) : view_(view) {
    for (auto* make : {ViewTool, EventTool, OverlayTool, GuideTool}) Add(make());
}

const MouseTool* ViewMouse::Add(MouseTool tool) {
    tools_.push_back(std::make_unique<MouseTool>(std::move(tool)));
    return tools_.back().get();
}

void ViewMouse::Remove(const MouseTool* tool) {
    if (dragged_ == tool) Abandon();
    const bool hasMode = std::ranges::any_of(
        tool->modes, [&](const MouseMode& mode) { return mode.mode == view_.m_nMouseMode; });
    if (hasMode) view_.SetMouseMode(mouseNormal);
    std::erase_if(tools_, [tool](const auto& held) { return held.get() == tool; });
}

template <typename Use>
void ViewMouse::ForTargets(const MouseEvent& at, Use use) const {
    for (size_t t = tools_.size(); t-- > 0;)
        for (const HitTarget& target : tools_[t]->targets)
            if (target.hit(view_.Plot(), at.x, at.y) && use(*tools_[t], target)) return;
}

const HitTarget* ViewMouse::TargetAt(const MouseEvent& at) const {
    const HitTarget* found = nullptr;
    ForTargets(at, [&](const MouseTool&, const HitTarget& target) {
        found = &target;
        return true;
    });
    return found;
}

const MouseMode* ViewMouse::FindMode(int mode) const {
    const MouseTool* tool = ToolOfMode(mode);
    if (!tool) return nullptr;
    return &*std::ranges::find(tool->modes, mode, &MouseMode::mode);
}

// From the top, as targets are found.
const MouseTool* ViewMouse::ToolOfMode(int mode) const {
    for (size_t t = tools_.size(); t-- > 0;)
        if (std::ranges::find(tools_[t]->modes, mode, &MouseMode::mode) != tools_[t]->modes.end())
            return tools_[t].get();
    return nullptr;
}

void ViewMouse::ShowShape(CursorShape shape) const {
    if (view_.Window()) view_.Window()->SetCursorShape(shape);
}

void ViewMouse::ShowMode() const {
    const MouseMode* mode = FindMode(view_.m_nMouseMode);
    ShowShape(mode ? mode->shape : CursorShape::arrow);
    if (view_.Window()) view_.Window()->ShowStatus(mode ? mode->status : std::string_view());
}

void ViewMouse::Down(const MouseEvent& event) {
    if (event.button != MouseButton::left || drag_) return;
    dragged_ = nullptr;
    if (const MouseMode* mode = FindMode(view_.m_nMouseMode)) {
        dragged_ = ToolOfMode(view_.m_nMouseMode);
        drag_ = mode->press(view_, event);
    } else {
        ForTargets(event, [&](const MouseTool& tool, const HitTarget& target) {
            drag_ = target.grab(view_, event);
            if (drag_) dragged_ = &tool;
            return drag_ || !target.letsThrough;
        });
    }
    if (drag_) ShowShape(drag_->Shape());
    view_.Invalidate();
}

void ViewMouse::Move(const MouseEvent& event) {
    view_.m_mouse = Point{event.x, event.y};
    if (drag_) {
        drag_->Move(view_, event);
        return view_.Invalidate();
    }
    if (!view_.Window() || view_.m_nMouseMode != mouseNormal) return;
    const HitTarget* target = TargetAt(event);
    ShowShape(target ? target->shape : CursorShape::arrow);
}

void ViewMouse::Up(const MouseEvent& event) {
    if (!drag_ || event.button != MouseButton::left) return;
    const auto drag = std::move(drag_);
    drag->Release(view_, event);
    const MouseMode* mode = FindMode(view_.m_nMouseMode);
    ShowShape(mode ? mode->shape : CursorShape::arrow);
    view_.Invalidate();
}

void ViewMouse::DoubleClick(const MouseEvent& event) {
    if (event.button != MouseButton::left) return;
    if (view_.m_nMouseMode != mouseNormal) return Down(event);  // the second of two quick presses
    const HitTarget* target = TargetAt(event);
    if (target && target->doubleClick) target->doubleClick(view_, event);
}

bool ViewMouse::Abandon() {
    if (!drag_) return false;
    const auto drag = std::move(drag_);
    drag->Cancel(view_);
    const MouseMode* mode = FindMode(view_.m_nMouseMode);
    ShowShape(mode ? mode->shape : CursorShape::arrow);
    view_.Invalidate();
    return true;
}

// --- of the view ---

void CKymoraView::SetMouseMode(int mode) {
    mouse_.Abandon();
    m_nMouseMode = mouse_.FindMode(mode) ? mode : mouseNormal;
    mouse_.ShowMode();
    Invalidate();
}

void CKymoraView::Escape() {
    if (mouse_.Abandon()) return;
    if (IsReloading())
        CancelReload();
    else if (m_nMouseMode != mouseNormal)
        SetMouseMode(mouseNormal);
    else
        Select({});
}

void CKymoraView::Select(std::optional<Viewport> selection) {
    m_selection = selection;
    Invalidate();
}

void CKymoraView::SelectionUsed() {
    if (GetSession().options.cancelSelectionAfterAction != 0) Select({});
}

}  // namespace kymora
