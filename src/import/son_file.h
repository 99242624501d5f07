#pragma once
// The parts of a 32-bit Spike2 (SON) file: header, channels and their blocks. Times are clock ticks.

#include <string>
#include <vector>

#include "import/file_fields.h"

namespace kymora {

enum class SonKind : uint8_t {
    off = 0,
    adc = 1,
    eventFall = 2,
    eventRise = 3,
    eventBoth = 4,
    marker = 5,
    adcMark = 6,
    realMark = 7,
    textMark = 8,
    realWave = 9,
};

struct SonHeader {
    ByteOrder order = ByteOrder::little;
    int revision = 0;
    double tick = 0.0;  // s
    int unitsPerTick = 0;
    double unitsPerMs = 0.0;  // whole where that is what the file means
    int ticksPerAdc = 1;
    int channels = 0;
    int32_t lastTick = 0;
    bool pads = false;  // markers take multiples of four bytes
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, hundredths = 0;
    std::vector<std::string> comments;
};

struct SonChannel {
    int number = 0;  // from 1
    SonKind kind = SonKind::off;
    std::string title, units, comment;
    int64_t firstBlock = -1;
    int64_t blocks = 0;     // stated
    int blockBytes = 0;     // one has in the file; 0 where that is not stated
    int itemsPerBlock = 0;  // at most; 0 where that is not stated
    int64_t step = 0;       // ticks from sample to sample
    float scale = 1.0f, offset = 0.0f;
    int extraBytes = 0;   // of a marker
    int preTrigger = 0;   // points of a wavemark before its alignment point
    int interleaved = 1;  // traces of a wavemark
    int port = -1;
    bool startsLow = true;  // of a level
};

// Where the items of a block lie.
struct SonBlock {
    uint64_t items = 0;  // file offset of the first
    int32_t start = 0;
    int count = 0;
};

// Throws OpenError.
SonHeader ReadSonHeader(const DataFile& file);
std::vector<SonChannel> ReadSonChannels(const DataFile& file, const SonHeader& header);
int SonItemBytes(const SonHeader& header, const SonChannel& channel);
double SonMilliseconds(const SonHeader& header, int64_t ticks);

// Walks the blocks of channels. No byte of the file belongs to two of them.
class SonBlockWalk {
  public:
    SonBlockWalk(const DataFile& file, const SonHeader& header)
        : file_(file), header_(header), bytesLeft_(file.Length()) {}
    // The blocks in the order of their times, up to the first that the file does not hold or that does not
    // lead on. Those that follow the stated number of blocks belong to the channel, too. Throws OpenError.
    std::vector<SonBlock> BlocksOf(const SonChannel& channel);
    // Throws OpenError where blocks that were walked lie upon each other.
    void CheckApart();
    int64_t Lost() const { return lost_; }  // blocks that the file does not hold
    // Of the channels whose blocks do not lead on in time.
    const std::vector<int>& Turned() const { return turned_; }

  private:
    struct Extent {
        uint64_t begin = 0, end = 0;
    };

    bool LeadsOn(const SonChannel& channel, const SonBlock& last, const SonBlock& next) const;

    const DataFile& file_;
    const SonHeader& header_;
    uint64_t bytesLeft_;
    std::vector<Extent> extents_;
    int64_t lost_ = 0;
    std::vector<int> turned_;
};

}  // namespace kymora
