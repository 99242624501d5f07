#pragma once
// What interfaces of boards have in common: the board on its thread, the checks before a start, the stimulus.

#include "acquisition/acq_view.h"
#include "acquisition/board_facts.h"
#include "acquisition/dt_thread.h"
#include "recording/adc_dac_configuration.h"

namespace kymora {

class CDTAcqView : public CAcqView {
  public:
    CDTAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board);
    ~CDTAcqView() override;

    // Makes the thread and opens the board. False, told to the user, where it cannot record.
    bool OpenBoard();
    // What a configuration is held against.
    ConfigurationTarget::Board BoardTarget() const;
    // What settings are held against, with the ways to ask the open board while it is idle. They end with
    // this interface. Whether the board is the simulated one is for the caller to say.
    BoardFacts Facts();
    void FillDocument(CAcqDoc& doc) const override;
    void TakeFormat() override;
    Board& GetBoard() { return *m_pBoard; }
    int DacChannels() const { return m_nDacChannels; }

    // Acquisitions done in the present sequence.
    int64_t SequenceIndex() const { return m_nSeqIndex; }
    void ResetSequence() { m_nSeqIndex = 0; }
    bool m_bSequencePaused = false;  // the counter does not advance

  protected:
    static constexpr double leastPoints = 9.0;  // on the screen

    // All checks before a start, in their order, with the board set up for it at their end. False, told to
    // the user, where it cannot be.
    bool PrepareStart();
    virtual bool NeedsExternalTrigger() const = 0;
    // DTstart and DTstop; both wait for the board's thread.
    bool StartBoard();
    // The same for a single buffer, whose samples go into the sweep.
    bool StartSweep(std::span<std::byte> sweep);
    void StopBoard();
    // After a recording with data: the next one plays the next of the sequence.
    void AdvanceSequence();
    // What an interface has of its own: the scans of a buffer, the outputs that play, and what they play.
    virtual size_t ScansOfBuffer() const { return WantedBufferScans(); }
    virtual int OutputsInUse() const { return static_cast<int>(m_settings.m_nDacInUse); }
    virtual bool BuildStimulus(const DacRange& range);
    double OutputKHz() const { return m_dOutputKHz; }
    // Hands codes of the outputs to the board, at most outputBufferSamples. False, told to the user, where it
    // takes none.
    bool Queue(std::span<const int32_t> codes);

  private:
    bool OnHost(const std::function<bool(CDTHost&)>& work);
    bool CheckScreen();
    bool CheckChannels();
    bool ConfigureBoard();
    bool ConfigureOutputs();
    bool OpenOutputFile();
    bool BuildOutput();
    bool BuildPulses(const DacRange& range);
    bool BuildFile(const DacRange& range);

    std::unique_ptr<Board> m_pBoard;
    std::unique_ptr<CDTThread> m_pThread;
    std::string m_strBoardName;
    SubsystemCapabilities m_adc, m_dac;
    int m_nDacChannels = 0;  // of the board
    int m_nDacs = 0;         // in use by this recording
    bool m_bDigitalOutput = false;
    double m_dOutputKHz = 20.0;
    std::unique_ptr<CDataDoc> m_pOutputSource;
    int64_t m_nSeqIndex = 0;
};

}  // namespace kymora
