#include "host/memory_file_system.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kymora {

MemoryFile::~MemoryFile() {
    if (holdsLock_) content_->locked = false;
}

size_t MemoryFile::ReadAt(uint64_t offset, std::span<std::byte> to) const {
    const uint64_t length = content_->bytes.size();
    if (offset >= length) return 0;
    const size_t n = std::min<uint64_t>(to.size(), length - offset);
    if (n != 0) std::memcpy(to.data(), content_->bytes.data() + offset, n);
    return n;
}

void MemoryFile::WriteAt(uint64_t offset, std::span<const std::byte> from) {
    if (!writable_) throw FileError("Couldn't write: the file is open for reading", EBADF);
    if (offset + from.size() > content_->bytes.size()) content_->bytes.resize(offset + from.size());
    if (!from.empty()) std::memcpy(content_->bytes.data() + offset, from.data(), from.size());
    ++content_->changes;
}

void MemoryFile::Truncate(uint64_t length) {
    content_->bytes.resize(length);
    ++content_->changes;
}

bool MemoryFile::TryLock() {
    if (holdsLock_) return true;
    if (content_->locked) return false;
    return holdsLock_ = content_->locked = true;
}

FileStamp MemoryFile::Stamp() const {
    return {0, content_->inode, content_->bytes.size(), content_->changes};
}

std::unique_ptr<DataFile> MemoryFileSystem::Open(const std::filesystem::path& path, OpenMode mode) {
    auto found = files_.find(path);
    if (mode == OpenMode::createNew || mode == OpenMode::createPrivate) {
        if (found != files_.end()) throw FileError("Couldn't open " + path.string() + ": it exists", EEXIST);
        Put(path, {});
        found = files_.find(path);
    }
    if (found == files_.end()) throw FileError("Couldn't open " + path.string() + ": no such file", ENOENT);
    if (mode == OpenMode::readWrite && found->second->readOnly)
        throw FileError("Couldn't open " + path.string() + ": permission denied", EACCES);
    return std::make_unique<MemoryFile>(found->second, mode != OpenMode::readOnly);
}

class MemoryFileSystem::UnnamedFile : public MemoryFile {
  public:
    UnnamedFile(MemoryFileSystem& owner, std::shared_ptr<MemoryBytes> content)
        : MemoryFile(std::move(content)), owner_(owner) {}
    void LinkAs(const std::filesystem::path& path) override {
        if (!owner_.files_.emplace(path, Content()).second)
            throw FileError("Couldn't create " + path.string() + ": it exists", EEXIST);
    }

  private:
    MemoryFileSystem& owner_;
};

std::unique_ptr<DataFile> MemoryFileSystem::OpenUnnamed(const std::filesystem::path&, bool) {
    if (!opensUnnamed) return nullptr;
    auto content = std::make_shared<MemoryBytes>();
    content->inode = nextInode_++;
    return std::make_unique<UnnamedFile>(*this, std::move(content));
}

std::vector<std::filesystem::path> MemoryFileSystem::List(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> listed;
    for (const auto& [path, content] : files_)
        if (path.parent_path() == folder) listed.push_back(path);
    return listed;
}

std::optional<FileStamp> MemoryFileSystem::Stamp(const std::filesystem::path& path) {
    const auto found = files_.find(path);
    if (found == files_.end()) return std::nullopt;
    return MemoryFile(found->second, false).Stamp();
}

bool MemoryFileSystem::IsReadOnly(const std::filesystem::path& path) {
    const auto found = files_.find(path);
    return found != files_.end() && found->second->readOnly;
}

void MemoryFileSystem::Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    const auto found = files_.find(from);
    if (found == files_.end()) throw FileError("Couldn't rename " + from.string() + ": no such file", ENOENT);
    auto content = found->second;
    files_.erase(found);
    files_[to] = std::move(content);
}

void MemoryFileSystem::Link(const std::filesystem::path& from, const std::filesystem::path& as) {
    if (!hasLinks) throw FileError("Couldn't give a second name " + as.string() + ": not permitted", EPERM);
    const auto found = files_.find(from);
    if (found == files_.end()) throw FileError("Couldn't link " + from.string() + ": no such file", ENOENT);
    if (!files_.emplace(as, found->second).second)
        throw FileError("Couldn't give a second name " + as.string() + ": it exists", EEXIST);
}

void MemoryFileSystem::Remove(const std::filesystem::path& path) {
    if (files_.erase(path) == 0)
        throw FileError("Couldn't remove " + path.string() + ": no such file", ENOENT);
}

void MemoryFileSystem::Put(const std::filesystem::path& path, std::vector<std::byte> bytes) {
    auto content = std::make_shared<MemoryBytes>();
    content->bytes = std::move(bytes);
    content->inode = nextInode_++;
    files_[path] = std::move(content);
}

}  // namespace kymora
