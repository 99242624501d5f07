#pragma once
// The folder in which summaries are kept from session to session. It may be deleted at any time, by anybody.

#include <filesystem>
#include <memory>

#include "summaries/summary_file.h"

namespace kymora {

class SummaryFolder {
  public:
    // An empty path keeps nothing. The files of the folder together take at most `mostBytes`; those that were
    // not used for the longest time go first.
    SummaryFolder(FileSystem& files, std::filesystem::path folder, uint64_t mostBytes);

    // Null when there is none, or none that can be trusted; such a file is removed. Never throws.
    std::unique_ptr<Summary> Find(const SummaryKey& key);
    // False when it cannot be kept. Never throws.
    bool Store(const SummaryKey& key, const MemorySummary& summary);
    // Keeps the summary for a later state of the recording with the same samples. Never throws.
    void Restamp(const SummaryKey& key, const FileStamp& stamp);
    void Discard(const SummaryKey& key);

    // The user's own folder, $XDG_CACHE_HOME/kymora/summaries; empty when the surroundings name none.
    static std::filesystem::path OfUser();

  private:
    std::filesystem::path PathOf(const SummaryKey& key) const;
    void MakeRoom(uint64_t bytes);

    FileSystem& files_;
    std::filesystem::path folder_;
    uint64_t mostBytes_;
};

}  // namespace kymora
