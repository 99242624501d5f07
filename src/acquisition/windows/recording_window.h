#pragma once
// The window in which one records: the source, its buttons, the live display, and the last recording to look
// through. Where it stands in the program it asks of a RecordingDesk.

#include <QDialog>
#include <QPointer>
#include <functional>
#include <map>
#include <memory>

#include "acquisition/acq_observers.h"
#include "acquisition/acquisition_sources.h"
#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/recording_words.h"
#include "acquisition/sound_system.h"
#include "acquisition/windows/live_widget.h"
#include "acquisition/windows/qt_acq_loop.h"
#include "recording/pulse_train.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace kymora {

class AcquisitionPages;
class CDTRefrAcqView;
class CAcqScopeDlg;
class ElidedLabel;
class NoticeBar;
class RefractoryPanel;
class ViewWidget;

// Before the name of a board: its refractory protocol.
inline constexpr std::string_view refractoryPrefix = "refractory:";

class RecordingDesk {
  public:
    virtual ~RecordingDesk() = default;
    // Whether a recording is open in the program.
    virtual bool IsOpen(const std::filesystem::path& path) = 0;
    // Opens a recording that was made, or shows it anew where it is open; at its newest data where that
    // follows.
    virtual void ShowRecording(const std::filesystem::path& path, bool follows) = 0;
    // Who gets messages in place of boxes that wait for an answer; null: the boxes.
    using MessageTaker = std::function<void(std::string_view text)>;
    virtual void TakeMessages(const MessageTaker* taker) = 0;
    // The window on which dialogs stand from now on; null: as it comes.
    virtual void StandDialogsOn(QWidget* window) = 0;
    // The folder for recordings whose own is not there.
    virtual std::filesystem::path DesktopFolder() = 0;
    // The recordings that are open.
    virtual std::vector<std::filesystem::path> OpenFiles() = 0;
};

class RecordingWindow : public QDialog, public AcqObserver {
    Q_OBJECT

  public:
    RecordingWindow(Session& session, RecordingDesk& desk, QWidget* parent = nullptr);
    ~RecordingWindow() override;

    // How boards are opened; OpenSource.
    std::function<std::unique_ptr<Board>(const std::string& source, const SourceSettings&)> openBoard;

    // The sound library; null where there is none.
    std::function<std::shared_ptr<SoundSystem>()> openSound;

    // Opens a source with the settings as they are. False, told to the user, where it cannot.
    bool OpenBoard(const std::string& source);
    // Takes a configuration, of the kind that the source records by; without a path the user chooses it. One
    // with a path may be of another kind, and opens a source of that.
    bool LoadConfig(std::optional<std::filesystem::path> path);
    // Settings by key, as `kymora record --set` takes them; answers why one may not be used.
    std::string Set(const std::string& key, const std::string& value);
    // A page of the settings by its title. False where there is none.
    bool ShowPage(const QString& title);

    // --- buttons ---
    void Start();
    void Stop();
    void Pause();
    void View();
    void Save();
    void Done();
    // Marks this moment; its text may follow.
    void Note();
    void NoteText(const QString& text);
    void LoadConfiguration() { LoadConfig({}); }
    void SaveConfiguration();
    void ReloadSources();
    void ToggleSettings();
    void ShowScope();

    // --- of the refractory protocol: recording_window_refractory.cpp ---
    void Accept();
    void Clear();
    void DeleteAll();
    // Takes the sweeps of a saved search; without a path the user chooses it. False where it stays as it is.
    bool LoadReview(std::optional<std::filesystem::path> path);
    bool SelectSweep(size_t sweep);
    void Recalculate();
    void DeleteSweep();
    // Null while another kind of source is open.
    CDTRefrAcqView* Refractory() const { return nerve_; }

    // Presses a button by its name, if it stands ready.
    bool Press(const QString& button);
    // Shows spikes of a trace (from 0; below: of none) above a level, or below it.
    void Detect(int trace, double level, bool isFalling);
    // What the window has said, and nobody has taken away yet.
    QString NoticeText() const;

    // Asks about what runs and what is not saved. False: the window stays.
    bool MayClose();
    // Closes without asking, after it was.
    void CloseAtOnce();

    CAcqView* Engine() const { return engine_.get(); }
    LiveWidget& Display() const { return *live_; }
    const std::string& Source() const { return source_; }
    // The last recording as it can be scrolled; null while there is none, or it is made.
    ViewWidget* Review() const { return review_; }

    // --- AcqObserver ---
    void OnStateChanged() override;
    void OnBegun() override;
    void OnScans(std::span<const std::byte> scans) override;
    void OnScansPassed(int64_t scans) override;
    void OnSkipped(int64_t scan) override;
    void OnSaved(const std::filesystem::path& path) override;

  protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    // A configuration may be dropped on it.
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Esc closes no recording.
    void reject() override {}

  private:
    // As long as one lives, dialogs stand on this window, whichever is in front.
    class Asks {
      public:
        explicit Asks(RecordingWindow& window) : window_(window) { window_.CountAsks(1); }
        ~Asks() { window_.CountAsks(-1); }
        Asks(const Asks&) = delete;
        Asks& operator=(const Asks&) = delete;

      private:
        RecordingWindow& window_;
    };
    void CountAsks(int more);
    bool Confirms(const std::string& question);
    void Refuse(const std::string& why);

    // recording_window_parts.cpp
    void Build();
    void MakeTop(QVBoxLayout* column);
    void MakeButtons(QVBoxLayout* column);
    void MakeMiddle(QVBoxLayout* column);
    void MakeDetection(QVBoxLayout* column);
    void MakeStatus(QVBoxLayout* column);
    // Of RecordingKeys.
    QPushButton* MakeButton(const char* name, void (RecordingWindow::*does)());
    void Say(std::string_view text);
    void CloseBoard();
    bool OpenEngine(const std::string& source);
    bool OpenBoardEngine(const std::string& source);
    bool OpenRefractoryEngine(const std::string& board);
    std::unique_ptr<Board> BoardNamed(const std::string& name);
    void TakeBoard(std::unique_ptr<CDTAcqView> view, bool isSimulated);
    static std::string BoardOf(const std::string& source);
    void MakeRefractory();
    void CloseRefractory();
    void UpdateRefractory(const RecordingControls& controls);
    void MoveWindow(const QString& parameter, double ms);
    std::vector<QWidget*> OfSweeps() const;
    std::vector<QWidget*> OfStreams() const;
    bool OpenSerialEngine();
    bool OpenSoundEngine();
    bool OpenSourceFor(const std::filesystem::path& path);
    RecordingType TypeOf(const std::filesystem::path& path) const;
    static std::string SetSearch(AcquisitionSettings& settings, const std::string& value);
    bool MayChangeSource();
    void ChooseSource(int index);
    int ItemOfSource() const;
    bool IsTriggeredInside() const { return board_ && board_->Trigger() == TriggerMode::internal; }
    bool TakeChanged(const AcquisitionSettings& settings);
    bool MayLoseSamples();
    bool TakeNewSettings();
    bool OpenAnew(const std::string& source);
    bool OpenWithScope();
    void ShowPrepared();
    void ShowSettings();
    void ShowSettingsPages(bool shows);
    void TakeSettings();
    void ShowReview();
    void DropReview();
    void SoonUpdate();
    void UpdateControls();
    void ShowState();
    void UpdateReadings();
    void ShowDetectTraces();
    void UpdateDetection();
    void TakeAxis(int trace, double top, double bottom);
    void LabelNote(const QString& text);
    void EndNote();
    void ShowNotes();
    void EndViewing();
    double RecordedMs() const;
    // So many scans of the recording that is there, at its own rate.
    double SecondsOf(int64_t scans) const;
    double TriggerOffsetMs() const;
    void DropScope();

    Session& session_;
    RecordingDesk& desk_;
    RecordingDesk::MessageTaker taker_;
    QtAcqLoop loop_;
    AcqObservers observers_;
    std::string source_;
    SourceSettings sourceSettings_, openedSettings_;
    std::map<RecordingType, AcquisitionSettings> settings_;  // of what was open before
    std::unique_ptr<CAcqView> engine_;
    CDTGenAcqView* board_ = nullptr;   // the engine, where it is that of a board
    CDTRefrAcqView* nerve_ = nullptr;  // the engine, where it is that of the refractory protocol
    std::unique_ptr<CKymoraView> reviewView_;
    QPointer<ViewWidget> review_;
    QPointer<CAcqScopeDlg> scopeDialog_;
    std::filesystem::path saved_;  // the file that was written last
    bool hasBegun_ = false;        // the display shows a recording
    bool wasSeries_ = false;       // the last start began one
    bool savesByHand_ = false;
    int asks_ = 0;
    bool isUpdating_ = false, updatesSoon_ = false, mayClose_ = false;
    static constexpr double leastSpanMs = 1.0, mostSpanMs = 3600000.0;
    struct Limits {
        uint32_t trigMode, sweepMode;
        double timeLimit;
    };
    std::optional<Limits> beforeViewing_;

    // Of the moment of a note.
    int64_t scansSeen_ = 0;
    int notes_ = 0;
    LiveWidget::Clock::time_point scansAt_;
    std::optional<double> openNote_;  // its time, ms

    QComboBox* sources_;
    QPushButton *settingsButton_, *scope_;
    QLabel* state_;
    QLabel* elapsed_;
    QPushButton *reload_, *load_, *saveConfig_, *start_, *stop_, *pause_, *viewOnly_, *save_, *done_,
        *noteButton_;
    QPushButton *accept_, *clear_, *deleteAll_;
    QLineEdit* noteText_;
    QCheckBox *detect_, *overlay_;
    QComboBox *detectTrace_, *detectDirection_;
    QDoubleSpinBox* level_;
    QLabel* spikes_;
    NoticeBar* notice_;
    QStackedWidget* stack_;
    AcquisitionPages* protocol_;
    TrainEditor trains_;  // of what is set by keys
    LiveWidget* live_;
    RefractoryPanel* panel_;
    QLabel* series_;
    QLabel* pipeName_;
    QProgressBar* pipe_;
    ElidedLabel* readings_;
    QTimer readingsTimer_;
    std::optional<double> diskSeconds_;
    int sinceDisk_ = 0;
};

}  // namespace kymora
