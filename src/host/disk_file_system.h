#pragma once
// The files of the disk.

#include "host/file_system.h"

namespace kymora {

class DiskFileSystem : public FileSystem {
  public:
    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override;
    std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path& as, bool isPrivate) override;
    std::vector<std::filesystem::path> List(const std::filesystem::path& folder) override;
    void MakeFolder(const std::filesystem::path& path) override;
    bool HasFolder(const std::filesystem::path& path) override;
    std::optional<FileStamp> Stamp(const std::filesystem::path& path) override;
    bool IsReadOnly(const std::filesystem::path& path) override;
    std::filesystem::path Resolve(const std::filesystem::path& path) override;
    void CopyPermissions(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void RenameNew(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void Link(const std::filesystem::path& from, const std::filesystem::path& as) override;
    void Remove(const std::filesystem::path& path) override;
    std::optional<uint64_t> FreeSpace(const std::filesystem::path& path) override;
    void SyncFolderOf(const std::filesystem::path& path) override;
};

}  // namespace kymora
