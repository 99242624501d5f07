#pragma once
// The files that were opened last, the newest first.

#include <filesystem>
#include <vector>

namespace kymora {

class RecentFiles {
  public:
    static constexpr size_t most = 9;  // as many as have an access key

    const std::vector<std::filesystem::path>& Paths() const { return paths_; }
    // Puts a file first; one that is in the list already moves there.
    void Add(const std::filesystem::path& path);
    void Remove(const std::filesystem::path& path);
    void Clear() { paths_.clear(); }
    // Takes a list as it was kept; empty and repeated names are left out.
    void Set(const std::vector<std::filesystem::path>& paths);

  private:
    std::vector<std::filesystem::path> paths_;
};

}  // namespace kymora
