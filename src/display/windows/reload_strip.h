#pragma once
// What a view's window shows while another thread reads its bins: how far that is, and a button that puts the
// last view back. It asks the view by a timer, and only while there is something to ask.

#include <QFrame>
#include <QTimer>

class QProgressBar;

namespace kymora {

class CKymoraView;

class ReloadStrip : public QFrame {
    Q_OBJECT

  public:
    // Stands on the window of the view, which must outlive it.
    ReloadStrip(CKymoraView& view, QWidget* parent);

    // The view may have begun to read; called after every change of it.
    void Watch();

  private:
    void Poll();
    void Place();

    CKymoraView& view_;
    QProgressBar* bar_;
    QTimer timer_;
    int waited_ = 0;  // polls since the reading began
};

}  // namespace kymora
