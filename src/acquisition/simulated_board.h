#pragma once
// A board that needs no hardware: 16 inputs, 2 outputs of -10 to 10 V and a digital output, up to 1 MHz a
// channel, on the clock of the wall. Its clock divides 20 MHz by whole numbers. All channels are sampled at
// once. The digital output is wired to the external trigger. What its inputs show is told in
// simulated_inputs.h.

#include <atomic>
#include <optional>

#include "acquisition/board_buffers.h"
#include "acquisition/simulated_inputs.h"
#include "acquisition/waker.h"

namespace kymora {

// What goes wrong, for trials; scans count from the start. None: it never happens.
struct SimulatedFaults {
    std::optional<int64_t> overrunAt, vanishAt, nullAt, shortFrom, tornFrom, stallAt, underrunAt;
    double stallSeconds = 0.0;     // nothing is sampled for so long
    double answeredFrequency = 0;  // Hz, whatever was wanted; 0: the next that there is
};

struct SimulatedBoardSettings {
    SimulatedInput input = SimulatedInput::preparation;
    int bits = 16;     // 8 to 24, of inputs and outputs
    int encoding = 0;  // 1, two's complement, up to 16 bits
    uint64_t seed = 0;

    int inputs = 16;
    int outputs = 2;  // 0 to 2
    bool hasDigitalOutput = true;
    ChannelListRule channelList = ChannelListRule::any;
    double speed = 1.0;                  // of its clock against that of the wall
    bool waitsForBuffers = false;        // nothing is lost where it is served late
    std::optional<double> triggerAfter;  // s, until the external trigger comes; none: it never does
    SimulatedFaults faults;
};

class SimulatedBoard : public BufferedBoard {
  public:
    explicit SimulatedBoard(const SimulatedBoardSettings& settings);

    std::string Name() const override { return "Simulated board"; }
    bool Has(Subsystem subsystem) override;
    BoardStatus Open(Subsystem subsystem) override;
    BoardStatus GetCapabilities(Subsystem subsystem, SubsystemCapabilities& capabilities) override;
    BoardStatus GetFrequencyRange(Subsystem subsystem, int channels, FrequencyRange& range) override;
    BoardStatus SetDataFlow(Subsystem subsystem, DataFlow flow) override;
    BoardStatus SetInputMode(InputMode mode) override;
    BoardStatus SetChannelListSize(Subsystem subsystem, int size) override;
    BoardStatus SetChannelListEntry(Subsystem subsystem, int entry, int channel, double gain) override;
    BoardStatus SetClock(Subsystem subsystem, double wanted, double& answered) override;
    BoardStatus SetTrigger(Subsystem subsystem, TriggerSource source) override;
    BoardStatus Configure(Subsystem subsystem) override;
    BoardStatus Start(Subsystem subsystem) override;
    BoardStatus StartTogether(std::span<const Subsystem> list) override;
    BoardStatus Abort(Subsystem subsystem) override;
    BoardStatus WriteDigital(uint32_t value) override;
    BoardEvent Wait() override;
    void Wake() override { m_waker.Wake(); }

    // Any thread: what an external trigger waits for.
    void Trigger();

  protected:
    int BytesPerSample(Subsystem) override { return m_codes.Bytes(); }

  private:
    using Clock = Waker::Clock;
    enum class Run { idle, armed, running };
    struct Side {  // inputs or outputs
        Run run = Run::idle;
        std::vector<int> channels;
        double frequency = 20000.0;  // of each channel, Hz
        TriggerSource trigger = TriggerSource::software;
    };

    Side& SideOf(Subsystem subsystem) { return m_sides[subsystem == Subsystem::adc ? 0 : 1]; }
    void Begin(Side& side);
    void TakeTrigger();
    Clock::time_point TimeOf(double seconds) const;
    size_t BufferScans();
    BoardEvent Produce();
    std::optional<BoardEvent> FaultNow();
    bool IsLate();
    double Output(int output, double seconds);
    std::optional<Clock::time_point> NextDue();

    SimulatedBoardSettings m_settings;
    SampleCodes m_codes;
    std::array<Side, 2> m_sides;
    std::optional<SimulatedInputs> m_inputs;
    Clock::time_point m_start, m_armedAt;
    bool m_bStalled = false, m_bPlayed = false;
    uint64_t m_nStarts = 0;          // its noise is another one each time
    int64_t m_nPlayed = 0;           // samples of an output that have passed in buffers that are done
    std::array<double, 2> m_held{};  // volts of the outputs, as they were set last
    std::atomic<bool> m_bTriggered{false};
    Waker m_waker;
};

}  // namespace kymora
