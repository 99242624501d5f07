#include "graphs/windows/graph_widget.h"

#include <QEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "drawing/number_labels.h"
#include "drawing/windows/painter_device.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double closestZoom = 1e-9;  // of the whole
constexpr int tellAfterMs = 30;
constexpr int cardGap = 14, cardMargin = 5;
constexpr int mostCardLines = 12;

uint32_t CoreColour(const QColor& colour) {
    return Rgb(static_cast<uint32_t>(colour.red()), static_cast<uint32_t>(colour.green()),
               static_cast<uint32_t>(colour.blue()));
}

// [low, high] within [least, greatest], moved rather than cut while it fits.
void HoldEnds(bool isLog, double& low, double& high, double least, double greatest) {
    const auto level = [isLog](double value) { return isLog ? std::log10(value) : value; };
    const auto value = [isLog](double level) { return isLog ? std::pow(10.0, level) : level; };
    if (low >= least && high <= greatest) return;
    const double width = std::min(level(high) - level(low), level(greatest) - level(least));
    const double from = std::clamp(level(low), level(least), level(greatest) - width);
    low = value(from);
    high = value(from + width);
}

// Lets what lies under it be seen.
void PaintRectangle(QPainter& painter, const QRect& rectangle, const QColor& colour) {
    QColor fill = colour;
    fill.setAlpha(50);
    painter.setPen(colour);
    painter.setBrush(fill);
    painter.drawRect(rectangle);
}

}  // namespace

GraphWidget::GraphWidget(QWidget* parent) : QWidget(parent) {
    setObjectName("graph");
    setAccessibleName(tr("Graph"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    tellLater_.setSingleShot(true);
    tellLater_.setInterval(tellAfterMs);
    connect(&tellLater_, &QTimer::timeout, this, &GraphWidget::SendLimits);
}

// --- the graph ---

void GraphWidget::SetGraph(Graph graph) {
    const bool isSame = graph.panes.size() == given_.panes.size() &&
                        std::equal(graph.panes.begin(), graph.panes.end(), given_.panes.begin(),
                                   [](const GraphPane& a, const GraphPane& b) { return a.name == b.name; });
    std::vector<bool> hasNewLimits;
    for (size_t i = 0; i < graph.panes.size(); ++i)
        hasNewLimits.push_back(!isSame || graph.panes[i].x.limits != given_.panes[i].x.limits);
    const bool couldSelect = CanSelect();
    given_ = std::move(graph);
    std::optional<GraphLine> dragged;
    if (drag_ && drag_->what == Drag::What::line)
        dragged = graph_.panes[drag_->hit.pane].lines[drag_->hit.line];
    ApplyChoices();
    whole_ = WholeGraph(graph_);
    if (!isSame) {
        drag_.reset();
        stop_.reset();
        boxes_ = whole_;
        chosen_.assign(boxes_.size(), {});
    }
    for (size_t i = 0; i < boxes_.size(); ++i) {
        // Limits that are parameters have the last word, but not before the operation has taken up new ones.
        if (HasLimitParameters(i) && hasNewLimits[i]) chosen_[i].x = false;
        // An axis under the mouse stays there until it is let go.
        const bool isAtAxis =
            drag_ && (drag_->what == Drag::What::pan || drag_->what == Drag::What::moveAxis ||
                      drag_->what == Drag::What::stretchAxis);
        if (isAtAxis) continue;
        const bool keepsX = Keeps(i, true), keepsY = Keeps(i, false);
        if (!keepsX) std::tie(boxes_[i].left, boxes_[i].right) = std::tie(whole_[i].left, whole_[i].right);
        if (!keepsY) std::tie(boxes_[i].bottom, boxes_[i].top) = std::tie(whole_[i].bottom, whole_[i].top);
        const Chosen was = chosen_[i];
        chosen_[i] = {keepsX, keepsY, keepsX && was.fixedX, keepsY && was.fixedY};
    }
    if (dragged) {
        auto& lines = graph_.panes[drag_->hit.pane].lines;
        const bool isThere =
            drag_->hit.line < lines.size() && lines[drag_->hit.line].parameter == dragged->parameter;
        isThere ? void(lines[drag_->hit.line].at = dragged->at) : drag_.reset();
    }
    if (stop_ && stop_->line >= static_cast<int>(graph_.panes[stop_->pane].lines.size())) stop_->line = -1;
    Arrange();
    emit ReadoutsChanged();
    if (couldSelect != CanSelect()) emit SelectionOffered(CanSelect());
}

void GraphWidget::ApplyChoices() {
    graph_ = given_;
    for (GraphPane& pane : graph_.panes)
        for (const bool isX : {true, false}) {
            const auto found = choices_.find({pane.name, isX});
            if (found == choices_.end()) continue;
            GraphAxis& axis = isX ? pane.x : pane.y;
            const AxisChoice& choice = found->second;
            if (choice.title) axis.title = *choice.title;
            if (!choice.isLog || *choice.isLog == axis.isLog) continue;
            axis.isLog = *choice.isLog;
            if (axis.isLog && axis.limits && !(axis.limits->first > 0.0)) axis.limits.reset();
        }
}

// What the user looks at stays while something is there.
bool GraphWidget::Keeps(size_t pane, bool isX) const {
    const GraphPane& shown = graph_.panes[pane];
    const GraphBox &whole = whole_[pane], &box = boxes_[pane];
    const Chosen& chosen = chosen_[pane];
    const bool isLog = (isX ? shown.x : shown.y).isLog;
    if (shown.IsRose() || (isLog && !((isX ? box.left : box.bottom) > 0.0))) return false;
    if (isX && HasLimitParameters(pane)) return chosen.x;
    if (isX ? chosen.fixedX : chosen.fixedY) return true;
    if (!(isX ? chosen.x : chosen.y)) return false;
    return isX ? box.left < whole.right && box.right > whole.left
               : box.bottom < whole.top && box.top > whole.bottom;
}

bool GraphWidget::HasLimitParameters(size_t pane) const {
    const GraphPane& shown = graph_.panes[pane];
    return !shown.lowerParameter.empty() && !shown.upperParameter.empty();
}

Graph GraphWidget::Seen() const {
    Graph seen = graph_;
    for (size_t i = 0; i < seen.panes.size(); ++i) {
        if (seen.panes[i].IsRose()) continue;
        seen.panes[i].x.limits = {boxes_[i].left, boxes_[i].right};
        seen.panes[i].y.limits = {boxes_[i].bottom, boxes_[i].top};
    }
    return seen;
}

void GraphWidget::SetGrid(bool hasGrid) {
    hasGrid_ = hasGrid;
    isStale_ = true;
    update();
}

void GraphWidget::SetReading(bool tells) {
    tells_ = tells;
    update();
}

void GraphWidget::SetDropLines(bool has) {
    hasDropLines_ = has;
    update();
}

GraphLook GraphWidget::Look() const {
    return {CoreColour(palette().color(QPalette::Base)), CoreColour(palette().color(QPalette::Text)),
            hasGrid_};
}

QPointF GraphWidget::PixelOf(size_t pane, double x, double y) const {
    return {places_[pane].x.ToPixel(x), places_[pane].y.ToPixel(y)};
}

// --- what is seen ---

void GraphWidget::ShowAllOf(size_t pane) {
    if (!graph_.panes[pane].autoParameter.empty()) emit LimitsFreed(static_cast<int>(pane));
    for (size_t i = 0; i < boxes_.size(); ++i) {
        if (i != pane && !graph_.sharesX) continue;
        chosen_[i].x = chosen_[i].fixedX = false;
        std::tie(boxes_[i].left, boxes_[i].right) = std::tie(whole_[i].left, whole_[i].right);
        if (i != pane) continue;
        chosen_[i].y = chosen_[i].fixedY = false;
        std::tie(boxes_[i].bottom, boxes_[i].top) = std::tie(whole_[i].bottom, whole_[i].top);
    }
}

void GraphWidget::ShowAll() {
    const std::optional<size_t> focused = FocusedPane();
    for (size_t i = 0; i < boxes_.size(); ++i)
        if (!focused || *focused == i) ShowAllOf(i);
    Arrange();
}

// No farther than all, or than what is seen already.
void GraphWidget::Hold(size_t pane, GraphBox& box) const {
    const GraphBox &whole = whole_[pane], &now = boxes_[pane];
    const GraphPane& shown = graph_.panes[pane];
    if (!HasLimitParameters(pane))
        HoldEnds(shown.x.isLog, box.left, box.right, std::min(whole.left, now.left),
                 std::max(whole.right, now.right));
    HoldEnds(shown.y.isLog, box.bottom, box.top, std::min(whole.bottom, now.bottom),
             std::max(whole.top, now.top));
}

void GraphWidget::SetBox(size_t pane, GraphBox box, bool isFree) {
    if (graph_.panes[pane].IsRose()) return;
    const GraphBox& whole = whole_[pane];
    if (box.Width() < whole.Width() * closestZoom || box.Height() < whole.Height() * closestZoom) return;
    if (!isFree) Hold(pane, box);
    // Beyond what numbers can tell apart there is nothing to see.
    const bool isUsable = box.left < box.right && box.bottom < box.top && std::isfinite(box.Width()) &&
                          std::isfinite(box.Height());
    if (!isUsable) return;
    const GraphBox before = boxes_[pane];
    const bool isX = before.left != box.left || before.right != box.right;
    boxes_[pane] = box;
    chosen_[pane].y |= before.bottom != box.bottom || before.top != box.top;
    for (size_t i = 0; isX && i < boxes_.size(); ++i) {
        if (i != pane && (!graph_.sharesX || graph_.panes[i].IsRose())) continue;
        std::tie(boxes_[i].left, boxes_[i].right) = std::tie(box.left, box.right);
        chosen_[i].x = true;
        TellLimits(i);
    }
    if (boxes_[pane] == whole) chosen_[pane] = {};
    Arrange();
}

// Many moves of the mouse are told as one.
void GraphWidget::TellLimits(size_t pane) {
    if (!HasLimitParameters(pane)) return;
    limitsToTell_.insert(pane);
    if (!tellLater_.isActive()) tellLater_.start();
}

void GraphWidget::SendLimits() {
    tellLater_.stop();
    std::set<std::string> told;
    for (const size_t pane : std::exchange(limitsToTell_, {})) {
        // Panes on one axis may have their limits from the same parameters.
        if (pane >= boxes_.size() || !told.insert(graph_.panes[pane].lowerParameter).second) continue;
        const GraphBox& box = boxes_[pane];
        const double pixel = box.Width() / std::max(1, places_[pane].plot.Width());
        emit LimitsSet(static_cast<int>(pane), RoundedWithin(box.left, pixel),
                       RoundedWithin(box.right, pixel));
    }
}

// --- the form of an axis ---

Form GraphWidget::AxisForm(size_t pane, bool isX) const {
    const GraphPane& shown = graph_.panes[pane];
    const GraphAxis& axis = isX ? shown.x : shown.y;
    const GraphBox& box = boxes_[pane];
    const Chosen& chosen = chosen_[pane];
    Form form(isX ? "Horizontal axis" : "Vertical axis");
    form.AddFlag("automatic", "Automatic", !(isX ? chosen.x : chosen.y), "Limits that show all");
    const auto limit = [&](const char* key, const char* label, double value) {
        form.AddNumber(key, label, std::stod(PreciseNumber(value)))
            .Unit(axis.unit)
            .EnabledIf([](const Form& form) { return !form.Flag("automatic"); });
    };
    limit("minimum", "Minimum", isX ? box.left : box.bottom);
    limit("maximum", "Maximum", isX ? box.right : box.top);
    form.AddFlag("log", "Logarithmic", axis.isLog, "Powers of ten at equal distances");
    form.AddText("title", "Title", axis.title);
    form.validate = [](const Form& form) -> std::string {
        if (form.Flag("automatic")) return {};
        if (!(form.Number("minimum") < form.Number("maximum")))
            return "The minimum must be below the maximum.";
        if (form.Flag("log") && !(form.Number("minimum") > 0.0))
            return "A logarithmic axis begins above 0. Enter a minimum above 0.";
        return {};
    };
    return form;
}

void GraphWidget::TakeAxisForm(size_t pane, bool isX, const Form& form) {
    if (pane >= graph_.panes.size()) return;
    const GraphPane& given = given_.panes[pane];
    const GraphAxis& axis = isX ? given.x : given.y;
    AxisChoice& choice = choices_[{given.name, isX}];
    choice.isLog = form.Flag("log") != axis.isLog ? std::optional(form.Flag("log")) : std::nullopt;
    choice.title = form.Text("title") != axis.title ? std::optional(form.Text("title")) : std::nullopt;
    if (form.Flag("automatic")) {
        Chosen& chosen = chosen_[pane];
        chosen = isX ? Chosen{false, chosen.y, false, chosen.fixedY}
                     : Chosen{chosen.x, false, chosen.fixedX, false};
        if (isX && !given.autoParameter.empty()) emit LimitsFreed(static_cast<int>(pane));
        SetGraph(Graph(given_));
        return;
    }
    SetGraph(Graph(given_));
    GraphBox box = boxes_[pane];
    std::tie(isX ? box.left : box.bottom, isX ? box.right : box.top) =
        std::make_tuple(form.Number("minimum"), form.Number("maximum"));
    SetBox(pane, box, true);
    Chosen& chosen = chosen_[pane];
    (isX ? chosen.x : chosen.y) = true;
    (isX ? chosen.fixedX : chosen.fixedY) = true;
}

// --- painting ---

void GraphWidget::Arrange() {
    QImage measure(1, 1, QImage::Format_RGB32);
    QPainter painter(&measure);
    PainterDevice device(painter);
    places_ = PlaceGraph(device, graph_, boxes_, {0, 0, width(), height()});
    isStale_ = true;
    update();
}

void GraphWidget::Render() {
    image_ = QImage(size() * devicePixelRatioF(), QImage::Format_RGB32);
    image_.setDevicePixelRatio(devicePixelRatioF());
    QPainter painter(&image_);
    PainterDevice device(painter);
    PaintPanes(device, graph_, places_, {0, 0, width(), height()}, Look());
    isStale_ = false;
}

void GraphWidget::paintEvent(QPaintEvent*) {
    if (isStale_ || image_.size() != size() * devicePixelRatioF()) Render();
    QPainter painter(this);
    painter.drawImage(QPoint(0, 0), image_);
    PaintOverlay(painter);
}

void GraphWidget::PaintOverlay(QPainter& painter) {
    const GraphLook look = Look();
    {
        PainterDevice device(painter);
        for (size_t i = 0; i < places_.size(); ++i)
            for (size_t k = 0; k < graph_.panes[i].lines.size(); ++k) {
                const bool isFocused = hasFocus() && stop_ && *stop_ == Stop{i, static_cast<int>(k)};
                PaintLine(device, graph_.panes[i].lines[k], places_[i], look, isFocused);
            }
        if (!drag_) PaintReading(device);
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    const QColor highlight = palette().color(QPalette::Highlight);
    const bool isArea = drag_ && drag_->what == Drag::What::area;
    if (!isArea) PaintAreas(painter);
    if (isArea || (drag_ && drag_->what == Drag::What::rectangle))
        PaintRectangle(painter, QRect(drag_->from, drag_->to).normalized(), highlight);
    if (drag_ && drag_->what == Drag::What::outline) {
        QColor fill = highlight;
        fill.setAlpha(50);
        painter.setPen(highlight);
        painter.setBrush(fill);
        painter.drawPolygon(drag_->corners.data(), static_cast<int>(drag_->corners.size()));
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(hasFocus() ? highlight : palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (stop_ && stop_->pane < places_.size() && places_.size() > 1) {
        const PixelRect& area = places_[stop_->pane].area;
        painter.drawRect(QRect(area.left + 2, area.top + 2, area.Width() - 5, area.Height() - 5));
    }
}

// What is selected in each pane, as far as it is seen.
void GraphWidget::PaintAreas(QPainter& painter) {
    for (size_t i = 0; i < places_.size(); ++i) {
        const auto& area = graph_.panes[i].area;
        if (!area || !(area->left < area->right) || !(area->bottom < area->top)) continue;
        const PixelRect& plot = places_[i].plot;
        const QRectF whole(QPointF(places_[i].x.ToPixel(area->left), places_[i].y.ToPixel(area->top)),
                           QPointF(places_[i].x.ToPixel(area->right), places_[i].y.ToPixel(area->bottom)));
        const QRectF seen = whole & QRectF(plot.left, plot.top, plot.Width(), plot.Height());
        if (!seen.isEmpty())
            PaintRectangle(painter, seen.toAlignedRect(), palette().color(QPalette::Highlight));
    }
}

// --- values under the mouse ---

std::vector<std::pair<GraphReadout, std::string>> GraphWidget::Readouts() const {
    std::vector<std::pair<GraphReadout, std::string>> told;
    for (size_t i = 0; i < places_.size(); ++i)
        for (const GraphReadout& readout : graph_.panes[i].readouts)
            told.emplace_back(readout, pointer_ ? ReadPlace(graph_.panes[i], places_[i], readout,
                                                            pointer_->x(), pointer_->y())
                                                : std::string());
    return told;
}

void GraphWidget::PaintReading(DrawDevice& device) {
    if (!pointer_ || (!tells_ && !hasDropLines_)) return;
    for (size_t i = 0; i < places_.size(); ++i) {
        const auto reading = ReadGraph(graph_.panes[i], places_[i], pointer_->x(), pointer_->y());
        if (!reading) continue;
        if (hasDropLines_ && !graph_.panes[i].IsRose())
            PaintDropLines(device, places_[i], graph_.panes[i], *reading);
        if (tells_ && !reading->lines.empty()) PaintCard(device, reading->lines);
        return;
    }
}

void GraphWidget::PaintDropLines(DrawDevice& device, const PanePlace& place, const GraphPane& pane,
                                 const GraphReading& reading) {
    const GraphLook look = Look();
    const PixelRect& plot = place.plot;
    const auto within = [](double at, int least, int most) {
        return static_cast<int>(std::clamp(std::floor(at), double(least), double(most - 1)));
    };
    const double atX = place.x.ToPixel(reading.x), atY = place.y.ToPixel(reading.y);
    if (!std::isfinite(atX) || !std::isfinite(atY)) return;
    const int x = within(atX, plot.left, plot.right), y = within(atY, plot.top, plot.bottom);
    device.SetPen({Blend(look.paper, look.ink, 0.7), 1, Pen::Style::dashed});
    device.Line(plot.left, y, x, y);
    device.Line(x, y, x, plot.bottom);
    if (reading.isValue) device.FillEllipse({x - 3, y - 3, x + 3, y + 3}, look.ink);
    device.RimmedText(plot.left + graphTextGap, y - 1, AxisNumber(reading.y, 5),
                      {look.ink, TextStyle::Horizontal::left, TextStyle::Vertical::bottom}, look.paper);
    const bool isRight = x > (plot.left + plot.right) / 2;
    device.RimmedText(x + (isRight ? -graphTextGap : graphTextGap), plot.bottom - graphTextGap,
                      AxisNumber(reading.x, 5),
                      {look.ink, isRight ? TextStyle::Horizontal::right : TextStyle::Horizontal::left,
                       TextStyle::Vertical::bottom},
                      look.paper);
    (void)pane;
}

// Beside the pointer, and never over it.
void GraphWidget::PaintCard(DrawDevice& device, std::vector<std::string> lines) {
    const GraphLook look = Look();
    const int text = device.TextExtent("0").height;
    const int room = (height() - 2 * cardMargin) / std::max(1, text);
    lines = FirstLines(std::move(lines), static_cast<size_t>(std::clamp(room, 1, mostCardLines)));
    int wide = 0;
    for (std::string& line : lines) {
        line = ElideText(device, line, width() - 2 * cardMargin);
        wide = std::max(wide, device.TextExtent(line).width);
    }
    wide += 2 * cardMargin;
    const int high = static_cast<int>(lines.size()) * text + 2 * cardMargin;
    int left = pointer_->x() + cardGap, top = pointer_->y() - cardGap - high;
    if (left + wide > width()) left = std::max(0, pointer_->x() - cardGap - wide);
    if (top < 0) top = std::min(pointer_->y() + cardGap, std::max(0, height() - high));
    device.FillRect({left, top, left + wide, top + high}, Blend(look.paper, look.ink, 0.08));
    device.SetPen({Blend(look.paper, look.ink, 0.4)});
    device.Frame({left, top, left + wide, top + high});
    for (size_t i = 0; i < lines.size(); ++i)
        device.Text(left + cardMargin, top + cardMargin + static_cast<int>(i) * text, lines[i], {look.ink});
}

void GraphWidget::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Arrange();
}

void GraphWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) Arrange();
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) {
        isStale_ = true;
        update();
    }
}

}  // namespace kymora
