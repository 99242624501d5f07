#pragma once
// The header of Intan RHD2000 and RHS2000 files. Layout: "RHD2000 data file formats" and "RHS2000 data file
// formats" (Intan Technologies).

#include <cstdint>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// In the order in which a data block holds them.
enum class IntanSignal {
    amplifier,
    auxiliary,
    dc,
    stimulation,
    supply,
    temperature,
    adc,
    dac,
    digitalIn,
    digitalOut
};

struct IntanChannel {
    IntanSignal signal = IntanSignal::amplifier;
    std::string native, custom;  // names
    int order = 0;               // the bit of a digital line

    const std::string& Name() const { return custom.empty() ? native : custom; }
};

struct IntanHeader {
    bool isStimulator = false;  // RHS
    int major = 0, minor = 0;
    double rate = 0.0;  // Hz
    int boardMode = 0;
    bool dcSaved = false;
    int notch = 0;                    // 1: 50 Hz, 2: 60 Hz
    double lower = 0.0, upper = 0.0;  // Hz, of the amplifiers
    std::vector<std::string> notes;   // that are not empty
    std::string reference;
    std::vector<IntanChannel> channels;  // enabled ones, those of one kind together in the file's order
    int temperatureSensors = 0;
    uint64_t length = 0;  // bytes

    int SamplesPerBlock() const { return isStimulator || major >= 2 ? 128 : 60; }
    int Count(IntanSignal signal) const;
};

// Throws OpenError or FileError.
IntanHeader ReadIntanHeader(const DataFile& file);

}  // namespace kymora
