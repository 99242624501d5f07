#pragma once
// The edit box in which a limit of a vertical axis is written, in the place of the limit itself. Tab and
// Shift+Tab go on to the next limit and back, Enter and a click elsewhere accept, ESC leaves the limit as it
// was.

#include <QLineEdit>

#include "display/kymora_view.h"

namespace kymora {

class LimitEdit : public QLineEdit {
    Q_OBJECT

  public:
    LimitEdit(CKymoraView& view, QWidget* parent);

    void Open(int axis, bool isMax);
    // The layout changed: follows the axis, or goes with it.
    void Place();

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    // False when the text was refused; the user was told.
    bool Accept();
    void Close();
    void GoOn(int direction);

    CKymoraView& view_;
    int NeededWidth() const;

    int axis_ = -1;
    bool isMax_ = true;
    bool accepting_ = false;
};

}  // namespace kymora
