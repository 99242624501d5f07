#pragma once
// The display of the refractory protocol: what it is at, its sweeps over each other, and the curve that it
// measures. The lines of the monitored window can be dragged while it is idle.

#include <QTimer>
#include <QWidget>
#include <memory>

#include "acquisition/acq_view.h"

namespace kymora {

class CDTRefrAcqView;
class ElidedLabel;
class GraphPanel;
class SweepsDrawing;

class RefractoryPanel : public QWidget, public AcqObserver {
    Q_OBJECT

  public:
    RefractoryPanel(Session& session, QWidget* parent);
    ~RefractoryPanel() override;

    // Of this protocol; null before it ends.
    void Show(const CDTRefrAcqView* view);
    // Something of it has changed.
    void Update() { isStale_ = true; }
    void Draw();

    void OnStateChanged() override { Update(); }
    void OnScans(std::span<const std::byte>) override { Update(); }

  signals:
    // A line of the window was dragged: its parameter, and where it lies in the sweep under review, ms.
    void WindowMoved(const QString& parameter, double ms);

  private:
    const CDTRefrAcqView* view_ = nullptr;
    std::unique_ptr<SweepsDrawing> drawing_;
    ElidedLabel* text_;
    GraphPanel *sweeps_, *curve_;
    QTimer frames_;
    bool isStale_ = true;
};

}  // namespace kymora
