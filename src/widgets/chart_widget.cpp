#include "widgets/chart_widget.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "widgets/chart_painter.h"

namespace kymora {

namespace {

constexpr double zoomFactor = 0.8;    // of a step
constexpr double moveFactor = 0.1;    // of what is seen
constexpr double closestZoom = 1e-9;  // of the whole
constexpr int leastDrag = 6;          // pixels; less is no zoom along that axis

// [low, high] within [least, greatest], moved rather than cut while it fits.
void Hold(double& low, double& high, double least, double greatest) {
    const double width = std::min(high - low, greatest - least);
    low = std::clamp(low, least, greatest - width);
    high = low + width;
}

}  // namespace

ChartWidget::ChartWidget(QWidget* parent) : QWidget(parent) {
    setObjectName("chart");
    setAccessibleName(tr("Chart"));
    setToolTip(tr("<qt>Drag a rectangle or use the wheel to look closer (with Ctrl along the vertical axis); "
                  "a double click shows all. Keys: +, -, the arrows, Home.</qt>"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setCursor(Qt::CrossCursor);
    whole_ = box_ = WholeChart(chart_);
}

void ChartWidget::SetChart(Chart chart) {
    chart_ = std::move(chart);
    whole_ = WholeChart(chart_);
    const bool meets = box_.left < whole_.right && box_.right > whole_.left && box_.bottom < whole_.top &&
                       box_.top > whole_.bottom;
    if (showsAll_ || !meets)
        ShowAll();
    else
        SetBox(box_);
}

void ChartWidget::ShowAll() { SetBox(whole_); }

void ChartWidget::SetBox(ChartBox box) {
    const double leastWidth = whole_.Width() * closestZoom, leastHeight = whole_.Height() * closestZoom;
    if (box.Width() < leastWidth || box.Height() < leastHeight) return;
    Hold(box.left, box.right, whole_.left, whole_.right);
    Hold(box.bottom, box.top, whole_.bottom, whole_.top);
    // Beyond what numbers can tell apart there is nothing to see.
    if (!(box.left < box.right) || !(box.bottom < box.top)) return;
    box_ = box;
    showsAll_ = box_.Width() >= whole_.Width() && box_.Height() >= whole_.Height();
    Arrange();
    update();
}

void ChartWidget::Arrange() { plot_ = ChartPainter::PlotWithin(rect(), chart_, box_, fontMetrics()); }

QPointF ChartWidget::PixelOf(double x, double y) const {
    return {plot_.left() + (x - box_.left) * plot_.width() / box_.Width(),
            plot_.top() + (box_.top - y) * plot_.height() / box_.Height()};
}

QPointF ChartWidget::ValueAt(QPointF pixel) const {
    return {box_.left + (pixel.x() - plot_.left()) * box_.Width() / plot_.width(),
            box_.top - (pixel.y() - plot_.top()) * box_.Height() / plot_.height()};
}

// --- painting ---

void ChartWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    ChartPainter(painter, chart_, box_, palette()).Paint(rect(), plot_);
    if (dragFrom_) {
        QColor fill = palette().color(QPalette::Highlight);
        painter.setPen(fill);
        fill.setAlpha(50);
        painter.setBrush(fill);
        painter.drawRect(QRect(*dragFrom_, dragTo_).normalized());
        painter.setBrush(Qt::NoBrush);
    }
    painter.setPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void ChartWidget::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Arrange();
}

void ChartWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) Arrange();
}

// --- looking closer ---

void ChartWidget::Zoom(double factor, QPointF about, bool vertically) {
    ChartBox box = box_;
    if (vertically) {
        box.bottom = about.y() - (about.y() - box.bottom) * factor;
        box.top = about.y() + (box.top - about.y()) * factor;
    } else {
        box.left = about.x() - (about.x() - box.left) * factor;
        box.right = about.x() + (box.right - about.x()) * factor;
    }
    SetBox(box);
}

void ChartWidget::Move(double across, double up) {
    ChartBox box = box_;
    box.left += across * box_.Width();
    box.right += across * box_.Width();
    box.bottom += up * box_.Height();
    box.top += up * box_.Height();
    SetBox(box);
}

void ChartWidget::wheelEvent(QWheelEvent* event) {
    const double steps = event->angleDelta().y() / double{QWheelEvent::DefaultDeltasPerStep};
    if (steps == 0.0) return event->ignore();
    Zoom(std::pow(zoomFactor, steps), ValueAt(event->position()), event->modifiers() & Qt::ControlModifier);
    event->accept();
}

void ChartWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !plot_.contains(event->pos())) return;
    dragFrom_ = dragTo_ = event->pos();
}

void ChartWidget::mouseMoveEvent(QMouseEvent* event) {
    if (!dragFrom_) return;
    dragTo_ = QPoint(std::clamp(event->pos().x(), plot_.left(), plot_.right()),
                     std::clamp(event->pos().y(), plot_.top(), plot_.bottom()));
    update();
}

void ChartWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (!dragFrom_ || event->button() != Qt::LeftButton) return;
    const QRect dragged = QRect(*dragFrom_, dragTo_).normalized();
    dragFrom_.reset();
    ZoomTo(dragged);
    update();
}

// A flat rectangle zooms along one axis only.
void ChartWidget::ZoomTo(const QRect& dragged) {
    const QPointF leftTop = ValueAt(dragged.topLeft()), rightBottom = ValueAt(dragged.bottomRight());
    ChartBox box = box_;
    if (dragged.width() > leastDrag) {
        box.left = leftTop.x();
        box.right = rightBottom.x();
    }
    if (dragged.height() > leastDrag) {
        box.bottom = rightBottom.y();
        box.top = leftTop.y();
    }
    if (box != box_) SetBox(box);
}

void ChartWidget::mouseDoubleClickEvent(QMouseEvent*) {
    dragFrom_.reset();
    ShowAll();
}

void ChartWidget::keyPressEvent(QKeyEvent* event) {
    const QPointF middle((box_.left + box_.right) / 2, (box_.bottom + box_.top) / 2);
    const bool vertically = event->modifiers() & Qt::ControlModifier;
    switch (event->key()) {
    case Qt::Key_Plus:
        return Zoom(zoomFactor, middle, vertically);
    case Qt::Key_Minus:
        return Zoom(1.0 / zoomFactor, middle, vertically);
    case Qt::Key_Left:
        return Move(-moveFactor, 0.0);
    case Qt::Key_Right:
        return Move(moveFactor, 0.0);
    case Qt::Key_Up:
        return Move(0.0, moveFactor);
    case Qt::Key_Down:
        return Move(0.0, -moveFactor);
    case Qt::Key_Home:
        return ShowAll();
    case Qt::Key_Escape:
        // Ends a drag; with none it is the window's.
        if (dragFrom_) {
            dragFrom_.reset();
            return update();
        }
    }
    QWidget::keyPressEvent(event);
}

}  // namespace kymora
