#pragma once
// The header of an Axon binary file, of version 1 or 2, as one value. Layout: the public ABF user guide and
// the notes on the format that its readers have published.

#include <cstdint>
#include <string>
#include <vector>

#include "import/file_fields.h"

namespace kymora {

enum class AxonMode : int {
    variableLength = 1,
    fixedLength = 2,
    gapFree = 3,
    oscilloscope = 4,
    episodic = 5
};

struct AxonChannel {
    std::string name, units;
    double gain = 1.0, offset = 0.0;  // value = number x gain + offset
};

struct AxonSegment {
    double start = 0.0;  // s, on the clock of the experiment
    int64_t first = 0;   // in the joined trace
    int64_t length = 0;  // samples of a channel
};

struct AxonTag {
    double time = 0.0;  // s, on the clock of the experiment
    std::string text;
};

struct AxonHeader {
    ByteOrder order = ByteOrder::little;
    int version = 1;
    std::string versionText;  // "1.83", "2.6.0.0"
    AxonMode mode = AxonMode::gapFree;
    std::vector<AxonChannel> channels;
    bool isFloat = false;
    uint64_t dataStart = 0;  // bytes
    int64_t samples = 0;     // of one channel, as far as the file holds them
    bool isCut = false;
    double interval = 0.0;  // us, of a channel
    int64_t preTrigger = 0;
    std::vector<AxonSegment> segments;  // empty for one run
    std::vector<AxonTag> tags;
    int date = 0;         // YYYYMMDD; 0 where it is not known
    int64_t timeMs = -1;  // since midnight; -1 where it is not known
    std::string creator, protocol, comment;
    std::vector<std::string> protocolLines;  // epochs and user lists
    std::vector<std::string> warnings;       // for the user
};

// A stretch of what an output did.
struct AxonEpoch {
    std::string output, units;
    int number = 0;                       // from 0
    int type = 0;                         // 0 is off
    double level = 0.0, levelStep = 0.0;  // the step is from sweep to sweep
    int32_t samples = 0, samplesStep = 0;
};
// "Cmd 0, epoch A: step to -70 mV, +10 each sweep, 2000 samples"; empty for one that is off.
std::string EpochText(const AxonEpoch& epoch);

// Throws OpenError.
AxonHeader ReadAxonHeader(const DataFile& file);

// What the formats have in common behind their headers.
struct AxonPlaces {
    int64_t samples = 0;  // stated, of all channels
    int64_t episodes = 0;
    double clock = 0.0;               // s, of a count in segments and tags
    double clockUs = 0.0;             // us, as the file states it; 0 where that is a sample
    uint64_t segments = 0, tags = 0;  // file offsets
    int64_t segmentCount = 0, tagCount = 0;
    uint64_t segmentBytes = 8, tagBytes = 64;  // of an entry
    int64_t episodeSamples = 0;                // stated, of all channels; 0 where it is not
};
AxonHeader ReadAxonHeader1(const DataFile& file, ByteOrder order, AxonPlaces& places);
AxonHeader ReadAxonHeader2(const DataFile& file, AxonPlaces& places);
[[noreturn]] void RefuseAxon(const std::string& why);
// The gain of a channel of which the header states these.
double AxonGain(double range, double resolution, double product);

}  // namespace kymora
