#pragma once
// The refractory protocol of a board: a conditioning pre-pulse, and behind it a trial pulse whose amplitude
// is searched that just fires a spike, at shorter and shorter delays. By hand (Try, Accept), or unattended
// (Start), where sweeps are judged by refractory_search.h. A sweep is one buffer of the board; nothing is
// stored until the accepted ones are saved.

#include "acquisition/dt_acq_view.h"
#include "acquisition/refractory_search.h"
#include "acquisition/refractory_sweeps.h"

namespace kymora {

class CDTRefrAcqView : public CDTAcqView {
  public:
    // Of type refractoryManual until the settings say otherwise.
    CDTRefrAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board);
    ~CDTRefrAcqView() override;

    uint32_t m_nSpikeColour = 255;

    // OpenBoard, of a board with outputs. False, told to the user, where it cannot be used.
    bool Open();

    // --- buttons; false where nothing came of it, which the user was told ---
    bool OnStart();
    void OnStop();
    bool OnTry();
    // By hand the last sweep; of a search the one under review.
    bool OnAccept();
    bool MayAccept() const { return SweepToAccept() != nullptr; }
    void OnClear();
    void OnDeleteAll();
    // The accepted sweeps as a recording of episodes.
    bool OnSave() override;
    // Start of an automatic search, Try of one by hand; both end with Stop.
    bool OnAcqStart() override { return IsAutomatic() ? OnStart() : OnTry(); }
    void OnAcqStop() override { OnStop(); }
    void StopForGood() override { OnStop(); }
    const char* StartButton() const override { return IsAutomatic() ? "Start" : "Try"; }
    void GiveUp() override;
    const char* ClearQuestion(const AcquisitionSettings& settings) const override;
    bool IsAutomatic() const { return m_settings.m_eRecordingType == RecordingType::refractoryAutomatic; }

    // --- review, while it is idle: of what was acquired, or of a saved search in its place ---
    // Without a path the user chooses the file.
    bool OnLoadReview(std::optional<std::filesystem::path> path = {});
    // The file whose sweeps these are; null: they were acquired.
    const CAcqDoc* Loaded() const { return m_pLoaded.get(); }
    // The sweep under review (from 0); held to those that there are.
    void Select(size_t sweep);
    size_t Selected() const { return m_nSelected; }
    // Its change with the window as it is set now, and why there is none.
    std::optional<float> ReviewChange() const;
    std::string ReviewFault() const;
    // Where the window lies in it, ms from and to.
    std::pair<double, double> ReviewWindow() const;
    // Takes the changes with the window as it is set now for those that count; answers how many.
    size_t OnRecalculate();
    void OnDeleteSweep();

    const RefractorySweeps& Data() const { return m_data; }
    const std::vector<RefractorySweep>& Sweeps() const { return m_data.list; }
    size_t AcceptedCount() const { return m_data.AcceptedCount(); }
    // The delays that an automatic search has been at, the present one last; of other data those with an
    // accepted sweep.
    std::vector<RefractoryThreshold> Thresholds() const;
    // Of the search, which keeps them when it has ended; of a file its accepted sweeps, in all and at the
    // delay of the one under review.
    int SweepCount() const { return m_nSweepCount; }
    int SpikesHere() const;
    int SpikesTotal() const { return m_pLoaded ? static_cast<int>(AcceptedCount()) : m_nSpikesTotal; }
    // The monitored window now, ms from and to.
    std::pair<double, double> Window() const;
    float AmplitudeNow() const { return m_pSearch ? m_pSearch->Amplitude() : m_fAmpNow; }
    float DelayNow() const { return m_pSearch ? m_pSearch->Delay() : m_fDelayNow; }

  protected:
    bool NeedsExternalTrigger() const override { return m_settings.m_bDigitalTrigOut; }
    size_t ScansOfBuffer() const override;
    int OutputsInUse() const override { return 1; }
    bool BuildStimulus(const DacRange& range) override;
    void OnWake() override;
    void OnTimer(int id) override;

  private:
    static constexpr int searchTimer = 1;

    const RefractorySettings& Refractory() const { return m_settings.refractory; }
    int64_t SweepScans() const;
    std::string PulseFault(const DacRange& range) const;
    bool PrepareSweep();
    bool FireSweep(AcqState state);
    const RefractorySweep* SweepToAccept() const;
    void TakeSweep();
    void Judge(RefractorySweep& sweep);
    bool AreSettingsOfSweeps() const;
    void SetSweepCount(int count);
    void GoOn();
    bool SaveTo(const std::filesystem::path& path);
    const std::vector<std::optional<float>>& Changes() const;

    std::unique_ptr<RefractorySearch> m_pSearch;  // of an automatic search
    RefractorySweeps m_data;
    std::unique_ptr<CAcqDoc> m_pLoaded;  // whose sweeps these are; null: they were acquired
    std::vector<RefractoryThreshold> m_thresholds;
    int m_nSweepCount = 0, m_nSpikesHere = 0, m_nSpikesTotal = 0;
    size_t m_nSelected = 0;
    uint64_t m_nNumber = 0;  // of the next sweep
    // Of the settings and as many sweeps as they were worked out for.
    mutable std::optional<std::pair<RefractorySettings, size_t>> m_changesOf;
    mutable std::vector<std::optional<float>> m_changes;
    std::vector<std::byte> m_sweep;  // the board writes into it while it runs
    std::vector<int> m_sweepChannels;
    float m_fAmpNow = 0.0f, m_fDelayNow = 0.0f;  // of the search by hand
    // The initial values that those steps began at; not a number: the next Try begins at those of the
    // settings.
    float m_fAmpBegan = std::numeric_limits<float>::quiet_NaN();
    float m_fDelayBegan = std::numeric_limits<float>::quiet_NaN();
};

}  // namespace kymora
