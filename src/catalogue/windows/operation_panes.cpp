#include "catalogue/windows/operation_panes.h"

#include <QApplication>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTimer>

#include "document/file_identity.h"
#include "document/native_writer.h"
#include "graphs/windows/graph_panel.h"
#include "results/archive_output.h"
#include "results/result_output.h"
#include "widgets/content_area.h"
#include "widgets/findings_pane.h"
#include "widgets/results_pane.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double widestPart = 0.95, highestPart = 0.92;  // of the screen
constexpr int roomOfButtons = 90, roomOfMargins = 30;    // pixels; message, buttons and margins
constexpr int leastTextWidth = 340, leastGraphWidth = 560, leastPaneHeight = 220;
constexpr int leastGraphBeside = 360;  // of a graph beside parameters that scroll
constexpr int mostColumns = 3;         // of parameters
// In a panel, which is to fit beside a small window.
constexpr int leastDockedPane = 120, leastDockedGraph = 260, leastDockedForm = 110;

void MakeBlank(GraphPane& pane) {
    pane.layers.clear();
    pane.lines.clear();
    pane.mean.reset();
    pane.area.reset();
    pane.text.clear();
}

}  // namespace

OperationPanes::OperationPanes(Session& session, CBatchBaseDlg& block, ParamForm::Enter enter,
                               ParamSurroundings surroundings, QWidget* parent)
    : QSplitter(parent),
      session_(session),
      block_(block),
      area_(new ContentArea(parent)),
      shown_(new QSplitter(parent)) {
    form_ = new ParamForm([this] { return block_.Params().OnPage(page_); }, std::move(enter), surroundings,
                          area_);
    connect(form_, &ParamForm::Rebuilt, this, [this] {
        TakeActions();
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
    for (QSplitter* splitter : {static_cast<QSplitter*>(this), shown_})
        connect(splitter, &QSplitter::splitterMoved, this, &OperationPanes::KeepSizes);
    const auto write = [this](const TextSink& sink) { block_.WriteResult(sink); };
    if (block_.HasFindings())
        findings_ = new FindingsPane(block_.RejectionLabel(), write, shown_);
    else if (block_.HasResultText())
        results_ = new ResultsPane(write, shown_);
    // Where the operation saves no file of a form of its own.
    if (results_ && form_->ResultActions().empty()) results_->SetSave([this] { SaveResults(); });
    if (QWidget* results = ResultsWidget()) shown_->addWidget(results);
    TakeActions();
    ShowFilled();
}

void OperationPanes::ShowPage(int page) {
    page_ = page;
    form_->Refresh();
}

void OperationPanes::TakeActions() {
    for (QPushButton* button : form_->ResultActions()) {
        if (results_) results_->AddButton(button);
        if (findings_) findings_->AddButton(button);
    }
    for (QPushButton* button : form_->GraphActions())
        if (graph_) graph_->AddButton(button);
}

QWidget* OperationPanes::ResultsWidget() const {
    if (findings_) return findings_;
    return results_;
}

void OperationPanes::SaveResults() {
    constexpr const char* filter = "Text (*.txt)|*.txt|Table (*.csv)|*.csv||";
    try {
        const auto path = session_.host.ChooseSaveFile({"Save results", filter, "txt", "results.txt"});
        if (!path) return;
        WriteFileAtomically(session_.files, *path, [&](CArchive& archive) {
            ArchiveOutput output(archive);
            if (FoldedExtension(*path) == ".csv") {
                WriteCsv(output, block_.Results(), {}, [] { return true; });
                return;
            }
            block_.WriteResult([&](std::string_view piece) {
                output.Write(piece);
                return true;
            });
        });
    } catch (const std::exception& error) {
        session_.host.Failure(std::string("The results were not saved.\n") + error.what());
    }
}

void OperationPanes::ShowResults() {
    if (results_) results_->Show();
    if (findings_) findings_->Show(block_.GetFindings());
    if (listShare_) hasFound_ = false;
    hasFound_ |= (results_ && results_->HasText()) || (findings_ && !findings_->Shown().rows.empty());
    ShowFilled();
}

// What is still empty leaves its room to the rest of a panel, unless it has buttons of the operation.
void OperationPanes::ShowFilled() {
    QWidget* results = ResultsWidget();
    if (!results) return;
    const bool isShown = (!isDocked_ && !listShare_) || hasFound_ || !form_->ResultActions().empty();
    if (results->isHidden() != isShown) return;
    results->setVisible(isShown);
    Arrange();
    ShareSoon();
}

bool OperationPanes::HasShownResults() const { return HasResults() && !ResultsWidget()->isHidden(); }

void OperationPanes::ClearResults() {
    if (results_) results_->Clear();
    if (findings_) findings_->Clear();
}

void OperationPanes::ShowGraph(bool isBlank) {
    isBlank_ = isBlank;
    if (!block_.Document()) {
        if (graph_) graph_->Widget().SetGraph({});
        return;
    }
    std::optional<Graph> graph = block_.GetGraph();
    if (!graph) return;
    if (!graph_) MakeGraph();
    // What cannot be typed cannot be dragged either.
    ParamList params = block_.Params();
    const auto hold = [&params](std::string& key) {
        const Field* field = key.empty() ? nullptr : params.Find(key);
        if (!field || !field->IsEnabled(params)) key.clear();
    };
    for (GraphPane& pane : graph->panes) {
        if (isBlank) MakeBlank(pane);
        for (GraphLine& line : pane.lines) hold(line.parameter);
        hold(pane.autoParameter);
        if (pane.area)
            for (std::string* key : {&pane.area->leftParameter, &pane.area->rightParameter,
                                     &pane.area->bottomParameter, &pane.area->topParameter})
                hold(*key);
        // A flag that can be taken away stands before them.
        if (!pane.autoParameter.empty()) continue;
        hold(pane.lowerParameter);
        hold(pane.upperParameter);
    }
    graph_->Widget().SetGraph(std::move(*graph));
}

void OperationPanes::MakeGraph() {
    graph_ = new GraphPanel(session_, shown_);
    shown_->insertWidget(0, graph_);
    graph_->results = [this] { return isBlank_ ? std::vector<Result>() : block_.Results(); };
    for (QPushButton* button : form_->GraphActions()) graph_->AddButton(button);
    GraphWidget& widget = graph_->Widget();
    const auto pane = [&widget](int i) { return widget.GetGraph().panes.at(static_cast<size_t>(i)); };
    connect(&widget, &GraphWidget::LineMoved, this, &OperationPanes::Dragged);
    connect(&widget, &GraphWidget::EventChosen, this, &OperationPanes::EventChosen);
    connect(&widget, &GraphWidget::Outlined, this,
            [this, pane](int i, const std::vector<std::pair<double, double>>& corners) {
                emit Outlined(ToQString(pane(i).name), corners);
            });
    connect(&widget, &GraphWidget::LimitsSet, this,
            [this, pane](int i, double low, double high) { emit LimitsDragged(pane(i), low, high); });
    connect(&widget, &GraphWidget::AreaSet, this,
            [this](int, const GraphArea& area) { emit AreaDragged(area); });
    connect(&widget, &GraphWidget::LimitsFreed, this, [this, pane](int i) { emit LimitsFreed(pane(i)); });
    Arrange();
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
    const int paneWidth = graph_ ? leastGraphWidth : leastTextWidth;
    const bool hasRoomBeside = form_->sizeHint().width() + bar + paneWidth + roomOfMargins <= most.width();
    const bool hasPane = HasShownResults() || graph_;
    if (!hasPane || (isWhole && hasRoomBeside)) return false;
    // Below parameters in columns little would be left of a graph.
    if (graph_) {
        form_->Arrange({most.width(), room}, 1);
        if (form_->sizeHint().width() + bar + leastGraphBeside + roomOfMargins <= most.width()) return false;
    }
    if (arranged(room - leastPaneHeight) || !hasRoomBeside) return true;
    arranged(room);
    return false;
}

void OperationPanes::SetDocked(bool isDocked) {
    if (std::exchange(isDocked_, isDocked) == isDocked) return;
    ShowFilled();
    Arrange();
    ShareSoon();
}

// What was found has room in a panel, too, however many parameters there are. Once it has its size, since
// those before are none to share.
void OperationPanes::showEvent(QShowEvent* event) {
    QSplitter::showEvent(event);
    if (!std::exchange(isShared_, true)) ShareSoon();
}

void OperationPanes::ShareSoon() {
    if (isShared_) QTimer::singleShot(0, this, &OperationPanes::ShareRoom);
}

// The parameters get no more than they fill. A graph needs more than a text.
void OperationPanes::ShareRoom() {
    const bool hasText = HasShownResults();
    if (isDocked_) {
        const double share = graph_ ? (hasText ? 0.4 : 0.5) : 0.6;
        const int ofForm = std::min(static_cast<int>(share * height()), FormHeight());
        setSizes({ofForm, height() - ofForm});
    }
    if (graph_ && hasText && shown_->orientation() == Qt::Vertical) {
        const Graph& graph = graph_->Widget().GetGraph();
        const bool hasManyPanes =
            graph.columns > 1 && graph.panes.size() > static_cast<size_t>(graph.columns);
        const double share = listShare_.value_or(hasManyPanes ? 1.0 / 5.0
                                                 : isDocked_  ? 1.0 / 4.0
                                                              : 1.0 / 3.0);
        const int ofText = std::min(static_cast<int>(share * height()), ResultsWidget()->sizeHint().height());
        shown_->setSizes({shown_->height() - ofText, ofText});
    }
    RestoreSizes();
    if (QWidget* focus = QApplication::focusWidget(); focus && form_->isAncestorOf(focus))
        area_->ensureWidgetVisible(focus, 0, 0);
}

// --- how large the parts are ---

// A window of its own and a panel share their room differently.
QString OperationPanes::SizesName(const QSplitter& splitter) const {
    return QString("%1 %2 %3%4")
        .arg(&splitter == this ? "parts" : "shown")
        .arg(isDocked_ ? "docked" : "free")
        .arg(splitter.orientation() == Qt::Vertical ? "down" : "across")
        .arg(HasResults() && !HasShownResults() ? " empty" : "");
}

void OperationPanes::KeepSizes() {
    for (const QSplitter* splitter :
         {static_cast<const QSplitter*>(this), static_cast<const QSplitter*>(shown_)}) {
        if (splitter->count() < 2) continue;
        const auto sizes = splitter->sizes();
        session_.partSizes[block_.ClassName()][SizesName(*splitter).toStdString()] = {sizes.begin(),
                                                                                      sizes.end()};
    }
}

void OperationPanes::RestoreSizes() {
    const auto found = session_.partSizes.find(block_.ClassName());
    if (found == session_.partSizes.end()) return;
    for (QSplitter* splitter : {static_cast<QSplitter*>(this), shown_}) {
        const auto sizes = found->second.find(SizesName(*splitter).toStdString());
        if (sizes == found->second.end() || sizes->second.size() != static_cast<size_t>(splitter->count()))
            continue;
        splitter->setSizes({sizes->second.begin(), sizes->second.end()});
    }
}

void OperationPanes::Arrange() {
    const bool hasPane = HasShownResults() || graph_;
    if (isDocked_) form_->Arrange({QWIDGETSIZE_MAX, QWIDGETSIZE_MAX}, 1);
    const bool above = isDocked_ || StandsAbove(MostSize());
    setOrientation(above ? Qt::Vertical : Qt::Horizontal);
    shown_->setOrientation(above && !isDocked_ ? Qt::Horizontal : Qt::Vertical);
    shown_->setVisible(hasPane);
    setStretchFactor(0, hasPane ? 0 : 1);
    setStretchFactor(1, 1);
    if (graph_) shown_->setStretchFactor(shown_->indexOf(graph_), 3);
    if (QWidget* results = ResultsWidget()) shown_->setStretchFactor(shown_->indexOf(results), 1);
    FitWidth();
    area_->setMinimumHeight(isDocked_ ? leastDockedForm : 0);
    const int leastDocked = graph_ ? leastDockedGraph : leastDockedPane;
    const int leastHeight = isDocked_ ? leastDocked : leastPaneHeight;
    shown_->setMinimumSize(above ? 0 : leastTextWidth, above ? leastHeight : 0);
    emit Arranged();
}

int OperationPanes::MissingHeight() const {
    // What stands below them would get the room.
    if (isDocked_ || (orientation() == Qt::Vertical && shown_->isVisibleTo(this))) return 0;
    return std::max(0, FormHeight() - area_->viewport()->height());
}

// In the width that it has; texts of several lines are higher in a narrow one.
int OperationPanes::FormHeight() const {
    const int width = std::max(form_->width(), form_->minimumSizeHint().width());
    return std::max(form_->sizeHint().height(),
                    form_->hasHeightForWidth() ? form_->heightForWidth(width) : 0);
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
    form_->resize(form_->width(), std::max(FormHeight(), area_->viewport()->height()));
    const int moved = held_->mapTo(area_, QPoint()).y() - heldRow_;
    if (moved != 0) area_->verticalScrollBar()->setValue(area_->verticalScrollBar()->value() + moved);
}

std::vector<QWidget*> OperationPanes::TabStops() const {
    std::vector<QWidget*> stops = form_->TabStops();
    if (graph_) {
        stops.push_back(&graph_->Widget());
        for (QPushButton* button : form_->GraphActions()) stops.push_back(button);
    }
    if (!HasResults()) return stops;
    for (QWidget* stop : results_ ? results_->TabStops() : findings_->TabStops()) stops.push_back(stop);
    for (QWidget* button : form_->ResultActions()) stops.push_back(button);
    return stops;
}

}  // namespace kymora
