#include "import/hdf5_data.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "document/open_request.h"
#include "document/stored_settings.h"
#include "import/hdf5_index.h"

namespace kymora {

namespace {

constexpr uint64_t mostExpandedChunk = 24 << 20, mostChunkExpansion = 20;  // bytes; times the file
constexpr uint64_t mostDeflation = 1100;                                   // of what is compressed
constexpr uint64_t heldBytes = 64 << 20, mostHeldBytes = 256 << 20;
constexpr uint64_t plainChunkBytes = 1 << 18;

enum FilterId : uint16_t { filterDeflate = 1, filterShuffle = 2, filterCheckSum = 3 };

[[noreturn]] void FailChunk() { throw FileError("Compressed samples of this HDF5 file are damaged.", 0); }

std::string FilterName(const Hdf5Filter& filter) {
    return filter.name.empty() ? fmt::format("filter {}", filter.id) : filter.name.substr(0, 60);
}

// What single numbers become.
NumberType TypeOfNumbers(const Hdf5Type& type, bool& isWidened) {
    isWidened = false;
    if (type.kind == Hdf5Type::Kind::real) return type.bytes == 4 ? NumberType::f32 : NumberType::f64;
    if (type.bytes == 1 && !type.isSigned) return NumberType::u8;
    if (type.bytes == 2) return type.isSigned ? NumberType::i16 : NumberType::u16;
    if (type.bytes == 4 && type.isSigned) return NumberType::i32;
    isWidened = true;
    return NumberType::f64;
}

template <typename T>
void ToDoubles(const std::byte* from, bool isBig, std::span<double> to) {
    for (double& number : to) {
        std::byte raw[sizeof(T)];
        std::memcpy(raw, from, sizeof raw);
        if (isBig) std::ranges::reverse(raw);
        T value;
        std::memcpy(&value, raw, sizeof value);
        number = static_cast<double>(value);
        from += sizeof(T);
    }
}

std::vector<std::byte> Inflate(std::span<const std::byte> packed, size_t most) {
    std::vector<std::byte> bytes(most);
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) FailChunk();
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    const int result = inflate(&stream, Z_FINISH);
    const size_t made = bytes.size() - stream.avail_out;
    inflateEnd(&stream);
    if (result != Z_STREAM_END) FailChunk();
    bytes.resize(made);
    return bytes;
}

// The first bytes of all elements stand before their second ones, and so on.
std::vector<std::byte> Unshuffle(const std::vector<std::byte>& shuffled, size_t each) {
    std::vector<std::byte> bytes(shuffled);
    const size_t count = each > 1 ? shuffled.size() / each : 0;
    for (size_t b = 0; b < each && count > 0; ++b)
        for (size_t i = 0; i < count; ++i) bytes[i * each + b] = shuffled[b * count + i];
    return bytes;
}

template <size_t each>
void Transpose(const std::byte* from, std::byte* to, size_t rows, size_t columns) {
    constexpr size_t block = 32;
    for (size_t r = 0; r < rows; r += block)
        for (size_t c = 0; c < columns; ++c)
            for (size_t i = r; i < std::min(rows, r + block); ++i)
                std::memcpy(to + (c * rows + i) * each, from + (i * columns + c) * each, each);
}

}  // namespace

void Hdf5Numbers(const Hdf5Type& type, const std::byte* from, std::span<double> to) {
    const bool isBig = type.order == ByteOrder::big;
    const auto choose = [&]<typename Signed, typename Unsigned>(Signed, Unsigned) {
        type.isSigned ? ToDoubles<Signed>(from, isBig, to) : ToDoubles<Unsigned>(from, isBig, to);
    };
    if (type.kind == Hdf5Type::Kind::real)
        return type.bytes == 4 ? ToDoubles<float>(from, isBig, to) : ToDoubles<double>(from, isBig, to);
    switch (type.bytes) {
    case 1:
        return choose(int8_t{}, uint8_t{});
    case 2:
        return choose(int16_t{}, uint16_t{});
    case 4:
        return choose(int32_t{}, uint32_t{});
    default:
        return choose(int64_t{}, uint64_t{});
    }
}

// --- where samples lie ---

Hdf5Samples::Hdf5Samples(Hdf5File& file, const Hdf5Array& array, size_t side)
    : type(array.type), timeSide(side), filters(array.filters), fill(array.fill) {
    if (array.sizes.empty() || array.sizes.size() > 2 || side >= array.sizes.size())
        RefuseHdf5("its samples have other than one or two sides.");
    if (type.bytes == 0) RefuseHdf5("it is damaged.");
    array.Count();  // can be
    numbers = TypeOfNumbers(type, isWidened);
    if (!type.IsNumber()) isWidened = false;
    count = static_cast<int64_t>(array.sizes[timeSide]);
    channels = array.sizes.size() > 1 ? static_cast<int64_t>(array.sizes[1 - timeSide]) : 1;
    if (channels < 1) count = 0;
    for (const Hdf5Filter& filter : filters)
        if (filter.id < filterDeflate || filter.id > filterCheckSum)
            RefuseHdf5(
                fmt::format("its samples are compressed by \"{}\". Kymora reads \"deflate\" (gzip), with or "
                            "without \"shuffle\".",
                            FilterName(filter)));
    if (array.layout.kind == Hdf5Layout::Kind::none)
        RefuseHdf5("its samples lie in other files, or are arranged in a way that is not known.");
    isPlain = array.layout.kind == Hdf5Layout::Kind::plain;
    if (isPlain)
        TakePlain(file.File(), array);
    else
        TakeChunks(file, array);
}

void Hdf5Samples::TakePlain(const DataFile& file, const Hdf5Array& array) {
    address = array.layout.address;
    if (address > file.Length()) count = 0;  // nothing was written
    if (count <= 0) return;
    const uint64_t room = file.Length() - address, row = static_cast<uint64_t>(channels) * type.bytes;
    const uint64_t all = static_cast<uint64_t>(count) * row;
    isCutOff = all > room;
    if (isCutOff && timeSide == 0) count = static_cast<int64_t>(room / row);
    if (isCutOff && timeSide == 1) RefuseHdf5("it is cut off.");
    chunkChannels = channels;
    chunkCount = timeSide == 1 ? count : std::max<int64_t>(static_cast<int64_t>(plainChunkBytes / row), 1);
}

void Hdf5Samples::TakeChunks(Hdf5File& file, const Hdf5Array& array) {
    const auto sideOf = [&](size_t side) {
        return side < array.layout.chunk.size() ? static_cast<int64_t>(array.layout.chunk[side]) : 1;
    };
    const uint64_t length = file.File().Length();
    chunkCount = sideOf(timeSide);
    chunkChannels = channels > 1 || array.sizes.size() > 1 ? sideOf(1 - timeSide) : 1;
    if (chunkCount < 1 || chunkChannels < 1 || chunkCount > UINT32_MAX || chunkChannels > UINT32_MAX)
        RefuseHdf5("it is damaged.");
    const uint64_t bytes = static_cast<uint64_t>(chunkCount) * static_cast<uint64_t>(chunkChannels);
    if (bytes > (mostExpandedChunk + mostChunkExpansion * length) / type.bytes ||
        bytes > UINT32_MAX / std::max<uint64_t>(type.bytes, 8))
        RefuseHdf5("what is compressed in it is far larger than the file itself.");
    const auto chunkBytes = static_cast<uint32_t>(bytes * type.bytes);
    const uint64_t across = static_cast<uint64_t>((channels - 1) / chunkChannels + 1);
    const uint64_t along = static_cast<uint64_t>((count - 1) / chunkCount + 1);
    uint64_t firstLost = UINT64_MAX, last = 0;
    ForEachHdf5Chunk(file, array, [&](auto place, uint64_t at, uint64_t stored, uint32_t mask) {
        const uint64_t time = place[timeSide], channel = place.size() > 1 ? place[1 - timeSide] : 0;
        if (time >= along || channel >= across) return;
        if (stored == 0) stored = chunkBytes;
        if (at > length || stored > length - file.Place(at)) {
            firstLost = std::min(firstLost, time);
            return;
        }
        if (stored > UINT32_MAX || chunkBytes / mostDeflation > stored) RefuseHdf5("it is damaged.");
        last = std::max(last, time + 1);
        chunks.push_back({time * across + channel, file.Place(at), static_cast<uint32_t>(stored), mask});
    });
    std::sort(chunks.begin(), chunks.end(),
              [](const Hdf5Chunk& a, const Hdf5Chunk& b) { return a.number < b.number; });
    isCutOff = firstLost != UINT64_MAX;
    // What was never written, or is lost, is no part of the recording.
    count = std::min(count, static_cast<int64_t>(std::min({last, firstLost, along})) * chunkCount);
}

// --- reading them ---

Hdf5Data::Hdf5Data(std::unique_ptr<DataFile> file, Hdf5Samples samples)
    : file_(std::move(file)), samples_(std::move(samples)) {
    each_ = samples_.isWidened ? sizeof(double) : samples_.type.bytes;
    const uint64_t chunk = static_cast<uint64_t>(samples_.chunkCount * samples_.chunkChannels) * each_;
    const auto across = static_cast<uint64_t>((samples_.channels - 1) / samples_.chunkChannels + 1);
    const uint64_t wanted =
        std::clamp(chunk * std::min<uint64_t>(across, maxTraces) * 2, heldBytes, mostHeldBytes);
    mostHeld_ = static_cast<size_t>(std::max<uint64_t>(wanted / std::max<uint64_t>(chunk, 1), 1));
}

uint64_t Hdf5Data::OffsetOf(int64_t channel) const {
    return static_cast<uint64_t>(channel) * static_cast<uint64_t>(samples_.count) * each_;
}

void Hdf5Data::WriteAt(uint64_t, std::span<const std::byte>) {
    throw FileError("Samples of HDF5 files are only read", 0);
}

void Hdf5Data::Truncate(uint64_t) { throw FileError("Samples of HDF5 files are only read", 0); }

size_t Hdf5Data::ReadAt(uint64_t offset, std::span<std::byte> to) const {
    const uint64_t channelBytes = OffsetOf(1);
    if (offset >= Length()) return 0;
    const uint64_t channel = offset / channelBytes, in = offset % channelBytes;
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(to.size(), channelBytes - in));
    const uint64_t chunkBytes = static_cast<uint64_t>(samples_.chunkCount) * each_;
    const auto perChunk = static_cast<uint64_t>(samples_.chunkChannels);
    const uint64_t across = (static_cast<uint64_t>(samples_.channels) - 1) / perChunk + 1;
    for (size_t done = 0; done < wanted;) {
        const uint64_t at = in + done, time = at / chunkBytes, from = at % chunkBytes;
        const auto n = static_cast<size_t>(std::min<uint64_t>(chunkBytes - from, wanted - done));
        const Held& chunk = Chunk(time * across + channel / perChunk);
        const uint64_t start = channel % perChunk * chunkBytes + from;
        std::memcpy(to.data() + done, chunk.bytes.data() + start, n);
        done += n;
    }
    return wanted;
}

const Hdf5Data::Held& Hdf5Data::Chunk(uint64_t number) const {
    if (const auto place = places_.find(number); place != places_.end()) {
        held_.splice(held_.begin(), held_, place->second);
        return held_.front();
    }
    Hdf5Chunk chunk{number};
    const uint64_t row = static_cast<uint64_t>(samples_.channels) * samples_.type.bytes;
    if (samples_.isPlain) {
        const int64_t first = static_cast<int64_t>(number) * samples_.chunkCount;
        const int64_t rows = std::min(samples_.chunkCount, samples_.count - first);
        chunk.address = samples_.address + static_cast<uint64_t>(first) * row;
        chunk.bytes = static_cast<uint32_t>(static_cast<uint64_t>(rows) * row);
    } else {
        const auto found = std::lower_bound(samples_.chunks.begin(), samples_.chunks.end(), number,
                                            [](const Hdf5Chunk& c, uint64_t n) { return c.number < n; });
        if (found != samples_.chunks.end() && found->number == number) chunk = *found;
    }
    Held made{number, ByChannel(Expand(chunk))};
    if (held_.size() >= mostHeld_) {
        places_.erase(held_.back().number);
        held_.pop_back();
    }
    held_.push_front(std::move(made));
    places_[number] = held_.begin();
    return held_.front();
}

// As the elements lie in the chunk.
std::vector<std::byte> Hdf5Data::Expand(const Hdf5Chunk& chunk) const {
    const size_t each = samples_.type.bytes;
    const auto all = static_cast<size_t>(samples_.chunkCount * samples_.chunkChannels) * each;
    std::vector<std::byte> bytes(chunk.bytes);
    if (chunk.bytes == 0) {  // never written
        bytes.resize(all);
        for (size_t at = 0; samples_.fill.size() == each && at < all; at += each)
            std::copy(samples_.fill.begin(), samples_.fill.end(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(at));
        return bytes;
    }
    ReadWhole(*file_, chunk.address, bytes);
    for (size_t f = samples_.filters.size(); f-- > 0;) {
        const Hdf5Filter& filter = samples_.filters[f];
        if ((chunk.mask >> std::min<size_t>(f, 31) & 1) != 0) continue;
        if (filter.id == filterDeflate) bytes = Inflate(bytes, all + 4 * samples_.filters.size());
        if (filter.id == filterShuffle) bytes = Unshuffle(bytes, filter.value);
        if (filter.id == filterCheckSum) bytes.resize(bytes.size() - std::min<size_t>(bytes.size(), 4));
    }
    if (samples_.isPlain) bytes.resize(all);
    if (bytes.size() != all) FailChunk();
    return bytes;
}

std::vector<std::byte> Hdf5Data::ByChannel(std::vector<std::byte> elements) const {
    if (samples_.isWidened) {
        std::vector<std::byte> wide(elements.size() / samples_.type.bytes * sizeof(double));
        Hdf5Numbers(samples_.type, elements.data(),
                    {reinterpret_cast<double*>(wide.data()), wide.size() / sizeof(double)});
        elements = std::move(wide);
    }
    if (samples_.chunkChannels == 1 || samples_.timeSide == 1) return elements;
    std::vector<std::byte> turned(elements.size());
    const auto rows = static_cast<size_t>(samples_.chunkCount),
               columns = static_cast<size_t>(samples_.chunkChannels);
    switch (each_) {
    case 1:
        Transpose<1>(elements.data(), turned.data(), rows, columns);
        break;
    case 2:
        Transpose<2>(elements.data(), turned.data(), rows, columns);
        break;
    case 4:
        Transpose<4>(elements.data(), turned.data(), rows, columns);
        break;
    default:
        Transpose<8>(elements.data(), turned.data(), rows, columns);
    }
    return turned;
}

namespace {

// The same file under another owner.
class LentFile : public DataFile {
  public:
    explicit LentFile(const DataFile& file) : file_(file) {}
    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        return file_.ReadAt(offset, to);
    }
    void WriteAt(uint64_t, std::span<const std::byte>) override {}
    uint64_t Length() const override { return file_.Length(); }
    void Truncate(uint64_t) override {}
    void Sync() override {}
    bool IsWritable() const override { return false; }
    bool TryLock() override { return true; }
    FileStamp Stamp() const override { return file_.Stamp(); }

  private:
    const DataFile& file_;
};

}  // namespace

std::vector<std::byte> ReadHdf5Elements(Hdf5File& file, const Hdf5Array& array, uint64_t count) {
    if (count == 0) return {};
    const Hdf5Layout& layout = array.layout;
    if (array.sizes.size() != 1 && layout.kind == Hdf5Layout::Kind::plain) {
        const bool isHeld = layout.address <= file.File().Length() &&
                            count <= (file.File().Length() - layout.address) / array.type.bytes;
        if (!isHeld) return {};
        std::vector<std::byte> bytes(static_cast<size_t>(count * array.type.bytes));
        ReadWhole(file.File(), layout.address, bytes);
        return bytes;
    }
    if (array.sizes.empty() || array.sizes.size() > 2) return {};
    Hdf5Samples samples(file, array, array.sizes.size() - 1);
    samples.isWidened = false;
    const bool isWhole = static_cast<uint64_t>(samples.count) == array.sizes.back();
    if (array.sizes.size() == 2 && !isWhole) return {};
    count = std::min(count, static_cast<uint64_t>(samples.count * samples.channels));
    std::vector<std::byte> bytes(static_cast<size_t>(count * array.type.bytes));
    try {
        const Hdf5Data data(std::make_unique<LentFile>(file.File()), std::move(samples));
        for (size_t done = 0; done < bytes.size();) {
            const size_t got = data.ReadAt(done, std::span(bytes).subspan(done));
            if (got == 0) RefuseHdf5("it is damaged or cut off.");
            done += got;
        }
    } catch (const FileError& error) {
        throw OpenError(error.what());
    }
    return bytes;
}

}  // namespace kymora
