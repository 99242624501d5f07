#include "catalogue/windows/event_base_non_modal_dlg.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "catalogue/windows/live_run.h"
#include "catalogue/windows/operation_panes.h"
#include "host/user_numbers.h"
#include "operations/event_base_dlg.h"
#include "operations/job_worker.h"
#include "widgets/text.h"
#include "widgets/user_at_it.h"

namespace kymora {

namespace {

constexpr int watchEveryMs = 40, progressSteps = 1000;

}  // namespace

CEventBaseNonModalDlg::CEventBaseNonModalDlg(Session& session, const Operation& operation,
                                             std::unique_ptr<CBatchBaseDlg> block, QWidget* parent)
    : OperationWindow(session, operation, std::move(block), {{}, tr("&Close")}, parent) {
    run_->setText(ToQString(Block().ActionLabel()));
    batch_ =
        MakeButton(tr("&Batch..."), "batch", tr("Batch process: apply this operation to a set of files"));
    connect(batch_, &QPushButton::clicked, this, &CEventBaseNonModalDlg::Batch);
    AddButton(batch_, save_);
    MakeProgress();
    if (Block().Params().Pages().size() > 1) MakePages();
    watch_.setInterval(watchEveryMs);
    connect(&watch_, &QTimer::timeout, this, &CEventBaseNonModalDlg::WatchWorker);
}

CEventBaseNonModalDlg::~CEventBaseNonModalDlg() = default;

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
    AddRow(progress_);
}

void CEventBaseNonModalDlg::StateShown(bool isUsable) {
    progress_->setVisible(worker_ != nullptr);
    batch_->setVisible(onBatch && Block().NeedsRecording());
    batch_->setEnabled(isUsable);
    if (next_) ShowPageState(isUsable);
}

void CEventBaseNonModalDlg::Batch() {
    if (IsBusy() || !onBatch) return;
    if (!Block().View()) return session_.host.Failure(noViewText);
    SetDoneText({});
    Work([&] { onBatch(Block()); });
}

// --- pages ---

void CEventBaseNonModalDlg::MakePages() {
    pageTitle_ = new QLabel(this);
    pageTitle_->setObjectName("pageTitle");
    AddRow(pageTitle_);
    back_ = MakeButton(tr("< Bac&k"), "back", tr("Show the page before this one"));
    connect(back_, &QPushButton::clicked, this, [this] { ShowPage(panes_->Page() - 1); });
    next_ = MakeButton(tr("&Next >"), "next", tr("Show the next page"));
    connect(next_, &QPushButton::clicked, this, [this] { ShowPage(panes_->Page() + 1); });
    for (QPushButton* button : {back_, next_}) AddButton(button, run_);
}

bool CEventBaseNonModalDlg::IsLastPage() {
    return panes_->Page() + 1 >= static_cast<int>(Block().Params().Pages().size());
}

QString CEventBaseNonModalDlg::Fault() {
    QString fault = ToQString(panes_->Form().Fault());
    if (!fault.isEmpty() || IsLastPage()) return fault.isEmpty() ? OperationWindow::Fault() : fault;
    return Block().Document() ? ToQString(Block().Params().PageFault(panes_->Page())) : QString();
}

void CEventBaseNonModalDlg::ShowPage(int page) {
    if (IsBusy()) return;
    Work([&] { panes_->ShowPage(page); });
}

void CEventBaseNonModalDlg::ShowPageState(bool isUsable) {
    const ParamList params = Block().Params();
    const int page = panes_->Page();
    pageTitle_->setText(tr("%1 of %2: %3")
                            .arg(page + 1)
                            .arg(params.Pages().size())
                            .arg(ToQString(params.Pages()[static_cast<size_t>(page)].title)));
    back_->setEnabled(page > 0 && !IsBusy());
    next_->setEnabled(isUsable && Block().Document() && Fault().isEmpty());
    next_->setVisible(!IsLastPage());
    run_->setVisible(IsLastPage());
    (IsLastPage() ? run_ : next_)->setDefault(true);
}

// --- running ---

bool CEventBaseNonModalDlg::RunJob(bool mayWait) {
    if (IsBusy()) return false;
    CBatchBaseDlg& block = Block();
    if (!block.Document() || !panes_->Form().Fault().empty()) {
        FocusFault();
        return false;
    }
    if (Live()) {
        Live()->RunNow();
        if (!Live()->HasFailed()) emit Ran();
        return !Live()->HasFailed();
    }
    SetDoneText({});
    StopLookingAhead();
    if (block.WhatItAffects() == Affects::traces) return RunWithTraces();
    bool done = false;
    Work([&] {
        auto job = block.Prepare();
        if (!job || (mayWait && StartWorker(job))) return;
        done = block.Conclude(*job, [&](JobContext& here) { job->Compute(*block.Document(), here); });
        if (done) ShowDone();
    });
    if (done) emit Ran();
    return done;
}

// The recording is another one afterwards, on which the window goes on.
bool CEventBaseNonModalDlg::RunWithTraces() {
    if (!onTraces) return false;
    bool done = false;
    Work([&] {
        done = onTraces(Block());
        if (done) ShowDone();
    });
    if (done) emit Ran();
    return done;
}

void CEventBaseNonModalDlg::ShowDone() {
    panes_->ShowResults();
    SetDoneText(DoneText());
}

QString CEventBaseNonModalDlg::DoneText() {
    ParamList params = Block().Params();
    const Field* destination = params.Find("destination");
    if (!destination || destination->kind != FieldKind::channel)
        return panes_->HasResults() || Block().WhatItAffects() == Affects::nothing ? QString() : tr("Done.");
    const QString text = WrittenText(static_cast<int>(destination->number));
    const QString summary = ToQString(Block().RunSummary());
    return summary.isEmpty() ? text : text + " (" + summary + ")";
}

// A run that has filled several channels tells of all of them.
QString CEventBaseNonModalDlg::WrittenText(int destination) const {
    const bool byNumber = session_.options.eventChannelMode > letterChannels;
    const auto name = [byNumber](int channel) {
        return byNumber ? std::to_string(channel) : ChannelName(channel);
    };
    const CDataDoc* doc = Block().Document();
    const std::vector<int>& written = Block().WrittenChannels();
    if (written.size() < 2)
        return tr("%1 in channel %2")
            .arg(ToQString(EventCountText(doc, destination)), ToQString(name(destination)));
    int64_t events = 0;
    for (const int channel : written) events += doc->GetNumEvents(channel);
    return tr("%1 in %2 channels, %3")
        .arg(ToQString(EventsText(events)), QString::number(written.size()),
             ToQString(ListText(written, name)));
}

// --- a run on another thread ---

// False where the job is short, or nobody but this thread can read the samples.
bool CEventBaseNonModalDlg::StartWorker(std::unique_ptr<OperationJob>& job) {
    if (job->Samples() <= samplesAtOnce) return false;
    auto source = JobWorker::SourceOf(*Block().Document());
    if (!source) return false;
    job_ = std::move(job);
    worker_ = std::make_unique<JobWorker>(*Block().Document(), *job_, std::move(*source));
    focus_ = focusWidget();
    left_ = {};
    watch_.start();
    ShowProgress();
    return true;
}

void CEventBaseNonModalDlg::WatchWorker() {
    if (worker_->IsDone() && !Block().Document()->openUndoScope && !IsUserAtIt())
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
    const QString left = ToQString(left_.Text(share));
    bar_->setFormat(ToQString(LabelWithPart(state.label, state.part)) + " %p%" +
                    (left.isEmpty() ? "" : ", " + left));
}

// What was found is written here, which takes its time where it is much.
void CEventBaseNonModalDlg::ShowWriting() {
    bar_->setRange(0, progressSteps);
    bar_->setValue(progressSteps);
    bar_->setFormat(tr("Writing what was found"));
    bar_->repaint();
}

void CEventBaseNonModalDlg::EndWorker(bool cancels) {
    watch_.stop();
    const auto job = std::move(job_);  // outlives the worker
    const auto worker = std::move(worker_);
    if (cancels) worker->Discard();
    if (!cancels) ShowWriting();
    bool done = false;
    Work([&] {
        done = Block().Conclude(*job, [&](JobContext& here) { worker->Take(here); });
        if (done) ShowDone();
    });
    // The keyboard has gone to what was enabled meanwhile.
    if (focus_ && (focusWidget() == close_ || !focusWidget())) focus_->setFocus();
    if (done) emit Ran();
    if (const auto active = std::exchange(later_, std::nullopt)) {
        SetActive(active->doc, active->view);
        Block().SuggestSettings();
        Refresh();
    }
}

void CEventBaseNonModalDlg::Forget(const DocumentView& view) {
    if (worker_ && Block().View() == &view) EndWorker(true);
}

void CEventBaseNonModalDlg::SetActive(CDataDoc* doc, DocumentView* view) {
    if (worker_)
        later_ = {doc, view};
    else
        OperationWindow::SetActive(doc, view);
}

void CEventBaseNonModalDlg::done(int result) {
    if (IsInBlock()) return;
    watch_.stop();
    worker_.reset();
    OperationWindow::done(result);
}

}  // namespace kymora
