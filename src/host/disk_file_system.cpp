#include "host/disk_file_system.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace kymora {
namespace {

constexpr mode_t usualRights = 0666, privateRights = 0600;

[[noreturn]] void Fail(const std::string& doing, const std::filesystem::path& path, int error) {
    throw FileError(doing + " " + path.string() + ": " + std::strerror(error), error);
}

FileStamp StampOf(const struct stat& state) {
    return {static_cast<uint64_t>(state.st_dev), static_cast<uint64_t>(state.st_ino),
            static_cast<uint64_t>(state.st_size),
            static_cast<int64_t>(state.st_mtim.tv_sec) * 1000000000 + state.st_mtim.tv_nsec};
}

class DiskFile : public DataFile {
  public:
    DiskFile(int handle, std::filesystem::path path, bool writable)
        : handle_(handle), path_(std::move(path)), writable_(writable) {}
    ~DiskFile() override { ::close(handle_); }
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        size_t done = 0;
        while (done < to.size()) {
            const ssize_t n =
                ::pread(handle_, to.data() + done, to.size() - done, static_cast<off_t>(offset + done));
            if (n < 0 && errno == EINTR) continue;
            // An offset beyond what the system can address is simply past the end of the file.
            if (n < 0 && errno == EINVAL) break;
            if (n < 0) Fail("Couldn't read", path_, errno);
            if (n == 0) break;
            done += static_cast<size_t>(n);
        }
        return done;
    }

    void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
        size_t done = 0;
        while (done < from.size()) {
            const ssize_t n =
                ::pwrite(handle_, from.data() + done, from.size() - done, static_cast<off_t>(offset + done));
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) Fail("Couldn't write", path_, errno);
            done += static_cast<size_t>(n);
        }
    }

    uint64_t Length() const override { return Stamp().length; }

    void Truncate(uint64_t length) override {
        if (::ftruncate(handle_, static_cast<off_t>(length)) != 0) Fail("Couldn't shorten", path_, errno);
    }

    void Sync() override {
        while (::fsync(handle_) != 0)
            if (errno != EINTR) Fail("Couldn't write to the disk", path_, errno);
    }

    bool IsWritable() const override { return writable_; }

    bool TryLock() override {
        holdsLock_ = ::flock(handle_, LOCK_EX | LOCK_NB) == 0;
        return holdsLock_ || errno != EWOULDBLOCK;
    }
    bool HoldsLock() const override { return holdsLock_; }

    void LinkAs(const std::filesystem::path& path) override {
        // The way that needs no privilege.
        const std::string handle = "/proc/self/fd/" + std::to_string(handle_);
        if (::linkat(AT_FDCWD, handle.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) != 0)
            Fail("Couldn't create", path, errno);
        path_ = path;
    }

    FileStamp Stamp() const override {
        struct stat state {};
        if (::fstat(handle_, &state) != 0) Fail("Couldn't read the state of", path_, errno);
        return StampOf(state);
    }

  private:
    int handle_;
    std::filesystem::path path_;
    bool writable_;
    bool holdsLock_ = false;
};

}  // namespace

std::unique_ptr<DataFile> DiskFileSystem::Open(const std::filesystem::path& path, OpenMode mode) {
    // O_NONBLOCK keeps the open of a pipe without a writer from waiting for ever; it means nothing to regular
    // files.
    int flags = O_CLOEXEC | O_NONBLOCK;
    if (mode == OpenMode::readOnly) flags |= O_RDONLY;
    if (mode == OpenMode::readWrite) flags |= O_RDWR;
    if (mode == OpenMode::createNew || mode == OpenMode::createPrivate) flags |= O_RDWR | O_CREAT | O_EXCL;
    const int handle =
        ::open(path.c_str(), flags, mode == OpenMode::createPrivate ? privateRights : usualRights);
    if (handle < 0) Fail("Couldn't open", path, errno);
    struct stat state {};
    if (::fstat(handle, &state) != 0 || !S_ISREG(state.st_mode)) {
        ::close(handle);
        throw FileError("Couldn't open " + path.string() + ": it is not a regular file", EISDIR);
    }
    return std::make_unique<DiskFile>(handle, path, mode != OpenMode::readOnly);
}

std::unique_ptr<DataFile> DiskFileSystem::OpenUnnamed(const std::filesystem::path& as, bool isPrivate) {
    const std::filesystem::path folder = as.has_parent_path() ? as.parent_path() : ".";
    const int handle =
        ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, isPrivate ? privateRights : usualRights);
    if (handle < 0) return nullptr;
    return std::make_unique<DiskFile>(handle, as, true);
}

std::vector<std::filesystem::path> DiskFileSystem::List(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code failed;
    std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, failed);
    for (; !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed)) {
        std::error_code gone;
        // As the folder itself tells it: asking each file would take the time of a batch in a full folder.
        if (!entry->is_symlink(gone) && entry->is_regular_file(gone)) files.push_back(entry->path());
    }
    return files;
}

std::optional<FileStamp> DiskFileSystem::Stamp(const std::filesystem::path& path) {
    struct stat state {};
    if (::stat(path.c_str(), &state) != 0) return std::nullopt;
    return StampOf(state);
}

bool DiskFileSystem::IsReadOnly(const std::filesystem::path& path) {
    struct stat state {};
    if (::stat(path.c_str(), &state) != 0) return false;
    // The attribute counts even where the user's rights would overrule it.
    return (state.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || ::access(path.c_str(), W_OK) != 0;
}

std::filesystem::path DiskFileSystem::Resolve(const std::filesystem::path& path) {
    std::error_code failed;
    const std::filesystem::path resolved = std::filesystem::canonical(path, failed);
    return failed ? path : resolved;
}

void DiskFileSystem::CopyPermissions(const std::filesystem::path& from, const std::filesystem::path& to) {
    struct stat state {};
    if (::stat(from.c_str(), &state) != 0) return;
    // A user may not be allowed to give a file away; the new file is then the user's own.
    if (::chown(to.c_str(), state.st_uid, state.st_gid) != 0) errno = 0;
    if (::chmod(to.c_str(), state.st_mode & 07777) != 0) errno = 0;
}

void DiskFileSystem::Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::rename(from.c_str(), to.c_str()) != 0) Fail("Couldn't rename " + from.string() + " to", to, errno);
}

void DiskFileSystem::RenameNew(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
    // Some file systems cannot do it in one step.
    if (errno == EINVAL || errno == ENOSYS) return FileSystem::RenameNew(from, to);
    Fail("Couldn't rename " + from.string() + " to", to, errno);
}

void DiskFileSystem::Link(const std::filesystem::path& from, const std::filesystem::path& as) {
    if (::link(from.c_str(), as.c_str()) != 0) Fail("Couldn't give a second name", as, errno);
}

void DiskFileSystem::MakeFolder(const std::filesystem::path& path) {
    std::error_code failed;
    std::filesystem::create_directories(path, failed);
    if (failed) Fail("Couldn't make the folder", path, failed.value());
}

bool DiskFileSystem::HasFolder(const std::filesystem::path& path) {
    std::error_code failed;
    return std::filesystem::is_directory(path, failed);
}

void DiskFileSystem::Remove(const std::filesystem::path& path) {
    if (::unlink(path.c_str()) != 0) Fail("Couldn't remove", path, errno);
}

std::optional<uint64_t> DiskFileSystem::FreeSpace(const std::filesystem::path& path) {
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    struct statvfs state {};
    // Some network file systems tell nothing.
    if (::statvfs(folder.c_str(), &state) != 0 || state.f_blocks == 0) return std::nullopt;
    return uint64_t{state.f_bavail} * state.f_frsize;
}

void DiskFileSystem::SyncFolderOf(const std::filesystem::path& path) {
    std::filesystem::path folder = path.parent_path();
    if (folder.empty()) folder = ".";
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // A folder that may be written and not read cannot be synced.
    if (handle < 0 && errno == EACCES) return;
    if (handle < 0) Fail("Couldn't open the folder", folder, errno);
    const int result = ::fsync(handle);
    const int error = errno;
    ::close(handle);
    // Some network file systems refuse to sync a folder; there the rename itself is all that can be had.
    if (result != 0 && error != EINVAL && error != ENOTSUP) Fail("Couldn't write to the disk", folder, error);
}

}  // namespace kymora
