#include "catalogue/windows/event_base_non_modal_dlg.h"

#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSplitter>
#include <QVBoxLayout>

#include "operations/config_file.h"
#include "operations/event_base_dlg.h"
#include "operations/job_worker.h"
#include "widgets/chart_widget.h"
#include "widgets/content_area.h"
#include "widgets/param_form.h"
#include "widgets/results_pane.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double widestPart = 0.95, highestPart = 0.92;  // of the screen
constexpr int roomOfButtons = 90, roomOfMargins = 30;    // pixels; message, buttons and margins
constexpr int leastTextWidth = 340, leastChartWidth = 560, leastPaneHeight = 220;
constexpr int drawAfterMs = 150;  // without another letter
constexpr int watchEveryMs = 40, progressSteps = 1000;

QString FirstFile(const QMimeData& data) {
    const auto urls = data.urls();
    return urls.isEmpty() ? QString() : urls.front().toLocalFile();
}

}  // namespace

// What happens to the document meanwhile is taken up at the end.
class CEventBaseNonModalDlg::Busy {
  public:
    explicit Busy(CEventBaseNonModalDlg& window) : window_(window) { ++window_.busy_; }
    ~Busy() {
        if (--window_.busy_ > 0) return;
        for (const UpdateHint hint : std::exchange(window_.missed_, {}))
            window_.Guarded([&] { window_.block_->OnUpdate(hint); });
    }

  private:
    CEventBaseNonModalDlg& window_;
};

CEventBaseNonModalDlg::CEventBaseNonModalDlg(Session& session, const Operation& operation,
                                             std::unique_ptr<CBatchBaseDlg> block, QWidget* parent)
    : QDialog(parent), session_(session), operation_(operation), block_(std::move(block)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setAcceptDrops(true);
    TakeLastSettings();
    MakeWindow();
    drawLater_.setSingleShot(true);
    drawLater_.setInterval(drawAfterMs);
    connect(&drawLater_, &QTimer::timeout, this, [this] { IsBusy() ? drawLater_.start() : ShowDrawn(); });
    watch_.setInterval(watchEveryMs);
    connect(&watch_, &QTimer::timeout, this, &CEventBaseNonModalDlg::WatchWorker);
    SetActive(nullptr, nullptr);
}

CEventBaseNonModalDlg::~CEventBaseNonModalDlg() { LetGo(); }

void CEventBaseNonModalDlg::TakeLastSettings() {
    const auto last = session_.operationSettings.find(block_->ClassName());
    if (last == session_.operationSettings.end()) return;
    const std::vector<std::byte> defaults = block_->Settings();
    try {
        block_->TakeSettings(last->second);
    } catch (const ArchiveError&) {
        block_->TakeSettings(defaults);
    }
}

// --- the window ---

void CEventBaseNonModalDlg::MakeWindow() {
    const auto enter = [this](const std::function<void()>& store) {
        failText_.clear();
        Guarded(store);
    };
    form_ = new ParamForm([this] { return block_->Params(); }, enter, {session_.options.eventChannelMode, 0},
                          this);
    connect(form_, &ParamForm::Edited, this, &CEventBaseNonModalDlg::Edited);
    connect(form_, &ParamForm::ActionPressed, this, &CEventBaseNonModalDlg::PressAction);
    connect(form_, &ParamForm::Rebuilt, this, [this] {
        TakeResultActions();
        ArrangePanes();
    });
    area_ = new ContentArea(this);
    area_->setFrameShape(QFrame::NoFrame);
    area_->setWidgetResizable(true);
    area_->setWidget(form_);
    panes_ = new QSplitter(this);
    panes_->setChildrenCollapsible(false);
    panes_->addWidget(area_);
    shown_ = new QSplitter(panes_);
    shown_->setChildrenCollapsible(false);
    panes_->addWidget(shown_);
    if (block_->HasResultText()) {
        results_ = new ResultsPane([this](const TextSink& sink) { block_->WriteResult(sink); }, shown_);
        shown_->addWidget(results_);
    }
    message_ = new QLabel(this);
    message_->setObjectName("message");
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->setMinimumHeight(message_->fontMetrics().height() + 4);
    auto* column = new QVBoxLayout(this);
    column->addWidget(panes_, 1);
    column->addWidget(message_);
    MakeProgress();
    column->addWidget(progress_);
    MakeButtons();
    TakeResultActions();
    ArrangePanes();
}

void CEventBaseNonModalDlg::MakeProgress() {
    progress_ = new QWidget(this);
    progress_->setObjectName("progress");
    auto* row = new QHBoxLayout(progress_);
    row->setContentsMargins({});
    bar_ = new QProgressBar(progress_);
    bar_->setObjectName("bar");
    row->addWidget(bar_, 1);
    auto* cancel = new QPushButton(tr("Cancel"), progress_);
    cancel->setObjectName("cancelRun");
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, [this] {
        if (worker_) worker_->Cancel();
    });
    row->addWidget(cancel);
    progress_->hide();
}

void CEventBaseNonModalDlg::MakeButtons() {
    auto* row = buttonRow_ = new QHBoxLayout;
    const auto add = [&](const QString& label, const char* name, const QString& tip, auto pressed) {
        auto* button = new QPushButton(label, this);
        button->setObjectName(name);
        button->setToolTip(tip);
        connect(button, &QPushButton::clicked, this, pressed);
        row->addWidget(button);
        return button;
    };
    batch_ = add(tr("&Batch..."), "batch", tr("Batch process: apply this operation to a set of files"),
                 &CEventBaseNonModalDlg::Batch);
    save_ = add(tr("&Save..."), "save", tr(saveConfigTitle), &CEventBaseNonModalDlg::Save);
    load_ = add(tr("&Load..."), "load", tr(loadConfigTitle), &CEventBaseNonModalDlg::Load);
    row->addStretch(1);
    run_ = add(ToQString(block_->ActionLabel()), "run", ToQString(operation_.toolTip),
               &CEventBaseNonModalDlg::Start);
    run_->setDefault(true);
    close_ = add(tr("&Close"), "close", {}, &CEventBaseNonModalDlg::reject);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
    buttons_ = {batch_, save_, load_, run_, close_};
}

void CEventBaseNonModalDlg::AddButton(QWidget* button, QWidget* before) {
    buttonRow_->insertWidget(buttonRow_->indexOf(before), button);
    buttons_.insert(std::find(buttons_.begin(), buttons_.end(), before), button);
    OrderTabs();
}

void CEventBaseNonModalDlg::TakeResultActions() {
    if (!results_) return;
    for (QPushButton* button : form_->ResultActions()) results_->AddButton(button);
}

// What is shown stands right of the parameters where there is room for it, else below them.
void CEventBaseNonModalDlg::ArrangePanes() {
    const QSize most = MostSize();
    const int room = most.height() - roomOfButtons;
    const int bar = area_->verticalScrollBar()->sizeHint().width();
    const bool hasPane = results_ || chart_;
    const int paneWidth = chart_ ? leastChartWidth : leastTextWidth;
    const auto arranged = [&](int height) { return form_->Arrange({most.width() - 2 * bar, height}); };
    const bool isWhole = arranged(room);
    const bool hasRoomBeside = form_->sizeHint().width() + bar + paneWidth + roomOfMargins <= most.width();
    bool above = hasPane && !(isWhole && hasRoomBeside);
    if (above && !arranged(room - leastPaneHeight) && hasRoomBeside) {
        above = false;
        arranged(room);
    }
    panes_->setOrientation(above ? Qt::Vertical : Qt::Horizontal);
    shown_->setOrientation(above ? Qt::Horizontal : Qt::Vertical);
    shown_->setVisible(hasPane);
    panes_->setStretchFactor(0, hasPane ? 0 : 1);
    panes_->setStretchFactor(1, 1);
    if (chart_) shown_->setStretchFactor(shown_->indexOf(chart_), 3);
    if (results_) shown_->setStretchFactor(shown_->indexOf(results_), 1);
    // The parameters scroll upwards where the screen is small, never sideways.
    area_->setMinimumWidth(form_->minimumSizeHint().width() + bar);
    shown_->setMinimumSize(above ? 0 : leastTextWidth, above ? leastPaneHeight : 0);
    OrderTabs();
}

void CEventBaseNonModalDlg::OrderTabs() {
    std::vector<QWidget*> stops = form_->TabStops();
    if (chart_) stops.push_back(chart_);
    if (results_) {
        for (QWidget* stop : results_->TabStops()) stops.push_back(stop);
        for (QWidget* button : form_->ResultActions()) stops.push_back(button);
    }
    stops.insert(stops.end(), buttons_.begin(), buttons_.end());
    for (size_t i = 1; i < stops.size(); ++i) setTabOrder(stops[i - 1], stops[i]);
}

QSize CEventBaseNonModalDlg::MostSize() const {
    const QSize available = screen()->availableSize();
    return {static_cast<int>(available.width() * widestPart),
            static_cast<int>(available.height() * highestPart)};
}

void CEventBaseNonModalDlg::setVisible(bool visible) {
    if (visible && !isVisible()) {
        // Now that the style and the font are known.
        ensurePolished();
        ArrangePanes();
        ShowState();
        // Where the owner has not said how large it is.
        if (!testAttribute(Qt::WA_Resized)) resize(sizeHint().boundedTo(MostSize()));
    }
    QDialog::setVisible(visible);
}

// --- what it works on ---

void CEventBaseNonModalDlg::Guarded(const std::function<void()>& does) {
    try {
        Busy busy(*this);
        does();
    } catch (const std::exception& error) {
        failText_ = ToQString(error.what());
    }
}

void CEventBaseNonModalDlg::Work(const std::function<void()>& does) {
    failText_.clear();
    Guarded(does);
    Refresh();
}

void CEventBaseNonModalDlg::SetActive(CDataDoc* doc, DocumentView* view) {
    if (worker_) {
        later_ = {doc, view};
        return;
    }
    DocumentView* before = block_->View();
    if (before && before != view) before->SetGuides({});
    if (doc != block_->Document()) {
        doneText_.clear();
        if (results_) results_->Clear();
    }
    const QString title = ToQString(block_->Title());
    const QString file = doc ? FileName(doc->filePath.filename()) : QString();
    setWindowTitle(file.isEmpty() ? title : title + " - " + file);
    form_->SetTraceCount(doc ? doc->traceCount : 0);
    Work([&] {
        block_->CheckChangeDoc(doc);
        block_->CheckChangeView(view);
    });
}

void CEventBaseNonModalDlg::DocumentChanged(UpdateHint hint) {
    if (IsBusy()) {
        missed_.insert(hint);
        return;
    }
    Work([&] { block_->OnUpdate(hint); });
}

void CEventBaseNonModalDlg::ViewMoved() {
    if (IsBusy()) return;
    Work([&] {
        block_->ViewChangedHorzDisp();
        block_->ViewChangedVertDisp();
    });
}

void CEventBaseNonModalDlg::CursorsMoved() {
    if (IsBusy()) return;
    Work([&] { block_->OnCurChanged(); });
}

void CEventBaseNonModalDlg::Refresh() {
    form_->Refresh();
    ShowDrawn();
    ShowState();
}

// --- what it shows ---

void CEventBaseNonModalDlg::ShowDrawn() {
    drawLater_.stop();
    Guarded([&] {
        if (!block_->Document()) {
            if (chart_) chart_->SetChart({});
            return;
        }
        if (std::optional<Chart> chart = block_->GetChart()) {
            if (!chart_) {
                chart_ = new ChartWidget(shown_);
                shown_->insertWidget(0, chart_);
                ArrangePanes();
            }
            chart_->SetChart(std::move(*chart));
        }
        SetGuides();
    });
    if (!failText_.isEmpty()) ShowState();
    Drawn();
}

void CEventBaseNonModalDlg::SetGuides() {
    DocumentView* view = block_->View();
    if (view && !letGo_) view->SetGuides(block_->Guides());
}

QString CEventBaseNonModalDlg::Fault() {
    const std::string entered = form_->Fault();
    if (!entered.empty()) return ToQString(entered);
    return block_->Document() ? ToQString(block_->Validate()) : QString();
}

void CEventBaseNonModalDlg::FocusFault() { form_->FocusFault(); }

void CEventBaseNonModalDlg::ShowState() {
    const bool hasDoc = block_->Document() != nullptr;
    const QString entered = ToQString(form_->Fault());
    const QString fault = Fault();
    form_->setEnabled(hasDoc && !worker_);
    progress_->setVisible(worker_ != nullptr);
    for (QPushButton* button : form_->ResultActions()) button->setEnabled(hasDoc && button->isEnabled());
    run_->setEnabled(hasDoc && fault.isEmpty() && !worker_);
    save_->setEnabled(entered.isEmpty() && !worker_);
    load_->setEnabled(!worker_);
    batch_->setVisible(static_cast<bool>(onBatch));
    batch_->setEnabled(entered.isEmpty() && !worker_);
    if (!hasDoc)
        ShowMessage(tr(noViewText), false);
    else if (!fault.isEmpty())
        ShowMessage(fault, true);
    else if (!failText_.isEmpty())
        ShowMessage(failText_, true);
    else
        ShowMessage(doneText_, false);
}

void CEventBaseNonModalDlg::ShowMessage(const QString& text, bool isFault) {
    QPalette colours = palette();
    if (isFault) colours.setColor(QPalette::WindowText, FaultColour(colours));
    message_->setPalette(colours);
    message_->setText(text);
}

QString CEventBaseNonModalDlg::DoneText() {
    ParamList params = block_->Params();
    const Param* destination = params.Find("destination");
    if (!destination || destination->kind != ParamKind::channel)
        return results_ || !block_->ChangesDocument() ? QString() : tr("Done.");
    const int channel = static_cast<int>(destination->Number());
    const bool byNumber = session_.options.eventChannelMode > letterChannels;
    return tr("%1 in channel %2")
        .arg(ToQString(EventCountText(block_->Document(), channel)),
             byNumber ? QString::number(channel) : ToQString(ChannelName(channel)));
}

void CEventBaseNonModalDlg::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    const bool isBack = event->type() == QEvent::ActivationChange && isActiveWindow();
    if ((isBack || event->type() == QEvent::PaletteChange) && form_ && close_ && !IsBusy()) {
        form_->Refresh();
        ShowState();
    }
}

// --- what the user does ---

void CEventBaseNonModalDlg::Edited(bool isTyping) {
    doneText_.clear();
    ShowState();
    if (isTyping)
        drawLater_.start();
    else
        ShowDrawn();
}

bool CEventBaseNonModalDlg::RunJob(bool mayWait) {
    if (IsBusy()) return false;
    if (!block_->Document() || !form_->Fault().empty()) {
        form_->FocusFault();
        return false;
    }
    doneText_.clear();
    bool done = false;
    Work([&] {
        auto job = block_->Prepare();
        if (!job || (mayWait && StartWorker(job))) return;
        done = block_->Conclude(*job, [&](JobContext& here) { job->Compute(*block_->Document(), here); });
        if (done) ShowDone();
    });
    if (done) emit Ran();
    return done;
}

void CEventBaseNonModalDlg::ShowDone() {
    if (results_) results_->Show();
    doneText_ = DoneText();
}

// --- a run on another thread ---

// False where the job is short, or nobody but this thread can read the samples.
bool CEventBaseNonModalDlg::StartWorker(std::unique_ptr<OperationJob>& job) {
    if (job->Samples() <= samplesAtOnce) return false;
    auto source = JobWorker::SourceOf(*block_->Document());
    if (!source) return false;
    job_ = std::move(job);
    worker_ = std::make_unique<JobWorker>(*block_->Document(), *job_, std::move(*source));
    watch_.start();
    ShowProgress();
    return true;
}

void CEventBaseNonModalDlg::WatchWorker() {
    if (worker_->IsDone())
        EndWorker(false);
    else
        ShowProgress();
}

void CEventBaseNonModalDlg::ShowProgress() {
    const JobWorker::State state = worker_->Now();
    const double share =
        static_cast<double>(state.done) / static_cast<double>(std::max<uint64_t>(1, state.total));
    bar_->setRange(0, state.label.empty() ? 0 : progressSteps);
    bar_->setValue(static_cast<int>(std::min(share, 1.0) * progressSteps));
    bar_->setFormat(ToQString(state.label) + " %p%");
}

void CEventBaseNonModalDlg::EndWorker(bool cancels) {
    watch_.stop();
    const auto job = std::move(job_);  // outlives the worker
    const auto worker = std::move(worker_);
    if (cancels) worker->Cancel();
    bool done = false;
    Work([&] {
        done = block_->Conclude(*job, [&](JobContext& here) { worker->Take(here); });
        if (done) ShowDone();
    });
    if (done) emit Ran();
    if (const auto active = std::exchange(later_, std::nullopt)) {
        SetActive(active->doc, active->view);
        block_->SuggestSettings();
        Refresh();
    }
}

void CEventBaseNonModalDlg::Forget(const DocumentView& view) {
    if (worker_ && block_->View() == &view) EndWorker(true);
}

void CEventBaseNonModalDlg::PressAction(const QString& key) {
    if (IsBusy() || !block_->Document()) return;
    if (!form_->Fault().empty()) return form_->FocusFault();
    doneText_.clear();
    Work([&] {
        ParamList params = block_->Params();
        const Param* param = params.Find(key.toStdString());
        if (param && param->action) param->action();
    });
}

void CEventBaseNonModalDlg::Batch() {
    if (IsBusy() || !onBatch) return;
    if (!block_->View()) return session_.host.Failure(noViewText);
    Work([&] { onBatch(*block_); });
}

void CEventBaseNonModalDlg::Save() {
    if (!IsBusy()) AskSaveConfig(session_, *block_);
}

void CEventBaseNonModalDlg::Load() {
    if (IsBusy() || !AskLoadConfig(session_, *block_)) return;
    form_->Revert();
    Refresh();
}

bool CEventBaseNonModalDlg::LoadConfigFile(const std::filesystem::path& path) {
    if (IsBusy() || !LoadConfig(session_, *block_, path)) return false;
    form_->Revert();
    Refresh();
    return true;
}

void CEventBaseNonModalDlg::keyPressEvent(QKeyEvent* event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && !form_->Fault().empty()) return form_->FocusFault();
    QDialog::keyPressEvent(event);
}

void CEventBaseNonModalDlg::dragEnterEvent(QDragEnterEvent* event) {
    if (!FirstFile(*event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void CEventBaseNonModalDlg::dropEvent(QDropEvent* event) {
    const QString file = FirstFile(*event->mimeData());
    if (file.isEmpty() || IsBusy()) return;
    event->acceptProposedAction();
    if (!DropConfig(session_, *block_, ToPath(file))) return;
    form_->Revert();
    Refresh();
}

// --- closing ---

void CEventBaseNonModalDlg::LetGo() {
    if (std::exchange(letGo_, true)) return;
    drawLater_.stop();
    watch_.stop();
    worker_.reset();
    session_.operationSettings[block_->ClassName()] = block_->Settings();
    if (DocumentView* view = block_->View()) view->SetGuides({});
}

void CEventBaseNonModalDlg::done(int result) {
    if (busy_ > 0) return;
    LetGo();
    QDialog::done(result);
}

void CEventBaseNonModalDlg::closeEvent(QCloseEvent* event) {
    if (busy_ > 0) return event->ignore();
    QDialog::closeEvent(event);
}

}  // namespace kymora
