#pragma once
// A file system in which one file is made anew step by step before anything of it can be seen. Everything
// else is read from the files below. What is written, replaced, renamed or removed lies in files without a
// name, which end with this object, whatever ends the program, unless Commit puts the target in its place.
// The files below are not touched before that.

#include <map>
#include <set>

#include "host/file_system.h"

namespace kymora {

class StagedFiles : public FileSystem {
  public:
    // `target` need not exist. With `lockIsOurs` the caller holds its lock in a window of its own.
    StagedFiles(FileSystem& below, const std::filesystem::path& target, bool lockIsOurs = false);

    // The name to work under: that of the file to which links lead.
    const std::filesystem::path& Target() const { return target_; }
    bool HasTarget() const { return staged_.contains(target_); }
    // The file as it would stand at the target's place; it has one.
    const DataFile& Staged() const { return *staged_.at(target_)->file; }
    // Puts it there in one step, when all bytes have reached the disk, and before it what else was written
    // beside it. Throws ResultKept where another
    // program has changed the target since this object was made, and FileError.
    void Commit();

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override;
    std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path& as, bool isPrivate) override;
    std::vector<std::filesystem::path> List(const std::filesystem::path& folder) override;
    void MakeFolder(const std::filesystem::path& path) override { below_.MakeFolder(path); }
    bool HasFolder(const std::filesystem::path& path) override { return below_.HasFolder(path); }
    std::optional<FileStamp> Stamp(const std::filesystem::path& path) override;
    bool IsReadOnly(const std::filesystem::path& path) override;
    std::filesystem::path Resolve(const std::filesystem::path& path) override;
    void CopyPermissions(const std::filesystem::path&, const std::filesystem::path&) override {}
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void Link(const std::filesystem::path& from, const std::filesystem::path& as) override;
    void Remove(const std::filesystem::path& path) override;
    std::optional<uint64_t> FreeSpace(const std::filesystem::path& path) override;
    void SyncFolderOf(const std::filesystem::path&) override {}

  private:
    struct Content {
        std::unique_ptr<DataFile> file;
        bool isLocked = false;
        bool altersLower = false;  // it began as a copy of a file below that was written to
    };
    class Handle;
    class Lower;
    using ContentPtr = std::shared_ptr<Content>;

    ContentPtr CopyOf(const std::filesystem::path& path);
    void PutBeside(const std::filesystem::path& path, std::unique_ptr<DataFile> content);
    ContentPtr NewContent(const std::filesystem::path& beside);
    // Null where the path is none of those that were written here.
    ContentPtr Find(const std::filesystem::path& path) const;
    void Name(const std::filesystem::path& path, ContentPtr content);

    FileSystem& below_;
    const std::filesystem::path target_;
    const std::optional<FileStamp> before_;  // of the target
    const bool lockIsOurs_;
    std::map<std::filesystem::path, ContentPtr> staged_;
    std::set<std::filesystem::path> removed_;  // of the files below
};

}  // namespace kymora
