#pragma once
// What a batch has done, kept beside the list of its operations, so that a batch that was ended can go on: a
// line of JSON for each result, written before the result takes its place. Several programs may write the
// same journal.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// A result, told by check sums (SHA-256) of contents.
struct JournalEntry {
    std::string work;    // of the operations with their settings, and all else that the result comes from
    std::string source;  // of the recording
    std::filesystem::path target;
    std::string result;                     // of the file that was made
    std::vector<std::string> operations{};  // their records
};

class BatchJournal {
  public:
    // "chain.kymr-batch.journal". Reads what is there; lines that are none of its own, or torn, say nothing.
    explicit BatchJournal(const std::filesystem::path& list);
    const std::filesystem::path& List() const { return list_; }
    const std::filesystem::path& Path() const { return path_; }

    // The entry by which the target holds, unchanged, what this work made of a recording: of one with the sum
    // `source`, which is asked for where it matters, or, where the recording itself is replaced, of any. Null
    // where there is none. Throws FileError.
    const JournalEntry* FindDone(FileSystem& files, const std::string& work,
                                 const std::filesystem::path& target, bool replacesSource,
                                 const std::function<std::string()>& source) const;
    // The target is the unchanged result of some entry.
    bool IsResult(FileSystem& files, const std::filesystem::path& target) const;
    // Reaches the disk before it is told where the recording itself is to be replaced: it would else be
    // worked on a second time after a power cut. A journal that cannot be written says so once (in each
    // process), and stops nothing: the answer is the reason.
    std::optional<std::string> Note(const JournalEntry& entry, bool replacesSource);

  private:
    std::filesystem::path list_, path_;
    std::vector<JournalEntry> entries_;
    bool isBroken_ = false;
};

}  // namespace kymora
