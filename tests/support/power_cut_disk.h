#pragma once
// A disk whose power goes: what was written and not synced may have reached it, in any part. Writes to a file
// reach it page by page in any choice; names change in any choice that keeps the order of what concerns one
// name. What was synced is there.

#include <cerrno>
#include <functional>
#include <map>
#include <set>

#include "host/memory_file_system.h"

namespace kymora::test {

class PowerCutDisk : public FileSystem {
  public:
    explicit PowerCutDisk(MemoryFileSystem& start) {
        for (const auto& path : start.List("/")) {
            const auto node = NewNode();
            node->live = node->durable = start.Bytes(path);
            liveNames_[path] = durableNames_[path] = node;
        }
    }

    int64_t steps = 0;      // changes and syncs so far
    int64_t cutAtStep = 0;  // none happens from this one on; 0: never

    // What the next start of the machine finds. `reached` says of each unsynced piece whether it is there.
    std::unique_ptr<MemoryFileSystem> AfterCut(const std::function<bool()>& reached) const {
        auto names = durableNames_;
        std::set<std::filesystem::path> lost;  // names of which a change is missing
        for (const NameChange& change : nameChanges_) {
            const bool follows = lost.count(change.from) + lost.count(change.to) > 0;
            if (follows || !reached()) {
                lost.insert({change.from, change.to});
                continue;
            }
            Apply(change, names);
        }
        auto disk = std::make_unique<MemoryFileSystem>();
        for (const auto& [path, node] : names) disk->Put(path, BytesAfterCut(*node, reached));
        return disk;
    }

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
        if (mode == OpenMode::createNew || mode == OpenMode::createPrivate) {
            if (liveNames_.count(path) != 0) throw FileError("exists", EEXIST);
            Change({{}, path, NewNode()});
        }
        const auto found = liveNames_.find(path);
        if (found == liveNames_.end()) throw FileError("no such file", ENOENT);
        return std::make_unique<File>(*this, found->second);
    }
    std::unique_ptr<DataFile> OpenUnnamed(const std::filesystem::path&, bool) override {
        return opensUnnamed ? std::make_unique<File>(*this, NewNode()) : nullptr;
    }
    std::vector<std::filesystem::path> List(const std::filesystem::path&) override {
        std::vector<std::filesystem::path> listed;
        for (const auto& [path, node] : liveNames_) listed.push_back(path);
        return listed;
    }
    std::optional<FileStamp> Stamp(const std::filesystem::path& path) override {
        const auto found = liveNames_.find(path);
        if (found == liveNames_.end()) return std::nullopt;
        return File(*this, found->second).Stamp();
    }
    bool IsReadOnly(const std::filesystem::path&) override { return false; }
    std::filesystem::path Resolve(const std::filesystem::path& path) override { return path; }
    void CopyPermissions(const std::filesystem::path&, const std::filesystem::path&) override {}
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        Change({from, to, liveNames_.at(from)});
    }
    void Link(const std::filesystem::path& from, const std::filesystem::path& as) override {
        if (liveNames_.count(as) != 0) throw FileError("exists", EEXIST);
        Change({{}, as, liveNames_.at(from)});
    }
    std::optional<uint64_t> FreeSpace(const std::filesystem::path&) override { return {}; }
    void Remove(const std::filesystem::path& path) override { Change({path, {}, nullptr}); }
    void SyncFolderOf(const std::filesystem::path&) override {
        Step();
        for (const NameChange& change : nameChanges_) Apply(change, durableNames_);
        nameChanges_.clear();
    }
    bool opensUnnamed = true;

  private:
    static constexpr size_t page = 4096;

    struct Write {
        uint64_t offset = 0;
        std::vector<std::byte> bytes;
        bool truncates = false;
    };
    struct Node {
        uint64_t number = 0;
        int64_t changes = 0;
        std::vector<std::byte> live, durable;
        std::vector<Write> writes;  // unsynced
    };
    using NodePointer = std::shared_ptr<Node>;
    using Names = std::map<std::filesystem::path, NodePointer>;
    struct NameChange {
        std::filesystem::path from, to;  // empty: made new, or removed
        NodePointer node;
    };

    static void Apply(const Write& write, std::vector<std::byte>& bytes) {
        if (write.truncates) return bytes.resize(write.offset);
        if (bytes.size() < write.offset + write.bytes.size()) bytes.resize(write.offset + write.bytes.size());
        std::copy(write.bytes.begin(), write.bytes.end(),
                  bytes.begin() + static_cast<ptrdiff_t>(write.offset));
    }
    static void Apply(const NameChange& change, Names& names) {
        if (!change.from.empty()) names.erase(change.from);
        if (!change.to.empty()) names[change.to] = change.node;
    }
    static std::vector<std::byte> BytesAfterCut(const Node& node, const std::function<bool()>& reached) {
        std::vector<std::byte> bytes = node.durable;
        for (const Write& write : node.writes) {
            if (write.truncates) {
                if (reached()) Apply(write, bytes);
                continue;
            }
            for (size_t at = 0; at < write.bytes.size(); at += page) {
                const auto from = write.bytes.begin() + static_cast<ptrdiff_t>(at);
                const auto count = static_cast<ptrdiff_t>(std::min(page, write.bytes.size() - at));
                Write part{write.offset + at, {from, from + count}, false};
                if (reached())
                    Apply(part, bytes);
                else if (reached() && bytes.size() < part.offset + part.bytes.size())
                    bytes.resize(part.offset + part.bytes.size());  // room was made, no bytes came
            }
        }
        return bytes;
    }

    NodePointer NewNode() {
        auto node = std::make_shared<Node>();
        node->number = nextNode_++;
        return node;
    }
    void Step() {
        if (cutAtStep != 0 && steps + 1 >= cutAtStep) throw FileError("the power went", EIO);
        ++steps;
    }
    void Change(NameChange change) {
        Step();
        Apply(change, liveNames_);
        nameChanges_.push_back(std::move(change));
    }

    class File : public DataFile {
      public:
        File(PowerCutDisk& disk, NodePointer node) : disk_(disk), node_(std::move(node)) {}
        size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
            if (offset >= node_->live.size()) return 0;
            const size_t count = std::min<uint64_t>(to.size(), node_->live.size() - offset);
            std::copy_n(node_->live.begin() + static_cast<ptrdiff_t>(offset), count, to.begin());
            return count;
        }
        void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
            Add({offset, {from.begin(), from.end()}, false});
        }
        void Truncate(uint64_t length) override { Add({length, {}, true}); }
        uint64_t Length() const override { return node_->live.size(); }
        void Sync() override {
            disk_.Step();
            node_->durable = node_->live;
            node_->writes.clear();
        }
        bool IsWritable() const override { return true; }
        bool TryLock() override { return true; }
        bool HoldsLock() const override { return true; }
        FileStamp Stamp() const override { return {0, node_->number, node_->live.size(), node_->changes}; }
        void LinkAs(const std::filesystem::path& path) override {
            if (disk_.liveNames_.count(path) != 0) throw FileError("exists", EEXIST);
            disk_.Change({{}, path, node_});
        }

      private:
        void Add(Write write) {
            disk_.Step();
            Apply(write, node_->live);
            ++node_->changes;
            node_->writes.push_back(std::move(write));
        }
        PowerCutDisk& disk_;
        NodePointer node_;
    };

    Names liveNames_, durableNames_;
    std::vector<NameChange> nameChanges_;  // unsynced
    uint64_t nextNode_ = 1;
};

}  // namespace kymora::test
