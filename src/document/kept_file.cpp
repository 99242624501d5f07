#include "document/kept_file.h"

#include <algorithm>
#include <cerrno>

#include <fmt/format.h>

#include "document/history_steps.h"
#include "document/save_journal.h"
#include "host/file_names.h"
#include "host/user_numbers.h"

namespace kymora {
namespace {

constexpr int mostNames = 99;

// All numbers have one length, so that long names are cut in one way.
std::filesystem::path KeptName(const std::filesystem::path& place, bool isUndone, int n) {
    return NameBehind(place, fmt::format(".{}-transform-{:02}", isUndone ? "undone" : "before", n));
}

// The first name that `take` can give.
template <typename Take>
std::filesystem::path FirstFreeName(const std::filesystem::path& place, bool isUndone, Take take) {
    for (int n = 1;; ++n) {
        std::filesystem::path name = KeptName(place, isUndone, n);
        try {
            take(name);
            return name;
        } catch (const FileError& error) {
            if (error.systemError != EEXIST || n >= mostNames) throw;
        }
    }
}

void RemoveQuietly(FileSystem& files, const std::filesystem::path& path) {
    try {
        files.Remove(path);
    } catch (const FileError&) {  // the next open of the recording tries again
    }
}

void SyncQuietly(FileSystem& files, const std::filesystem::path& path) {
    try {
        files.SyncFolderOf(path);
    } catch (const FileError&) {  // the names have changed all the same
    }
}

// Null where somebody holds the file, or nobody can hold a lock.
std::unique_ptr<DataFile> Lock(FileSystem& files, const std::filesystem::path& path) {
    try {
        auto file = files.Open(path, OpenMode::readOnly);
        if (file->TryLock() && file->HoldsLock()) return file;
    } catch (const FileError&) {
    }
    return nullptr;
}

std::string SizeText(uint64_t bytes) { return BytesText(static_cast<double>(bytes)); }

// Why there is no room for so many bytes more; empty when there is.
std::string NoRoomText(Session& session, const std::filesystem::path& place, uint64_t bytes) {
    const int share = session.options.transformUndoShare;
    if (share == 0) return "The options of the program keep nothing for it.";
    const std::optional<uint64_t> free = session.files.FreeSpace(place);
    if (!free) return {};
    const uint64_t limit = (*free + session.keptBytes) / 100 * static_cast<uint64_t>(share);
    if (session.keptBytes + bytes <= limit) return {};
    return fmt::format(
        "It would have to keep {}{}, and by the options it may take {} ({} % of the free space).",
        SizeText(bytes), session.keptBytes > 0 ? " besides " + SizeText(session.keptBytes) : std::string(),
        SizeText(limit), share);
}

}  // namespace

KeptFile::KeptFile(Session& session, const std::filesystem::path& place)
    : session_(session), place_(session.files.Resolve(place)) {
    const std::optional<FileStamp> there = session_.files.Stamp(place_);
    if (there) Hold(LinkPlace(false), there);
}

KeptFile::KeptFile(Session& session, std::filesystem::path place, std::filesystem::path name)
    : session_(session), place_(std::move(place)), placed_(session.files.Stamp(place_)) {
    const std::optional<FileStamp> stamp = session_.files.Stamp(name);
    Hold(std::move(name), stamp);
}

KeptFile::~KeptFile() {
    if (name_.empty()) return;
    // What somebody has worked on meanwhile is theirs.
    FileSystem& files = session_.files;
    if (files.Stamp(name_) == held_) RemoveQuietly(files, name_);
    // Of a version that is gone from a place where nothing had stood.
    if (!files.Stamp(place_)) WriteSteps(session_, StepsPath(files, place_), {}, {});
    LetGo();
}

void KeptFile::Hold(std::filesystem::path name, const std::optional<FileStamp>& stamp) {
    name_ = std::move(name);
    held_ = stamp;
    lock_ = Lock(session_.files, name_);
    session_.keptBytes += held_ ? held_->length : 0;
}

void KeptFile::LetGo() {
    lock_.reset();
    session_.keptBytes -= held_ ? held_->length : 0;
    held_.reset();
    name_.clear();
}

std::filesystem::path KeptFile::LinkPlace(bool isUndone) const {
    FileSystem& files = session_.files;
    const auto name =
        FirstFreeName(place_, isUndone, [&](const std::filesystem::path& as) { files.Link(place_, as); });
    try {
        // The second name is there before the first one means another file.
        files.SyncFolderOf(name);
    } catch (const FileError&) {
        RemoveQuietly(files, name);
        throw;
    }
    return name;
}

std::filesystem::path KeptFile::MovePlace() const {
    return FirstFreeName(place_, !isUndone_,
                         [&](const std::filesystem::path& as) { session_.files.RenameNew(place_, as); });
}

void KeptFile::Swap(std::optional<FileStamp> there) {
    FileSystem& files = session_.files;
    if (files.Stamp(place_) != there)
        throw FileError(place_.string() + " was changed by another program, and its version stays. "
                                          "Save As keeps what is shown here.",
                        0);
    if (held_ && files.Stamp(name_) != held_)
        throw FileError(name_.string() + ", the version before, was changed or removed by another program.",
                        0);
    std::filesystem::path name;
    if (there && held_) {
        name = LinkPlace(!isUndone_);
        try {
            files.Rename(name_, place_);
        } catch (const FileError&) {
            RemoveQuietly(files, name);
            throw;
        }
    } else if (there) {
        name = MovePlace();
    } else if (held_) {
        files.RenameNew(name_, place_);
    }
    SyncQuietly(files, place_);
    isUndone_ = !isUndone_;
    placed_ = held_;
    LetGo();
    if (there) Hold(std::move(name), there);
}

std::unique_ptr<KeptFile> TryToKeep(Session& session, const std::filesystem::path& place, std::string& why) {
    FileSystem& files = session.files;
    const std::filesystem::path target = files.Resolve(place);
    const std::optional<FileStamp> there = files.Stamp(target);
    why.clear();
    if (there && files.Stamp(JournalPath(files, target)))
        why = "An interrupted save of the file was not put right.";
    else if (there)
        why = NoRoomText(session, target, there->length);
    if (!why.empty()) return nullptr;
    try {
        return std::make_unique<KeptFile>(session, target);
    } catch (const FileError& error) {
        const bool isClosed = error.systemError == EACCES || error.systemError == EROFS;
        if (!isClosed) why = fmt::format("The file cannot be kept beside the new one ({}).", error.what());
        return nullptr;
    }
}

std::vector<std::unique_ptr<KeptFile>> TakeLeftFiles(Session& session, const std::filesystem::path& place) {
    FileSystem& files = session.files;
    const std::filesystem::path target = files.Resolve(place);
    const std::optional<FileStamp> there = files.Stamp(target);
    std::vector<std::filesystem::path> listed = files.List(target.parent_path());
    std::ranges::sort(listed);
    std::vector<std::unique_ptr<KeptFile>> left;
    const auto isName = [&](const std::filesystem::path& path, bool isUndone) {
        const std::string first = KeptName(target, isUndone, 1).filename().string();
        const std::string name = path.filename().string();
        return name.size() == first.size() && name.starts_with(first.substr(0, first.size() - 2));
    };
    for (const std::filesystem::path& path : listed) {
        const bool isUndone = isName(path, true);
        if (!there || (!isUndone && !isName(path, false))) continue;
        const std::optional<FileStamp> stamp = files.Stamp(path);
        const bool isSame = stamp && stamp->inode == there->inode && stamp->device == there->device;
        // The file in the place is locked by the document that shows it.
        if (!isSame && !Lock(files, path)) continue;
        if (isSame || isUndone)
            RemoveQuietly(files, path);
        else
            left.push_back(std::unique_ptr<KeptFile>(new KeptFile(session, target, path)));
    }
    return left;
}

}  // namespace kymora
