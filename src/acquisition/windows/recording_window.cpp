#include "acquisition/windows/recording_window.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <cmath>

#include <fmt/format.h>

#include "acquisition/windows/acq_scope_dlg.h"
#include "acquisition/windows/acquisition_pages.h"
#include "display/windows/view_widget.h"
#include "host/form.h"
#include "recording/acquisition_settings_fields.h"
#include "widgets/notice_bar.h"
#include "widgets/text.h"

namespace kymora {

namespace {

using Hold = QtAcqLoop::Hold;

constexpr const char* unsavedText = "The last recording is not saved and will be lost.";
constexpr int mostNoticeLines = 8;
constexpr double longestView = 24.0 * 3600.0;  // s
constexpr double mostScansViewed = 2147483000.0;

}  // namespace

RecordingWindow::RecordingWindow(Session& session, RecordingDesk& desk, QWidget* parent)
    : QDialog(parent),
      openBoard([](const std::string& source, const SourceSettings& settings) {
          return OpenSource(source, settings);
      }),
      session_(session),
      desk_(desk),
      taker_([this](std::string_view text) { Say(text); }) {
    setObjectName("recordingWindow");
    setWindowTitle(tr("Record"));
    setWindowFlags(Qt::Window);
    setAttribute(Qt::WA_DeleteOnClose);
    Build();
    loop_.atWork = [this](bool begins) { desk_.TakeMessages(begins ? &taker_ : nullptr); };
    observers_.Add(*this);
    observers_.Add(*live_);
    ReloadSources();
}

RecordingWindow::~RecordingWindow() {
    DropReview();
    DropScope();
    engine_.reset();
}

void RecordingWindow::Say(std::string_view text) {
    if (NoticeText().count('\n') >= mostNoticeLines) notice_->Dismiss();
    notice_->Say(ToQString(text));
}

// --- the board ---

void RecordingWindow::ReloadSources() {
    if (engine_ && (!engine_->HasEnded() || !MayLoseSamples())) return;
    const std::string before = source_.empty() ? std::string(simulatedSource) : source_;
    CloseBoard();
    isUpdating_ = true;
    sources_->clear();
    for (const AcquisitionSource& source : ListSources())
        sources_->addItem(
            ToQString(source.board == "Simulated board" ? source.board : source.name + ": " + source.board),
            ToQString(source.name));
    isUpdating_ = false;
    const int place = std::max(0, sources_->findData(ToQString(before)));
    OpenBoard(sources_->itemData(place).toString().toStdString());
}

void RecordingWindow::CloseBoard() {
    DropReview();
    DropScope();
    if (engine_) settings_ = engine_->m_settings;
    protocol_->SetBoard(UnknownBoard());
    const Hold alone(loop_);
    engine_.reset();
}

bool RecordingWindow::OpenBoard(const std::string& source) {
    if (engine_ && (!engine_->HasEnded() || !MayLoseSamples())) return false;
    return OpenAnew(source);
}

// Without asking.
bool RecordingWindow::OpenAnew(const std::string& source) {
    CloseBoard();
    const Hold alone(loop_);
    std::unique_ptr<Board> board = openBoard(source, sourceSettings_);
    if (!board)
        session_.host.Failure(
            fmt::format("There is no board \"{}\" any more. Load the list of boards anew.", source));
    if (board) {
        engine_ = std::make_unique<RecordingEngine>(session_, loop_, std::move(board));
        engine_->m_settings = settings_;
        engine_->SetObserver(&observers_);
        engine_->m_isOpen = [this](const std::filesystem::path& path) {
            // A file that was not to be opened cannot have been closed.
            return engine_->m_settings.m_bAutoLoad ? desk_.IsOpen(path)
                                                   : session_.files.Stamp(path).has_value();
        };
        if (!engine_->OpenBoard()) engine_.reset();
    }
    if (engine_) {
        BoardFacts facts = engine_->Facts();
        facts.isSimulated = source == simulatedSource;
        protocol_->SetBoard(std::move(facts));
    }
    source_ = source;
    openedSettings_ = sourceSettings_;
    if (engine_ && std::exchange(hasUsualAxes_, false)) SetAxesToRange();
    const QSignalBlocker quiet(sources_);
    sources_->setCurrentIndex(sources_->findData(ToQString(source)));
    ShowSettings();
    ShowPrepared();
    UpdateControls();
    return engine_ != nullptr;
}

// A new session shows all that the board can see.
void RecordingWindow::SetAxesToRange() {
    const ScanFormat& format = engine_->Format();
    for (AcquisitionChannel& channel : engine_->m_settings.channels) {
        channel.axisA = format.high / channel.m_dChanGain;
        channel.axisB = format.low / channel.m_dChanGain;
    }
}

bool RecordingWindow::MayLoseSamples() {
    if (!engine_ || !engine_->HasUnsaved()) return true;
    return session_.host.Confirm(std::string(unsavedText) +
                                 "\nClick OK to go on, Cancel to return and save it.");
}

// --- settings ---

bool RecordingWindow::LoadConfig(std::optional<std::filesystem::path> path) {
    if (!engine_ || !ControlsOf(*engine_).settings) {
        session_.host.Failure("A recording is under way. Stop it before you load a configuration.");
        return false;
    }
    if (!MayLoseSamples()) return false;
    DropReview();
    ConfigurationTarget target;
    target.board = engine_->BoardTarget();
    target.desktopFolder = desk_.DesktopFolder();
    target.findOutputFile = [this](const std::filesystem::path& file) {
        return session_.files.Stamp(file).has_value();
    };
    const Hold alone(loop_);
    if (!kymora::LoadConfiguration(session_, std::move(path), target, engine_->m_settings)) return false;
    ShowSettings();
    ShowPrepared();
    UpdateControls();
    return true;
}

void RecordingWindow::SaveConfiguration() {
    if (!engine_) return;
    const Hold alone(loop_);
    if (kymora::SaveConfiguration(session_, engine_->m_settings)) ShowSettings();
}

void RecordingWindow::ShowSettings() {
    if (engine_) protocol_->Show(engine_->m_settings, sourceSettings_);
}

// The user has changed a page.
void RecordingWindow::TakeSettings() {
    if (!engine_ || !ControlsOf(*engine_).settings) return;
    sourceSettings_ = protocol_->Source();
    if (engine_->m_settings == protocol_->Settings()) return;
    engine_->m_settings = protocol_->Settings();
    if (!hasBegun_) ShowPrepared();
    UpdateControls();
}

std::string RecordingWindow::Set(const std::string& key, const std::string& value) {
    if (!engine_ || !ControlsOf(*engine_).settings)
        return "Settings can be changed when nothing is recorded.";
    std::optional<std::string> fault = SetSourceSetting(sourceSettings_, key, value);
    if (!fault) fault = SetSetting(engine_->m_settings, key, value);
    if (!fault) fault = trains_.Set(engine_->m_settings, key, value);
    if (!fault) return fmt::format("There is no setting \"{}\".", key);
    if (fault->empty()) *fault = SourceSettingsFault(sourceSettings_);
    ShowSettings();
    if (!hasBegun_) ShowPrepared();
    UpdateControls();
    return *fault;
}

bool RecordingWindow::ShowPage(const QString& title) {
    protocol_->setVisible(true);
    UpdateControls();
    return protocol_->ShowPage(title);
}

// The source once more, after its user was asked. An open scope goes on with it.
bool RecordingWindow::OpenWithScope() {
    const bool hasScope = scopeDialog_ && scopeDialog_->isVisible();
    const ScopeSettings scope = hasScope ? scopeDialog_->Settings() : ScopeSettings();
    const QRect place = hasScope ? scopeDialog_->geometry() : QRect();
    if (!OpenAnew(source_)) return false;
    if (!hasScope) return true;
    ShowScope();
    scopeDialog_->setGeometry(place);
    scopeDialog_->SetSettings(scope);
    return true;
}

// A board that is made of its settings is made anew where they have changed.
bool RecordingWindow::TakeNewSettings() {
    const SimulatedBoardSettings &now = sourceSettings_.simulated, &opened = openedSettings_.simulated;
    const bool isSame =
        now.input == opened.input && now.bits == opened.bits && now.encoding == opened.encoding;
    if (source_ == simulatedSource && !isSame && !OpenWithScope()) return false;
    engine_->m_trigger = sourceSettings_.trigger;
    return true;
}

// --- buttons ---

void RecordingWindow::Start() {
    if (!engine_) return;
    if (engine_->HasEnded()) {
        if (const std::string fault = protocol_->Fault(); !fault.empty()) {
            session_.host.Failure(fault);
            protocol_->setVisible(true);
            return protocol_->FocusFault();
        }
        if (!MayLoseSamples() || !TakeNewSettings()) return;
        notice_->Dismiss();
        // It comes back where the start is refused.
        DropReview();
        engine_->m_bDisplayOnly = false;
        engine_->m_nDisplayWidth = live_->PlotWidth();
    }
    const Hold alone(loop_);
    engine_->OnAcqStart();
    live_->setFocus();
    SoonUpdate();
}

// Runs at once and as long as the user looks, whatever is set for recordings.
void RecordingWindow::View() {
    if (!engine_ || !engine_->HasEnded() || !MayLoseSamples() || !TakeNewSettings()) return;
    notice_->Dismiss();
    DropReview();
    const Hold alone(loop_);
    AcquisitionSettings& settings = engine_->m_settings;
    beforeViewing_ = {settings.m_nTrigMode, settings.m_nSweepMode, settings.m_dTimeLimit};
    settings.m_nTrigMode = 0;
    if (settings.m_nSweepMode == 0) settings.m_nSweepMode = 1;
    settings.m_dTimeLimit = std::min(longestView, mostScansViewed * settings.m_dSampleInterval / 1000.0);
    engine_->m_bDisplayOnly = true;
    engine_->m_nDisplayWidth = live_->PlotWidth();
    engine_->OnAcqStart();
    SoonUpdate();
}

void RecordingWindow::EndViewing() {
    if (!beforeViewing_ || !engine_->HasEnded()) return;
    AcquisitionSettings& settings = engine_->m_settings;
    settings.m_nTrigMode = beforeViewing_->trigMode;
    settings.m_nSweepMode = beforeViewing_->sweepMode;
    settings.m_dTimeLimit = beforeViewing_->timeLimit;
    beforeViewing_.reset();
}

void RecordingWindow::Stop() {
    if (!engine_) return;
    const Hold alone(loop_);
    engine_->OnAcqStop();
    SoonUpdate();
}

void RecordingWindow::Pause() {
    if (!engine_) return;
    const Hold alone(loop_);
    engine_->OnPause();
}

void RecordingWindow::Save() {
    if (!engine_ || !ControlsOf(*engine_).save) return;
    if (openNote_) NoteText(noteText_->text());
    DropReview();
    const Hold alone(loop_);
    engine_->OnSave();
    SoonUpdate();
}

void RecordingWindow::Done() {
    if (!engine_ || !ControlsOf(*engine_).done) return;
    const Hold alone(loop_);
    engine_->OnDone();
    SoonUpdate();
}

// --- notes ---

// The last samples came a moment ago.
double RecordingWindow::RecordedMs() const {
    const double interval = engine_->m_settings.m_dSampleInterval;
    const std::chrono::duration<double, std::milli> since = LiveWidget::Clock::now() - scansAt_;
    const double buffer = static_cast<double>(engine_->BufferScans()) * interval;
    const double seen = static_cast<double>(scansSeen_) * interval + std::clamp(since.count(), 0.0, buffer);
    // More is stored than was seen where this window has stood still.
    const double stored = static_cast<double>(engine_->StoredScans()) * interval;
    return std::max(stored, seen - TriggerOffsetMs());
}

void RecordingWindow::Note() {
    if (!engine_ || !ControlsOf(*engine_).note) return;
    const double now = RecordedMs();
    if (openNote_) NoteText(noteText_->text());  // of the note before
    CAcqDoc& doc = engine_->Document();
    openNote_ = now;
    doc.InsertMarker({*openNote_, fmt::format("note {}", ++notes_)});
    ShowNotes();
    noteText_->setEnabled(true);
    noteText_->clear();
    noteText_->setFocus();
}

void RecordingWindow::NoteText(const QString& text) {
    if (!engine_ || !openNote_) return;
    std::vector<CMarker>& markers = engine_->Document().markers;
    const auto note = std::ranges::find(markers, *openNote_, &CMarker::m_dTime);
    if (note != markers.end() && !text.trimmed().isEmpty()) note->m_strLabel = text.trimmed().toStdString();
    ShowNotes();
    EndNote();
}

// What was seen before the first scan that is stored, ms: an internal trigger lets go what came before.
double RecordingWindow::TriggerOffsetMs() const {
    return static_cast<double>(engine_->ScansLetGo()) * engine_->m_settings.m_dSampleInterval;
}

void RecordingWindow::ShowNotes() {
    if (!hasBegun_) return;
    std::vector<CMarker> notes = engine_->Document().markers;
    for (CMarker& note : notes) note.m_dTime += TriggerOffsetMs();
    live_->SetNotes(std::move(notes));
}

void RecordingWindow::EndNote() {
    openNote_.reset();
    noteText_->clear();
    noteText_->setEnabled(false);
    live_->setFocus();
}

// --- what the interface tells ---

void RecordingWindow::OnStateChanged() { SoonUpdate(); }

void RecordingWindow::OnBegun() {
    scansSeen_ = notes_ = 0;
    scansAt_ = LiveWidget::Clock::now();
    if (openNote_) EndNote();
    ShowPrepared();
    hasBegun_ = true;
    if (engine_->Trigger() != TriggerMode::internal) live_->SetMostScans(engine_->ScansPerSweep());
}

void RecordingWindow::OnScans(std::span<const std::byte> scans) {
    live_->SetWokenAt(loop_.WokenAt());
    OnScansPassed(static_cast<int64_t>(scans.size() / engine_->Format().ScanBytes()));
}

void RecordingWindow::OnScansPassed(int64_t scans) {
    scansSeen_ += scans;
    scansAt_ = LiveWidget::Clock::now();
}

void RecordingWindow::OnSkipped(int64_t scan) {
    scansSeen_ = std::max(scansSeen_, scan);
    scansAt_ = LiveWidget::Clock::now();
}

// The frame shows it when the interface has done its work.
void RecordingWindow::OnSaved(const std::filesystem::path& path) {
    const bool opens = engine_->m_settings.m_bAutoLoad;
    const bool follows = engine_->m_settings.m_bFollowLatest && engine_->AppendCount() > 0;
    saved_ = path;
    if (!opens) return;
    QMetaObject::invokeMethod(
        this,
        [this, path, follows] {
            // The keys stay with who records.
            const bool hasKeys = isActiveWindow();
            desk_.ShowRecording(path, follows);
            if (!hasKeys) return;
            raise();
            activateWindow();
        },
        Qt::QueuedConnection);
}

// --- the display ---

// The axes as they are set, without samples.
void RecordingWindow::ShowPrepared() {
    hasBegun_ = false;
    if (!engine_) return;
    const std::vector<int> active = engine_->ActiveChannels();
    LiveWidget::Recorded shown;
    shown.doc = std::make_unique<CAcqDoc>(session_);
    engine_->FillDocument(*shown.doc);
    shown.format = engine_->Format();
    shown.format.channels = active.size();
    for (size_t i = 0; i < active.size(); ++i)
        shown.format.gains[i] = engine_->m_settings.channels[static_cast<size_t>(active[i])].m_dChanGain;
    shown.spanMs = engine_->m_settings.displaySpan;
    const double limitMs = engine_->m_settings.m_dTimeLimit * 1000.0;
    shown.isSingle = engine_->m_settings.m_nSweepMode == 0 || limitMs <= shown.spanMs;
    shown.restarts = engine_->m_settings.m_nSweepMode != 2;
    stack_->setCurrentWidget(live_);
    live_->SetHint(active.empty() ? tr("No channel is on.") : QString());
    if (!active.empty()) live_->Show(std::move(shown));
    ShowDetectTraces();
}

void RecordingWindow::TakeAxis(int trace, double top, double bottom) {
    if (!engine_) return;
    const std::vector<int> active = engine_->ActiveChannels();
    if (static_cast<size_t>(trace) >= active.size()) return;
    const auto place = static_cast<size_t>(active[static_cast<size_t>(trace)]);
    AcquisitionChannel& channel = engine_->m_settings.channels[place];
    channel.axisA = top;
    channel.axisB = bottom;
    protocol_->SetAxis(place, top, bottom);
    if (!hasBegun_) return;
    TraceSettings& stored = engine_->Document().traces[static_cast<size_t>(trace)];
    stored.axisTop = top;
    stored.axisBottom = bottom;
}

void RecordingWindow::ShowReview() {
    if (review_ || !engine_ || !hasBegun_ || !engine_->HasEnded() || engine_->m_bDisplayOnly) return;
    CAcqDoc& doc = engine_->Document();
    if (doc.GetLength() == 0 || !session_.files.Stamp(doc.filePath)) return;
    for (TraceSettings& trace : doc.traces) trace.traceAutoscale = 0;
    reviewView_ = std::make_unique<CKymoraView>(doc);
    review_ = new ViewWidget(*reviewView_, stack_);
    reviewView_->OnSize(stack_->width(), stack_->height());
    // At the end, as the eye left it.
    const double span = live_->Span(), end = doc.GetEndTime();
    const double start = engine_->m_settings.m_nSweepMode == 0 ? 0.0 : std::max(0.0, end - span);
    reviewView_->OnInitialUpdate(Viewport{start, start + span});
    stack_->addWidget(review_);
    stack_->setCurrentWidget(review_);
    review_->setFocus();
}

void RecordingWindow::DropReview() {
    if (review_) {
        stack_->removeWidget(review_);
        delete review_;
    }
    reviewView_.reset();
    stack_->setCurrentWidget(live_);
}

// --- the scope ---

void RecordingWindow::ShowScope() {
    if (!engine_) return;
    if (!scopeDialog_) {
        scopeDialog_ = new CAcqScopeDlg(*engine_, this);
        observers_.Add(*scopeDialog_);
    }
    scopeDialog_->show();
    scopeDialog_->raise();
}

void RecordingWindow::DropScope() {
    if (!scopeDialog_) return;
    observers_.Remove(*scopeDialog_);
    delete scopeDialog_;
}

// --- closing ---

bool RecordingWindow::MayClose() {
    if (!engine_) return true;
    if (!engine_->HasEnded()) {
        if (!session_.host.Confirm(
                "A recording is under way. Stop it and close the window?\nWhat was recorded "
                "can be saved then."))
            return false;
        const Hold alone(loop_);
        engine_->StopForGood();
    }
    if (!engine_->HasUnsaved()) return true;
    Form form("The last recording is not saved");
    form.AddRadio("what",
                  "It lasts " +
                      ElapsedText(static_cast<double>(engine_->StoredScans()) *
                                  engine_->m_settings.m_dSampleInterval / 1000.0) +
                      " min.",
                  {"Save it", "Give it up"}, 0);
    if (!session_.host.AskForm(form)) return false;
    if (form.Choice("what") == 1) return true;
    Save();
    return !engine_->HasUnsaved();
}

void RecordingWindow::closeEvent(QCloseEvent* event) {
    if (!mayClose_ && !MayClose()) return event->ignore();
    mayClose_ = true;
    CloseBoard();
    event->accept();
}

void RecordingWindow::CloseAtOnce() {
    mayClose_ = true;
    close();
}

// What the display leaves: Enter presses no button.
void RecordingWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Enter || event->key() == Qt::Key_Return || event->key() == Qt::Key_Escape)
        return event->ignore();
    QDialog::keyPressEvent(event);
}

bool RecordingWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QDialog::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (watched == noteText_ && key->key() == Qt::Key_Escape) {
        EndNote();
        return true;
    }
    if (watched != live_ || key->modifiers() != Qt::NoModifier) return QDialog::eventFilter(watched, event);
    switch (key->key()) {
    case Qt::Key_Space:
        Note();
        return true;
    case Qt::Key_A:
        live_->Autoscale();
        return true;
    case Qt::Key_BracketLeft:
        live_->SetSpan(std::max(live_->Span() / 2.0, leastSpanMs));
        return true;
    case Qt::Key_BracketRight:
        live_->SetSpan(std::min(live_->Span() * 2.0, mostSpanMs));
        return true;
    default:
        return QDialog::eventFilter(watched, event);
    }
}

}  // namespace kymora
