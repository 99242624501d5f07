#include "host/recent_files.h"

namespace kymora {

void RecentFiles::Add(const std::filesystem::path& path) {
    if (path.empty()) return;
    std::error_code ignored;
    auto whole = std::filesystem::absolute(path, ignored).lexically_normal();
    Remove(whole);
    paths_.insert(paths_.begin(), std::move(whole));
    if (paths_.size() > most) paths_.resize(most);
}

void RecentFiles::Remove(const std::filesystem::path& path) { std::erase(paths_, path); }

void RecentFiles::Set(const std::vector<std::filesystem::path>& paths) {
    paths_.clear();
    for (size_t i = paths.size(); i-- > 0;) Add(paths[i]);
}

}  // namespace kymora
