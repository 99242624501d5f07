#pragma once
// A small card beside the mouse that tells what lies under it, once the mouse has rested there for a moment.
// It goes with the next move, press or key, never takes the mouse, and never stands under it.

#include <QLabel>
#include <QTimer>

#include "display/kymora_view.h"

namespace kymora {

class HoverCard : public QLabel {
    Q_OBJECT

  public:
    HoverCard(CKymoraView& view, QWidget* parent);

    // The mouse has come to a place: the card comes up when it rests there.
    void RestAt(const QPoint& at);
    void Leave();

  private:
    void Open();
    void Place();

    CKymoraView& view_;
    QTimer rest_;
    QPoint at_;
};

}  // namespace kymora
