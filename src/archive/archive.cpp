#include "archive/archive.h"

#include <algorithm>

#include "archive/text_encoding.h"

namespace kymora {
namespace {

constexpr uint16_t wideMarker = 0xFFFE;  // behind a byte 0xFF: the string is UTF-16
constexpr uint16_t longCount = 0xFFFF;   // the count follows as u32

}  // namespace

CArchive::CArchive(DataFile& file, Mode mode, uint64_t position, size_t bufferSize)
    : file_(file),
      mode_(mode),
      bufferSize_(std::max<size_t>(bufferSize, 16)),
      buffer_(std::make_unique<std::byte[]>(bufferSize_)),
      bufferPosition_(position) {
    if (mode_ == Mode::load) fileLength_ = file_.Length();
}

void CArchive::Seek(uint64_t position) {
    Flush();
    bufferPosition_ = position;
    at_ = filled_ = 0;
}

void CArchive::ReadRawSlow(std::span<std::byte> to) {
    if (to.size() > Remaining()) throw ArchiveError("The file ends before its contents are complete.");
    const size_t atHand = filled_ - at_;
    if (atHand != 0) std::memcpy(to.data(), buffer_.get() + at_, atHand);
    to = to.subspan(atHand);
    bufferPosition_ += filled_;
    at_ = filled_ = 0;
    if (to.size() >= bufferSize_) {
        if (file_.ReadAt(bufferPosition_, to) != to.size())
            throw ArchiveError("The file ends before its contents are complete.");
        bufferPosition_ += to.size();
        return;
    }
    filled_ = file_.ReadAt(bufferPosition_, {buffer_.get(), bufferSize_});
    if (filled_ < to.size()) throw ArchiveError("The file ends before its contents are complete.");
    std::memcpy(to.data(), buffer_.get(), to.size());
    at_ = to.size();
}

void CArchive::Skip(uint64_t bytes) {
    if (bytes > Remaining()) throw ArchiveError("The file ends before its contents are complete.");
    if (bytes <= filled_ - at_) {
        at_ += bytes;
    } else {
        bufferPosition_ += at_ + bytes;
        at_ = filled_ = 0;
    }
}

uint32_t CArchive::ReadCount() {
    const auto count = Read<uint16_t>();
    return count == longCount ? Read<uint32_t>() : count;
}

std::string CArchive::ReadString() {
    bool wide = false;
    uint64_t count = Read<uint8_t>();
    if (count == 0xFF) {
        auto next = Read<uint16_t>();
        if (next == wideMarker) {
            wide = true;
            count = Read<uint8_t>();
            if (count == 0xFF) {
                next = Read<uint16_t>();
                if (next == wideMarker)
                    throw ArchiveError("A text in the file has a length that makes no sense.");
                count = next == longCount ? Read<uint32_t>() : next;
            }
        } else {
            count = next == longCount ? Read<uint32_t>() : next;
        }
    }
    if (count == 0) return {};
    CheckRoom(count, wide ? 2 : 1, "characters of a text");
    if (skimming_) {
        Skip(count * (wide ? 2 : 1));
        return {};
    }
    if (wide) {
        std::u16string units(count, u'\0');
        ReadRaw(std::as_writable_bytes(std::span(units)));
        return WideToText(units);
    }
    std::vector<std::byte> bytes(count);
    ReadRaw(bytes);
    return NarrowToText(bytes);
}

std::vector<uint32_t> CArchive::ReadRunList() {
    const uint32_t count = ReadCount();
    CheckRoom(count, sizeof(uint32_t), "runs of samples");
    std::vector<uint32_t> runs(count);
    ReadRaw(std::as_writable_bytes(std::span(runs)));
    return runs;
}

uint32_t CArchive::ReadItemCount(size_t leastBytes, std::string_view what) {
    const auto count = Read<int32_t>();
    if (count < 0) throw ArchiveError("The file states a negative number of " + std::string(what) + ".");
    CheckRoom(static_cast<uint32_t>(count), leastBytes, what);
    return static_cast<uint32_t>(count);
}

void CArchive::CheckRoom(uint64_t count, size_t leastBytes, std::string_view what) const {
    if (leastBytes != 0 && count > Remaining() / leastBytes)
        throw ArchiveError("The file states " + std::to_string(count) + " " + std::string(what) +
                           ", more than it can hold.");
}

void CArchive::WriteRawSlow(std::span<const std::byte> from) {
    Flush();
    if (from.size() >= bufferSize_) {
        file_.WriteAt(bufferPosition_, from);
        bufferPosition_ += from.size();
        return;
    }
    std::memcpy(buffer_.get(), from.data(), from.size());
    at_ = from.size();
}

void CArchive::WriteCount(uint32_t count) {
    if (count < longCount) {
        Write<uint16_t>(static_cast<uint16_t>(count));
    } else {
        Write<uint16_t>(longCount);
        Write<uint32_t>(count);
    }
}

void CArchive::WriteString(std::string_view text) {
    const std::u16string units = TextToWide(text);
    Write<uint8_t>(0xFF);
    Write<uint16_t>(wideMarker);
    if (units.size() < 0xFF) {
        Write<uint8_t>(static_cast<uint8_t>(units.size()));
    } else if (units.size() < wideMarker) {
        Write<uint8_t>(0xFF);
        Write<uint16_t>(static_cast<uint16_t>(units.size()));
    } else {
        Write<uint8_t>(0xFF);
        Write<uint16_t>(longCount);
        Write<uint32_t>(static_cast<uint32_t>(units.size()));
    }
    WriteRaw(std::as_bytes(std::span(units)));
}

void CArchive::WriteRunList(std::span<const uint32_t> runs) {
    WriteCount(static_cast<uint32_t>(runs.size()));
    WriteRaw(std::as_bytes(runs));
}

void CArchive::WriteFrom(const DataFile& from, uint64_t offset, uint64_t count) {
    Flush();
    CopyBytes(from, offset, file_, bufferPosition_, count);
    bufferPosition_ += count;
}

void CArchive::Flush() {
    if (mode_ != Mode::store || at_ == 0) return;
    file_.WriteAt(bufferPosition_, {buffer_.get(), at_});
    bufferPosition_ += at_;
    at_ = 0;
}

}  // namespace kymora
