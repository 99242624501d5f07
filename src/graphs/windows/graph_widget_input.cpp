// The mouse and the keyboard over a graph.

#include <QAccessible>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "drawing/number_labels.h"
#include "graphs/windows/graph_widget.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double zoomFactor = 0.8;     // of a step
constexpr double moveFactor = 0.1;     // of what is seen
constexpr int leastCornerWay = 4;      // pixels, from one corner of an outline to the next
constexpr int leastDrag = 6;           // pixels; less is no zoom along that axis
constexpr double axisEndShare = 0.2;   // of an axis, at each end: by which it is stretched
constexpr double leastStretch = 0.02;  // of what was seen
constexpr int manyPixels = 10;

double PlaceOf(const PanePlace& place, const GraphLine& line) {
    return line.isUpright ? place.x.ToPixel(line.at) : place.y.ToPixel(line.at);
}

}  // namespace

// --- looking closer ---

void GraphWidget::Zoom(size_t pane, double factor, QPointF about, bool across, bool up) {
    const PanePlace& place = places_[pane];
    SetBox(pane, Zoomed(graph_.panes[pane], boxes_[pane], factor, place.x.ToValue(about.x()),
                        place.y.ToValue(about.y()), across, up));
}

void GraphWidget::Move(size_t pane, double across, double up) {
    SetBox(pane, Moved(graph_.panes[pane], boxes_[pane], across, up));
}

QPointF GraphWidget::MiddleOf(size_t pane) const {
    const PixelRect& plot = places_[pane].plot;
    return {(plot.left + plot.right) / 2.0, (plot.top + plot.bottom) / 2.0};
}

// A flat rectangle zooms along one axis only.
void GraphWidget::ZoomTo(size_t pane, const QRect& dragged) {
    const PanePlace& place = places_[pane];
    GraphBox box = boxes_[pane];
    if (dragged.width() > leastDrag) {
        box.left = place.x.ToValue(dragged.left());
        box.right = place.x.ToValue(dragged.right());
    }
    if (dragged.height() > leastDrag) {
        box.bottom = place.y.ToValue(dragged.bottom());
        box.top = place.y.ToValue(dragged.top());
    }
    if (box != boxes_[pane]) SetBox(pane, box);
}

// To the ends of the pixels that were gone over.
void GraphWidget::SelectIn(size_t pane, const QRect& dragged) {
    const PanePlace& place = places_[pane];
    GraphArea area = *graph_.panes[pane].area;
    area.left = place.x.ToValue(dragged.left());
    area.right = place.x.ToValue(dragged.right() + 1);
    area.bottom = place.y.ToValue(dragged.bottom() + 1);
    area.top = place.y.ToValue(dragged.top());
    const double pixel = std::abs(place.x.ToValue(1.0) - place.x.ToValue(0.0));
    area.left = RoundedWithin(area.left, pixel);
    area.right = RoundedWithin(area.right, pixel);
    if (area.hasRows) {
        area.bottom = std::floor(area.bottom + 0.5) - 0.5;
        area.top = std::ceil(area.top - 0.5) + 0.5;
    }
    emit AreaSet(static_cast<int>(pane), area);
}

bool GraphWidget::CanSelect() const {
    return std::ranges::any_of(graph_.panes,
                               [](const GraphPane& pane) { return pane.area || pane.takesOutlines; });
}

void GraphWidget::wheelEvent(QWheelEvent* event) {
    const QPoint angle = event->angleDelta();
    const QPoint at = event->position().toPoint();
    const GraphHit hit = HitGraph(graph_, places_, at.x(), at.y());
    const bool isAxis = hit.what == GraphHit::What::xAxis || hit.what == GraphHit::What::yAxis;
    const bool isPlot = hit.what == GraphHit::What::plot || hit.what == GraphHit::What::line;
    if ((!isAxis && !isPlot) || angle.isNull()) return event->ignore();
    const double steps = angle.y() / double{QWheelEvent::DefaultDeltasPerStep};
    if (angle.x() != 0 && angle.y() == 0) {
        Move(hit.pane, -moveFactor * angle.x() / double{QWheelEvent::DefaultDeltasPerStep}, 0.0);
        return event->accept();
    }
    const bool up =
        isAxis ? hit.what == GraphHit::What::yAxis : bool(event->modifiers() & Qt::ControlModifier);
    Zoom(hit.pane, std::pow(zoomFactor, steps), event->position(), !up, up);
    event->accept();
}

void GraphWidget::SendOutline(const Drag& drag) {
    if (drag.corners.size() < 3) return;
    const PanePlace& place = places_[drag.hit.pane];
    std::vector<std::pair<double, double>> corners;
    for (const QPoint& corner : drag.corners)
        corners.emplace_back(place.x.ToValue(corner.x()), place.y.ToValue(corner.y()));
    emit Outlined(static_cast<int>(drag.hit.pane), corners);
}

// --- dragging ---

bool GraphWidget::IsAtEnd(const GraphHit& hit, QPoint at, bool& isLow) const {
    const PixelRect& plot = places_[hit.pane].plot;
    const bool isX = hit.what == GraphHit::What::xAxis;
    const double share = isX ? (at.x() - plot.left) / std::max(1.0, double(plot.Width()))
                             : (plot.bottom - at.y()) / std::max(1.0, double(plot.Height()));
    isLow = share < 0.5;
    return share < axisEndShare || share > 1.0 - axisEndShare;
}

GraphWidget::Drag::What GraphWidget::DragIn(const GraphPane& pane) const {
    if (mode_ == Mode::pan) return Drag::What::pan;
    if (mode_ == Mode::select && pane.takesOutlines) return Drag::What::outline;
    return mode_ == Mode::select && pane.area ? Drag::What::area : Drag::What::rectangle;
}

void GraphWidget::StartDrag(const GraphHit& hit, QPoint at, bool isMiddle, bool isStretch) {
    Drag drag;
    drag.hit = hit;
    drag.from = drag.to = at;
    drag.before = boxes_;
    const bool isRose = graph_.panes[hit.pane].IsRose();
    switch (hit.what) {
    case GraphHit::What::line:
        drag.what = Drag::What::line;
        drag.lineBefore = graph_.panes[hit.pane].lines[hit.line].at;
        break;
    case GraphHit::What::plot:
        if (isRose) return;
        drag.what = isMiddle ? Drag::What::pan : DragIn(graph_.panes[hit.pane]);
        if (drag.what == Drag::What::outline) drag.corners = {at};
        break;
    case GraphHit::What::xAxis:
    case GraphHit::What::yAxis: {
        const bool isEnd = IsAtEnd(hit, at, drag.isLowEnd);
        drag.what = isEnd || isStretch ? Drag::What::stretchAxis : Drag::What::moveAxis;
        break;
    }
    case GraphHit::What::nothing:
        return;
    }
    drag_ = std::move(drag);
    update();
}

void GraphWidget::mousePressEvent(QMouseEvent* event) {
    const bool isMiddle = event->button() == Qt::MiddleButton;
    if ((event->button() != Qt::LeftButton && !isMiddle) || drag_) return;
    GraphHit hit = HitGraph(graph_, places_, event->pos().x(), event->pos().y());
    if (hit.pane < graph_.panes.size())
        GoTo({hit.pane, hit.what == GraphHit::What::line ? static_cast<int>(hit.line) : -1});
    if (isMiddle && hit.what == GraphHit::What::line) hit.what = GraphHit::What::plot;
    StartDrag(hit, event->pos(), isMiddle, event->modifiers() & Qt::ShiftModifier);
}

void GraphWidget::DragTo(QPoint at) {
    const size_t pane = drag_->hit.pane;
    const PixelRect& plot = places_[pane].plot;
    const QPoint way = at - drag_->from;
    switch (drag_->what) {
    case Drag::What::rectangle:
    case Drag::What::area:
        drag_->to = {std::clamp(at.x(), plot.left, plot.right - 1),
                     std::clamp(at.y(), plot.top, plot.bottom - 1)};
        return update();
    case Drag::What::outline: {
        const QPoint held{std::clamp(at.x(), plot.left, plot.right - 1),
                          std::clamp(at.y(), plot.top, plot.bottom - 1)};
        if ((held - drag_->corners.back()).manhattanLength() >= leastCornerWay)
            drag_->corners.push_back(held);
        return update();
    }
    case Drag::What::pan:
        return SetBox(pane, Moved(graph_.panes[pane], drag_->before[pane], -double(way.x()) / plot.Width(),
                                  double(way.y()) / plot.Height()));
    case Drag::What::line: {
        const GraphLine& line = graph_.panes[pane].lines[drag_->hit.line];
        return MoveLine(pane, drag_->hit.line, line.isUpright ? at.x() : at.y(), false);
    }
    case Drag::What::moveAxis:
    case Drag::What::stretchAxis:
        return DragAxis(at);
    }
}

// What lies under the mouse goes with it; where an end is held, the other one stays.
void GraphWidget::DragAxis(QPoint at) {
    const size_t pane = drag_->hit.pane;
    const GraphPane& shown = graph_.panes[pane];
    const PixelRect& plot = places_[pane].plot;
    const bool isX = drag_->hit.what == GraphHit::What::xAxis;
    const double length = isX ? plot.Width() : plot.Height();
    const double from = isX ? drag_->from.x() - plot.left : plot.bottom - drag_->from.y();
    const double to = isX ? at.x() - plot.left : plot.bottom - at.y();
    const GraphBox& before = drag_->before[pane];
    if (drag_->what == Drag::What::moveAxis) {
        const double share = (from - to) / length;
        return SetBox(pane, Moved(shown, before, isX ? share : 0.0, isX ? 0.0 : share), true);
    }
    const double held = drag_->isLowEnd ? length : 0.0;
    const double factor = (held - from) / (std::abs(held - to) < 1.0 ? 1.0 : held - to);
    if (!(factor > leastStretch) || !(factor < 1.0 / leastStretch)) return;
    const double x = drag_->isLowEnd ? before.right : before.left;
    const double y = drag_->isLowEnd ? before.top : before.bottom;
    SetBox(pane, Zoomed(shown, before, factor, x, y, isX, !isX), true);
}

void GraphWidget::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = event->pos();
    pointer_ = at;
    emit ReadoutsChanged();
    if (drag_) return DragTo(at);
    ShowPointer(HitGraph(graph_, places_, at.x(), at.y()), at);
    update();
}

void GraphWidget::ShowPointer(const GraphHit& hit, QPoint at) {
    bool isLow = false;
    switch (hit.what) {
    case GraphHit::What::line:
        return setCursor(graph_.panes[hit.pane].lines[hit.line].isUpright ? Qt::SplitHCursor
                                                                          : Qt::SplitVCursor);
    case GraphHit::What::xAxis:
        return setCursor(IsAtEnd(hit, at, isLow) ? Qt::SizeHorCursor : Qt::OpenHandCursor);
    case GraphHit::What::yAxis:
        return setCursor(IsAtEnd(hit, at, isLow) ? Qt::SizeVerCursor : Qt::OpenHandCursor);
    case GraphHit::What::plot:
        if (graph_.panes[hit.pane].IsRose()) return unsetCursor();
        return setCursor(mode_ == Mode::pan ? Qt::OpenHandCursor : Qt::CrossCursor);
    case GraphHit::What::nothing:
        return unsetCursor();
    }
}

void GraphWidget::ChooseEvent(size_t pane, QPoint at) {
    const auto reading = ReadGraph(graph_.panes[pane], places_[pane], at.x(), at.y());
    if (!reading || !reading->isValue) return;
    const GraphLayer& layer = graph_.panes[pane].layers[reading->layer];
    const bool isPoint = layer.kind == LayerKind::points || layer.kind == LayerKind::raster;
    if (isPoint && reading->point < layer.events.size())
        emit EventChosen(layer.channel, layer.events[reading->point]);
}

void GraphWidget::EndDrag() {
    const Drag drag = *std::exchange(drag_, std::nullopt);
    const size_t pane = drag.hit.pane;
    if (drag.what == Drag::What::rectangle) ZoomTo(pane, QRect(drag.from, drag.to).normalized());
    const bool isClick = drag.from == drag.to && drag.corners.size() < 2;
    if (isClick && drag.what != Drag::What::line)
        ChooseEvent(pane, drag.from);
    else if (drag.what == Drag::What::area)
        SelectIn(pane, QRect(drag.from, drag.to).normalized());
    if (drag.what == Drag::What::outline) return update(), SendOutline(drag);
    if (drag.what == Drag::What::line) {
        const GraphLine& line = graph_.panes[pane].lines[drag.hit.line];
        if (line.at != drag.lineBefore) SendLine(line);
    }
    SendLimits();
    update();
}

void GraphWidget::CancelDrag() {
    const Drag drag = *std::exchange(drag_, std::nullopt);
    const size_t pane = drag.hit.pane;
    if (drag.what == Drag::What::line) {
        GraphLine& line = graph_.panes[pane].lines[drag.hit.line];
        const bool wasTold = line.setsWhileMoving && line.at != drag.lineBefore;
        line.at = drag.lineBefore;
        if (wasTold) SendLine(line);
    } else if (boxes_ != drag.before) {
        SetBox(pane, drag.before[pane], true);
        SendLimits();
    }
    update();
}

void GraphWidget::mouseReleaseEvent(QMouseEvent*) {
    if (drag_) EndDrag();
}

void GraphWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    drag_.reset();
    const GraphHit hit = HitGraph(graph_, places_, event->pos().x(), event->pos().y());
    if (hit.what == GraphHit::What::xAxis || hit.what == GraphHit::What::yAxis)
        emit AxisAsked(static_cast<int>(hit.pane), hit.what == GraphHit::What::xAxis);
    else if (hit.what == GraphHit::What::plot) {
        ShowAllOf(hit.pane);
        Arrange();
    }
}

void GraphWidget::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    pointer_.reset();
    emit ReadoutsChanged();
    update();
}

// Only the line is drawn anew.
void GraphWidget::MoveLine(size_t pane, size_t line, double pixel, bool isDone) {
    const PanePlace& place = places_[pane];
    GraphLine& moved = graph_.panes[pane].lines[line];
    const PixelRect& plot = place.plot;
    const double held = moved.isUpright ? std::clamp(pixel, double(plot.left), double(plot.right))
                                        : std::clamp(pixel, double(plot.top), double(plot.bottom));
    const GraphScale& scale = moved.isUpright ? place.x : place.y;
    const double at =
        RoundedWithin(scale.ToValue(held), std::abs(scale.ToValue(held + 1.0) - scale.ToValue(held)));
    if (at == moved.at) return;
    moved.at = at;
    update();
    TellStop();
    if (isDone || moved.setsWhileMoving) SendLine(moved);
}

void GraphWidget::SendLine(const GraphLine& line) {
    // What hears of it may give another graph.
    const QString parameter = ToQString(line.parameter);
    const double at = line.at;
    emit LineMoved(parameter, at);
}

// --- the keyboard ---

std::vector<GraphWidget::Stop> GraphWidget::Stops() const {
    std::vector<Stop> stops;
    for (size_t i = 0; i < graph_.panes.size(); ++i) {
        stops.push_back({i, -1});
        const auto& lines = graph_.panes[i].lines;
        for (size_t k = 0; k < lines.size(); ++k)
            if (!lines[k].parameter.empty()) stops.push_back({i, static_cast<int>(k)});
    }
    return stops;
}

std::optional<size_t> GraphWidget::FocusedPane() const {
    if (graph_.panes.size() == 1) return 0;
    if (!stop_ || stop_->pane >= graph_.panes.size()) return std::nullopt;
    return stop_->pane;
}

void GraphWidget::GoTo(const Stop& stop) {
    stop_ = stop;
    TellStop();
    update();
}

// For those who hear the window.
void GraphWidget::TellStop() {
    if (!stop_ || stop_->pane >= graph_.panes.size()) return;
    const GraphPane& pane = graph_.panes[stop_->pane];
    QString text = ToQString(InOneLine(pane.title.empty() ? pane.name : pane.title));
    if (stop_->line >= 0 && static_cast<size_t>(stop_->line) < pane.lines.size()) {
        const GraphLine& line = pane.lines[static_cast<size_t>(stop_->line)];
        const GraphAxis& axis = line.isUpright ? pane.x : pane.y;
        text += ": " + ToQString((line.name.empty() ? line.parameter : line.name) + " " +
                                 AxisNumber(line.at, 5) + " " + axis.unit);
    }
    setAccessibleDescription(text);
}

void GraphWidget::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    const auto stops = Stops();
    if (!stops.empty() && event->reason() == Qt::TabFocusReason) GoTo(stops.front());
    if (!stops.empty() && event->reason() == Qt::BacktabFocusReason) GoTo(stops.back());
    update();
}

void GraphWidget::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    update();
}

bool GraphWidget::focusNextPrevChild(bool next) {
    const auto stops = Stops();
    const auto now = stop_ ? std::find(stops.begin(), stops.end(), *stop_) : stops.end();
    if (!hasFocus() || now == stops.end()) return QWidget::focusNextPrevChild(next);
    if (next && now + 1 != stops.end()) return GoTo(*(now + 1)), true;
    if (!next && now != stops.begin()) return GoTo(*(now - 1)), true;
    return QWidget::focusNextPrevChild(next);
}

// The arrows along which the line in focus can go.
bool GraphWidget::MoveByKey(QKeyEvent* event) {
    if (!stop_ || stop_->line < 0 || stop_->pane >= graph_.panes.size()) return false;
    const auto& lines = graph_.panes[stop_->pane].lines;
    const auto line = static_cast<size_t>(stop_->line);
    if (line >= lines.size()) return false;
    const bool isUpright = lines[line].isUpright;
    int step = 0;
    if (event->key() == (isUpright ? Qt::Key_Left : Qt::Key_Up)) step = -1;
    if (event->key() == (isUpright ? Qt::Key_Right : Qt::Key_Down)) step = 1;
    if (step == 0) return false;
    if (event->modifiers() & Qt::ShiftModifier) step *= manyPixels;
    MoveLine(stop_->pane, line, PlaceOf(places_[stop_->pane], lines[line]) + step, true);
    return true;
}

void GraphWidget::keyPressEvent(QKeyEvent* event) {
    if (graph_.panes.empty()) return QWidget::keyPressEvent(event);
    if (event->key() == Qt::Key_Escape) {
        // Ends a drag; with none it is the window's.
        if (drag_) return CancelDrag();
        return QWidget::keyPressEvent(event);
    }
    if (drag_ || MoveByKey(event)) return;
    const size_t pane = FocusedPane().value_or(0);
    const QPointF middle = MiddleOf(pane);
    const bool up = event->modifiers() & Qt::ControlModifier;
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        return Zoom(pane, zoomFactor, middle, !up, up);
    case Qt::Key_Minus:
        return Zoom(pane, 1.0 / zoomFactor, middle, !up, up);
    case Qt::Key_Left:
        return Move(pane, -moveFactor, 0.0);
    case Qt::Key_Right:
        return Move(pane, moveFactor, 0.0);
    case Qt::Key_Up:
        return Move(pane, 0.0, moveFactor);
    case Qt::Key_Down:
        return Move(pane, 0.0, -moveFactor);
    case Qt::Key_Home:
        return ShowAll();
    }
    QWidget::keyPressEvent(event);
}

}  // namespace kymora
