#pragma once
// The refractory protocol of a board: a conditioning pre-pulse, and behind it a trial pulse whose amplitude
// is searched that just fires a spike, at shorter and shorter delays. By hand (Try, Accept), or unattended
// (Start), where sweeps are judged by refractory_search.h. A sweep is one buffer of the board; nothing is
// stored until the accepted ones are saved.

#include "acquisition/dt_acq_view.h"
#include "acquisition/refractory_search.h"

namespace kymora {

class CDTRefrAcqView : public CDTAcqView {
  public:
    struct Sweep {
        std::vector<std::byte> samples;  // whole scans, as the board has them
        float amplitude = 0.0f;          // of the trial pulse, V
        float delay = 0.0f;              // ms
        float delta = 0.0f;
        uint32_t colour = 0;  // 0: that of its trace
        int64_t time = 0;     // of its end, seconds since 1970
        bool isAccepted = false;
    };
    // Of one delay: the least amplitude with a spike.
    struct Threshold {
        float delay = 0.0f;
        std::optional<float> amplitude;
        int spikes = 0;  // times that the threshold was found from below
    };

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
    bool OnAccept();
    void OnClear();
    void OnDeleteAll();
    // The accepted sweeps as a recording of episodes.
    bool OnSave() override;
    // Start of an automatic search, Try of one by hand; both end with Stop.
    bool OnAcqStart() override { return IsAutomatic() ? OnStart() : OnTry(); }
    void OnAcqStop() override { OnStop(); }
    void StopForGood() override { OnStop(); }
    bool IsAutomatic() const { return m_settings.m_eRecordingType == RecordingType::refractoryAutomatic; }

    const std::vector<Sweep>& Sweeps() const { return m_sweeps; }
    size_t AcceptedCount() const;
    // The delays that an automatic search has been at, the present one last.
    const std::vector<Threshold>& Thresholds() const { return m_thresholds; }
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
    void TakeSweep();
    void Judge(Sweep& sweep);
    void GoOn();
    std::vector<float> Monitored(const Sweep& sweep) const;
    bool SaveTo(const std::filesystem::path& path);
    void WriteSweeps(CAcqDoc& doc, const std::filesystem::path& path);

    std::unique_ptr<RefractorySearch> m_pSearch;  // of an automatic search
    std::vector<Sweep> m_sweeps;
    std::vector<Threshold> m_thresholds;
    std::vector<std::byte> m_sweep;  // the board writes into it while it runs
    std::vector<int> m_sweepChannels;
    double m_dSweepInterval = 0.0;
    float m_fAmpNow = 0.0f, m_fDelayNow = 0.0f;  // of the search by hand
    bool m_bFresh = true;                        // the next Try uses the initial amplitude
    bool m_bNew = true;                          // and the initial delay
};

}  // namespace kymora
