#include "display/windows/reload_strip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "display/kymora_view.h"

namespace kymora {

namespace {

constexpr int pollMs = 15;
constexpr int pollsBeforeShown = 10;  // a shorter wait needs no strip
constexpr int steps = 1000;
constexpr int fromTop = 6;  // pixels below the top of the plot

}  // namespace

ReloadStrip::ReloadStrip(CKymoraView& view, QWidget* parent)
    : QFrame(parent), view_(view), bar_(new QProgressBar(this)) {
    setObjectName("reloadStrip");
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    bar_->setRange(0, steps);
    bar_->setAccessibleName(tr("Reading data"));
    auto* cancel = new QPushButton(tr("Cancel"), this);
    cancel->setObjectName("cancelReload");
    cancel->setToolTip(tr("Goes back to what was shown before (Esc)"));
    cancel->setFocusPolicy(Qt::NoFocus);  // the keys stay with the view
    connect(cancel, &QPushButton::clicked, this, [this] { view_.CancelReload(); });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 4, 8, 4);
    row->addWidget(new QLabel(tr("Reading data"), this));
    row->addWidget(bar_);
    row->addWidget(cancel);
    hide();
    timer_.setInterval(pollMs);
    connect(&timer_, &QTimer::timeout, this, &ReloadStrip::Poll);
}

void ReloadStrip::Watch() {
    if (!view_.IsReloading()) {
        timer_.stop();
        hide();
    } else if (!timer_.isActive()) {
        waited_ = 0;
        timer_.start();
    }
}

void ReloadStrip::Poll() {
    view_.PollReload();  // when it is done, the view has its window painted, which calls Watch
    if (!view_.IsReloading()) return Watch();
    bar_->setValue(static_cast<int>(view_.GetBins().Share() * steps));
    if (++waited_ < pollsBeforeShown) return;
    Place();
    show();
    raise();
}

void ReloadStrip::Place() {
    const PixelRect plot = view_.Plot().layout.plot;
    const QSize size = sizeHint();
    const int width = std::min(size.width(), parentWidget()->width());
    setGeometry(std::max(0, (plot.left + plot.right - width) / 2), plot.top + fromTop, width, size.height());
}

}  // namespace kymora
