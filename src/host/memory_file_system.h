#pragma once
// Files in memory, for tests, fuzz targets and archives that never reach the disk.

#include <map>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// The bytes of one file; every open handle shares them.
struct MemoryBytes {
    std::vector<std::byte> bytes;
    uint64_t inode = 0;
    int64_t changes = 0;  // stands for the time of modification
    bool readOnly = false;
    bool locked = false;
};

class MemoryFile : public DataFile {
  public:
    explicit MemoryFile(std::shared_ptr<MemoryBytes> content = std::make_shared<MemoryBytes>(),
                        bool writable = true)
        : content_(std::move(content)), writable_(writable) {}
    ~MemoryFile() override;
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override;
    void WriteAt(uint64_t offset, std::span<const std::byte> from) override;
    uint64_t Length() const override { return content_->bytes.size(); }
    void Truncate(uint64_t length) override;
    void Sync() override {}
    bool IsWritable() const override { return writable_; }
    bool TryLock() override;
    bool HoldsLock() const override { return holdsLock_; }
    FileStamp Stamp() const override;

    std::vector<std::byte>& Bytes() { return content_->bytes; }

  protected:
    const std::shared_ptr<MemoryBytes>& Content() const { return content_; }

  private:
    std::shared_ptr<MemoryBytes> content_;
    bool writable_;
    bool holdsLock_ = false;
};

class MemoryFileSystem : public FileSystem {
  public:
    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override;
    std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path& as, bool isPrivate) override;
    std::vector<std::filesystem::path> List(const std::filesystem::path& folder) override;
    std::optional<FileStamp> Stamp(const std::filesystem::path& path) override;
    bool IsReadOnly(const std::filesystem::path& path) override;
    std::filesystem::path Resolve(const std::filesystem::path& path) override { return path; }
    void CopyPermissions(const std::filesystem::path&, const std::filesystem::path&) override {}
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void Link(const std::filesystem::path& from, const std::filesystem::path& as) override;
    void Remove(const std::filesystem::path& path) override;
    std::optional<uint64_t> FreeSpace(const std::filesystem::path&) override { return freeSpace; }
    void SyncFolderOf(const std::filesystem::path&) override {}

    // Makes or replaces a file.
    void Put(const std::filesystem::path& path, std::vector<std::byte> bytes);
    // The bytes of a file that exists.
    std::vector<std::byte>& Bytes(const std::filesystem::path& path) { return files_.at(path)->bytes; }
    bool Has(const std::filesystem::path& path) const { return files_.count(path) != 0; }
    size_t Count() const { return files_.size(); }
    // Whether files without a name can be had, as on most disks.
    bool opensUnnamed = true;
    bool hasLinks = true;                 // files can have second names
    std::optional<uint64_t> freeSpace{};  // is only told

  private:
    class UnnamedFile;

    std::map<std::filesystem::path, std::shared_ptr<MemoryBytes>> files_;
    uint64_t nextInode_ = 1;
};

}  // namespace kymora
