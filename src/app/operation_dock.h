#pragma once
// The panel in which the window of an operation stands beside the recordings, or floats above them as the
// user likes. It goes with the window, and the window closes with it.

#include <QDockWidget>
#include <QPointer>

class QAbstractButton;
class QKeyEvent;

namespace kymora {

class CMainFrame;
class OperationWindow;

// Where a panel stands, or stood when it was closed.
struct PanelPlace {
    bool isFloating = false;
    Qt::DockWidgetArea area = Qt::RightDockWidgetArea;
    QRect floating;  // the frame of the floating panel; null until it has floated
};

// A place where a window stood, moved and made smaller until all of it can be seen on one of the screens that
// there are now. Null where it was on none of them.
QRect HeldToScreens(const QRect& place);

class OperationDock : public QDockWidget {
    Q_OBJECT

  public:
    // Takes the window in and shows itself in its place, beside those that stand there already.
    OperationDock(CMainFrame& frame, OperationWindow& window, const PanelPlace& place, int width);

    OperationWindow* Window() const { return window_; }
    PanelPlace Place() const;
    // Shows it before the panels that share its place, and gives the keyboard to its first parameter.
    void ComeToFront();
    bool HasKeyboard() const;

  signals:
    // It can be seen now, or is covered by another one.
    void Shown(bool isShown);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

  private:
    void JoinOthers(Qt::DockWidgetArea area, int width);
    void TakeShape(bool floats);
    void NotePlace();
    // Beside the corners of other floating panels, so that none hides another.
    void ComeOntoScreen();
    QPoint Cascaded(QPoint corner) const;
    void ShowTitle();
    QAbstractButton* ButtonOf(const QKeyEvent& key) const;

    CMainFrame& frame_;
    QPointer<OperationWindow> window_;
    QRect floating_;
};

}  // namespace kymora
