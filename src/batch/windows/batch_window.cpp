#include "batch/windows/batch_window.h"

#include <fmt/format.h>

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QScreen>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "batch/batch_report.h"
#include "import/open_document.h"
#include "widgets/form_editor.h"
#include "widgets/plain_button.h"
#include "widgets/text.h"
#include "widgets/user_at_it.h"

namespace kymora {

namespace {

constexpr int tableWidth = 760;
constexpr int pollEveryMs = 50, barSteps = 1000;
constexpr int fileColumn = 0, stateColumn = 1, textColumn = 2;
constexpr int shareRole = Qt::UserRole;
constexpr float barStrength = 0.3f;
constexpr int leastRows = 6, mostRows = 16;  // seen at first

// The state of a file; behind it a bar that tells how far a running one is.
class StateDelegate : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const double share = index.data(shareRole).toDouble();
        if (share > 0.0 && !option.state.testFlag(QStyle::State_Selected)) {
            QRect bar = option.rect;
            bar.setWidth(static_cast<int>(share * bar.width()));
            QColor colour = option.palette.color(QPalette::Highlight);
            colour.setAlphaF(barStrength);
            painter->fillRect(bar, colour);
        }
        QStyledItemDelegate::paint(painter, option, index);
    }
};

}  // namespace

BatchWindow::BatchWindow(BatchOrder order, BatchDocuments& documents, QWidget* parent)
    : QDialog(parent), session_(documents.GetSession()), run_(std::move(order), documents) {
    setObjectName("batchRun");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Batch - %1").arg(ToQString(run_.Order().name)));
    auto* column = new QVBoxLayout(this);
    MakeTable(*column);
    bar_ = new QProgressBar(this);
    bar_->setObjectName("bar");
    bar_->setRange(0, barSteps);
    column->addWidget(bar_);
    state_ = new QLabel(this);
    state_->setObjectName("state");
    state_->setWordWrap(true);
    state_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(state_);
    auto* row = new QHBoxLayout;
    column->addLayout(row);
    errors_ = MakePlainButton(this, tr("Process &errors..."), "errors",
                              tr("Show what was not done and why, to be copied or saved"),
                              &BatchWindow::ShowErrors);
    results_ = MakePlainButton(this, tr("&Results..."), "results", tr("Show what was listed"),
                               &BatchWindow::ShowResults);
    report_ = MakePlainButton(this, tr("&Save report..."), "report",
                              tr("Save what became of each file, with operations and parameters (.json)"),
                              &BatchWindow::SaveReport);
    cancel_ = MakePlainButton(this, {}, "cancel", {}, &BatchWindow::Cancel);
    for (QPushButton* button : {errors_, results_, report_}) row->addWidget(button);
    row->addStretch(1);
    row->addWidget(cancel_);
    cancel_->setFocus();
    const int rows = std::clamp(static_cast<int>(run_.Rows().size()) + 2, leastRows, mostRows);
    const int rowHeight = std::max(table_->sizeHintForRow(0), table_->fontMetrics().height());
    resize(QSize(tableWidth, sizeHint().height() - table_->sizeHint().height() + rows * rowHeight)
               .boundedTo(screen()->availableSize() * 9 / 10));
    ShowProgress();
    ShowState();
    connect(&poll_, &QTimer::timeout, this, &BatchWindow::Poll);
    poll_.start(pollEveryMs);
}

void BatchWindow::MakeTable(QVBoxLayout& column) {
    table_ = new QTreeWidget(this);
    table_->setObjectName("files");
    table_->setAccessibleName(tr("Files"));
    table_->setHeaderLabels({tr("File"), tr("State"), tr("Details")});
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setAlternatingRowColors(true);
    table_->setItemDelegateForColumn(stateColumn, new StateDelegate(table_));
    for (const BatchRow& row : run_.Rows()) {
        auto* item = new QTreeWidgetItem(table_, {FileName(row.file.filename())});
        item->setToolTip(fileColumn, FileName(row.file));
    }
    for (size_t i = 0; i < run_.Rows().size(); ++i) ShowRow(i);
    table_->header()->setStretchLastSection(true);
    table_->setColumnWidth(fileColumn, tableWidth * 2 / 5);
    table_->setColumnWidth(stateColumn, table_->fontMetrics().horizontalAdvance("running 100% xxx"));
    column.addWidget(table_, 1);
}

// --- the work ---

void BatchWindow::Poll() {
    if (isWorking_) return;  // a box that came up meanwhile
    isWorking_ = true;
    const bool goesOn = run_.Step(0);
    isWorking_ = false;
    for (const size_t index : run_.TakeChanged()) ShowRow(index);
    ShowProgress();
    if (!goesOn && !IsUserAtIt()) Finish();
}

// Windows show what was made, which no box may stand over.
void BatchWindow::Finish() {
    poll_.stop();
    isRunning_ = false;
    run_.Conclude();
    for (const size_t index : run_.TakeChanged()) ShowRow(index);
    ShowState();
    emit Ended();
}

// --- what is shown ---

void BatchWindow::ShowRow(size_t index) {
    using State = BatchRow::State;
    const BatchRow& row = run_.Rows()[index];
    QTreeWidgetItem* item = table_->topLevelItem(static_cast<int>(index));
    const bool isRunning = row.state == State::running;
    QString state = tr(StateName(row.state));
    if (isRunning) state += QString(" %1%").arg(static_cast<int>(row.share * 100.0));
    item->setText(stateColumn, state);
    item->setData(stateColumn, shareRole, isRunning ? row.share : 0.0);
    item->setText(textColumn, ToQString(row.text));
    item->setToolTip(textColumn, ToQString(row.text));
    if (row.state == State::failed || row.state == State::leftOut)
        item->setForeground(stateColumn, FaultColour(palette()));
}

void BatchWindow::ShowProgress() {
    using State = BatchRow::State;
    const double share = run_.Share();
    const size_t all = run_.Rows().size();
    const size_t ended = all - run_.Count(State::waiting) - run_.Count(State::running);
    const QString left = run_.IsCancelled() ? tr("cancelling") : ToQString(left_.Text(share));
    bar_->setValue(static_cast<int>(share * barSteps));
    bar_->setFormat(tr("%1 of %2 files, %p%").arg(ended).arg(all) + (left.isEmpty() ? "" : ", " + left));
}

void BatchWindow::ShowState() {
    bar_->setVisible(isRunning_);
    state_->setVisible(!isRunning_);
    state_->setText(ToQString(run_.DoneText()));
    errors_->setEnabled(!isRunning_ && !run_.Errors().empty());
    results_->setVisible(!isRunning_ && !run_.Order().results && !run_.Results().empty());
    report_->setEnabled(!isRunning_);
    cancel_->setText(isRunning_ ? tr("&Cancel") : tr("&Close"));
    cancel_->setToolTip(isRunning_ ? tr("What is done stays; files at work are left as they were")
                                   : QString());
    if (!isRunning_) cancel_->setFocus();
}

// --- the buttons ---

void BatchWindow::Cancel() {
    if (!isRunning_) return reject();
    run_.Cancel();
    ShowProgress();
}

void BatchWindow::ShowErrors() { session_.host.ShowText(processErrorsTitle, run_.Errors()); }

void BatchWindow::ShowResults() { session_.host.ShowText(run_.ResultsTitle(), run_.Results()); }

void BatchWindow::SaveReport() {
    const auto path =
        session_.host.ChooseSaveFile({"Save the report as", "report (*.json)|*.json||", "json", {}});
    if (!path) return;
    try {
        WriteReport(session_.files, *path, run_.Records());
    } catch (const FileError& error) {
        session_.host.Failure(std::string("The report was not saved.\n") + error.what());
    }
}

// --- closing ---

bool BatchWindow::MayEnd() {
    return !isRunning_ || session_.host.Confirm(
                              "The batch is still running.\nClick OK to cancel it: what is done stays, and "
                              "files at work are left as they were. Cancel lets it go on.",
                              run_.Order().name);
}

void BatchWindow::reject() {
    const bool wasRunning = isRunning_;
    if (isWorking_ || !MayEnd()) return;
    // It has ended while the question stood: what became of the files is still to be seen.
    if (wasRunning && !isRunning_) return;
    if (isRunning_) {
        run_.Cancel();
        while (run_.Step(pollEveryMs)) {
        }
        Finish();
    }
    QDialog::reject();
}

}  // namespace kymora
