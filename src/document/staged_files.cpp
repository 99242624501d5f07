#include "document/staged_files.h"

#include <cerrno>
#include <utility>

#include "document/temporary_file.h"

namespace kymora {

namespace {

[[noreturn]] void FailWith(int error, const std::filesystem::path& path) {
    throw FileError("Couldn't open " + path.string() + ": " + std::generic_category().message(error), error);
}

}  // namespace

// One of several handles to a file that has no name yet. What it holds reaches the disk at the end only.
class StagedFiles::Handle : public DataFile {
  public:
    Handle(StagedFiles& files, ContentPtr content, bool isWritable)
        : files_(files), content_(std::move(content)), isWritable_(isWritable) {}
    ~Handle() override {
        if (holdsLock_) content_->isLocked = false;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        return content_->file->ReadAt(offset, to);
    }
    void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
        content_->file->WriteAt(offset, from);
    }
    uint64_t Length() const override { return content_->file->Length(); }
    void Truncate(uint64_t length) override { content_->file->Truncate(length); }
    void Sync() override {}
    bool IsWritable() const override { return isWritable_; }
    bool TryLock() override {
        if (holdsLock_) return true;
        if (content_->isLocked) return false;
        return content_->isLocked = holdsLock_ = true;
    }
    bool HoldsLock() const override { return holdsLock_; }
    FileStamp Stamp() const override { return content_->file->Stamp(); }
    void LinkAs(const std::filesystem::path& path) override {
        if (files_.Stamp(path)) FailWith(EEXIST, path);
        files_.Name(path, content_);
    }

  private:
    StagedFiles& files_;
    ContentPtr content_;
    const bool isWritable_;
    bool holdsLock_ = false;
};

// A file as it is below, until the first write takes a copy of it.
class StagedFiles::Lower : public DataFile {
  public:
    Lower(StagedFiles& files, const std::filesystem::path& path, std::unique_ptr<DataFile> file)
        : files_(files), path_(path), file_(std::move(file)) {}
    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        return file_->ReadAt(offset, to);
    }
    void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
        TakeCopy();
        file_->WriteAt(offset, from);
    }
    uint64_t Length() const override { return file_->Length(); }
    void Truncate(uint64_t length) override {
        TakeCopy();
        file_->Truncate(length);
    }
    void Sync() override {}
    bool IsWritable() const override { return file_->IsWritable(); }
    bool TryLock() override { return (files_.lockIsOurs_ && path_ == files_.target_) || file_->TryLock(); }
    bool HoldsLock() const override { return file_->HoldsLock(); }
    FileStamp Stamp() const override { return file_->Stamp(); }

  private:
    void TakeCopy() {
        if (isCopy_) return;
        if (!files_.Find(path_)) {
            files_.Name(path_, files_.CopyOf(path_));
            files_.Find(path_)->altersLower = true;
        }
        lower_ = std::exchange(file_, files_.Open(path_, OpenMode::readWrite));
        isCopy_ = true;
    }

    StagedFiles& files_;
    const std::filesystem::path path_;
    std::unique_ptr<DataFile> file_;
    std::unique_ptr<DataFile> lower_;  // with its lock
    bool isCopy_ = false;
};

StagedFiles::StagedFiles(FileSystem& below, const std::filesystem::path& target, bool lockIsOurs)
    : below_(below), target_(below.Resolve(target)), before_(below.Stamp(target_)), lockIsOurs_(lockIsOurs) {}

// What will replace a file is nobody else's to read before.
StagedFiles::ContentPtr StagedFiles::NewContent(const std::filesystem::path& beside) {
    auto content = std::make_shared<Content>();
    content->file = below_.OpenUnnamed(beside, before_.has_value());
    if (!content->file) content->file = OpenScratchFile(below_, beside.parent_path());
    return content;
}

StagedFiles::ContentPtr StagedFiles::Find(const std::filesystem::path& path) const {
    const auto found = staged_.find(path);
    return found == staged_.end() ? nullptr : found->second;
}

void StagedFiles::Name(const std::filesystem::path& path, ContentPtr content) {
    staged_[path] = std::move(content);
    removed_.erase(path);
}

StagedFiles::ContentPtr StagedFiles::CopyOf(const std::filesystem::path& path) {
    const auto file = below_.Open(path, OpenMode::readOnly);
    ContentPtr content = NewContent(path);
    CopyBytes(*file, 0, *content->file, 0, file->Length());
    return content;
}

// What belongs to the target goes first: it means nothing to an older one. Where another program has changed
// the target, what stands beside it is that program's, and what belongs to the result goes with that. What
// the older one needs, such as the safety copy of a save, is touched when the new one stands in its place.
void StagedFiles::Commit() {
    auto staged = std::exchange(staged_, {});
    const auto now = below_.Stamp(target_);
    const bool isOurs = !now || now == before_;
    TemporaryFile file(below_, target_, std::move(staged.extract(target_).mapped()->file));
    file.Expect(before_);
    for (auto& [path, content] : staged)
        if (isOurs && !content->altersLower) PutBeside(path, std::move(content->file));
    try {
        file.MoveToTarget();
    } catch (const ResultKept& error) {
        for (auto& [path, content] : staged)
            if (content->file && !content->altersLower && path.native().starts_with(target_.native()))
                PutBeside(error.kept.native() + path.native().substr(target_.native().size()),
                          std::move(content->file));
        throw;
    }
    for (auto& [path, content] : staged)
        if (content->file) PutBeside(path, std::move(content->file));
    for (const std::filesystem::path& path : removed_)
        if (path != target_ && below_.Stamp(path)) below_.Remove(path);
}

// A new file is as private as the recording beside which it stands.
void StagedFiles::PutBeside(const std::filesystem::path& path, std::unique_ptr<DataFile> content) {
    const bool isNew = !below_.Stamp(path);
    TemporaryFile(below_, path, std::move(content)).MoveToTarget();
    if (isNew && before_) below_.CopyPermissions(target_, path);
}

std::unique_ptr<DataFile> StagedFiles::Open(const std::filesystem::path& path, OpenMode mode) {
    const bool isNew = mode == OpenMode::createNew || mode == OpenMode::createPrivate;
    if (isNew) {
        if (Stamp(path)) FailWith(EEXIST, path);
        Name(path, NewContent(path));
    }
    if (ContentPtr content = Find(path))
        return std::make_unique<Handle>(*this, std::move(content), mode != OpenMode::readOnly);
    if (removed_.contains(path)) FailWith(ENOENT, path);
    auto file = below_.Open(path, mode);
    if (path != target_ && mode == OpenMode::readOnly) return file;
    if (path == target_ && file->Stamp() != before_)
        throw FileError(target_.string() + " was changed by another program meanwhile. It was left as it is.",
                        0);
    return std::make_unique<Lower>(*this, path, std::move(file));
}

std::unique_ptr<DataFile> StagedFiles::OpenUnnamed(const std::filesystem::path& as, bool) {
    return std::make_unique<Handle>(*this, NewContent(as), true);
}

std::vector<std::filesystem::path> StagedFiles::List(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files = below_.List(folder);
    std::erase_if(files, [&](const auto& path) { return removed_.contains(path); });
    return files;
}

std::optional<FileStamp> StagedFiles::Stamp(const std::filesystem::path& path) {
    if (const ContentPtr content = Find(path)) return content->file->Stamp();
    if (path == target_) return removed_.contains(path) ? std::nullopt : before_;  // Commit looks at it anew
    return removed_.contains(path) ? std::nullopt : below_.Stamp(path);
}

bool StagedFiles::IsReadOnly(const std::filesystem::path& path) { return below_.IsReadOnly(path); }

std::filesystem::path StagedFiles::Resolve(const std::filesystem::path& path) {
    return Find(path) ? path : below_.Resolve(path);
}

void StagedFiles::Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    ContentPtr content = Find(from);
    if (!content) content = CopyOf(from);
    Remove(from);
    Name(to, std::move(content));
}

void StagedFiles::Link(const std::filesystem::path& from, const std::filesystem::path& as) {
    if (Stamp(as)) FailWith(EEXIST, as);
    ContentPtr content = Find(from);
    Name(as, content ? std::move(content) : CopyOf(from));
}

void StagedFiles::Remove(const std::filesystem::path& path) {
    if (!Stamp(path)) FailWith(ENOENT, path);
    staged_.erase(path);
    if (below_.Stamp(path)) removed_.insert(path);
}

std::optional<uint64_t> StagedFiles::FreeSpace(const std::filesystem::path& path) {
    return below_.FreeSpace(path);
}

}  // namespace kymora
