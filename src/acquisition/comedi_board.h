#pragma once
// A board whose driver is Comedi: its first analogue inputs and outputs that stream, and its first digital
// output. Each subdevice records in the widest range of volts that it has. Codes are offset binary.

#include <array>

#include "acquisition/board_buffers.h"
#include "acquisition/comedi_library.h"
#include "acquisition/waker.h"

namespace kymora {

class ComediBoard : public BufferedBoard {
  public:
    // The library outlives it. The device is opened here; Has answers false of all where that fails.
    ComediBoard(const ComediLibrary& library, const std::string& file);
    ~ComediBoard() override;
    ComediBoard(const ComediBoard&) = delete;
    ComediBoard& operator=(const ComediBoard&) = delete;

    std::string Name() const override;
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

  protected:
    int BytesPerSample(Subsystem subsystem) override { return SideOf(subsystem).bits > 16 ? 4 : 2; }

  private:
    struct Side {
        int subdevice = -1;
        int bits = 16;
        int channels = 0;
        unsigned int range = 0;
        double low = -10.0, high = 10.0;  // of the codes 0 and 2^bits
        size_t width = 2;                 // bytes of a sample of the driver
        std::vector<unsigned int> list;   // packed, as commands take it
        comedi_cmd command{};
        TriggerSource trigger = TriggerSource::software;
        bool isRunning = false;
    };

    Side& SideOf(Subsystem subsystem) { return m_sides[subsystem == Subsystem::adc ? 0 : 1]; }
    bool FindSide(Subsystem subsystem, int type, int streams);
    void ChooseRange(Side& side);
    double Period(const Side& side) const;
    BoardEvent ReadInputs();
    bool TakeRead(size_t bytes);
    bool FeedOutputs();
    BoardEvent Gone(BoardEventKind kind, Subsystem subsystem);

    const ComediLibrary& m_library;
    ComediDevice* m_pDevice;
    std::array<Side, 2> m_sides;
    int m_nDigital = -1;
    unsigned int m_nReference = AREF_GROUND;
    std::vector<std::byte> m_read;  // of a buffer, in the driver's samples
    size_t m_nRead = 0;             // bytes
    BoardBuffer* m_pFilling = nullptr;
    std::vector<std::byte> m_output;  // all that is played, in the driver's samples
    size_t m_nWritten = 0;
    Waker m_waker;
};

}  // namespace kymora
