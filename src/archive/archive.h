#pragma once
// The archive in which native files, side-cars and configurations are written: little-endian primitives
// without alignment, counts, counted strings, and raw bytes, buffered over a file on disk or in memory.

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// The bytes of an archive make no sense: it ends early, or a count is one that the rest of the file cannot
// hold.
class ArchiveError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class CArchive {
  public:
    enum class Mode { load, store };

    static constexpr size_t defaultBufferSize = 4096;

    // Works on `file` from `position` on. The file must outlive the archive. A storing archive writes its
    // buffer when it is full, at Flush and at Close, and never in the destructor: what was not closed is
    // abandoned.
    CArchive(DataFile& file, Mode mode, uint64_t position = 0, size_t bufferSize = defaultBufferSize);
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;

    bool IsStoring() const { return mode_ == Mode::store; }
    // The file position of the next byte to read or write.
    uint64_t Position() const { return bufferPosition_ + at_; }
    // Goes on at another place of the file. A storing archive is flushed first.
    void Seek(uint64_t position);
    // While skimming, counts and lengths are checked as ever but texts come back empty, and loaders keep no
    // records. A file is skimmed before it is loaded, so that a damaged one is refused before it is given
    // memory.
    void SetSkimming(bool skimming) { skimming_ = skimming; }
    bool IsSkimming() const { return skimming_; }
    // Passes over bytes that are there.
    void Skip(uint64_t bytes);
    // Bytes from here to the end of the file, when loading.
    uint64_t Remaining() const { return fileLength_ > Position() ? fileLength_ - Position() : 0; }

    // --- loading; every read throws ArchiveError where the file ends early ---
    void ReadRaw(std::span<std::byte> to) {
        if (to.size() <= filled_ - at_) {
            if (!to.empty()) std::memcpy(to.data(), buffer_.get() + at_, to.size());
            at_ += to.size();
        } else {
            ReadRawSlow(to);
        }
    }
    template <typename T>
    T Read() {
        static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>);
        T value;
        ReadRaw(std::as_writable_bytes(std::span(&value, 1)));
        return value;
    }
    bool ReadBool() { return Read<uint8_t>() != 0; }
    // An array count: u16, or 0xFFFF and u32.
    uint32_t ReadCount();
    std::string ReadString();
    // A count and that many u32.
    std::vector<uint32_t> ReadRunList();
    // An i32 count of items of at least `leastBytes` each. Throws when it is negative or the file cannot hold
    // them; `what` names the items in the message.
    uint32_t ReadItemCount(size_t leastBytes, std::string_view what);
    // Throws when the rest of the file cannot hold `count` items of at least `leastBytes` each.
    void CheckRoom(uint64_t count, size_t leastBytes, std::string_view what) const;

    // --- storing ---
    void WriteRaw(std::span<const std::byte> from) {
        if (from.size() <= bufferSize_ - at_) {
            if (!from.empty()) std::memcpy(buffer_.get() + at_, from.data(), from.size());
            at_ += from.size();
        } else {
            WriteRawSlow(from);
        }
    }
    // The type is always spelled out, so that no conversion changes the layout of a file unseen.
    template <typename T>
    void Write(std::type_identity_t<T> value) {
        static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>);
        WriteRaw(std::as_bytes(std::span(&value, 1)));
    }
    void WriteBool(bool value) { Write<uint8_t>(value ? 1 : 0); }
    void WriteCount(uint32_t count);
    // Always the wide form.
    void WriteString(std::string_view text);
    void WriteRunList(std::span<const uint32_t> runs);
    // Writes bytes of another file, copied from file to file. Throws FileError, also where it ends before.
    void WriteFrom(const DataFile& from, uint64_t offset, uint64_t count);
    // Storing: hands the buffer to the file. Loading: does nothing that a caller could see.
    void Flush();
    // Flushes; the archive is not used afterwards.
    void Close() { Flush(); }

    // The file under the archive, for copying raw data beside it. Flush before, Seek after.
    DataFile& File() { return file_; }

  private:
    static_assert(std::endian::native == std::endian::little, "archives are written as they stand in memory");

    void ReadRawSlow(std::span<std::byte> to);
    void WriteRawSlow(std::span<const std::byte> from);

    DataFile& file_;
    Mode mode_;
    size_t bufferSize_;
    std::unique_ptr<std::byte[]> buffer_;
    uint64_t bufferPosition_;  // file position of the buffer's first byte
    size_t at_ = 0;            // next byte of the buffer
    size_t filled_ = 0;        // bytes of the buffer that were read; 0 when storing
    uint64_t fileLength_ = 0;  // when loading
    bool skimming_ = false;
};

}  // namespace kymora
