// The mouse and the modes of the view: who gets a press, and what follows it.

#include "display/kymora_view.h"

namespace kymora {

namespace {

const HitTarget* TargetAt(const CKymoraView& view, int x, int y) {
    for (const auto& targets : {OverlayTargets(), EventTargets(), ViewTargets()})
        for (const HitTarget& target : targets)
            if (target.hit(view, x, y)) return &target;
    return nullptr;
}

const MouseMode* FindMode(int mode) {
    for (const auto& modes : {OverlayModes(), EventModes(), ViewModes()})
        for (const MouseMode& candidate : modes)
            if (candidate.mode == mode) return &candidate;
    return nullptr;
}

}  // namespace

void CKymoraView::SetMouseMode(int mode) {
    if (drag_) {
        drag_->Cancel(*this);
        drag_.reset();
    }
    const MouseMode* found = FindMode(mode);
    m_nMouseMode = found ? mode : mouseNormal;
    if (window_) {
        window_->SetCursorShape(found ? found->shape : CursorShape::arrow);
        window_->ShowStatus(found ? found->status : std::string_view());
    }
    Invalidate();
}

void CKymoraView::MouseDown(const MouseEvent& event) {
    if (event.button != MouseButton::left || drag_) return;
    if (const MouseMode* mode = FindMode(m_nMouseMode))
        drag_ = mode->press(*this, event);
    else if (const HitTarget* target = TargetAt(*this, event.x, event.y))
        drag_ = target->grab(*this, event);
    if (drag_ && window_) window_->SetCursorShape(drag_->Shape());
    Invalidate();
}

void CKymoraView::MouseMove(const MouseEvent& event) {
    m_mouse = Point{event.x, event.y};
    if (drag_) {
        drag_->Move(*this, event);
        Invalidate();
        return;
    }
    if (!window_ || m_nMouseMode != mouseNormal) return;
    const HitTarget* target = TargetAt(*this, event.x, event.y);
    window_->SetCursorShape(target ? target->shape : CursorShape::arrow);
}

void CKymoraView::MouseUp(const MouseEvent& event) {
    if (!drag_ || event.button != MouseButton::left) return;
    const auto drag = std::move(drag_);
    drag->Release(*this, event);
    const MouseMode* mode = FindMode(m_nMouseMode);
    if (window_) window_->SetCursorShape(mode ? mode->shape : CursorShape::arrow);
    Invalidate();
}

void CKymoraView::MouseDoubleClick(const MouseEvent& event) {
    if (event.button != MouseButton::left) return;
    if (m_nMouseMode != mouseNormal) return MouseDown(event);  // the second of two quick presses
    const HitTarget* target = TargetAt(*this, event.x, event.y);
    if (target && target->doubleClick) target->doubleClick(*this, event);
}

void CKymoraView::Escape() {
    if (drag_) {
        drag_->Cancel(*this);
        drag_.reset();
        const MouseMode* mode = FindMode(m_nMouseMode);
        if (window_) window_->SetCursorShape(mode ? mode->shape : CursorShape::arrow);
        Invalidate();
    } else if (IsReloading()) {
        CancelReload();
    } else if (m_nMouseMode != mouseNormal) {
        SetMouseMode(mouseNormal);
    } else {
        Select({});
    }
}

void CKymoraView::Select(std::optional<Viewport> selection) {
    m_selection = selection;
    Invalidate();
}

void CKymoraView::SelectionUsed() {
    if (GetSession().options.cancelSelectionAfterAction != 0) Select({});
}

void CKymoraView::DrawFeedback(DrawDevice& device) const {
    if (drag_) drag_->Draw(*this, device);
}

}  // namespace kymora
