// The parts of the recording window, and what they show.

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include <fmt/format.h>

#include "acquisition/disk_watch.h"
#include "acquisition/windows/acquisition_pages.h"
#include "acquisition/windows/recording_window.h"
#include "drawing/number_labels.h"
#include "widgets/elided_label.h"
#include "widgets/notice_bar.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int protocolWidth = 440;
constexpr int readingsMs = 200, diskEvery = 10;           // readings
constexpr double readFromAfar = 1.9, readFromNear = 1.4;  // times the usual font
constexpr int wideScreen = 1200;                          // has room for the former

struct ToneColours {
    const char* paper;
    const char* ink;
};

ToneColours ColoursOf(StateTone tone) {
    switch (tone) {
    case StateTone::recording:
        return {"#c4161c", "white"};
    case StateTone::waiting:
        return {"#f2a900", "black"};
    case StateTone::watching:
        return {"#1f6fb5", "white"};
    case StateTone::calm:
        break;
    }
    return {"", ""};
}

QFont Larger(const QFont& font, double times, bool isBold) {
    QFont larger = font;
    larger.setPointSizeF(font.pointSizeF() * times);
    larger.setBold(isBold);
    return larger;
}

}  // namespace

// The keyboard stays with the display; buttons have keys of their own.
QPushButton* RecordingWindow::MakeButton(const char* name, void (RecordingWindow::*does)()) {
    const auto entry = std::ranges::find(RecordingKeys(), std::string_view(name), &RecordingKey::name);
    auto* button = new QPushButton(ToQString(entry->label), this);
    button->setObjectName(name);
    button->setAutoDefault(false);
    button->setFocusPolicy(Qt::TabFocus);
    const QString key = ToQString(entry->key), tip = ToQString(entry->toolTip);
    button->setToolTip(key.isEmpty() ? tip : tip + " (" + key + ")");
    connect(button, &QPushButton::clicked, this, does);
    if (!key.isEmpty()) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
    }
    return button;
}

void RecordingWindow::Build() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(8, 8, 8, 6);
    column->setSpacing(6);
    MakeTop(column);
    MakeButtons(column);
    notice_ = new NoticeBar(this);
    column->addWidget(notice_);
    MakeMiddle(column);
    MakeDetection(column);
    MakeStatus(column);
    connect(&readingsTimer_, &QTimer::timeout, this, &RecordingWindow::UpdateReadings);
    readingsTimer_.start(readingsMs);
    UpdateDetection();
    live_->setFocus();
    resize(QSize(1180, 760).boundedTo(screen()->availableSize() * 9 / 10));
}

void RecordingWindow::MakeTop(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    sources_ = new QComboBox(this);
    sources_->setObjectName("source");
    sources_->setToolTip(tr("What records: a board, a serial port, or a sound input"));
    sources_->setMinimumContentsLength(14);
    sources_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    sources_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    sources_->setMaximumWidth(sources_->fontMetrics().averageCharWidth() * 44);
    connect(sources_, &QComboBox::currentIndexChanged, this, &RecordingWindow::ChooseSource);
    row->addWidget(sources_, 1);
    reload_ = MakeButton("reload", &RecordingWindow::ReloadSources);
    load_ = MakeButton("loadConfiguration", &RecordingWindow::LoadConfiguration);
    saveConfig_ = MakeButton("saveConfiguration", &RecordingWindow::SaveConfiguration);
    settingsButton_ = MakeButton("settings", &RecordingWindow::ToggleSettings);
    settingsButton_->setCheckable(true);
    settingsButton_->setChecked(true);
    scope_ = MakeButton("scope", &RecordingWindow::ShowScope);
    for (QPushButton* button : {reload_, load_, saveConfig_, settingsButton_, scope_}) row->addWidget(button);
    row->addStretch(1);
    state_ = new QLabel(this);
    state_->setObjectName("state");
    const double larger = screen()->availableSize().width() >= wideScreen ? readFromAfar : readFromNear;
    state_->setFont(Larger(font(), larger, true));
    state_->setAlignment(Qt::AlignCenter);
    state_->setAccessibleName(tr("State"));
    row->addWidget(state_);
    elapsed_ = new QLabel(this);
    elapsed_->setObjectName("elapsed");
    elapsed_->setFont(Larger(font(), larger, false));
    elapsed_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    elapsed_->setToolTip(tr("Recorded, of how much at most"));
    elapsed_->setMinimumWidth(elapsed_->fontMetrics().horizontalAdvance("00:00.0 / 0:00:00.0"));
    row->addWidget(elapsed_);
    column->addLayout(row);
}

void RecordingWindow::MakeButtons(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    start_ = MakeButton("start", &RecordingWindow::Start);
    stop_ = MakeButton("stop", &RecordingWindow::Stop);
    pause_ = MakeButton("pause", &RecordingWindow::Pause);
    pause_->setCheckable(true);
    viewOnly_ = MakeButton("view", &RecordingWindow::View);
    save_ = MakeButton("save", &RecordingWindow::Save);
    done_ = MakeButton("done", &RecordingWindow::Done);
    noteButton_ = MakeButton("note", &RecordingWindow::Note);
    start_->setFont(Larger(font(), 1.2, true));
    stop_->setFont(Larger(font(), 1.2, true));
    accept_ = MakeButton("accept", &RecordingWindow::Accept);
    clear_ = MakeButton("clear", &RecordingWindow::Clear);
    deleteAll_ = MakeButton("deleteAll", &RecordingWindow::DeleteAll);
    for (QPushButton* button :
         {start_, stop_, accept_, clear_, pause_, viewOnly_, save_, deleteAll_, done_, noteButton_})
        row->addWidget(button);
    noteText_ = new QLineEdit(this);
    noteText_->setObjectName("noteText");
    noteText_->setPlaceholderText(tr("text of the note, Enter"));
    noteText_->setMaxLength(200);
    noteText_->setEnabled(false);
    noteText_->installEventFilter(this);
    connect(noteText_, &QLineEdit::returnPressed, this, [this] { NoteText(noteText_->text()); });
    row->addWidget(noteText_, 1);
    row->addStretch();
    column->addLayout(row);
}

void RecordingWindow::MakeMiddle(QVBoxLayout* column) {
    auto* halves = new QSplitter(Qt::Horizontal, this);
    halves->setChildrenCollapsible(false);
    stack_ = new QStackedWidget(halves);
    live_ = new LiveWidget(session_, stack_);
    live_->installEventFilter(this);
    stack_->addWidget(live_);
    connect(live_, &LiveWidget::AxisChanged, this, &RecordingWindow::TakeAxis);
    connect(live_, &LiveWidget::LevelChanged, this, [this](double level) { level_->setValue(level); });
    protocol_ = new AcquisitionPages(session_, halves);
    protocol_->SetOpenFiles([this] { return desk_.OpenFiles(); });
    connect(protocol_, &AcquisitionPages::Changed, this, &RecordingWindow::TakeSettings);
    connect(protocol_, &AcquisitionPages::ResetSequence, this, [this] {
        if (board_ && board_->HasEnded()) board_->ResetSequence();
        UpdateControls();
    });
    connect(protocol_, &AcquisitionPages::PauseSequence, this, [this](bool isPaused) {
        if (board_) board_->m_bSequencePaused = isPaused;
        UpdateControls();
    });
    MakeRefractory();
    halves->addWidget(stack_);
    halves->addWidget(protocol_);
    halves->setStretchFactor(0, 1);
    halves->setSizes({760, protocolWidth});
    column->addWidget(halves, 1);
}

void RecordingWindow::MakeDetection(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    detect_ = new QCheckBox(tr("Show spi&kes of"), this);
    detect_->setObjectName("detect");
    detect_->setToolTip(tr("Marks spikes while they come; only for the eye, they are not stored"));
    detectTrace_ = new QComboBox(this);
    detectTrace_->setObjectName("detectTrace");
    detectTrace_->setMinimumContentsLength(12);
    detectDirection_ = new QComboBox(this);
    detectDirection_->addItems({tr("above"), tr("below")});
    level_ = new QDoubleSpinBox(this);
    level_->setObjectName("level");
    level_->setDecimals(4);
    level_->setRange(-1e6, 1e6);
    level_->setSingleStep(0.05);
    level_->setValue(0.5);
    level_->setSuffix(tr(" V"));
    level_->setToolTip(tr("The level; its line in the display can be dragged, too"));
    spikes_ = new QLabel(this);
    spikes_->setObjectName("spikes");
    for (QWidget* part :
         std::initializer_list<QWidget*>{detect_, detectTrace_, detectDirection_, level_, spikes_})
        row->addWidget(part);
    row->addStretch(1);
    overlay_ = new QCheckBox(tr("Overla&y episodes"), this);
    overlay_->setObjectName("overlay");
    overlay_->setToolTip(tr("Leaves the episodes of a series to be seen faintly behind each other"));
    connect(overlay_, &QCheckBox::toggled, live_, &LiveWidget::SetOverlay);
    row->addWidget(overlay_);
    connect(detect_, &QCheckBox::toggled, this, &RecordingWindow::UpdateDetection);
    connect(detectTrace_, &QComboBox::currentIndexChanged, this, &RecordingWindow::UpdateDetection);
    connect(detectDirection_, &QComboBox::currentIndexChanged, this, &RecordingWindow::UpdateDetection);
    connect(level_, &QDoubleSpinBox::valueChanged, this, &RecordingWindow::UpdateDetection);
    column->addLayout(row);
}

void RecordingWindow::MakeStatus(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    series_ = new QLabel(this);
    series_->setObjectName("series");
    series_->setFont(Larger(font(), 1.2, true));
    row->addWidget(series_);
    readings_ = new ElidedLabel(30, this);
    readings_->setObjectName("readings");
    row->addWidget(readings_, 1);
    pipeName_ = new QLabel(tr("pipe"), this);
    row->addWidget(pipeName_);
    pipe_ = new QProgressBar(this);
    pipe_->setObjectName("pipe");
    pipe_->setRange(0, 100);
    pipe_->setFixedWidth(90);
    pipe_->setToolTip(tr("How full the pipe between board and disk is. When it is full, the recording ends"));
    row->addWidget(pipe_);
    column->addLayout(row);
}

std::vector<QWidget*> RecordingWindow::OfSweeps() const { return {accept_, clear_, deleteAll_}; }

std::vector<QWidget*> RecordingWindow::OfStreams() const {
    return {pause_,           viewOnly_, noteButton_, noteText_, scope_, detect_,   detectTrace_,
            detectDirection_, level_,    spikes_,     overlay_,  pipe_,  pipeName_, elapsed_};
}

bool RecordingWindow::Press(const QString& button) {
    auto* found = findChild<QPushButton*>(button, Qt::FindDirectChildrenOnly);
    if (!found || !found->isEnabled()) return false;
    found->click();
    return true;
}

QString RecordingWindow::NoticeText() const { return notice_->Text(); }

void RecordingWindow::ToggleSettings() { ShowSettingsPages(protocol_->isHidden()); }

void RecordingWindow::ShowSettingsPages(bool shows) {
    protocol_->setVisible(shows);
    settingsButton_->setChecked(shows);
}

// --- what they show ---

void RecordingWindow::SoonUpdate() {
    if (std::exchange(updatesSoon_, true)) return;
    QMetaObject::invokeMethod(this, &RecordingWindow::UpdateControls, Qt::QueuedConnection);
}

void RecordingWindow::UpdateControls() {
    updatesSoon_ = false;
    if (engine_) EndViewing();
    const RecordingControls controls = engine_ ? ControlsOf(*engine_) : RecordingControls();
    const AcqState state = engine_ ? engine_->State() : AcqState::idle;
    const std::string startText = engine_ ? engine_->StartButton() : "Start";
    start_->setText("&" + ToQString(startText));
    save_->setText(engine_ ? engine_->SaveButton() : "Save");
    start_->setEnabled(controls.start);
    stop_->setEnabled(controls.stop);
    pause_->setEnabled(controls.pause);
    pause_->setChecked(state == AcqState::displayPaused);
    viewOnly_->setEnabled(controls.view);
    scope_->setEnabled(engine_ && !nerve_);
    if (engine_ && controls.stop) ShowNotes();
    save_->setEnabled(controls.save);
    done_->setEnabled(controls.done);
    done_->setVisible(!engine_ || board_);
    UpdateRefractory(controls);
    noteButton_->setEnabled(controls.note);
    for (QWidget* part : std::initializer_list<QWidget*>{sources_, reload_, load_, saveConfig_})
        part->setEnabled(engine_ ? controls.settings : part != saveConfig_ && part != load_);
    if (!controls.note && openNote_ && !controls.save) EndNote();
    protocol_->SetLocked(engine_ ? ToQString(WhyLocked(*engine_)) : QString());
    if (board_) protocol_->SetSequence(board_->SequenceIndex(), board_->m_bSequencePaused);
    // A start may have changed the rate, a save the name of the next file.
    if (engine_ && engine_->HasEnded() && !(engine_->m_settings == protocol_->Settings())) ShowSettings();
    live_->SetPaused(state == AcqState::displayPaused);
    ShowState();
    series_->setText(engine_ ? ToQString(engine_->StatusText()) : QString());
    setWindowTitle(
        engine_ ? tr("Record - %1 - %2").arg(sources_->currentText(), ToQString(WordsOf(*engine_).text))
                : tr("Record"));
    UpdateReadings();
    if (engine_ && engine_->HasEnded()) ShowReview();
}

void RecordingWindow::ShowState() {
    const StateWords words = engine_ ? WordsOf(*engine_) : StateWords{"No board", StateTone::calm};
    state_->setText(ToQString(words.text));
    const auto [paper, ink] = ColoursOf(words.tone);
    state_->setStyleSheet(
        *paper ? QString("QLabel { background: %1; color: %2; border-radius: 4px; padding: 1px 12px; }")
                     .arg(paper, ink)
               : QString("QLabel { padding: 1px 12px; }"));
}

void RecordingWindow::UpdateReadings() {
    if (!engine_) {
        readings_->SetText({});
        elapsed_->clear();
        return;
    }
    const AcquisitionSettings& settings = engine_->m_settings;
    const double kHz = 1.0 / settings.m_dSampleInterval;  // of the next recording
    const bool isRunning = engine_->IsRunning();
    if (nerve_) {
        elapsed_->clear();
    } else if (isRunning || hasBegun_) {
        // What was appended to a file is not stored here any more.
        const int64_t scans = isRunning ? engine_->StoredScans() : engine_->Document().GetLength();
        const QString stored = ToQString(ElapsedText(SecondsOf(scans)));
        const QString limit = ToQString(ElapsedText(SecondsOf(engine_->ScansPerSweep() - 1)));
        elapsed_->setText(engine_->m_bDisplayOnly ? stored : stored + " / " + limit);
    } else {
        elapsed_->setText("0:00.0");
    }
    const double fill = engine_->PipeFill();
    pipe_->setValue(static_cast<int>(std::lround(fill * 100.0)));
    if (sinceDisk_-- <= 0) {
        diskSeconds_ = engine_->DiskSeconds();
        sinceDisk_ = diskEvery;
    }
    const size_t channels = engine_->ActiveChannels().size();
    QString text = tr("%1 at %2 kHz")
                       .arg(channels == 1 ? tr("1 channel") : tr("%1 channels").arg(channels))
                       .arg(ToQString(AxisNumber(kHz, 6)));
    if (diskSeconds_) text += tr("  |  disk lasts %1").arg(ToQString(DurationText(*diskSeconds_)));
    if (isRunning) text += tr("  |  %1 frames/s").arg(live_->FramesPerSecond());
    if (hasBegun_ && live_->DroppedScans() > 0)
        text += (engine_->m_bDisplayOnly ? tr("  |  display left out %1 samples")
                                         : tr("  |  display left out %1 samples, all are stored"))
                    .arg(live_->DroppedScans());
    if (!saved_.empty()) text += tr("  |  saved in %1").arg(FileName(saved_.filename()));
    readings_->SetText(text);
    if (const LiveSpikes* spikes = live_->Spikes())
        spikes_->setText(
            tr("%1 spikes, %2 /s").arg(spikes->Count()).arg(ToQString(AxisNumber(spikes->Rate(), 3))));
    else
        spikes_->clear();
}

// --- detection ---

void RecordingWindow::ShowDetectTraces() {
    const QSignalBlocker quiet(detectTrace_);
    const int chosen = std::max(0, detectTrace_->currentIndex());
    detectTrace_->clear();
    for (int trace = 0; trace < live_->TraceCount(); ++trace) detectTrace_->addItem(live_->TraceName(trace));
    detectTrace_->setCurrentIndex(std::min(chosen, detectTrace_->count() - 1));
}

void RecordingWindow::Detect(int trace, double level, bool isFalling) {
    detect_->setChecked(trace >= 0);
    if (trace >= 0) detectTrace_->setCurrentIndex(trace);
    level_->setValue(level);
    detectDirection_->setCurrentIndex(isFalling ? 1 : 0);
}

void RecordingWindow::UpdateDetection() {
    for (QWidget* part : std::initializer_list<QWidget*>{detectTrace_, detectDirection_, level_})
        part->setEnabled(detect_->isChecked());
    if (!detect_->isChecked() || detectTrace_->currentIndex() < 0) return live_->SetDetection({});
    LiveSpikeSettings settings;
    settings.trace = static_cast<size_t>(detectTrace_->currentIndex());
    settings.level = level_->value();
    settings.isFalling = detectDirection_->currentIndex() == 1;
    live_->SetDetection(settings);
    UpdateReadings();
}

}  // namespace kymora
