#pragma once
// The window of a view: it forwards mouse, keys and size, paints what the view draws, and holds the edit
// boxes of the time axis.

#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QWidget>

#include "display/commands/commands.h"
#include "display/kymora_view.h"
#include "display/windows/limit_edit.h"

class QKeyEvent;
class QPrinter;
class QWheelEvent;

namespace kymora {

class HoverCard;
class ReloadStrip;

// What the tables of commands know a key as.
Key KeyFrom(const QKeyEvent& event);

// The wheel, in steps.
class WheelTurn {
  public:
    // Away from the user, or to the left.
    int Take(QWheelEvent& event);

  private:
    int turn_ = 0;  // eighths of a degree that did not make a step yet
};

class ViewWidget : public QWidget, public ViewWindow {
    Q_OBJECT

  public:
    // The view must outlive the widget.
    explicit ViewWidget(CKymoraView& view, QWidget* parent = nullptr);
    ~ViewWidget() override;

    CKymoraView& View() const { return view_; }

    // Lets the view go, which another window will show, or none. The widget does nothing any more, and is to
    // be deleted when the events under way are over.
    void Release();

    // Whether a frame tells that it has the keyboard: not in a picture of it alone.
    void SetShowsFocus(bool shows) { showsFocus_ = shows; }

    void Invalidate() override;
    void ShowTimes() override;
    void LayoutChanged() override;
    void SetCursorShape(CursorShape shape) override;
    void ShowStatus(std::string_view text) override;
    void CopyText(std::string_view text) override;
    void CopyPicture() override;
    void Print() override;
    void EditLimit(int axis, bool isMax) override;
    void SetSize(int width, int height) override;
    void DocumentUpdated(UpdateHint hint) override { emit DocumentChanged(hint); }

    // False when the printer did not take it.
    bool PrintOn(QPrinter& printer);

    QSize sizeHint() const override { return {900, 560}; }

  signals:
    void DocumentChanged(UpdateHint hint);
    void StatusChanged(const QString& text);  // what is under the mouse; empty when it is outside of the plot
    void ViewChanged();                       // viewport, settings or samples
    void Released();                          // the view is let go

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QLineEdit* MakeEdit(const char* name, const QString& toolTip, Qt::Alignment alignment);
    void Accept(QLineEdit* edit);
    void PlaceEdits();
    void PaintPicture();
    // As it leaves the window, at the size that the screen really has.
    QImage PictureToKeep() const;
    void ApplyColours();
    void AskForMenu();
    void TurnWheel(int steps, const QPoint& at, Qt::KeyboardModifiers modifiers);

    CKymoraView& view_;
    QLineEdit* startEdit_;
    QLineEdit* timebaseEdit_;
    QLineEdit* endEdit_;
    QLabel* timebaseUnit_;
    LimitEdit* limitEdit_;
    ReloadStrip* strip_;
    HoverCard* card_;
    bool isMouseOver_ = false;
    std::optional<uint32_t> paper_;  // that the colours of the edit boxes were made for
    QImage picture_;
    bool pictureIsCurrent_ = false;
    bool showsFocus_ = true;
    bool accepting_ = false;
    bool isReleased_ = false;
    QString modeStatus_;  // of the mouse mode
    WheelTurn wheel_;
};

}  // namespace kymora
