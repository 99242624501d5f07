#pragma once
// A converter board as the engine sees it. Each operation answers a status: 0 when good, else a code of the
// board. All are called on the thread that owns the board (dt_thread.h), but for Wake.
//
// The simulated board (simulated_board.h) is always there; others are found when the program runs.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kymora {

using BoardStatus = int;

enum BoardCode : BoardStatus {
    boardGood = 0,
    boardNoSubsystem = 1,
    boardNotSupported = 2,
    boardBadValue = 3,
    boardBusy = 4,
    boardNoMemory = 5,
    boardGoneAway = 6,
};

enum class Subsystem { adc, dac, digitalOut };
enum class DataFlow { continuous, singleValue };
enum class TriggerSource { software, external };
enum class InputMode { asBoard, singleEnded, differential };
// What lists of channels a board takes.
enum class ChannelListRule { any = 0, inSequence = 1, inSequenceFromFirst = 2 };

struct SubsystemCapabilities {
    bool hasInternalClock = false;
    bool supportsBuffering = false;
    bool supportsMessages = false;  // tells of its buffers
    bool supportsSingleValue = false;
    int channels = 0;
    int singleEnded = 0, differential = 0;  // channels of inputs
    int resolutionBits = 16;
    int encoding = 0;  // 0 offset binary, 1 two's complement
    float voltHigh = 10.0f, voltLow = -10.0f;
    ChannelListRule channelList = ChannelListRule::any;
    bool hasOneClock = true;  // its frequency is that of each channel, not of all together
    bool startsTogether = false;

    // Above 16 bits codes are offset binary in four bytes.
    int BytesPerSample() const { return resolutionBits > 16 ? 4 : 2; }
};

// Of the clock, Hz.
struct FrequencyRange {
    double least = 0.0;
    double greatest = 0.0;
};

// Samples of all channels side by side, in time order.
struct BoardBuffer {
    std::vector<std::byte> bytes;
    size_t samples = 0;  // that it can hold
    size_t valid = 0;    // that it holds
};

enum class BoardEventKind { none, bufferDone, queueDone, overrun, underrun, gone };

struct BoardEvent {
    BoardEventKind kind = BoardEventKind::none;
    Subsystem subsystem = Subsystem::adc;
};

class Board {
  public:
    virtual ~Board() = default;
    virtual std::string Name() const = 0;

    // 1. Subsystems.
    virtual bool Has(Subsystem subsystem) = 0;
    virtual BoardStatus Open(Subsystem subsystem) = 0;

    // 2. Capabilities.
    virtual BoardStatus GetCapabilities(Subsystem subsystem, SubsystemCapabilities& capabilities) = 0;
    // For a number of channels in the list.
    virtual BoardStatus GetFrequencyRange(Subsystem subsystem, int channels, FrequencyRange& range) = 0;

    // 3. Configuration, in this order; Configure takes over what was set.
    virtual BoardStatus SetDataFlow(Subsystem subsystem, DataFlow flow) = 0;
    virtual BoardStatus SetInputMode(InputMode mode) = 0;
    virtual BoardStatus SetChannelListSize(Subsystem subsystem, int size) = 0;
    // Channels count from 0. The gain is that of the board, not that of an amplifier before it.
    virtual BoardStatus SetChannelListEntry(Subsystem subsystem, int entry, int channel, double gain) = 0;
    // The clock of the board itself. Answers the frequency that it will have, Hz.
    virtual BoardStatus SetClock(Subsystem subsystem, double wanted, double& answered) = 0;
    virtual BoardStatus SetTrigger(Subsystem subsystem, TriggerSource source) = 0;
    virtual BoardStatus Configure(Subsystem subsystem) = 0;

    // 4. Buffers. The board keeps them until they are freed.
    virtual BoardStatus AllocateBuffer(Subsystem subsystem, size_t samples, BoardBuffer*& buffer) = 0;
    virtual BoardStatus FreeBuffer(Subsystem subsystem, BoardBuffer* buffer) = 0;
    // On the ready queue; that of an output is played in its order.
    virtual BoardStatus PutBuffer(Subsystem subsystem, BoardBuffer* buffer) = 0;
    // From the done queue; null when it is empty. An input's `valid` counts whole scans.
    virtual BoardStatus GetBuffer(Subsystem subsystem, BoardBuffer*& buffer) = 0;
    // Moves what is ready to the done queue.
    virtual BoardStatus FlushBuffers(Subsystem subsystem) = 0;

    // 5. Running.
    virtual BoardStatus Start(Subsystem subsystem) = 0;
    virtual BoardStatus StartTogether(std::span<const Subsystem> list) = 0;
    // olDaAbort: at once; the buffers stay where they are.
    virtual BoardStatus Abort(Subsystem subsystem) = 0;

    // 6. Digital output.
    virtual BoardStatus WriteDigital(uint32_t value) = 0;

    // Waits for what the board has to tell, or a Wake. A Wake before counts for the next wait.
    virtual BoardEvent Wait() = 0;
    // Any thread.
    virtual void Wake() = 0;
};

}  // namespace kymora
