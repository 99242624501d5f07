#include "recording/append_in_place.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "numerics/fnv.h"

namespace kymora {

namespace {

constexpr size_t pieceBytes = size_t{1} << 20;
constexpr uint64_t tailMayGrow = uint64_t{1} << 20;

// The last bytes of the file.
struct Block {
    uint64_t from = 0;  // where the bytes stand
    uint64_t to = 0;    // where they go
    uint64_t bytes = 0;
    uint64_t countAt = 0;
    uint64_t count = 0;
    uint64_t sum = 0;  // of the bytes and all above
    char mark[16] = {'K', 'Y', 'M', 'O', 'R', 'A', '-', 'A', 'P', 'P', 'E', 'N', 'D', '-', '0', '1'};

    uint64_t End() const { return to + bytes; }
};
static_assert(sizeof(Block) == 64);

uint64_t SumOf(const DataFile& file, const Block& block) {
    Fnv1a sum;
    std::vector<std::byte> piece(static_cast<size_t>(std::min<uint64_t>(block.bytes, pieceBytes)));
    for (uint64_t done = 0; done < block.bytes; done += piece.size()) {
        const auto part =
            std::span(piece).first(static_cast<size_t>(std::min<uint64_t>(piece.size(), block.bytes - done)));
        ReadWhole(file, block.from + done, part);
        sum.Add(part);
    }
    sum.Add(std::as_bytes(std::span(&block, 1)).first(offsetof(Block, sum)));
    return sum.Value();
}

std::optional<Block> FindBlock(const DataFile& file) {
    const uint64_t length = file.Length();
    Block block;
    if (length < sizeof block) return {};
    ReadWhole(file, length - sizeof block, std::as_writable_bytes(std::span(&block, 1)));
    if (std::memcmp(block.mark, Block().mark, sizeof block.mark) != 0) return {};
    const uint64_t end = length - sizeof block;
    const bool isSound = block.from <= end && block.bytes == end - block.from && block.to <= block.from &&
                         block.End() <= block.from && block.countAt + sizeof(uint32_t) <= block.to &&
                         block.countAt < block.to;
    if (!isSound || SumOf(file, block) != block.sum) return {};
    return block;
}

class AppendView : public DataFile {
  public:
    AppendView(std::unique_ptr<DataFile> file, const Block& block) : file_(std::move(file)), block_(block) {}

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        if (offset >= Length()) return 0;
        to = to.first(static_cast<size_t>(std::min<uint64_t>(to.size(), Length() - offset)));
        const auto inFile =
            static_cast<size_t>(std::min<uint64_t>(to.size(), block_.to - std::min(offset, block_.to)));
        size_t read = file_->ReadAt(offset, to.first(inFile));
        TakeCount(offset, to.first(read));
        if (read < inFile) return read;
        if (const auto rest = to.subspan(inFile); !rest.empty())
            read += file_->ReadAt(block_.from + (offset + inFile - block_.to), rest);
        return read;
    }
    void WriteAt(uint64_t, std::span<const std::byte>) override { Refuse(); }
    uint64_t Length() const override { return block_.End(); }
    void Truncate(uint64_t) override { Refuse(); }
    void Sync() override {}
    bool IsWritable() const override { return false; }
    bool TryLock() override { return file_->TryLock(); }
    bool HoldsLock() const override { return file_->HoldsLock(); }
    FileStamp Stamp() const override { return file_->Stamp(); }

  private:
    [[noreturn]] static void Refuse() { throw FileError("Couldn't write: the file is open for reading", 0); }
    // The bytes of the scan count among those that were read.
    void TakeCount(uint64_t offset, std::span<std::byte> read) const {
        const auto count = static_cast<uint32_t>(block_.count);
        const auto bytes = std::as_bytes(std::span(&count, 1));
        for (size_t i = 0; i < bytes.size(); ++i) {
            const uint64_t at = block_.countAt + i;
            if (at >= offset && at - offset < read.size()) read[static_cast<size_t>(at - offset)] = bytes[i];
        }
    }

    std::unique_ptr<DataFile> file_;
    Block block_;
};

// The file is safe without it: who opens it reads through the block.
void PutInPlace(DataFile& file, const Block& block) {
    try {
        CopyBytes(file, block.from, file, block.to, block.bytes);
        const auto count = static_cast<uint32_t>(block.count);
        file.WriteAt(block.countAt, std::as_bytes(std::span(&count, 1)));
        file.Sync();
        file.Truncate(block.End());
    } catch (const FileError&) {
    }
}

}  // namespace

bool AppendInPlace(DataFile& file, const PlaceOfAppend& place, const std::function<void(CArchive&)>& write) {
    const uint64_t length = file.Length();
    if (place.tailAt > length || FindBlock(file)) return false;
    Block block;
    block.from = length + place.scanBytes + tailMayGrow;
    block.to = place.tailAt;
    block.countAt = place.countAt;
    block.count = place.newCount;
    try {
        CArchive archive(file, CArchive::Mode::store, block.from, pieceBytes);
        write(archive);
        archive.Close();
        block.bytes = archive.Position() - block.from;
        if (block.End() > block.from) {
            file.Truncate(length);
            return false;
        }
        block.sum = SumOf(file, block);
        // All of it before the block, which makes it count.
        file.Sync();
        file.WriteAt(block.from + block.bytes, std::as_bytes(std::span(&block, 1)));
        file.Sync();
    } catch (...) {
        try {
            file.Truncate(length);
        } catch (const FileError&) {  // what stands behind the tail is not looked at
        }
        throw;
    }
    PutInPlace(file, block);
    return true;
}

std::unique_ptr<DataFile> ThroughAppend(std::unique_ptr<DataFile> file) {
    const auto block = FindBlock(*file);
    if (!block) return file;
    return std::make_unique<AppendView>(std::move(file), *block);
}

}  // namespace kymora
