#include "document/temporary_file.h"

#include <cerrno>
#include <unistd.h>

#include <fmt/format.h>

#include "host/file_names.h"

namespace kymora {
namespace {

constexpr int mostAttempts = 1000;

std::filesystem::path TemporaryName(const std::filesystem::path& folder, int n) {
    return (folder.empty() ? "." : folder) /
           fmt::format("{}{:x}-{}{}", TemporaryFile::start, ::getpid(), n, TemporaryFile::ending);
}

bool IsTemporaryName(const std::filesystem::path& path) {
    return path.extension() == TemporaryFile::ending &&
           path.filename().string().starts_with(TemporaryFile::start);
}

// Whether the path still leads to the open file.
bool IsAt(FileSystem& files, const std::filesystem::path& path, const DataFile& file) {
    const auto there = files.Stamp(path);
    const FileStamp own = file.Stamp();
    return there && there->inode == own.inode && there->device == own.device;
}

struct NamedFile {
    std::unique_ptr<DataFile> file;
    std::filesystem::path path;
};

// A new file with a lock on it, so that no other run takes it for one that was left. One that a sweeping
// program has in its hands at this moment is left to it.
NamedFile OpenLocked(FileSystem& files, const std::filesystem::path& folder, OpenMode mode) {
    for (int n = 0;; ++n) {
        NamedFile made{nullptr, TemporaryName(folder, n)};
        try {
            made.file = files.Open(made.path, mode);
        } catch (const FileError& error) {
            if (error.systemError != EEXIST || n >= mostAttempts) throw;
            continue;
        }
        if (made.file->TryLock() && IsAt(files, made.path, *made.file)) return made;
        if (n >= mostAttempts) throw FileError("Couldn't keep a temporary file in " + folder.string(), 0);
    }
}

void RemoveQuietly(FileSystem& files, const std::filesystem::path& path) {
    try {
        files.Remove(path);
    } catch (const FileError&) {  // nothing is left that could be done about it
    }
}

}  // namespace

void SweepTemporaries(FileSystem& files, const std::filesystem::path& folder) {
    for (const std::filesystem::path& path : files.List(folder)) {
        if (!IsTemporaryName(path)) continue;
        try {
            const auto left = files.Open(path, OpenMode::readWrite);
            if (left->TryLock() && left->HoldsLock() && IsAt(files, path, *left)) files.Remove(path);
        } catch (const FileError&) {  // somebody else was faster, or may more
        }
    }
}

ResultKept::ResultKept(const std::filesystem::path& target, const std::filesystem::path& kept)
    : FileError(
          fmt::format("{} was changed by another program meanwhile and was left as it is. The result was "
                      "kept as {}.",
                      target.string(), kept.filename().string()),
          0),
      kept(kept) {}

std::filesystem::path FreeResultName(FileSystem& files, const std::filesystem::path& target) {
    // An ending as long as that is none.
    constexpr size_t longestExtension = 64;
    std::string extension = target.extension().string();
    if (extension.size() > longestExtension) extension.clear();
    std::filesystem::path name = NameInstead(target, "_result" + extension);
    for (int n = 2; files.Stamp(name); ++n)
        name = NameInstead(target, fmt::format("_result-{}{}", n, extension));
    return name;
}

TemporaryFile::TemporaryFile(FileSystem& files, const std::filesystem::path& target)
    : files_(files), target_(target), expected_(files.Stamp(target)) {
    const std::filesystem::path folder = target.parent_path();
    SweepTemporaries(files, folder);
    path_ = TemporaryName(folder, 0);
    // What replaces a private recording is never anybody else's to read; it gets its rights at the end.
    file_ = files.OpenUnnamed(path_, expected_.has_value());
    if (!file_) OpenNamed(nullptr);
}

TemporaryFile::TemporaryFile(FileSystem& files, const std::filesystem::path& target,
                             std::unique_ptr<DataFile> content)
    : files_(files), target_(target), expected_(files.Stamp(target)), file_(std::move(content)) {
    path_ = TemporaryName(target.parent_path(), 0);
}

// With a copy of the content, if there is one.
void TemporaryFile::OpenNamed(const DataFile* content) {
    try {
        NamedFile made = OpenLocked(files_, target_.parent_path(),
                                    expected_ ? OpenMode::createPrivate : OpenMode::createNew);
        try {
            if (content) CopyBytes(*content, 0, *made.file, 0, content->Length());
            if (content) made.file->Sync();
        } catch (const FileError&) {
            RemoveQuietly(files_, made.path);
            throw;
        }
        file_ = std::move(made.file);
        path_ = std::move(made.path);
        isNamed_ = true;
    } catch (const FileError& error) {
        throw FileError(InWordsOfUser(error.what(), target_), error.systemError);
    }
}

std::string TemporaryFile::InWordsOfUser(std::string text, const std::filesystem::path& known) const {
    const std::string name = path_.string();
    if (const size_t at = text.find(name); at != std::string::npos)
        text.replace(at, name.size(), known.string());
    return text;
}

TemporaryFile::~TemporaryFile() {
    // While the lock is still held.
    if (isNamed_ && !hasMoved_) RemoveQuietly(files_, path_);
}

// A target that is gone leaves nothing to be replaced.
bool TemporaryFile::MayReplace() const {
    const auto now = files_.Stamp(target_);
    return !now || now == expected_;
}

// A name for the moment before the rename; a file that is left with it by a kill is swept later.
void TemporaryFile::TakeName() {
    file_->TryLock();
    for (int n = 0; !isNamed_; ++n) {
        const std::filesystem::path name = TemporaryName(target_.parent_path(), n);
        try {
            file_->LinkAs(name);
            path_ = name;
            isNamed_ = true;
        } catch (const FileError& error) {
            if (error.systemError == EEXIST && n < mostAttempts) continue;
            // The system makes files without a name, and then cannot give them one.
            OpenNamed(file_.get());
        }
    }
}

// The name of a target that does not exist can be taken at once, and from nobody.
bool TemporaryFile::TryTakeTarget() {
    if (isNamed_ || files_.Stamp(target_)) return false;
    try {
        file_->LinkAs(target_);
        return true;
    } catch (const FileError&) {  // somebody took it, or the other way says why not
        return false;
    }
}

std::filesystem::path TemporaryFile::KeepBeside() {
    for (int attempt = 0;; ++attempt) {
        std::filesystem::path kept = FreeResultName(files_, target_);
        try {
            files_.RenameNew(path_, kept);
            return kept;
        } catch (const FileError& error) {  // another program keeps its result, too
            if (error.systemError != EEXIST || attempt >= mostAttempts) throw;
        }
    }
}

void TemporaryFile::MoveToTarget() {
    file_->Sync();
    std::optional<std::filesystem::path> kept;
    if (!TryTakeTarget()) {
        TakeName();
        files_.CopyPermissions(target_, path_);
        if (MayReplace())
            files_.Rename(path_, target_);
        else
            kept = KeepBeside();
    }
    hasMoved_ = true;
    file_.reset();
    if (!kept) return files_.SyncFolderOf(target_);
    try {
        files_.SyncFolderOf(target_);
    } catch (const FileError&) {  // where the result is counts more
    }
    throw ResultKept(target_, *kept);
}

std::unique_ptr<DataFile> OpenScratchFile(FileSystem& files, const std::filesystem::path& folder) {
    if (auto scratch = files.OpenUnnamed(TemporaryName(folder, 0), true)) return scratch;
    NamedFile made = OpenLocked(files, folder, OpenMode::createPrivate);
    files.Remove(made.path);
    return std::move(made.file);
}

}  // namespace kymora
