#include "host/recent_files.h"

namespace kymora {

std::time_t RecentFiles::OpenedAt(const std::filesystem::path& path) const {
    const auto found = opened_.find(path);
    return found == opened_.end() ? 0 : found->second;
}

void RecentFiles::Add(const std::filesystem::path& path, std::time_t opened) {
    if (path.empty()) return;
    std::error_code ignored;
    auto whole = std::filesystem::absolute(path, ignored).lexically_normal();
    Remove(whole);
    if (opened > 0) opened_[whole] = opened;
    paths_.insert(paths_.begin(), std::move(whole));
    while (paths_.size() > most) Remove(std::filesystem::path(paths_.back()));
}

void RecentFiles::Remove(const std::filesystem::path& path) {
    std::erase(paths_, path);
    opened_.erase(path);
}

void RecentFiles::Set(const std::vector<std::filesystem::path>& paths,
                      const std::vector<std::time_t>& opened) {
    paths_.clear();
    opened_.clear();
    for (size_t i = paths.size(); i-- > 0;) Add(paths[i], i < opened.size() ? opened[i] : 0);
}

}  // namespace kymora
