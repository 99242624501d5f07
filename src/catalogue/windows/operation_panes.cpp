#include "catalogue/windows/operation_panes.h"

#include <QApplication>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTimer>

#include "widgets/chart_widget.h"
#include "widgets/content_area.h"
#include "widgets/findings_pane.h"
#include "widgets/results_pane.h"

namespace kymora {

namespace {

constexpr double widestPart = 0.95, highestPart = 0.92;  // of the screen
constexpr int roomOfButtons = 90, roomOfMargins = 30;    // pixels; message, buttons and margins
constexpr int leastTextWidth = 340, leastChartWidth = 560, leastPaneHeight = 220;
constexpr int mostColumns = 3;  // of parameters
// In a panel, which is to fit beside a small window.
constexpr int leastDockedPane = 120, leastDockedForm = 110;

Chart ChartOf(const GraphPane& pane) {
    Chart chart{pane.x.Label(), pane.y.Label(), {}, {}};
    for (const GraphLayer& layer : pane.layers)
        chart.series.push_back(
            {layer.name,
             layer.kind == LayerKind::points ? ChartSeries::Style::points : ChartSeries::Style::line,
             layer.colour, layer.x, std::vector<float>(layer.y.begin(), layer.y.end())});
    for (const GraphLine& line : pane.lines)
        chart.lines.push_back({line.isUpright, line.at, line.colour, line.name});
    return chart;
}

}  // namespace

OperationPanes::OperationPanes(CBatchBaseDlg& block, ParamForm::Enter enter, ParamSurroundings surroundings,
                               QWidget* parent)
    : QSplitter(parent), block_(block), area_(new ContentArea(parent)), shown_(new QSplitter(parent)) {
    form_ = new ParamForm([this] { return block_.Params().OnPage(page_); }, std::move(enter), surroundings,
                          area_);
    connect(form_, &ParamForm::Rebuilt, this, [this] {
        TakeResultActions();
        Arrange();
    });
    connect(form_, &ParamForm::ShapeChanges, this, &OperationPanes::KeepPlace);
    connect(form_, &ParamForm::ShapeChanged, this, &OperationPanes::HoldPlace);
    area_->setFrameShape(QFrame::NoFrame);
    // The keyboard goes to the first parameter.
    area_->setFocusPolicy(Qt::NoFocus);
    area_->setWidgetResizable(true);
    area_->setWidget(form_);
    setChildrenCollapsible(false);
    shown_->setChildrenCollapsible(false);
    addWidget(area_);
    addWidget(shown_);
    const auto write = [this](const TextSink& sink) { block_.WriteResult(sink); };
    if (block_.HasFindings())
        findings_ = new FindingsPane(block_.RejectionLabel(), write, shown_);
    else if (block_.HasResultText())
        results_ = new ResultsPane(write, shown_);
    if (QWidget* results = ResultsWidget()) shown_->addWidget(results);
    TakeResultActions();
}

void OperationPanes::ShowPage(int page) {
    page_ = page;
    form_->Refresh();
}

void OperationPanes::TakeResultActions() {
    for (QPushButton* button : form_->ResultActions()) {
        if (results_) results_->AddButton(button);
        if (findings_) findings_->AddButton(button);
    }
}

QWidget* OperationPanes::ResultsWidget() const {
    if (findings_) return findings_;
    return results_;
}

void OperationPanes::ShowResults() {
    if (results_) results_->Show();
    if (findings_) findings_->Show(block_.GetFindings());
}

void OperationPanes::ClearResults() {
    if (results_) results_->Clear();
    if (findings_) findings_->Clear();
}

void OperationPanes::ShowChart() {
    if (!block_.Document()) {
        if (chart_) chart_->SetChart({});
        return;
    }
    const std::optional<Graph> graph = block_.GetGraph();
    if (!graph) return;
    if (!chart_) {
        chart_ = new ChartWidget(shown_);
        shown_->insertWidget(0, chart_);
        Arrange();
    }
    chart_->SetChart(graph->panes.empty() ? Chart() : ChartOf(graph->panes.front()));
}

QSize OperationPanes::MostSize() const {
    const QSize available = screen()->availableSize();
    return {static_cast<int>(available.width() * widestPart),
            static_cast<int>(available.height() * highestPart)};
}

// Arranges the parameters. True when all else stands below them, because there is no room right of them.
bool OperationPanes::StandsAbove(QSize most) {
    const int room = most.height() - roomOfButtons;
    const int bar = area_->verticalScrollBar()->sizeHint().width();
    const auto arranged = [&](int height) {
        return form_->Arrange({most.width() - 2 * bar, height}, mostColumns);
    };
    const bool isWhole = arranged(room);
    const int paneWidth = chart_ ? leastChartWidth : leastTextWidth;
    const bool hasRoomBeside = form_->sizeHint().width() + bar + paneWidth + roomOfMargins <= most.width();
    const bool hasPane = HasResults() || chart_;
    if (!hasPane || (isWhole && hasRoomBeside)) return false;
    if (arranged(room - leastPaneHeight) || !hasRoomBeside) return true;
    arranged(room);
    return false;
}

void OperationPanes::SetDocked(bool isDocked) {
    if (std::exchange(isDocked_, isDocked) == isDocked) return;
    Arrange();
}

// What was found has room in a panel, too, however many parameters there are. Once it has its size, since
// those before are none to share.
void OperationPanes::showEvent(QShowEvent* event) {
    QSplitter::showEvent(event);
    if (isDocked_ && !std::exchange(isShared_, true))
        QTimer::singleShot(0, this, [this] { setSizes({3 * height() / 5, 2 * height() / 5}); });
}

void OperationPanes::Arrange() {
    const bool hasPane = HasResults() || chart_;
    if (isDocked_) form_->Arrange({QWIDGETSIZE_MAX, QWIDGETSIZE_MAX}, 1);
    const bool above = isDocked_ || StandsAbove(MostSize());
    setOrientation(above ? Qt::Vertical : Qt::Horizontal);
    shown_->setOrientation(above && !isDocked_ ? Qt::Horizontal : Qt::Vertical);
    shown_->setVisible(hasPane);
    setStretchFactor(0, hasPane ? 0 : 1);
    setStretchFactor(1, 1);
    if (chart_) shown_->setStretchFactor(shown_->indexOf(chart_), 3);
    if (QWidget* results = ResultsWidget()) shown_->setStretchFactor(shown_->indexOf(results), 1);
    FitWidth();
    area_->setMinimumHeight(isDocked_ ? leastDockedForm : 0);
    const int leastHeight = isDocked_ ? leastDockedPane : leastPaneHeight;
    shown_->setMinimumSize(above ? 0 : leastTextWidth, above ? leastHeight : 0);
    emit Arranged();
}

// The parameters scroll upwards where there is little room, never sideways.
void OperationPanes::FitWidth() {
    const int bar = area_->verticalScrollBar()->sizeHint().width();
    area_->setMinimumWidth(form_->minimumSizeHint().width() + bar);
}

// --- rows that come and go ---

void OperationPanes::KeepPlace() {
    held_ = form_->isVisible() ? QApplication::focusWidget() : nullptr;
    if (held_ && !form_->isAncestorOf(held_)) held_ = nullptr;
    if (held_) heldRow_ = held_->mapTo(area_, QPoint()).y();
}

// What the user has just set stays under the mouse, whatever goes away above it.
void OperationPanes::HoldPlace() {
    FitWidth();
    if (!held_ || !held_->isVisibleTo(form_)) return;
    if (QLayout* layout = form_->layout()) layout->activate();
    form_->resize(form_->width(), std::max(form_->sizeHint().height(), area_->viewport()->height()));
    const int moved = held_->mapTo(area_, QPoint()).y() - heldRow_;
    if (moved != 0) area_->verticalScrollBar()->setValue(area_->verticalScrollBar()->value() + moved);
}

std::vector<QWidget*> OperationPanes::TabStops() const {
    std::vector<QWidget*> stops = form_->TabStops();
    if (chart_) stops.push_back(chart_);
    if (!HasResults()) return stops;
    for (QWidget* stop : results_ ? results_->TabStops() : findings_->TabStops()) stops.push_back(stop);
    for (QWidget* button : form_->ResultActions()) stops.push_back(button);
    return stops;
}

}  // namespace kymora
