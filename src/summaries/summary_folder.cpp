#include "summaries/summary_folder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <unistd.h>

#include "numerics/fnv.h"

namespace kymora {

namespace {

namespace fs = std::filesystem;

constexpr const char* extension = ".kymora-summary";
constexpr const char* unfinished = ".part";
constexpr auto unfinishedFor = std::chrono::hours(24);  // then its writer is no more

struct KeptFile {
    fs::path path;
    fs::file_time_type used;
    uint64_t bytes = 0;
};

void RemoveQuietly(const fs::path& path) {
    std::error_code ignored;
    fs::remove(path, ignored);
}

}  // namespace

SummaryFolder::SummaryFolder(FileSystem& files, fs::path folder, uint64_t mostBytes)
    : files_(files), folder_(std::move(folder)), mostBytes_(mostBytes) {}

fs::path SummaryFolder::OfUser() {
    const char* cache = std::getenv("XDG_CACHE_HOME");
    if (cache && *cache == '/') return fs::path(cache) / "kymora" / "summaries";
    const char* home = std::getenv("HOME");
    if (home && *home == '/') return fs::path(home) / ".cache" / "kymora" / "summaries";
    return {};
}

// A recording that was changed takes the place of its older state.
fs::path SummaryFolder::PathOf(const SummaryKey& key) const {
    const std::string text = key.Text();
    const uint64_t a = Fnv1a().Add(text).Value(), b = Fnv1a(0x84222325cbf29ce4).Add(text).Value();
    return folder_ / (fmt::format("{:016x}{:016x}", a, b) + extension);
}

std::unique_ptr<Summary> SummaryFolder::Find(const SummaryKey& key) {
    if (folder_.empty()) return nullptr;
    const fs::path path = PathOf(key);
    try {
        if (!files_.Stamp(path)) return nullptr;
        auto summary = OpenSummaryFile(files_, path, key);
        std::error_code ignored;
        fs::last_write_time(path, fs::file_time_type::clock::now(), ignored);  // used just now
        return summary;
    } catch (const std::exception&) {
        RemoveQuietly(path);
        return nullptr;
    }
}

bool SummaryFolder::Store(const SummaryKey& key, const MemorySummary& summary) {
    if (folder_.empty() || summary.Shape().Bytes() > mostBytes_) return false;
    static std::atomic<unsigned> counter{0};
    const fs::path path = PathOf(key);
    const fs::path part = path.string() + fmt::format(".{}-{}{}", ::getpid(), ++counter, unfinished);
    try {
        fs::create_directories(folder_);
        WriteSummaryFile(files_, part, key, summary);
        files_.Rename(part, path);
        MakeRoom(mostBytes_);
        return true;
    } catch (const std::exception&) {
        RemoveQuietly(part);
        return false;
    }
}

void SummaryFolder::Restamp(const SummaryKey& key, const FileStamp& stamp) {
    if (folder_.empty()) return;
    try {
        RestampSummaryFile(files_, PathOf(key), key, stamp);
    } catch (const std::exception&) {  // it is built again when it is needed
    }
}

void SummaryFolder::Discard(const SummaryKey& key) {
    if (!folder_.empty()) RemoveQuietly(PathOf(key));
}

// Deletes the files that were used least recently until the others fit.
void SummaryFolder::MakeRoom(uint64_t bytes) {
    std::vector<KeptFile> kept;
    uint64_t total = 0;
    std::error_code failed;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_, failed)) {
        std::error_code gone;
        const KeptFile file{entry.path(), entry.last_write_time(gone), entry.file_size(gone)};
        if (gone) continue;
        if (file.path.extension() == unfinished &&
            fs::file_time_type::clock::now() - file.used > unfinishedFor)
            RemoveQuietly(file.path);
        if (file.path.extension() != extension) continue;
        total += file.bytes;
        kept.push_back(file);
    }
    std::sort(kept.begin(), kept.end(), [](const KeptFile& a, const KeptFile& b) { return a.used < b.used; });
    for (size_t i = 0; i < kept.size() && total > bytes; ++i) {
        RemoveQuietly(kept[i].path);
        total -= kept[i].bytes;
    }
}

}  // namespace kymora
