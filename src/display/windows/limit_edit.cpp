#include "display/windows/limit_edit.h"

#include <QKeyEvent>
#include <algorithm>

#include "display/axis_drawing.h"
#include "display/axis_edits.h"
#include "drawing/windows/painter_device.h"

namespace kymora {

namespace {

constexpr int limitLeft = 2, limitHeight = 19;
constexpr int aroundText = 18;  // frame, margins and the caret

}  // namespace

LimitEdit::LimitEdit(CKymoraView& view, QWidget* parent) : QLineEdit(parent), view_(view) {
    setObjectName("limitEdit");
    setAlignment(Qt::AlignRight);
    setFont(PainterDevice::TextFont());
    hide();
    connect(this, &QLineEdit::textChanged, this, &LimitEdit::Place);
}

int LimitEdit::NeededWidth() const { return fontMetrics().horizontalAdvance(text()) + aroundText; }

void LimitEdit::Open(int axis, bool isMax) {
    if (view_.Plot().SlotOf(axis) < 0 || !view_.Plot().layout.axesShown) return;
    axis_ = axis;
    isMax_ = isMax;
    const QString name = QString::fromStdString(view_.m_axes[static_cast<size_t>(axis)].m_strLabel);
    setToolTip(isMax ? tr("Maximum of the axis") : tr("Minimum of the axis"));
    setAccessibleName((isMax ? tr("Maximum of %1") : tr("Minimum of %1")).arg(name));
    setText(QString::fromStdString(LimitText(view_, axis, isMax)));
    setModified(false);
    show();
    Place();
    selectAll();
    setFocus();
}

void LimitEdit::Place() {
    if (isHidden()) return;
    if (view_.Plot().SlotOf(axis_) < 0 || !view_.Plot().layout.axesShown) return Close();
    const PixelRect rect = LimitRect(view_.Plot(), axis_, isMax_);
    const PixelRect band = view_.Plot().BandOf(axis_);
    const bool hasRoom = rect.Height() > 0;
    const int top = !hasRoom ? (band.top + band.bottom - limitHeight) / 2
                    : isMax_ ? rect.top
                             : rect.bottom - limitHeight;
    // As wide as its number: over the names beside the axis, and over the plot if need be.
    const int left = view_.Plot().layout.gutter + limitLeft;
    const int right = hasRoom ? rect.right : band.left - limitLeft;
    const int width = std::min(std::max(right - left, NeededWidth()), parentWidget()->width() - limitLeft);
    setGeometry(std::max(limitLeft, right - width), top, width, limitHeight);
}

bool LimitEdit::Accept() {
    if (!isModified() || accepting_) return true;
    accepting_ = true;  // a message box takes the focus, which would accept a second time
    const bool accepted = SetLimitFromText(view_, axis_, isMax_, text().toStdString());
    accepting_ = false;
    setModified(!accepted);
    return accepted;
}

void LimitEdit::Close() {
    axis_ = -1;
    const bool hadFocus = hasFocus();
    hide();
    if (hadFocus) parentWidget()->setFocus();
}

void LimitEdit::GoOn(int direction) {
    if (!Accept()) return selectAll();
    const std::vector<int>& shown = view_.Plot().shownAxes;
    const int count = 2 * static_cast<int>(shown.size());
    const int at = 2 * view_.Plot().SlotOf(axis_) + (isMax_ ? 0 : 1);
    if (count == 0 || at < 0) return Close();
    const int next = (at + direction + count) % count;
    const int axis = shown[static_cast<size_t>(next / 2)];
    view_.SelectAxis(axis, false);
    Open(axis, next % 2 == 0);
}

bool LimitEdit::event(QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Tab || key == Qt::Key_Backtab) {
            GoOn(key == Qt::Key_Tab ? 1 : -1);
            return true;
        }
    }
    return QLineEdit::event(event);
}

void LimitEdit::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        return Close();
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return Accept() ? Close() : selectAll();
    default:
        QLineEdit::keyPressEvent(event);
    }
}

void LimitEdit::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    const bool isAway =
        event->reason() == Qt::ActiveWindowFocusReason || event->reason() == Qt::PopupFocusReason;
    if (isAway || accepting_ || axis_ < 0) return;
    Accept();
    Close();
}

}  // namespace kymora
