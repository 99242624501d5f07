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

// The target as it is below, until the first write takes a copy of it.
class StagedFiles::Lower : public DataFile {
  public:
    Lower(StagedFiles& files, std::unique_ptr<DataFile> file) : files_(files), file_(std::move(file)) {}
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
    bool TryLock() override { return files_.lockIsOurs_ || file_->TryLock(); }
    bool HoldsLock() const override { return file_->HoldsLock(); }
    FileStamp Stamp() const override { return file_->Stamp(); }

  private:
    void TakeCopy() {
        if (isCopy_) return;
        if (!files_.HasTarget()) files_.TakeTarget();
        lower_ = std::exchange(file_, files_.Open(files_.target_, OpenMode::readWrite));
        isCopy_ = true;
    }

    StagedFiles& files_;
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

void StagedFiles::TakeTarget() {
    const auto file = below_.Open(target_, OpenMode::readOnly);
    ContentPtr content = NewContent(target_);
    CopyBytes(*file, 0, *content->file, 0, file->Length());
    Name(target_, std::move(content));
}

// What belongs to the target goes first: it means nothing to an older one. Where another program has changed
// the target, what stands beside it is that program's.
void StagedFiles::Commit() {
    auto staged = std::exchange(staged_, {});
    const auto now = below_.Stamp(target_);
    for (auto& [path, content] : staged)
        if (path != target_ && (!now || now == before_))
            TemporaryFile(below_, path, std::move(content->file)).MoveToTarget();
    TemporaryFile file(below_, target_, std::move(staged.at(target_)->file));
    file.Expect(before_);
    file.MoveToTarget();
    for (const std::filesystem::path& path : removed_)
        if (path != target_ && below_.Stamp(path)) below_.Remove(path);
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
    if (path != target_) return file;
    if (file->Stamp() != before_)
        throw FileError(target_.string() + " was changed by another program meanwhile. It was left as it is.",
                        0);
    return std::make_unique<Lower>(*this, std::move(file));
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
    if (!content) return below_.Rename(from, to);
    staged_.erase(from);
    Name(to, std::move(content));
}

void StagedFiles::Link(const std::filesystem::path& from, const std::filesystem::path& as) {
    if (Stamp(as)) FailWith(EEXIST, as);
    ContentPtr content = Find(from);
    if (!content) return below_.Link(from, as);
    Name(as, std::move(content));
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
