#include "acquisition/windows/refractory_panel.h"

#include <QElapsedTimer>
#include <QSplitter>
#include <QVBoxLayout>
#include <algorithm>

#include "acquisition/refractory_graphs.h"
#include "graphs/windows/graph_panel.h"
#include "widgets/elided_label.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int refractoryFrameMs = 100, drawingShare = 5;  // of the time, one in so many parts
constexpr double textTimes = 1.3;                         // the usual font

}  // namespace

RefractoryPanel::RefractoryPanel(Session& session, QWidget* parent)
    : QWidget(parent), text_(new ElidedLabel(40, this)) {
    auto* halves = new QSplitter(Qt::Vertical, this);
    halves->setChildrenCollapsible(false);
    sweeps_ = new GraphPanel(session, halves);
    curve_ = new GraphPanel(session, halves);
    sweeps_->Widget().setObjectName("sweeps");
    curve_->Widget().setObjectName("curve");
    halves->addWidget(sweeps_);
    halves->addWidget(curve_);
    halves->setStretchFactor(0, 3);
    halves->setStretchFactor(1, 2);
    setFocusProxy(&sweeps_->Widget());
    QFont larger = font();
    larger.setPointSizeF(larger.pointSizeF() * textTimes);
    text_->setFont(larger);
    text_->setObjectName("refractoryText");
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(text_);
    column->addWidget(halves, 1);
    connect(&sweeps_->Widget(), &GraphWidget::LineMoved, this, &RefractoryPanel::WindowMoved);
    connect(&frames_, &QTimer::timeout, this, [this] {
        if (isStale_ && isVisible()) Draw();
    });
    frames_.start(refractoryFrameMs);
}

RefractoryPanel::~RefractoryPanel() = default;

void RefractoryPanel::Show(const CDTRefrAcqView* view) {
    view_ = view;
    drawing_ = std::make_unique<SweepsDrawing>();
    Update();
}

void RefractoryPanel::Draw() {
    isStale_ = false;
    if (!view_) return;
    text_->SetText(ToQString(RefractoryText(*view_)));
    QElapsedTimer taken;
    taken.start();
    sweeps_->Widget().SetGraph(drawing_->Draw(*view_));
    curve_->Widget().SetGraph(RefractoryCurve(*view_));
    sweeps_->Widget().repaint();
    curve_->Widget().repaint();
    // The sweeps are started by the same thread: most of its time is theirs.
    frames_.start(std::max(refractoryFrameMs, drawingShare * static_cast<int>(taken.elapsed())));
}

}  // namespace kymora
