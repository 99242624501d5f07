#include "acquisition/windows/recording_window.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QStackedWidget>
#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "acquisition/dt_refr_acq_view.h"
#include "acquisition/mic_acq_view.h"
#include "acquisition/port_audio.h"
#include "acquisition/windows/acq_scope_dlg.h"
#include "acquisition/windows/acquisition_pages.h"
#include "acquisition/windows/refractory_panel.h"
#include "display/windows/view_widget.h"
#include "document/file_identity.h"
#include "host/form.h"
#include "recording/acquisition_settings_fields.h"
#include "widgets/notice_bar.h"
#include "widgets/text.h"

namespace kymora {

namespace {

using Hold = QtAcqLoop::Hold;

constexpr const char* unsavedText = "The last recording is not saved and will be lost.";
constexpr const char* unsavedSweepsText = "The accepted sweeps are not saved and will be lost.";
constexpr int mostNoticeLines = 8;
constexpr int settingRole = Qt::UserRole + 1;  // of a source, "KEY=VALUE"
constexpr double longestView = 24.0 * 3600.0;  // s
constexpr double mostScansViewed = 2147483000.0;

std::optional<std::filesystem::path> DroppedConfiguration(const QDropEvent& event) {
    const QList<QUrl> urls = event.mimeData()->urls();
    if (urls.size() != 1 || !urls[0].isLocalFile()) return {};
    const std::filesystem::path path = ToPath(urls[0].toLocalFile());
    const bool isOne = FoldedExtension(path) == std::string(".") + adcDacExtension;
    return isOne ? std::optional(path) : std::nullopt;
}

// Both searches have the same settings.
RecordingType KindOf(RecordingType type) {
    return type == RecordingType::refractoryAutomatic ? RecordingType::refractoryManual : type;
}

}  // namespace

RecordingWindow::RecordingWindow(Session& session, RecordingDesk& desk, QWidget* parent)
    : QDialog(parent),
      openBoard([](const std::string& source, const SourceSettings& settings) {
          return OpenSource(source, settings);
      }),
      openSound(MakeSoundSystem),
      session_(session),
      desk_(desk),
      taker_([this](std::string_view text) { Say(text); }) {
    setObjectName("recordingWindow");
    setWindowTitle(tr("Record"));
    setWindowFlags(Qt::Window);
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    Build();
    loop_.atWork = [this](bool begins) {
        desk_.TakeMessages(begins ? &taker_ : nullptr);
        CountAsks(begins ? 1 : -1);
    };
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

void RecordingWindow::CountAsks(int more) {
    asks_ += more;
    desk_.StandDialogsOn(asks_ > 0 ? this : nullptr);
}

bool RecordingWindow::Confirms(const std::string& question) {
    const Asks here(*this);
    return session_.host.Confirm(question);
}

void RecordingWindow::Refuse(const std::string& why) {
    const Asks here(*this);
    session_.host.Failure(why);
}

// --- the board ---

void RecordingWindow::ReloadSources() {
    if (!MayChangeSource()) return;
    const std::string before = source_.empty() ? std::string(simulatedSource) : source_;
    CloseBoard();
    isUpdating_ = true;
    sources_->clear();
    const auto add = [this](const QString& shown, std::string_view name, const std::string& setting) {
        sources_->addItem(shown, ToQString(name));
        sources_->setItemData(sources_->count() - 1, ToQString(setting), settingRole);
    };
    const auto boards = ListSources();
    const auto nameOf = [](const AcquisitionSource& source) {
        return ToQString(source.board == "Simulated board" ? source.board
                                                           : source.name + ": " + source.board);
    };
    for (const AcquisitionSource& source : boards) add(nameOf(source), source.name, {});
    for (const AcquisitionSource& source : boards)
        if (source.outputChannels > 0)
            add(tr("Refractory period: ") + nameOf(source), std::string(refractoryPrefix) + source.name, {});
    // As their pages say, and each that is there.
    add(tr("Serial board"), serialSource, {});
    add(tr("Sound input"), soundSource, {});
    for (const AcquisitionSource& source : ListInputDevices().sources)
        add((source.name == soundSource ? tr("Sound: ") : tr("Serial: ")) + ToQString(source.board),
            source.name, source.setting);
    isUpdating_ = false;
    const int place = std::max(0, sources_->findData(ToQString(before)));
    OpenBoard(sources_->itemData(place).toString().toStdString());
}

void RecordingWindow::ChooseSource(int index) {
    if (isUpdating_ || index < 0) return;
    const QSignalBlocker quiet(sources_);
    if (!MayChangeSource()) return sources_->setCurrentIndex(ItemOfSource());
    if (engine_) engine_->GiveUp();
    const std::string setting = sources_->itemData(index, settingRole).toString().toStdString();
    if (const size_t equals = setting.find('='); equals != std::string::npos)
        SetSourceSetting(sourceSettings_, setting.substr(0, equals), setting.substr(equals + 1));
    OpenBoard(sources_->itemData(index).toString().toStdString());
}

bool RecordingWindow::MayChangeSource() { return !engine_ || (engine_->HasEnded() && MayLoseSamples()); }

// That of the device that is set, or of the kind.
int RecordingWindow::ItemOfSource() const {
    const std::string setting = source_ == serialSource && !sourceSettings_.serial.port.empty()
                                    ? "port=" + sourceSettings_.serial.port
                                : source_ == soundSource && !sourceSettings_.soundDevice.empty()
                                    ? "device=" + sourceSettings_.soundDevice
                                    : std::string();
    for (int i = 0; i < sources_->count(); ++i)
        if (sources_->itemData(i) == ToQString(source_) &&
            sources_->itemData(i, settingRole) == ToQString(setting))
            return i;
    return sources_->findData(ToQString(source_));
}

void RecordingWindow::CloseBoard() {
    DropReview();
    DropScope();
    if (engine_)
        settings_.insert_or_assign(KindOf(engine_->m_settings.m_eRecordingType), engine_->m_settings);
    protocol_->SetBoard(UnknownBoard());
    const Hold alone(loop_);
    board_ = nullptr;
    CloseRefractory();
    engine_.reset();
}

// With an engine all the same where it may be opened by another setting.
bool RecordingWindow::OpenEngine(const std::string& source) {
    if (source == serialSource) return OpenSerialEngine();
    if (source.starts_with(refractoryPrefix)) return OpenRefractoryEngine(BoardOf(source));
    return source == soundSource ? OpenSoundEngine() : OpenBoardEngine(source);
}

bool RecordingWindow::OpenSerialEngine() {
    auto view = std::make_unique<CArdAcqView>(session_, loop_, sourceSettings_.serial);
    CArdAcqView& serial = *view;
    engine_ = std::move(view);
    return serial.OpenPort();
}

bool RecordingWindow::OpenSoundEngine() {
    auto view = std::make_unique<CMicAcqView>(session_, loop_, openSound(), sourceSettings_.soundDevice);
    CMicAcqView& sound = *view;
    engine_ = std::move(view);
    return sound.OpenDevice();
}

// Null, told to the user, where there is none.
std::unique_ptr<Board> RecordingWindow::BoardNamed(const std::string& name) {
    std::unique_ptr<Board> board = openBoard(name, sourceSettings_);
    if (!board) Refuse(fmt::format("There is no board \"{}\" any more. Load the list of boards anew.", name));
    return board;
}

void RecordingWindow::TakeBoard(std::unique_ptr<CDTAcqView> view, bool isSimulated) {
    BoardFacts facts = view->Facts();
    facts.isSimulated = isSimulated;
    engine_ = std::move(view);
    protocol_->SetBoard(std::move(facts));
}

bool RecordingWindow::OpenBoardEngine(const std::string& source) {
    std::unique_ptr<Board> board = BoardNamed(source);
    if (!board) return false;
    auto view = std::make_unique<CDTGenAcqView>(session_, loop_, std::move(board));
    view->m_isOpen = [this](const std::filesystem::path& path) {
        // A file that was not to be opened cannot have been closed.
        return engine_->m_settings.m_bAutoLoad ? desk_.IsOpen(path) : session_.files.Stamp(path).has_value();
    };
    if (!view->OpenBoard()) return false;
    board_ = view.get();
    TakeBoard(std::move(view), source == simulatedSource);
    return true;
}

bool RecordingWindow::OpenBoard(const std::string& source) { return MayChangeSource() && OpenAnew(source); }

// Without asking.
bool RecordingWindow::OpenAnew(const std::string& source) {
    CloseBoard();
    const Hold alone(loop_);
    const bool isOpen = OpenEngine(source);
    if (engine_) {
        engine_->SetObserver(&observers_);
        const auto before = settings_.find(KindOf(engine_->m_settings.m_eRecordingType));
        if (before != settings_.end())
            engine_->m_settings = before->second;
        else
            engine_->SpanUnsetAxes();
    }
    source_ = source;
    openedSettings_ = sourceSettings_;
    level_->setSuffix(engine_ ? " " + ToQString(engine_->Unit()) : QString());
    const QSignalBlocker quiet(sources_);
    sources_->setCurrentIndex(ItemOfSource());
    ShowSettings();
    ShowPrepared();
    UpdateControls();
    return isOpen;
}

bool RecordingWindow::MayLoseSamples() {
    if (!engine_ || !engine_->HasUnsaved()) return true;
    if (!Confirms(std::string(nerve_ ? unsavedSweepsText : unsavedText) +
                  "\nClick OK to go on, Cancel to return and save it."))
        return false;
    engine_->LetGo();
    return true;
}

// --- settings ---

// Of a configuration; of one that cannot be read, which is told by who loads it, that of what is open.
RecordingType RecordingWindow::TypeOf(const std::filesystem::path& path) const {
    try {
        return ReadConfiguration(session_, path).settings.m_eRecordingType;
    } catch (const std::runtime_error&) {
        return engine_ ? engine_->m_settings.m_eRecordingType : RecordingType::board;
    }
}

// For a configuration. What is open stays where it is of its kind; what is in no file may be lost.
bool RecordingWindow::OpenSourceFor(const std::filesystem::path& path) {
    const RecordingType type = TypeOf(path);
    const auto isOpen = [&] {
        return engine_ && KindOf(engine_->m_settings.m_eRecordingType) == KindOf(type);
    };
    if (isOpen()) return true;
    if (engine_) engine_->GiveUp();
    const std::string board = board_ || nerve_ ? BoardOf(source_) : std::string(simulatedSource);
    OpenBoard(type == RecordingType::arduino             ? std::string(serialSource)
              : type == RecordingType::microphone        ? std::string(soundSource)
              : AcquisitionSettings(type).IsRefractory() ? std::string(refractoryPrefix) + board
                                                         : board);
    return isOpen();
}

bool RecordingWindow::LoadConfig(std::optional<std::filesystem::path> path) {
    if (engine_ && !ControlsOf(*engine_).settings) {
        Refuse("A recording is under way. Stop it before you load a configuration.");
        return false;
    }
    if (!MayLoseSamples()) return false;
    // Either search takes the configuration of the other.
    if (!path && nerve_) {
        const auto chosen =
            session_.host.ChooseOpenFiles({loadAdcDacTitle, adcDacFilter, adcDacExtension, {}});
        if (chosen.empty()) return false;
        path = chosen.front();
    }
    if (path && !OpenSourceFor(*path)) return false;
    if (!engine_) return false;
    ConfigurationTarget target;
    target.type = path && nerve_ ? TypeOf(*path) : engine_->m_settings.m_eRecordingType;
    if (board_) target.board = board_->BoardTarget();
    if (nerve_) target.board = nerve_->BoardTarget();
    target.desktopFolder = desk_.DesktopFolder();
    target.findOutputFile = [this](const std::filesystem::path& file) {
        return session_.files.Stamp(file).has_value();
    };
    const Hold alone(loop_);
    if (!kymora::LoadConfiguration(session_, std::move(path), target, engine_->m_settings)) return false;
    DropReview();
    engine_->GiveUp();
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
    if (!TakeChanged(protocol_->Settings())) return ShowSettings();
    UpdateControls();
}

// False where the user keeps the data that would not fit.
bool RecordingWindow::TakeChanged(const AcquisitionSettings& settings) {
    if (const char* question = engine_->ClearQuestion(settings)) {
        if (!Confirms(question)) return false;
        DropReview();
        engine_->GiveUp();
        hasBegun_ = false;
    }
    engine_->m_settings = settings;
    if (!hasBegun_) ShowPrepared();
    return true;
}

// The words of `kymora record --type`.
std::string RecordingWindow::SetSearch(AcquisitionSettings& settings, const std::string& value) {
    for (const RecordingType type : {RecordingType::refractoryManual, RecordingType::refractoryAutomatic}) {
        if (value != RecordingTypeWord(type)) continue;
        settings.m_eRecordingType = type;
        return {};
    }
    return "type takes refractory-manual or refractory-auto.";
}

std::string RecordingWindow::Set(const std::string& key, const std::string& value) {
    if (!engine_ || !ControlsOf(*engine_).settings)
        return "Settings can be changed when nothing is recorded.";
    AcquisitionSettings settings = engine_->m_settings;
    SourceSettings source = sourceSettings_;
    std::optional<std::string> fault = SetSourceSetting(source, key, value);
    if (nerve_ && key == "type") fault = SetSearch(settings, value);
    if (!fault) fault = SetSetting(settings, key, value);
    if (!fault && board_) fault = trains_.Set(settings, key, value);
    if (!fault) return fmt::format("There is no setting \"{}\".", key);
    if (fault->empty()) *fault = SourceSettingsFault(source);
    if (!fault->empty()) return *fault;
    if (!TakeChanged(settings)) return "The data that are there are kept, and so is the setting.";
    sourceSettings_ = source;
    ShowSettings();
    UpdateControls();
    return {};
}

bool RecordingWindow::ShowPage(const QString& title) {
    ShowSettingsPages(true);
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

// A source that is opened by settings is opened anew where they have changed.
bool RecordingWindow::TakeNewSettings() {
    const SimulatedBoardSettings &now = sourceSettings_.simulated, &opened = openedSettings_.simulated;
    const SerialBoardSettings &port = sourceSettings_.serial, &openedPort = openedSettings_.serial;
    const bool isSame =
        source_ == serialSource
            ? port.port == openedPort.port && port.bits == openedPort.bits && port.volts == openedPort.volts
        : source_ == soundSource
            ? sourceSettings_.soundDevice == openedSettings_.soundDevice
            : BoardOf(source_) != simulatedSource ||
                  (now.input == opened.input && now.bits == opened.bits && now.encoding == opened.encoding);
    // Sweeps by hand go on with those before, but not on another board.
    if (!isSame && nerve_ && !MayLoseSamples()) return false;
    if (!isSame && !OpenWithScope()) return false;
    if (board_) board_->m_trigger = sourceSettings_.trigger;
    return true;
}

// --- buttons ---

void RecordingWindow::Start() {
    if (!engine_) return;
    if (engine_->HasEnded()) {
        if (const std::string fault = protocol_->Fault(); !fault.empty()) {
            Refuse(fault);
            ShowSettingsPages(true);
            return protocol_->FocusFault();
        }
        const bool addsSweep = nerve_ && !nerve_->IsAutomatic();
        if ((!addsSweep && !MayLoseSamples()) || !TakeNewSettings()) return;
        notice_->Dismiss();
        // It comes back where the start is refused.
        DropReview();
        engine_->m_bDisplayOnly = false;
        engine_->m_nDisplayWidth = live_->PlotWidth();
        // Episodes lie behind each other, not behind what came before their series.
        const bool isSeries = engine_->IsSeries();
        if (isSeries || std::exchange(wasSeries_, isSeries)) live_->BeginSeries();
        wasSeries_ = isSeries;
    }
    const Hold alone(loop_);
    engine_->OnAcqStart();
    stack_->currentWidget()->setFocus();
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
    savesByHand_ = true;
    engine_->OnSave();
    savesByHand_ = false;
    SoonUpdate();
}

void RecordingWindow::Done() {
    if (!engine_ || !ControlsOf(*engine_).done) return;
    const Hold alone(loop_);
    engine_->OnDone();
    SoonUpdate();
}

// --- notes ---

double RecordingWindow::SecondsOf(int64_t scans) const {
    return static_cast<double>(scans) * engine_->Document().m_dSampleInterval / 1000.0;
}

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
    engine_->KeepTail();
    ShowNotes();
    noteText_->setEnabled(true);
    noteText_->clear();
    noteText_->setFocus();
}

void RecordingWindow::NoteText(const QString& text) {
    if (!engine_ || !openNote_) return;
    LabelNote(text);
    EndNote();
}

void RecordingWindow::LabelNote(const QString& text) {
    std::vector<CMarker>& markers = engine_->Document().markers;
    const auto note = std::ranges::find(markers, *openNote_, &CMarker::m_dTime);
    if (note != markers.end() && !text.trimmed().isEmpty()) note->m_strLabel = text.trimmed().toStdString();
    engine_->KeepTail();
    ShowNotes();
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

void RecordingWindow::OnStateChanged() {
    // A recording that saves itself does so now, with what is typed until now.
    if (engine_ && engine_->IsIdle() && openNote_) LabelNote(noteText_->text());
    SoonUpdate();
}

void RecordingWindow::OnBegun() {
    if (nerve_) return;
    scansSeen_ = notes_ = 0;
    scansAt_ = LiveWidget::Clock::now();
    if (openNote_) EndNote();
    if (!engine_->m_bDisplayOnly) saved_.clear();
    ShowPrepared();
    hasBegun_ = true;
    if (!IsTriggeredInside()) live_->SetMostScans(engine_->ScansPerSweep());
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
    live_->SetWokenAt(loop_.WokenAt());
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
        // The keys stay with who records; where a dialog had them, they may still be on their way.
        [this, path, follows, hasKeys = savesByHand_ || isActiveWindow()] {
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
    if (nerve_) {
        engine_->TakeFormat();
        panel_->Update();
        return stack_->setCurrentWidget(panel_);
    }
    if (!engine_) return;
    const std::vector<int> active = engine_->ActiveChannels();
    LiveWidget::Recorded shown;
    shown.doc = std::make_unique<CAcqDoc>(session_);
    engine_->TakeFormat();
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
    engine_->KeepTail();
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
    if (!nerve_) stack_->setCurrentWidget(live_);
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
        if (!Confirms("A recording is under way. Stop it and close the window?\nWhat was recorded "
                      "can be saved then."))
            return false;
        const Hold alone(loop_);
        engine_->StopForGood();
    }
    if (!engine_->HasUnsaved()) return true;
    Form form("The last recording is not saved");
    form.AddRadio("what",
                  nerve_ ? fmt::format("{} sweeps were accepted.", nerve_->AcceptedCount())
                         : "It lasts " + ElapsedText(SecondsOf(engine_->StoredScans())) + " min.",
                  {"Save it", "Give it up"}, 0);
    {
        const Asks here(*this);
        if (!session_.host.AskForm(form)) return false;
    }
    if (form.Choice("what") == 1) {
        engine_->LetGo();
        return true;
    }
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

void RecordingWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (DroppedConfiguration(*event)) event->acceptProposedAction();
}

void RecordingWindow::dropEvent(QDropEvent* event) {
    const auto path = DroppedConfiguration(*event);
    if (!path) return;
    event->acceptProposedAction();
    LoadConfig(path);
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
