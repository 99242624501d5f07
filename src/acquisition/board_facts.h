#pragma once
// What a board can do, as settings are held against it, and the rate at which it really records or plays.

#include <functional>
#include <optional>
#include <string>

#include "acquisition/board.h"
#include "recording/acquisition_settings.h"

namespace kymora {

struct BoardFacts {
    std::string name;
    SubsystemCapabilities inputs, outputs;
    int outputChannels = 0;  // that can be used
    bool hasDigitalOutput = false;
    bool isSimulated = false;
    // Of each of so many channels: what the board answers to a rate that is wanted, kHz, held to those it
    // has. Nothing where it cannot be asked now. Empty: nobody can be asked.
    std::function<std::optional<double>(Subsystem, int channels, double kHz)> rate;
    // The rates that each of so many channels can have.
    std::function<std::optional<FrequencyRange>(Subsystem, int channels)> rates;

    DacRange OutputRange() const;
};

// As long as no board is open: all that there could be.
BoardFacts UnknownBoard();

// Why the channels that are on cannot be recorded together; empty when they can.
std::string ChannelFault(const AcquisitionSettings& settings, const SubsystemCapabilities& inputs,
                         const std::string& board);

// Bytes a second of all channels that are on, at a rate of each in kHz.
double BytesPerSecond(const AcquisitionSettings& settings, const SubsystemCapabilities& inputs, double kHz);

}  // namespace kymora
