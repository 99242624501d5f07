#pragma once
// The wrapper of a board. It lives on the thread that owns the board; what it has to say is kept until the
// interface thread takes it.

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "acquisition/acq_messages.h"
#include "acquisition/board.h"
#include "acquisition/pipe.h"

namespace kymora {

inline constexpr size_t boardBufferCount = 20;

// Where samples go while the board runs. All outlive the run.
struct DataRoad {
    CPipe* store = nullptr;
    CPipe* display = nullptr;                     // null: nobody looks
    std::atomic<bool>* skippedDisplay = nullptr;  // set where the display pipe was full
    // The single-shot form: the samples of one buffer go here, the board stops, and no pipe is used.
    std::span<std::byte> sweep{};
};

struct HostWords {
    std::vector<std::string> messages;
    std::vector<std::string> log;
};

class CDTHost {
  public:
    CDTHost(Board& board, AcqMailbox& mailbox) : m_board(board), m_mailbox(mailbox) {}

    HostWords TakeWords();

    // Opens the subsystems and allocates the buffers. False where the board cannot record.
    bool Open();
    std::string BoardName() const { return m_board.Name(); }
    const SubsystemCapabilities& Adc() const { return m_adc; }
    const SubsystemCapabilities& Dac() const { return m_dac; }
    int DacChannels() const { return m_nDacChannels; }  // 0: none can be used
    bool HasDigitalOutput() const { return m_bDigital; }

    // Sets the channels, from 0, and the clock. `interval`, ms a sample of a channel, becomes that which the
    // board answers.
    bool ConfigureInputs(const std::vector<int>& channels, InputMode mode, double& interval);
    // Makes the buffers so many scans long, and all of them ready.
    bool SetBufferSize(size_t scans);
    size_t BufferScans() const { return m_nBufferSamples; }
    // The same for the first outputs; `kHz` becomes the rate that the board answers.
    bool ConfigureOutputs(int channels, double& kHz);
    // The rate that the board answers for each of so many channels, kHz, held to those that it has, and
    // those that each can have, Hz; nothing where it answers none. What is set is set anew at the next
    // configuration; the user hears of nothing.
    std::optional<double> AskRate(Subsystem subsystem, int channels, double kHz);
    std::optional<FrequencyRange> AskRates(Subsystem subsystem, int channels);
    // External where something outside starts the recording, else software. `dacs`: outputs take the same.
    bool ChooseTrigger(bool isExternal, int dacs);

    // Frees what the output has queued, and queues codes, interleaved by channel.
    bool ClearOutput();
    bool QueueOutput(std::span<const int32_t> codes);

    // DTstart, with the number of outputs in use, and DTstop.
    bool Start(const DataRoad& road, int dacs, bool pulsesDigitalOutput);
    void Stop();
    bool IsRunning() const { return m_bRunning; }
    // What the board tells while it runs.
    void OnEvent(const BoardEvent& event);

  private:
    bool Good(BoardStatus status, int site);
    bool Refuse(const char* text);
    bool OpenInputs();
    void OpenOutputs();
    void OpenDigital();
    bool TakeBack(Subsystem subsystem, bool putsThem);
    bool AllocateInputs(size_t samples);
    bool HasOneClock(Subsystem subsystem) const;
    bool SetTheClock(Subsystem subsystem, int channels, bool hasOneClock, double& kHz);
    bool SetChannels(Subsystem subsystem, const std::vector<int>& channels);
    bool StartSubsystems(int dacs);
    bool PulseDigitalOutput();
    void OnBufferDone();
    void Pass(const BoardBuffer& buffer);
    void TakeSweep(BoardBuffer& buffer);
    void StopFor(AcqMessage message);

    Board& m_board;
    AcqMailbox& m_mailbox;
    HostWords m_words;
    SubsystemCapabilities m_adc, m_dac;
    bool m_bDigital = false;
    int m_nDacChannels = 0;
    size_t m_nBufferSamples = 1000;  // scans of a buffer
    size_t m_nListSize = 1;          // input channels in use
    size_t m_nAllocated = 0;         // samples of each buffer
    DataRoad m_road;
    bool m_bRunning = false;
    bool m_bStopped = true;  // nothing is passed on any more
};

}  // namespace kymora
