#include "app/operation_dock.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QScreen>
#include <QTabBar>
#include <QTimer>
#include <algorithm>

#include "app/main_frame.h"
#include "catalogue/windows/operation_window.h"
#include "widgets/text.h"

namespace kymora {

QRect HeldToScreens(const QRect& place) {
    if (!place.isValid()) return {};
    QRect room;
    qint64 most = 0;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect seen = screen->availableGeometry() & place;
        const qint64 area = seen.isEmpty() ? 0 : qint64{seen.width()} * seen.height();
        if (area <= most) continue;
        most = area;
        room = screen->availableGeometry();
    }
    if (most == 0) return {};
    const QSize size = place.size().boundedTo(room.size());
    return {QPoint(std::clamp(place.left(), room.left(), room.right() + 1 - size.width()),
                   std::clamp(place.top(), room.top(), room.bottom() + 1 - size.height())),
            size};
}

OperationDock::OperationDock(CMainFrame& frame, OperationWindow& window, const PanelPlace& place, int width)
    : QDockWidget(&frame), frame_(frame), window_(&window), floating_(place.floating) {
    setObjectName("panel");
    setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);
    ShowTitle();
    connect(&window, &QWidget::windowTitleChanged, this, &OperationDock::ShowTitle);
    connect(&window, &QDialog::finished, this, &QWidget::hide);
    connect(&window, &QObject::destroyed, this, &QObject::deleteLater);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* before, QWidget* now) {
        if (before) before->removeEventFilter(this);
        if (now && isAncestorOf(now)) now->installEventFilter(this);
    });
    connect(this, &QDockWidget::visibilityChanged, this, &OperationDock::Shown);
    window.SetDocked(!place.isFloating);
    setWidget(&window);
    JoinOthers(place.area, width);
    if (place.isFloating) {
        setFloating(true);
        TakeShape(true);
    }
    connect(this, &QDockWidget::topLevelChanged, this, &OperationDock::TakeShape);
}

void OperationDock::JoinOthers(Qt::DockWidgetArea area, int width) {
    QDockWidget* other = nullptr;
    for (auto* dock : frame_.findChildren<OperationDock*>(Qt::FindDirectChildrenOnly))
        if (dock != this && !dock->isFloating() && !dock->isHidden() && frame_.dockWidgetArea(dock) == area)
            other = dock;
    if (other) return frame_.tabifyDockWidget(other, this);
    frame_.addDockWidget(area, this);
    frame_.resizeDocks({this}, {width}, Qt::Horizontal);
}

// A floating panel is as large as what it shows, or as it was when it last floated.
void OperationDock::TakeShape(bool floats) {
    if (!window_) return;
    window_->SetDocked(!floats);
    ShowTitle();
    if (!floats) return;
    const QRect known = HeldToScreens(floating_);
    if (known.isNull()) {
        // Its parts stand otherwise now.
        window_->layout()->invalidate();
        window_->layout()->activate();
        resize(sizeHint().boundedTo(screen()->availableSize() * 9 / 10));
        // Once it has grown to what it shows.
        QTimer::singleShot(0, this, &OperationDock::ComeOntoScreen);
        return;
    }
    resize(known.size());
    move(HeldToScreens({Cascaded(known.topLeft()), known.size()}).topLeft());
}

// It comes from the edge of the main window, and is wider than it was there.
void OperationDock::ComeOntoScreen() {
    if (!isFloating()) return;
    const QRect room = screen()->availableGeometry();
    const QSize size = frameGeometry().size();
    move(std::clamp(x(), room.left(), std::max(room.left(), room.right() + 1 - size.width())),
         std::clamp(y(), room.top(), std::max(room.top(), room.bottom() + 1 - size.height())));
}

QPoint OperationDock::Cascaded(QPoint corner) const {
    constexpr int step = 32, most = 12;  // pixels; panels
    const auto isTaken = [&] {
        for (const auto* dock : frame_.findChildren<OperationDock*>(Qt::FindDirectChildrenOnly))
            if (dock != this && dock->isFloating() && !dock->isHidden() &&
                (dock->pos() - corner).manhattanLength() < step)
                return true;
        return false;
    };
    for (int i = 0; i < most && isTaken(); ++i) corner += QPoint(step, step);
    return corner;
}

// Beside the recording it need not say which one that is, and tabs are short.
void OperationDock::ShowTitle() {
    if (!window_) return;
    setWindowTitle(isFloating() ? window_->windowTitle() : ToQString(window_->Block().Title()));
}

void OperationDock::NotePlace() {
    if (isFloating() && isVisible()) floating_ = QRect(pos(), size());
}

PanelPlace OperationDock::Place() const {
    const Qt::DockWidgetArea area = frame_.dockWidgetArea(const_cast<OperationDock*>(this));
    return {isFloating(), area == Qt::NoDockWidgetArea ? Qt::RightDockWidgetArea : area, floating_};
}

void OperationDock::ComeToFront() {
    show();
    raise();
    for (QTabBar* tabs : frame_.findChildren<QTabBar*>(Qt::FindDirectChildrenOnly))
        tabs->setAccessibleName(tr("Panels"));
    if (isFloating()) activateWindow();
    if (window_) window_->FocusFirst();
}

bool OperationDock::HasKeyboard() const {
    const QWidget* holder = QApplication::focusWidget();
    return holder && isAncestorOf(holder);
}

QAbstractButton* OperationDock::ButtonOf(const QKeyEvent& key) const {
    const QKeySequence pressed(key.keyCombination());
    for (auto* button : findChildren<QAbstractButton*>())
        if (button->isVisible() && button->isEnabled() && button->shortcut() == pressed) return button;
    return nullptr;
}

// While the panel has the keyboard, its own mnemonics go before those of the menus, which a floating panel
// has, too: it is no window in which keys end.
bool OperationDock::eventFilter(QObject* watched, QEvent* event) {
    const bool isAsked = event->type() == QEvent::ShortcutOverride;
    if (!isAsked && event->type() != QEvent::KeyPress) return QDockWidget::eventFilter(watched, event);
    auto& key = static_cast<QKeyEvent&>(*event);
    QAbstractButton* button = (key.modifiers() & Qt::AltModifier) ? ButtonOf(key) : nullptr;
    if (!button) return QDockWidget::eventFilter(watched, event);
    isAsked ? event->accept() : button->click();
    return true;
}

// The window may refuse, while its operation is at work.
void OperationDock::closeEvent(QCloseEvent* event) {
    event->ignore();
    if (window_) window_->close();
}

void OperationDock::resizeEvent(QResizeEvent* event) {
    QDockWidget::resizeEvent(event);
    NotePlace();
}

void OperationDock::moveEvent(QMoveEvent* event) {
    QDockWidget::moveEvent(event);
    NotePlace();
}

}  // namespace kymora
