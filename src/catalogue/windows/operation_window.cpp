#include "catalogue/windows/operation_window.h"

#include <fmt/format.h>

#include <QDragEnterEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "catalogue/command_text.h"
#include "catalogue/windows/live_run.h"
#include "catalogue/windows/look_ahead.h"
#include "catalogue/windows/operation_panes.h"
#include "document/blank_doc.h"
#include "drawing/number_labels.h"
#include "operations/config_file.h"
#include "operations/event_base_dlg.h"
#include "widgets/findings_pane.h"
#include "widgets/message_area.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int drawAfterMs = 150;  // without another letter
constexpr int panelMargin = 6;    // pixels
constexpr uint32_t findingColour = 0xA65400;

void TellViewMoved(CBatchBaseDlg& block) {
    block.ViewChangedHorzDisp();
    block.ViewChangedVertDisp();
}

QString FirstFile(const QMimeData& data) {
    const auto urls = data.urls();
    return urls.isEmpty() ? QString() : urls.front().toLocalFile();
}

}  // namespace

// What happens to the document meanwhile is taken up at the end. A box that stood meanwhile was the main
// window's, which has the keyboard when it goes: it comes back here.
class OperationWindow::Busy {
  public:
    explicit Busy(OperationWindow& window) : window_(window), wasActive_(window.isActiveWindow()) {
        ++window_.busy_;
    }
    ~Busy() {
        if (--window_.busy_ > 0) return;
        if (wasActive_ && window_.isVisible()) window_.activateWindow();
        const Missed missed = std::exchange(window_.missed_, {});
        CBatchBaseDlg& block = *window_.block_;
        for (const UpdateHint hint : missed.updates) window_.Guarded([&] { block.OnUpdate(hint); });
        if (missed.viewMoves) window_.Guarded([&] { TellViewMoved(block); });
        if (missed.cursorMoves) window_.Guarded([&] { block.OnCurChanged(); });
    }

  private:
    OperationWindow& window_;
    bool wasActive_;
};

OperationWindow::OperationWindow(Session& session, const Operation& operation,
                                 std::unique_ptr<CBatchBaseDlg> block, const Labels& labels, QWidget* parent)
    : QDialog(parent), session_(session), operation_(operation), block_(std::move(block)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setAcceptDrops(true);
    TakeLastSettings();
    MakeWindow(labels);
    drawLater_.setSingleShot(true);
    drawLater_.setInterval(drawAfterMs);
    connect(&drawLater_, &QTimer::timeout, this, [this] { IsBusy() ? drawLater_.start() : ShowDrawn(); });
    SetActive(nullptr, nullptr);
}

OperationWindow::~OperationWindow() { LetGo(); }

void OperationWindow::TakeLastSettings() {
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

void OperationWindow::MakeWindow(const Labels& labels) {
    const auto enter = [this](const std::function<void()>& store) {
        failText_.clear();
        Guarded(store);
    };
    panes_ = new OperationPanes(session_, *block_, enter, {session_.options.eventChannelMode, 0}, this);
    connect(&panes_->Form(), &ParamForm::Edited, this, &OperationWindow::Edited);
    connect(&panes_->Form(), &ParamForm::ValuePutBack, this, &OperationWindow::TellPutBack);
    connect(&panes_->Form(), &ParamForm::ActionPressed, this, &OperationWindow::PressAction);
    connect(&panes_->Form(), &ParamForm::ShapeChanged, this, &OperationWindow::GrowToShow);
    connect(panes_, &OperationPanes::Arranged, this, &OperationWindow::OrderTabs);
    connect(panes_, &OperationPanes::Dragged, this,
            [this](const QString& key, double at) { TakeDragged(key.toStdString(), at); });
    connect(panes_, &OperationPanes::EventChosen, this, &OperationWindow::GoToEvent);
    connect(panes_, &OperationPanes::LimitsDragged, this,
            [this](const GraphPane& pane, double low, double high) {
                TakeSet({{pane.autoParameter, "0"},
                         {pane.lowerParameter, PreciseNumber(low)},
                         {pane.upperParameter, PreciseNumber(high)}});
            });
    connect(panes_, &OperationPanes::AreaDragged, this, [this](const GraphArea& area) {
        const double half = area.hasRows ? 0.5 : 0.0;
        TakeSet({{area.leftParameter, PreciseNumber(area.left)},
                 {area.rightParameter, PreciseNumber(area.right)},
                 {area.bottomParameter, PreciseNumber(area.bottom + half)},
                 {area.topParameter, PreciseNumber(area.top - half)}});
    });
    connect(panes_, &OperationPanes::LimitsFreed, this, [this](const GraphPane& pane) {
        TakeSet({{pane.autoParameter, "1"}});
    });
    if (FindingsPane* findings = panes_->Findings()) {
        connect(findings, &FindingsPane::CurrentChanged, this, &OperationWindow::GoToFinding);
        connect(findings, &FindingsPane::Rejected, this, &OperationWindow::RejectFindings);
    }
    message_ = new MessageArea(this);
    column_ = new QVBoxLayout(this);
    column_->addWidget(panes_, 1);
    messageRow_ = new QGridLayout;
    messageRow_->addWidget(message_, 0, 0);
    column_->addLayout(messageRow_);
    buttonRows_ = new QBoxLayout(QBoxLayout::LeftToRight);
    settingsRow_ = new QHBoxLayout;
    runRow_ = new QHBoxLayout;
    buttonRows_->addLayout(settingsRow_, 1);
    buttonRows_->addLayout(runRow_);
    column_->addLayout(buttonRows_);
    save_ = MakeButton(tr("&Save..."), "save", tr(saveConfigTitle));
    connect(save_, &QPushButton::clicked, this, &OperationWindow::Save);
    load_ = MakeButton(tr("&Load..."), "load", tr(loadConfigTitle));
    connect(load_, &QPushButton::clicked, this, &OperationWindow::Load);
    copy_ = MakeButton(tr("Copy as co&mmand"), "copyCommand",
                       tr("Copies the command line that repeats what this window shows"));
    connect(copy_, &QPushButton::clicked, this, &OperationWindow::CopyCommand);
    run_ = MakeButton(labels.run, "run", ToQString(operation_.toolTip));
    connect(run_, &QPushButton::clicked, this, [this] { IsConfiguring() ? HandOver() : Start(); });
    run_->setDefault(true);
    close_ = MakeButton(labels.close, "close", {});
    connect(close_, &QPushButton::clicked, this, &OperationWindow::reject);
    for (QPushButton* button : {save_, load_, copy_, run_, close_}) {
        (button == run_ || button == close_ ? runRow_ : settingsRow_)->addWidget(button);
        buttons_.push_back(button);
    }
    settingsRow_->addStretch(1);
    MakeLookAhead();
    MakeLiveRun();
    TakeFolds();
    panes_->Arrange();
}

QPushButton* OperationWindow::MakeButton(const QString& label, const char* name, const QString& tip) {
    auto* button = new QPushButton(label, this);
    button->setObjectName(name);
    button->setToolTip(tip);
    return button;
}

void OperationWindow::AddButton(QWidget* button, QWidget* before) {
    QHBoxLayout* row = settingsRow_->indexOf(before) >= 0 ? settingsRow_ : runRow_;
    row->insertWidget(row->indexOf(before), button);
    buttons_.insert(std::find(buttons_.begin(), buttons_.end(), before), button);
    OrderTabs();
}

void OperationWindow::AddRow(QWidget* row) { column_->insertWidget(column_->count() - 1, row); }

void OperationWindow::OrderTabs() {
    std::vector<QWidget*> stops = panes_->TabStops();
    const std::vector<QWidget*> more = MoreTabStops();
    stops.insert(stops.end(), more.begin(), more.end());
    stops.push_back(message_);
    stops.insert(stops.end(), buttons_.begin(), buttons_.end());
    for (size_t i = 1; i < stops.size(); ++i) setTabOrder(stops[i - 1], stops[i]);
}

// What is folded away is the operation's, whichever of its windows it was done in.
void OperationWindow::TakeFolds() {
    ParamForm& form = panes_->Form();
    form.SetFolded(session_.foldedGroups[block_->ClassName()]);
    connect(&form, &ParamForm::FoldChanged, this,
            [this, &form] { session_.foldedGroups[block_->ClassName()] = form.Folded(); });
}

// --- what a run would find ---

void OperationWindow::MakeLookAhead() {
    auto* block = dynamic_cast<CEventBaseDlg*>(block_.get());
    if (!block || !block->CanLookAhead()) return;
    ahead_ = new QLabel(this);
    ahead_->setObjectName("ahead");
    ahead_->setWordWrap(true);
    ahead_->setMinimumHeight(ahead_->fontMetrics().height());
    AddRow(ahead_);
    look_ = new LookAhead(
        *block, [this] { return !letGo_ && isInFront_ && !IsBusy() && panes_->Form().Fault().empty(); },
        this);
    connect(look_, &LookAhead::Changed, this, &OperationWindow::ShowLookAhead);
    connect(look_, &LookAhead::Looked, this, [this] { Guarded([&] { panes_->ShowGraph(false); }); });
}

void OperationWindow::ShowLookAhead() {
    ahead_->setText(look_->Text());
    DocumentView* view = block_->View();
    if (view && isInFront_) view->SetProposedEvents(look_->Proposed());
}

void OperationWindow::StopLookingAhead() {
    if (look_) look_->Stop();
}

// --- runs by itself ---

void OperationWindow::MakeLiveRun() {
    if (!block_->RunsLive()) return;
    strip_ = new QProgressBar(this);
    strip_->setObjectName("strip");
    strip_->setRange(0, 1000);
    // It covers what was said before; nothing moves when it comes.
    strip_->setFixedHeight(strip_->fontMetrics().height() + 2);
    strip_->hide();
    messageRow_->addWidget(strip_, 0, 0, Qt::AlignTop);
    live_ = new LiveRun(
        *block_,
        [this] {
            return !letGo_ && (isInFront_ || IsConfiguring()) && !IsBusy() && panes_->Form().Fault().empty();
        },
        this);
    connect(live_, &LiveRun::Ran, this, &OperationWindow::ShowLiveRun);
    connect(live_, &LiveRun::Progressed, this, &OperationWindow::ShowLiveProgress);
}

void OperationWindow::ShowLiveRun() {
    panes_->Form().Refresh();
    Guarded([&] {
        panes_->ShowGraph(live_->HasFailed());
        live_->HasFailed() ? panes_->ClearResults() : panes_->ShowResults();
        if (block_->Document()) SetGuides();
    });
    failText_.clear();
    SetDoneText({});
    if (live_->HasFailed())
        failText_ = live_->Words();
    else
        SetDoneText(live_->Words());
    ShowState();
}

void OperationWindow::ShowLiveProgress() {
    const auto now = live_->Now();
    strip_->setVisible(now.has_value());
    message_->setVisible(!now);
    if (!now) return;
    strip_->setValue(static_cast<int>(now->share * strip_->maximum()));
    strip_->setFormat(now->text + " %p%");
}

void OperationWindow::ClearView(DocumentView* view) {
    if (!view || !isInFront_) return;
    view->SetGuides({});
    view->SetProposedEvents({});
}

void OperationWindow::SetDocked(bool isDocked) {
    buttonRows_->setDirection(isDocked ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    const int margin = isDocked ? panelMargin : -1;  // or the style's
    column_->setContentsMargins(margin, margin, margin, margin);
    panes_->SetDocked(isDocked);
}

void OperationWindow::SetInFront(bool isInFront) {
    if (isInFront_ == isInFront) return;
    if (!isInFront) {
        StopLookingAhead();
        ClearView(block_->View());
    }
    isInFront_ = isInFront;
    if (!isInFront) return;
    Guarded([&] { SetGuides(); });
    if (look_) look_->Restart();
    if (live_) live_->Restart();
}

void OperationWindow::FocusFirst() { panes_->Form().FocusFirst(); }

void OperationWindow::setVisible(bool visible) {
    if (visible && !isVisible()) {
        // Now that the style and the font are known.
        ensurePolished();
        panes_->Arrange();
        ShowState();
        // Where the owner has not said how large it is.
        if (isWindow() && !testAttribute(Qt::WA_Resized)) resize(sizeHint().boundedTo(panes_->MostSize()));
    }
    const bool isOpening = visible && !isVisible();
    QDialog::setVisible(visible);
    // And not to the heading above it.
    if (isOpening && isWindow()) FocusFirst();
}

// --- what it works on ---

void OperationWindow::Guarded(const std::function<void()>& does) {
    try {
        Busy busy(*this);
        does();
    } catch (const std::exception& error) {
        failText_ = ToQString(error.what());
    }
}

void OperationWindow::Work(const std::function<void()>& does) {
    failText_.clear();
    Guarded(does);
    Refresh();
}

void OperationWindow::SetActive(CDataDoc* doc, DocumentView* view) {
    if (!block_->NeedsRecording()) {
        if (!blank_) blank_ = std::make_unique<BlankDoc>(session_);
        doc = blank_.get();
        view = nullptr;
    }
    DocumentView* before = block_->View();
    StopLookingAhead();
    if (live_ && (doc != block_->Document() || view != before)) live_->Stop();
    if (before != view) ClearView(before);
    if (doc != block_->Document()) {
        doneText_.clear();
        panes_->ClearResults();
    }
    panes_->Form().SetTraceCount(doc ? doc->traceCount : 0);
    Work([&] {
        block_->CheckChangeDoc(doc);
        block_->CheckChangeView(view);
    });
}

void OperationWindow::DocumentChanged(UpdateHint hint) {
    if (IsBusy()) {
        missed_.updates.insert(hint);
        return;
    }
    if (panes_->Findings() && hint != UpdateHint::settings) panes_->Findings()->SetOutdated();
    if (live_ && hint != UpdateHint::settings) live_->Outdate();
    Work([&] { block_->OnUpdate(hint); });
}

void OperationWindow::ViewMoved() {
    if (live_ && block_->FollowsView()) live_->Outdate();
    if (IsBusy())
        missed_.viewMoves = true;
    else
        Work([&] { TellViewMoved(*block_); });
}

void OperationWindow::CursorsMoved() {
    if (IsBusy())
        missed_.cursorMoves = true;
    else
        Work([&] { block_->OnCurChanged(); });
}

void OperationWindow::Refresh() {
    panes_->Form().Refresh();
    ShowDrawn();
    ShowState();
}

// --- what it shows ---

void OperationWindow::ShowDrawn() {
    drawLater_.stop();
    Guarded([&] {
        ShowWorkedOut();
        if (block_->Document()) SetGuides();
    });
    if (!failText_.isEmpty()) ShowState();
    if (look_ && !IsBusy()) look_->Restart();
    if (live_ && !IsBusy()) live_->Restart();
    Drawn();
}

void OperationWindow::ShowWorkedOut() {
    const bool isRefused = !panes_->Form().Fault().empty();
    const bool hasFailed = live_ && live_->HasFailed();
    panes_->ShowGraph(isRefused || hasFailed);
    if (block_->Document() && !isRefused && block_->FindingsFollowSettings()) panes_->ShowResults();
    // The results of a run that was asked for stay: they tell of that run.
    if (std::exchange(wasRefused_, isRefused) == isRefused || !live_ || !block_->Document()) return;
    isRefused || hasFailed ? panes_->ClearResults() : panes_->ShowResults();
}

void OperationWindow::SetGuides() {
    DocumentView* view = block_->View();
    if (!view || letGo_ || !isInFront_) return;
    std::vector<ViewGuide> guides = block_->Guides();
    // What cannot be typed cannot be dragged either.
    ParamList params = block_->Params();
    for (ViewGuide& guide : guides) {
        const Field* field = params.Find(guide.parameter);
        if (!field || !field->IsEnabled(params)) guide.parameter.clear();
    }
    AddFinding(guides);
    view->SetGuides(std::move(guides),
                    [this](const ViewGuide& guide, double at) { TakeDragged(guide.parameter, at); });
}

// --- findings ---

void OperationWindow::AddFinding(std::vector<ViewGuide>& guides) const {
    const Finding* finding = panes_->Findings() ? panes_->Findings()->Current() : nullptr;
    if (!finding) return;
    const CDataDoc& doc = *block_->Document();
    const auto add = [&](int32_t position) {
        guides.push_back({ViewGuide::Kind::time, 0, doc.TimeOf(position), findingColour, {}, {}});
    };
    add(finding->onset);
    if (finding->offset != finding->onset) add(finding->offset);
}

// The event for which a point of the graph stands, as far as it is still there.
void OperationWindow::GoToEvent(int channel, int event) {
    DocumentView* view = block_->View();
    if (IsBusy() || !view || channel < 0 || channel >= maxEventChannels) return;
    const CDataDoc& doc = *block_->Document();
    const auto& events = doc.eventChannels[static_cast<size_t>(channel)].Events();
    const auto index = static_cast<size_t>(event);
    if (index >= events.size()) return;
    view->BringIntoView(doc.TimeOf(events[index].onPosition), doc.TimeOf(events[index].offPosition));
}

void OperationWindow::GoToFinding() {
    DocumentView* view = block_->View();
    if (IsBusy() || !view) return;
    SetGuides();
    const Finding* finding = panes_->Findings()->Current();
    if (!finding) return;
    const CDataDoc& doc = *block_->Document();
    view->BringIntoView(doc.TimeOf(finding->onset), doc.TimeOf(finding->offset));
}

void OperationWindow::RejectFindings() {
    if (IsBusy() || !block_->Document()) return;
    Work([&] {
        const std::string done = block_->RejectFindings(panes_->Findings()->Shown());
        if (done.empty()) return;
        SetDoneText(ToQString(done));
        panes_->ShowResults();
    });
}

void OperationWindow::TakeDragged(const std::string& key, double at) {
    TakeSet({{key, fmt::format("{:.6g}", at)}});
}

// One after the other, since what is set may change what the next one is.
void OperationWindow::TakeSet(const std::vector<std::pair<std::string, std::string>>& settings) {
    if (IsBusy()) return;
    doneText_.clear();
    Work([&] {
        for (const auto& [key, text] : settings) {
            ParamList params = block_->Params();
            Field* field = params.Find(key);
            if (!field) continue;
            const std::string fault = field->SetForGood(text, params);
            if (!fault.empty()) throw std::runtime_error(fault);
        }
    });
}

QString OperationWindow::Fault() {
    const std::string entered = panes_->Form().Fault();
    if (!entered.empty()) return ToQString(entered);
    return block_->Document() ? ToQString(block_->Validate()) : QString();
}

void OperationWindow::FocusFault() { panes_->Form().FocusFault(); }

void OperationWindow::SetDoneText(const QString& text) {
    doneText_ = text;
    doneSettings_ = block_->Settings();
}

// A title may follow a parameter.
void OperationWindow::ShowTitle() {
    const QString title = ToQString(block_->Title());
    const CDataDoc* doc = block_->Document();
    const QString file = doc && doc != blank_.get() ? FileName(doc->filePath.filename()) : QString();
    if (IsConfiguring())
        setWindowTitle(tr("%1 - for the To Do list").arg(title));
    else
        setWindowTitle(file.isEmpty() ? title : title + " - " + file);
}

void OperationWindow::ShowState() {
    ShowTitle();
    if (!doneText_.isEmpty() && doneSettings_ != block_->Settings()) doneText_.clear();
    const bool hasDoc = block_->Document() != nullptr;
    const bool isUsable = panes_->Form().Fault().empty();
    const bool isFree = !IsBusy() || IsInBlock();
    const QString fault = Fault();
    panes_->Form().setEnabled(hasDoc && isFree);
    for (QPushButton* button : panes_->Form().ResultActions())
        button->setEnabled(hasDoc && button->isEnabled());
    run_->setEnabled(hasDoc && isFree && (IsConfiguring() ? isUsable : fault.isEmpty()));
    save_->setEnabled(isUsable && isFree);
    load_->setEnabled(isFree);
    copy_->setEnabled(hasDoc && isUsable && isFree);
    StateShown(isUsable && isFree);
    if (!hasDoc)
        ShowMessage(tr(noViewText), false);
    else if (!fault.isEmpty() && IsConfiguring() && isUsable)
        ShowMessage(tr("In the recording in front: %1").arg(fault), false);
    else if (!fault.isEmpty())
        ShowMessage(fault, true);
    else if (!failText_.isEmpty())
        ShowMessage(failText_, true);
    else
        ShowMessage(doneText_, false);
}

void OperationWindow::ShowMessage(const QString& text, bool isFault) {
    QPalette colours = palette();
    if (isFault) colours.setColor(QPalette::WindowText, FaultColour(colours));
    message_->Show(text, colours);
}

void OperationWindow::GrowToShow() {
    if (!isWindow() || !isVisible() || isMaximized()) return;
    const int most = std::max(height(), panes_->MostSize().height());
    const int wanted = std::min(height() + panes_->MissingHeight(), most);
    if (wanted == height()) return;
    resize(width(), wanted);
    const QRect room = screen()->availableGeometry();
    const int below = frameGeometry().bottom() - room.bottom();
    if (below > 0) move(x(), std::max(room.top(), y() - below));
}

void OperationWindow::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    const bool isBack = event->type() == QEvent::ActivationChange && isActiveWindow();
    if ((isBack || event->type() == QEvent::PaletteChange) && close_ && !IsBusy()) {
        panes_->Form().Refresh();
        ShowState();
    }
}

// --- asking for settings alone ---

void OperationWindow::SetConfiguring(std::function<void(CBatchBaseDlg&)> taken) {
    taken_ = std::move(taken);
    setWindowModality(Qt::ApplicationModal);
    run_->setText(tr("OK"));
    run_->setToolTip(tr("Put the operation with these settings into the To Do list"));
    close_->setText(tr("Cancel"));
    SetInFront(false);  // the lines in the view are those of a window that works on it
    if (ahead_) ahead_->hide();
}

void OperationWindow::HandOver() {
    if (IsBusy()) return;
    if (!panes_->Form().Fault().empty()) return panes_->Form().FocusFault();
    taken_(*block_);
    accept();
}

// --- what the user does ---

void OperationWindow::Edited(bool isTyping) {
    doneText_.clear();
    ShowState();
    if (isTyping)
        drawLater_.start();
    else
        ShowDrawn();
}

// A click that ended the editing does not run it: what it would run is not what was entered.
void OperationWindow::TellPutBack(const QString& why) {
    failText_ = why;
    ShowState();
    run_->setEnabled(false);
    QTimer::singleShot(0, this, &OperationWindow::ShowState);
}

void OperationWindow::PressAction(const QString& key) {
    if (IsBusy() || !block_->Document()) return;
    if (!panes_->Form().Fault().empty()) return panes_->Form().FocusFault();
    doneText_.clear();
    Work([&] {
        ParamList params = block_->Params();
        const Field* param = params.Find(key.toStdString());
        if (param && param->action) param->action(params);
    });
}

// What happened while the box stood is shown after it, and looked at anew.
void OperationWindow::Save() {
    if (IsBusy()) return;
    {
        Busy busy(*this);
        AskSaveConfig(session_, *block_);
    }
    Refresh();
}

void OperationWindow::TakeLoaded() {
    panes_->Form().Revert();
    Refresh();
}

void OperationWindow::Load() {
    if (IsBusy()) return;
    const bool isLoaded = [&] {
        Busy busy(*this);
        return AskLoadConfig(session_, *block_);
    }();
    isLoaded ? TakeLoaded() : Refresh();
}

void OperationWindow::CopyCommand() {
    if (IsBusy()) return;
    Work([&] {
        const std::string text = CommandText(operation_, *block_);
        session_.host.WriteClipboard(plainTextFormat, std::as_bytes(std::span(text)));
        SetDoneText(tr("The command line is on the clipboard."));
    });
}

bool OperationWindow::LoadConfigFile(const std::filesystem::path& path) {
    if (IsBusy() || !LoadConfig(session_, *block_, path)) return false;
    TakeLoaded();
    return true;
}

void OperationWindow::keyPressEvent(QKeyEvent* event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && panes_->Form().FinishEditing()) return;
    if (isEnter && !panes_->Form().Fault().empty()) return panes_->Form().FocusFault();
    QDialog::keyPressEvent(event);
}

void OperationWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (!FirstFile(*event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void OperationWindow::dropEvent(QDropEvent* event) {
    const QString file = FirstFile(*event->mimeData());
    if (file.isEmpty() || IsBusy()) return;
    event->acceptProposedAction();
    bool isTaken = false;
    if (block_->Document()) Work([&] { isTaken = block_->TakesDrop(ToPath(file)); });
    if (!isTaken && DropConfig(session_, *block_, ToPath(file))) TakeLoaded();
}

// --- closing ---

void OperationWindow::LetGo() {
    if (std::exchange(letGo_, true)) return;
    drawLater_.stop();
    if (!IsConfiguring()) session_.operationSettings[block_->ClassName()] = block_->Settings();
    if (look_) {
        look_->disconnect(this);
        look_->Stop();
    }
    if (live_) {
        live_->disconnect(this);
        live_->Stop();
    }
    ClearView(block_->View());
}

void OperationWindow::done(int result) {
    if (IsInBlock()) return;
    panes_->Form().FinishEditing();
    LetGo();
    emit Going();
    QDialog::done(result);
}

void OperationWindow::closeEvent(QCloseEvent* event) {
    if (IsInBlock()) return event->ignore();
    QDialog::closeEvent(event);
}

}  // namespace kymora
