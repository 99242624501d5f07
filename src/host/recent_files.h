#pragma once
// The files that were opened last, the newest first.

#include <ctime>
#include <filesystem>
#include <map>
#include <vector>

namespace kymora {

class RecentFiles {
  public:
    static constexpr size_t most = 9;  // as many as have an access key

    const std::vector<std::filesystem::path>& Paths() const { return paths_; }
    // When a file of the list was opened last; 0 where that is not known.
    std::time_t OpenedAt(const std::filesystem::path& path) const;
    // Puts a file first; one that is in the list already moves there.
    void Add(const std::filesystem::path& path, std::time_t opened = 0);
    void Remove(const std::filesystem::path& path);
    void Clear() { Set({}); }
    // Takes a list as it was kept; empty and repeated names are left out.
    void Set(const std::vector<std::filesystem::path>& paths, const std::vector<std::time_t>& opened = {});

  private:
    std::vector<std::filesystem::path> paths_;
    std::map<std::filesystem::path, std::time_t> opened_;
};

}  // namespace kymora
