#pragma once
// The general recording interface of a board: its buttons, states, trigger modes and save modes.

#include <chrono>

#include "acquisition/dt_acq_view.h"

namespace kymora {

// m_nSweepMode, m_nTrigMode and m_nSaveMode of the settings.
inline constexpr const char* sweepModeTexts[] = {
    "Limit recording time to single display duration.",
    "Record until reach time limit, restart sweep when reach right-hand edge.",
    "Record until reach time limit, scroll sweep when reach right-hand edge."};
inline constexpr const char* triggerModeTexts[] = {
    "Start single recording cycle immediately Start button is clicked.",
    "Start repetitive recording cycles at user-determined interval (will set Auto-Save). Initiate by "
    "clicking Start "
    "button.",
    "Start single recording cycle with external trigger after arming by clicking Start button.",
    "Start single recording cycle when data input reaches criterion (internal trigger)."};
inline constexpr const char* saveModeTexts[] = {
    "Manual Save recording. Unsaved data are overwritten.",
    "Manual Save 1st recording, manual Append subsequent recordings to same file. Click Done when finished "
    "appending.",
    "Auto-save 1st recording and auto-append subsequent recordings to same file. Click Done when finished "
    "appending.",
    "Auto-save recording to file and increment filename immediately after acquisition."};

inline constexpr const char* shortRepeatText =
    "Problem: your Repeat interval is too short for this episode Record time. Stopping repeats.";
inline constexpr const char* longPreTriggerText =
    "What is kept before the trigger must be shorter than the recording.";

enum class TriggerMode : uint32_t { atOnce, repeat, external, internal };
enum class SaveMode : uint32_t { byHand, appendByHand, append, fileEach };

class CDTGenAcqView : public CDTAcqView {
  public:
    CDTGenAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board);
    // Stops what runs. What nobody saved is gone; what could not be saved stays in its temporary file.
    ~CDTGenAcqView() override;

    InternalTriggerSettings m_trigger;  // of trigger mode 3
    // Whether the file that is appended to is still open; as it comes, whether it is there.
    std::function<bool(const std::filesystem::path&)> m_isOpen;

    // --- buttons ---
    bool OnAcqStart() override;  // Start, Arm, Disarm
    void OnAcqStop() override;
    // The same, and neither is the trigger armed again nor does another episode follow.
    void StopForGood() override;
    bool OnSave() override;  // Save, Append
    void OnDone() override;

    const char* StartButton() const override;
    const char* SaveButton() const override { return Appends() ? "Append" : "Save"; }
    TriggerMode Trigger() const { return static_cast<TriggerMode>(m_settings.m_nTrigMode); }
    // Repeated recordings save themselves.
    SaveMode Saving() const;
    bool IsSeries() const override {
        return Trigger() == TriggerMode::repeat ||
               (Trigger() == TriggerMode::external && m_settings.m_bRearm);
    }
    int EpisodesDone() const { return m_nEpisode; }
    // Recordings that have gone into the present file.
    int AppendCount() const override { return m_nAppendCount; }
    bool HasEnded() const override { return IsIdle() && !m_bRearming; }
    // A file that appends itself keeps its settings until it is done.
    bool MayChangeSettings() const override {
        return HasEnded() && !(Saving() == SaveMode::append && AppendCount() > 0);
    }

  protected:
    bool NeedsExternalTrigger() const override;
    void OnWake() override;
    void OnTimer(int id) override;

  private:
    enum Timer { repeatTimer = 1, watchTimer = 2 };

    bool IsArming() const { return Trigger() == TriggerMode::external || Trigger() == TriggerMode::internal; }
    bool IsTaking() const;
    bool AcqStart(AcqState state);
    bool StartWithChecks(AcqState state);
    double PreTriggerScans() const;
    void NoteTrigger();
    void TellShortSpan();
    std::unique_ptr<InternalTrigger> MakeTrigger(std::string& fault) const;
    void StopRecording();
    void AbortArm();
    void Halt();
    void StopFor(AcqMessage message, const std::string& text);
    bool TakeFault();
    // What happens with a recording that has ended.
    void SaveWhatCame();
    void GoOn(bool hasData);

    bool StartSeries();
    void EndSeries();
    void OnRepeatTick();
    void ShowStatus();

    // The recording goes behind those in the present file.
    bool Appends() const;
    // Under a name that is made of the base, without a question.
    bool SavesByItself() const;
    // False, told to the user, where there is none.
    bool HasBaseName();
    bool SaveFirst();
    bool Append();
    bool CheckAppendFile();

    int m_nEpisode = 0;   // of a series, done
    int m_nElapsed = -1;  // ticks since the last start
    int m_nAppendCount = 0;
    std::filesystem::path m_appendFile;
    bool m_bRearming = false;  // the trigger will be armed in a moment
    bool m_bEnding = false;
    bool m_bTriggerNoted = false;
};

}  // namespace kymora
