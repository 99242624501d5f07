#pragma once
// A file system that dies, or whose disk is full, at a chosen moment.

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>

#include "host/memory_file_system.h"

namespace kymora::test {

class FaultyFileSystem : public FileSystem {
  public:
    explicit FaultyFileSystem(MemoryFileSystem& under) : under_(under) {}

    // The program is killed at the n-th change to the disk from here on (0: never): that change is done in
    // part, or not at all, and no later one happens.
    int64_t dieAtChange = 0;
    bool dieHalfWay = false;
    int64_t changes = 0;
    // Bytes by which files may still grow; then the disk is full.
    int64_t freeBytes = std::numeric_limits<int64_t>::max();
    bool died = false;
    bool foldersFail = false;            // to be made durable
    std::function<void()> beforeChange;  // what another program does at that moment
    std::function<void()> beforeLink;    // before a file that had none gets a name

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
        if (mode == OpenMode::createNew || mode == OpenMode::createPrivate) Change();
        return std::make_unique<File>(*this, under_.Open(path, mode));
    }
    std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path& as, bool isPrivate) override {
        auto file = under_.OpenUnnamed(as, isPrivate);
        if (!file) return nullptr;
        return std::make_unique<File>(*this, std::move(file));
    }
    std::vector<std::filesystem::path> List(const std::filesystem::path& folder) override {
        return under_.List(folder);
    }
    std::optional<FileStamp> Stamp(const std::filesystem::path& path) override { return under_.Stamp(path); }
    bool IsReadOnly(const std::filesystem::path& path) override { return under_.IsReadOnly(path); }
    std::filesystem::path Resolve(const std::filesystem::path& path) override { return under_.Resolve(path); }
    void CopyPermissions(const std::filesystem::path&, const std::filesystem::path&) override {}
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        Change();
        under_.Rename(from, to);
    }
    void Link(const std::filesystem::path& from, const std::filesystem::path& as) override {
        Change();
        under_.Link(from, as);
    }
    std::optional<uint64_t> FreeSpace(const std::filesystem::path& path) override {
        return under_.FreeSpace(path);
    }
    void Remove(const std::filesystem::path& path) override {
        Change();
        const auto stamp = under_.Stamp(path);
        under_.Remove(path);
        if (stamp && freeBytes != std::numeric_limits<int64_t>::max())
            freeBytes += static_cast<int64_t>(stamp->length);
    }
    void SyncFolderOf(const std::filesystem::path&) override {
        if (foldersFail) throw FileError("folder not synced", EIO);
    }

  private:
    // Throws when the program is dead; counts, and dies, at the chosen change.
    void Change() {
        if (beforeChange) beforeChange();
        if (died) throw FileError("killed", EIO);
        if (++changes == dieAtChange) {
            died = true;
            throw FileError("killed", EIO);
        }
    }

    class File : public DataFile {
      public:
        File(FaultyFileSystem& owner, std::unique_ptr<DataFile> under)
            : owner_(owner), under_(std::move(under)) {}
        size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
            return under_->ReadAt(offset, to);
        }
        void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
            const int64_t growth =
                static_cast<int64_t>(offset + from.size()) - static_cast<int64_t>(under_->Length());
            const bool wasDead = owner_.died;
            try {
                owner_.Change();
            } catch (const FileError&) {
                if (!wasDead && owner_.dieHalfWay) under_->WriteAt(offset, from.first(from.size() / 2));
                throw;
            }
            if (growth > owner_.freeBytes) {
                under_->WriteAt(offset,
                                from.first(static_cast<size_t>(std::max<int64_t>(
                                    0, static_cast<int64_t>(from.size()) - (growth - owner_.freeBytes)))));
                owner_.freeBytes = 0;
                throw FileError("disk full", ENOSPC);
            }
            if (growth > 0) owner_.freeBytes -= growth;
            under_->WriteAt(offset, from);
        }
        uint64_t Length() const override { return under_->Length(); }
        void Truncate(uint64_t length) override {
            owner_.Change();
            under_->Truncate(length);
        }
        void Sync() override {
            if (owner_.died) throw FileError("killed", EIO);
        }
        bool IsWritable() const override { return under_->IsWritable(); }
        bool TryLock() override { return under_->TryLock(); }
        bool HoldsLock() const override { return under_->HoldsLock(); }
        void LinkAs(const std::filesystem::path& path) override {
            owner_.Change();
            if (owner_.beforeLink) owner_.beforeLink();
            under_->LinkAs(path);
        }
        FileStamp Stamp() const override { return under_->Stamp(); }

      private:
        FaultyFileSystem& owner_;
        std::unique_ptr<DataFile> under_;
    };

    MemoryFileSystem& under_;
};

}  // namespace kymora::test
