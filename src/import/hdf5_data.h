#pragma once
// The samples of an HDF5 array as one file: channel behind channel, as the elements expand from chunks that
// may be compressed ("deflate", with or without "shuffle" and check sums).

#include <list>
#include <memory>
#include <unordered_map>

#include "import/hdf5_file.h"
#include "import/number_conversion.h"

namespace kymora {

// Part of an array of which one side is time. The channels lie along the other, if there is one.
struct Hdf5Chunk {
    uint64_t number = 0;           // counted along the channels first
    uint64_t address = 0;          // in the file
    uint32_t bytes = 0, mask = 0;  // stored; filters that were left out
};

// How the elements of an array with one or two sides lie in its file.
struct Hdf5Samples {
    // Throws OpenError where they cannot be read. `timeSide` is that of time: 0 or 1.
    Hdf5Samples(Hdf5File& file, const Hdf5Array& array, size_t timeSide);

    // Whether they lie one behind the other and are numbers that need no expansion: at `address`.
    bool IsPlain() const { return isPlain && !isWidened; }

    Hdf5Type type;
    NumberType numbers = NumberType::f64;  // of what is made of them
    bool isWidened = false;                // double precision stands for what has no type of its own
    bool isPlain = false;
    uint64_t address = 0;  // of plain ones
    size_t timeSide = 0;
    int64_t count = 0;  // along time, as far as the file holds them
    int64_t channels = 1;
    int64_t chunkCount = 0, chunkChannels = 1;  // along both sides
    std::vector<Hdf5Filter> filters;
    std::vector<std::byte> fill;
    std::vector<Hdf5Chunk> chunks{};  // ascending
    bool isCutOff = false;            // the file does not hold all that it should

  private:
    void TakePlain(const DataFile& file, const Hdf5Array& array);
    void TakeChunks(Hdf5File& file, const Hdf5Array& array);
};

class Hdf5Data : public DataFile {
  public:
    Hdf5Data(std::unique_ptr<DataFile> file, Hdf5Samples samples);

    // Of a channel.
    uint64_t OffsetOf(int64_t channel) const;
    // Up to the end of the channel that is read.
    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override;
    void WriteAt(uint64_t offset, std::span<const std::byte> from) override;
    uint64_t Length() const override { return OffsetOf(samples_.channels); }
    void Truncate(uint64_t length) override;
    void Sync() override {}
    bool IsWritable() const override { return false; }
    bool TryLock() override { return true; }
    FileStamp Stamp() const override { return file_->Stamp(); }

  private:
    struct Held {
        uint64_t number = 0;
        std::vector<std::byte> bytes;  // channel by channel
    };
    const Held& Chunk(uint64_t number) const;
    std::vector<std::byte> Expand(const Hdf5Chunk& chunk) const;
    std::vector<std::byte> ByChannel(std::vector<std::byte> elements) const;

    std::unique_ptr<DataFile> file_;
    Hdf5Samples samples_;
    size_t each_ = 0;               // bytes of a number that is made
    size_t mostHeld_ = 0;           // chunks
    mutable std::list<Held> held_;  // the one that was used last is the first
    mutable std::unordered_map<uint64_t, std::list<Held>::iterator> places_;
};

// The first `count` elements of an array with one or two sides, or of a plain one, in the order of the file.
// None where parts of its second side were never written. Throws OpenError.
std::vector<std::byte> ReadHdf5Elements(Hdf5File& file, const Hdf5Array& array, uint64_t count);
// Elements as numbers.
void Hdf5Numbers(const Hdf5Type& type, const std::byte* from, std::span<double> to);

}  // namespace kymora
