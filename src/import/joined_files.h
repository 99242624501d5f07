#pragma once
// Several files that are read as one, each behind the one before.

#include <memory>
#include <vector>

#include "host/file_system.h"

namespace kymora {

class JoinedFiles : public DataFile {
  public:
    // Answers where the file begins, or what is taken of it: bytes from `from` to `to`, at most as many as it
    // has now.
    uint64_t Add(std::unique_ptr<DataFile> file, uint64_t from = 0, uint64_t to = UINT64_MAX);

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override;
    void WriteAt(uint64_t offset, std::span<const std::byte> from) override;
    uint64_t Length() const override { return length_; }
    void Truncate(uint64_t length) override;
    void Sync() override {}
    bool IsWritable() const override { return false; }
    bool TryLock() override { return true; }
    // Of the first file.
    FileStamp Stamp() const override;

  private:
    struct Part {
        std::unique_ptr<DataFile> file;
        uint64_t start = 0, length = 0;
        uint64_t from = 0;  // in the file
    };
    std::vector<Part> parts_;
    uint64_t length_ = 0;
};

}  // namespace kymora
