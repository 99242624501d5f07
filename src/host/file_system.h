#pragma once
// Files as the core sees them. The disk implements these interfaces (disk_file_system.h); tests and fuzz
// targets put files in memory, or files that fail at a chosen byte, behind them.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace kymora {

// A file could not be opened, read, written, renamed or removed. what() names the path and the system's
// reason.
class FileError : public std::runtime_error {
  public:
    FileError(const std::string& what, int systemError)
        : std::runtime_error(what), systemError(systemError) {}
    int systemError = 0;  // errno, 0 when there is none
};

// Identity and state of a file on disk. Two equal stamps of one path mean that nobody wrote the file in
// between.
struct FileStamp {
    uint64_t device = 0;
    uint64_t inode = 0;
    uint64_t length = 0;
    int64_t modifiedNs = 0;
    bool operator==(const FileStamp&) const = default;
};

// An open file with explicit offsets; it has no current position.
class DataFile {
  public:
    virtual ~DataFile() = default;
    // Reads up to `to.size()` bytes at `offset` and answers the number read, short only at the end of the
    // file. Throws FileError.
    virtual size_t ReadAt(uint64_t offset, std::span<std::byte> to) const = 0;
    // Writes all bytes at `offset`, extending the file as needed. Throws FileError, also when the disk is
    // full; an unknown part of the bytes may then have been written.
    virtual void WriteAt(uint64_t offset, std::span<const std::byte> from) = 0;
    virtual uint64_t Length() const = 0;
    virtual void Truncate(uint64_t length) = 0;
    // Returns when all that was written has reached the disk.
    virtual void Sync() = 0;
    virtual bool IsWritable() const = 0;
    // Tries to become the only writer; false when another program, or another document of this one, is. On a
    // file system without locks it answers true and holds none.
    virtual bool TryLock() = 0;
    virtual bool HoldsLock() const { return false; }
    virtual FileStamp Stamp() const = 0;
    // Gives a file that was opened without a name the first one it has. Throws FileError, with EEXIST where
    // the name is taken.
    virtual void LinkAs(const std::filesystem::path&) { throw FileError("Couldn't name a file", 0); }
};

enum class OpenMode {
    readOnly,
    readWrite,      // an existing file
    createNew,      // fails when the file exists
    createPrivate,  // the same, for its owner alone
};

// Reads all of `to`. Throws FileError where the file ends before: samples that are not there any more are no
// zeros.
void ReadWhole(const DataFile& file, uint64_t offset, std::span<std::byte> to);

// Copies `count` bytes to another file, or to a place of the same one that does not overlap them. Throws
// FileError, also where the source ends before; a part may then have been written.
void CopyBytes(const DataFile& from, uint64_t offset, DataFile& to, uint64_t at, uint64_t count);

class FileSystem {
  public:
    virtual ~FileSystem() = default;
    // Throws FileError. Only regular files open.
    virtual std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) = 0;
    // A file without a name in the folder of `as`, which names it in errors: it is gone when it is closed,
    // also by a kill, unless LinkAs has given it a name. Null where that cannot be had.
    // A private one is its owner's alone.
    virtual std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path& as, bool isPrivate) = 0;
    // The files in a folder, links and folders in it left out; none where it cannot be read.
    virtual std::vector<std::filesystem::path> List(const std::filesystem::path& folder) = 0;
    // Makes a folder, with those above it, where there is none. Nothing where folders need not be made.
    virtual void MakeFolder(const std::filesystem::path&) {}
    // Whether there is a folder of that name. True where folders need not be made.
    virtual bool HasFolder(const std::filesystem::path&) { return true; }
    // Nothing when there is no such file.
    virtual std::optional<FileStamp> Stamp(const std::filesystem::path& path) = 0;
    // The file's read-only attribute: it exists and may not be written.
    virtual bool IsReadOnly(const std::filesystem::path& path) = 0;
    // The file that a path leads to, through links; the path itself where there is none.
    virtual std::filesystem::path Resolve(const std::filesystem::path& path) = 0;
    // Gives `to` the access rights of `from` as far as that can be done; nothing when `from` does not exist.
    virtual void CopyPermissions(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // Replaces `to` when it exists, in one step. Throws FileError.
    virtual void Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // The same where `to` does not exist; else throws FileError with EEXIST.
    virtual void RenameNew(const std::filesystem::path& from, const std::filesystem::path& to);
    // Gives a file a second name. Throws FileError, with EEXIST where the name is taken, and where the file
    // system knows no second names.
    virtual void Link(const std::filesystem::path& from, const std::filesystem::path& as) = 0;
    virtual void Remove(const std::filesystem::path& path) = 0;
    // Bytes that files in the folder of `path` may still take; nothing where that is not known.
    virtual std::optional<uint64_t> FreeSpace(const std::filesystem::path& path) = 0;
    // Makes renames and removals in the folder of `path` durable.
    virtual void SyncFolderOf(const std::filesystem::path& path) = 0;
};

}  // namespace kymora
