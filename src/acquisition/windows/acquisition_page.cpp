#include "acquisition/windows/acquisition_page.h"

#include <QApplication>
#include <QLineEdit>
#include <QSplitter>
#include <QVBoxLayout>
#include <utility>

#include "graphs/windows/graph_panel.h"
#include "widgets/content_area.h"
#include "widgets/param_form.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int wideEnough = 900;  // pixels, from which on the graph stands beside the parameters
constexpr int graphHeight = 200;

}  // namespace

AcquisitionPage::AcquisitionPage(Session& session, std::unique_ptr<AcqPropPage> page, QWidget* parent)
    : QWidget(parent), page_(std::move(page)), parts_(new QSplitter(Qt::Vertical, this)) {
    auto* area = new ContentArea(this);
    form_ = new ParamForm([this] { return page_->Params(); },
                          [this](const std::function<void()>& store) { Enter(store); }, {}, area);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidgetResizable(true);
    area->setWidget(form_);
    parts_->setChildrenCollapsible(false);
    if (page_->GetGraph()) {
        graph_ = new GraphPanel(session, parts_);
        parts_->addWidget(graph_);
    }
    parts_->addWidget(area);
    parts_->setStretchFactor(parts_->count() - 1, 1);
    if (graph_) parts_->setSizes({graphHeight, 2 * graphHeight});
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(6, 6, 6, 6);
    column->addWidget(parts_);
    connect(form_, &ParamForm::Edited, this, [this] {
        ShowGraph();
        emit Changed();
    });
    connect(form_, &ParamForm::Rebuilt, this, &AcquisitionPage::TakeBackFocus);
    connect(form_, &ParamForm::ActionPressed, this, &AcquisitionPage::Press);
    connect(form_, &ParamForm::ValuePutBack, this, &AcquisitionPage::PutBack);
}

AcquisitionPage::~AcquisitionPage() = default;

void AcquisitionPage::Enter(const std::function<void()>& store) {
    const QWidget* focus = QApplication::focusWidget();
    focused_ = focus && form_->isAncestorOf(focus) ? focus->objectName() : QString();
    store();
}

// New editors stand where the old ones were: whoever types goes on typing.
void AcquisitionPage::TakeBackFocus() {
    if (focused_.isEmpty()) return;
    for (QWidget* widget : form_->findChildren<QWidget*>(focused_)) {
        if (!widget->isVisibleTo(form_)) continue;
        widget->setFocus();
        if (auto* line = qobject_cast<QLineEdit*>(widget)) line->end(false);
        return;
    }
}

void AcquisitionPage::Press(const QString& key) {
    ParamList params = page_->Params();
    Field* field = params.Find(key.toStdString());
    if (!field || !field->action) return;
    focused_ = key;
    field->action(params);
    form_->Revert();
    ShowGraph();
    emit Changed();
}

void AcquisitionPage::ShowGraph() {
    if (!graph_ || !isVisible()) return;
    if (auto shown = page_->GetGraph()) graph_->Widget().SetGraph(std::move(*shown));
}

void AcquisitionPage::Refresh() {
    form_->Refresh();
    ShowGraph();
}

void AcquisitionPage::Revert() {
    form_->Revert();
    ShowGraph();
}

void AcquisitionPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    Refresh();
}

void AcquisitionPage::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const bool isWide = graph_ && width() >= wideEnough;
    if (isWide == (parts_->orientation() == Qt::Horizontal)) return;
    parts_->setOrientation(isWide ? Qt::Horizontal : Qt::Vertical);
    if (isWide)
        parts_->setSizes({width() / 2, width() / 2});
    else
        parts_->setSizes({graphHeight, std::max(height() - graphHeight, graphHeight)});
}

std::string AcquisitionPage::Fault() const { return form_->Fault(); }
void AcquisitionPage::FocusFault() { form_->FocusFault(); }
void AcquisitionPage::FocusFirst() { form_->FocusFirst(); }
void AcquisitionPage::Finish() { form_->FinishEditing(); }
void AcquisitionPage::SetLocked(bool isLocked) { form_->setEnabled(!isLocked); }

}  // namespace kymora
