#include "summaries/summary_file.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kymora {

static_assert(std::endian::native == std::endian::little, "numbers go to the file as they stand in memory");

namespace {

constexpr char magic[8] = {'K', 'y', 'm', 'S', 'u', 'm', 'm', '\0'};
constexpr uint32_t version = 1;
constexpr size_t pageBytes = 65536;
constexpr int64_t blocksPerPage = pageBytes / sizeof(BlockRange);
constexpr size_t stampAt = 36;  // in the head
constexpr uint32_t longestHead = 1 << 20;
constexpr size_t mostPagesHeld = 512;  // 32 MiB

class Writer {
  public:
    std::vector<std::byte> bytes;
    template <typename T>
    void Put(T value) {
        PutBytes(&value, sizeof value);
    }
    void PutBytes(const void* from, size_t count) {
        const auto* first = static_cast<const std::byte*>(from);
        bytes.insert(bytes.end(), first, first + count);
    }
};

class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : left_(bytes) {}
    template <typename T>
    T Get() {
        T value;
        std::memcpy(&value, Take(sizeof value).data(), sizeof value);
        return value;
    }
    std::span<const std::byte> Take(size_t count) {
        if (count > left_.size()) throw SummaryError("the summary's head is cut off");
        const auto taken = left_.first(count);
        left_ = left_.subspan(count);
        return taken;
    }

  private:
    std::span<const std::byte> left_;
};

std::vector<std::byte> MakeHead(const SummaryKey& key, const SummaryShape& shape,
                                std::span<const std::byte> data) {
    Writer head;
    head.PutBytes(magic, sizeof magic);
    head.Put(version);
    const size_t sizeAt = head.bytes.size();
    head.Put(uint32_t{0});
    head.Put(int32_t{shape.traces});
    head.Put(shape.length);
    head.Put(int32_t{shape.baseShift});
    head.Put(int32_t{shape.levels});
    head.Put(key.stamp.device);
    head.Put(key.stamp.inode);
    head.Put(key.stamp.length);
    head.Put(key.stamp.modifiedNs);
    const std::string text = key.Text();
    head.Put(static_cast<uint32_t>(text.size()));
    head.PutBytes(text.data(), text.size());
    const size_t pages = (data.size() + pageBytes - 1) / pageBytes;
    head.Put(static_cast<uint32_t>(pages));
    for (size_t page = 0; page < pages; ++page) {
        const auto rest = data.subspan(page * pageBytes);
        head.Put(SummaryCheckSum(rest.first(std::min(pageBytes, rest.size()))));
    }
    const auto size = static_cast<uint32_t>(head.bytes.size() + sizeof(uint64_t));
    std::memcpy(head.bytes.data() + sizeAt, &size, sizeof size);
    head.Put(SummaryCheckSum(head.bytes));
    return head.bytes;
}

// What the head says, checked.
struct Head {
    std::vector<std::byte> bytes;
    SummaryShape shape;
    std::vector<uint64_t> pageSums;
    uint64_t size = 0;
};

SummaryShape ReadShape(Reader& reader) {
    const auto traces = reader.Get<int32_t>();
    const auto length = reader.Get<int64_t>();
    const auto baseShift = reader.Get<int32_t>();
    const auto levels = reader.Get<int32_t>();
    const bool possible = traces > 0 && traces <= maxTraces && length > 0 && length <= longestRecording &&
                          baseShift >= SummaryShape::leastBaseShift &&
                          baseShift <= SummaryShape::greatestBaseShift;
    if (!possible) throw SummaryError("the summary's counts cannot be");
    const SummaryShape shape = SummaryShape::Make(traces, length, baseShift);
    if (shape.levels != levels) throw SummaryError("the summary's counts cannot be");
    return shape;
}

Head ReadHead(const DataFile& file, const SummaryKey& key) {
    std::byte start[16];
    uint32_t stated[2];
    if (file.ReadAt(0, start) != sizeof start || std::memcmp(start, magic, sizeof magic) != 0)
        throw SummaryError("this is no summary");
    std::memcpy(stated, start + sizeof magic, sizeof stated);
    if (stated[0] != version) throw SummaryError("the summary is of another version");
    if (stated[1] < sizeof start + sizeof(uint64_t) || stated[1] > longestHead || stated[1] > file.Length())
        throw SummaryError("the summary's head is cut off");
    std::vector<std::byte> bytes(stated[1]);
    if (file.ReadAt(0, bytes) != bytes.size()) throw SummaryError("the summary's head is cut off");
    uint64_t sum;
    std::memcpy(&sum, bytes.data() + bytes.size() - sizeof sum, sizeof sum);
    if (sum != SummaryCheckSum(std::span(bytes).first(bytes.size() - sizeof sum)))
        throw SummaryError("the summary's head is damaged");

    Reader reader(bytes);
    reader.Take(sizeof start);
    Head head;
    head.size = bytes.size();
    head.bytes = bytes;
    head.shape = ReadShape(reader);
    FileStamp stamp;
    stamp.device = reader.Get<uint64_t>();
    stamp.inode = reader.Get<uint64_t>();
    stamp.length = reader.Get<uint64_t>();
    stamp.modifiedNs = reader.Get<int64_t>();
    const auto text = reader.Take(reader.Get<uint32_t>());
    const std::string wanted = key.Text();
    if (!(stamp == key.stamp) || text.size() != wanted.size() ||
        std::memcmp(text.data(), wanted.data(), wanted.size()) != 0)
        throw SummaryError("the summary is of another recording");
    const auto pages = reader.Get<uint32_t>();
    if (pages != (head.shape.Bytes() + pageBytes - 1) / pageBytes ||
        file.Length() != head.size + head.shape.Bytes())
        throw SummaryError("the summary is cut off");
    head.pageSums.resize(pages);
    for (uint64_t& pageSum : head.pageSums) pageSum = reader.Get<uint64_t>();
    return head;
}

// Keeps the pages that were read, up to a limit.
class FileSummary : public Summary {
  public:
    FileSummary(std::unique_ptr<DataFile> file, Head head)
        : Summary(head.shape),
          file_(std::move(file)),
          head_(std::move(head)),
          pages_(head_.pageSums.size()) {}

    std::span<const BlockRange> From(int level, int trace, int64_t first, int64_t count) override {
        const int64_t index = shape_.Offset(level, trace) + first;
        const int64_t inPage = index % blocksPerPage;
        const BlockRange* page = Page(static_cast<size_t>(index / blocksPerPage));
        return {page + inPage, static_cast<size_t>(std::min(count, blocksPerPage - inPage))};
    }

  private:
    const BlockRange* Page(size_t index) {
        if (!pages_[index]) {
            if (held_ >= mostPagesHeld) {
                for (auto& page : pages_) page.reset();
                held_ = 0;
            }
            pages_[index] = ReadPage(index);
            ++held_;
        }
        return pages_[index].get();
    }

    std::unique_ptr<BlockRange[]> ReadPage(size_t index) const {
        const uint64_t from = index * pageBytes;
        const auto size = static_cast<size_t>(std::min<uint64_t>(pageBytes, shape_.Bytes() - from));
        std::unique_ptr<BlockRange[]> page(new BlockRange[size / sizeof(BlockRange)]);
        const std::span<std::byte> bytes(reinterpret_cast<std::byte*>(page.get()), size);
        try {
            if (file_->ReadAt(head_.size + from, bytes) == size &&
                SummaryCheckSum(bytes) == head_.pageSums[index])
                return page;
        } catch (const FileError& error) {
            throw SummaryError(error.what());  // not the recording's fault
        }
        throw SummaryError("the summary is damaged");
    }

    std::unique_ptr<DataFile> file_;
    Head head_;
    std::vector<std::unique_ptr<BlockRange[]>> pages_;
    size_t held_ = 0;
};

}  // namespace

uint64_t SummaryCheckSum(std::span<const std::byte> bytes) {
    constexpr uint64_t prime = 0x100000001b3;
    uint64_t sum = 0xcbf29ce484222325;
    size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        uint64_t word;
        std::memcpy(&word, bytes.data() + i, 8);
        sum = std::rotl((sum ^ word) * prime, 27);
    }
    for (; i < bytes.size(); ++i) sum = (sum ^ static_cast<uint64_t>(bytes[i])) * prime;
    return sum ^ (sum >> 29) ^ bytes.size();
}

void WriteSummaryFile(FileSystem& files, const std::filesystem::path& path, const SummaryKey& key,
                      const MemorySummary& summary) {
    const auto data = std::as_bytes(summary.AllBlocks());
    const std::vector<std::byte> head = MakeHead(key, summary.Shape(), data);
    try {
        const auto file = files.Open(path, OpenMode::createNew);
        file->WriteAt(0, head);
        file->WriteAt(head.size(), data);
    } catch (const FileError&) {
        try {
            files.Remove(path);
        } catch (const FileError&) {  // it was not even created
        }
        throw;
    }
}

std::unique_ptr<Summary> OpenSummaryFile(FileSystem& files, const std::filesystem::path& path,
                                         const SummaryKey& key) {
    auto file = files.Open(path, OpenMode::readOnly);
    Head head = ReadHead(*file, key);
    head.bytes.clear();
    return std::make_unique<FileSummary>(std::move(file), std::move(head));
}

void RestampSummaryFile(FileSystem& files, const std::filesystem::path& path, const SummaryKey& key,
                        const FileStamp& stamp) {
    const auto file = files.Open(path, OpenMode::readWrite);
    std::vector<std::byte> bytes = ReadHead(*file, key).bytes;
    const uint64_t numbers[] = {stamp.device, stamp.inode, stamp.length,
                                static_cast<uint64_t>(stamp.modifiedNs)};
    std::memcpy(bytes.data() + stampAt, numbers, sizeof numbers);
    const size_t sumAt = bytes.size() - sizeof(uint64_t);
    const uint64_t sum = SummaryCheckSum(std::span(bytes).first(sumAt));
    std::memcpy(bytes.data() + sumAt, &sum, sizeof sum);
    file->WriteAt(0, bytes);  // cut off in the middle, it fails its check sum
}

}  // namespace kymora
