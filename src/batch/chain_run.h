#pragma once
// Runs a To Do list over one recording. Nothing stands under the target's name before the last operation is
// done; what was made so far is gone when one of them fails.

#include "batch/batch_journal.h"
#include "batch/file_runner.h"
#include "batch/multi_batch.h"
#include "import/open_document.h"

namespace kymora {

// Of a batch, the same for all of its files.
struct ChainSettings {
    const CMultiBatch& list;
    // Whose options and seed count: each operation draws as it would in a run of its own.
    const Session& like;
    ImportSettings imports{};
    bool resumes = false;
    BatchJournal* journal = nullptr;  // null: nothing is noted
    bool hasResults = false;          // of each operation as JSON
};

// What a file's run tells on its way.
class ChainWatcher {
  public:
    virtual ~ChainWatcher() = default;
    // 0 to 1, and what is done at present. False cancels.
    virtual bool Update(double share, std::string_view part) = 0;
    virtual void Log(std::string_view) {}
    // The text of an operation that lists, piece by piece; false when no more is wanted.
    virtual bool TakeText(std::string_view) { return false; }
};

// What became of one operation on a file.
struct ChainStep {
    FileReport report{};  // with the messages of this operation
    std::string record;   // an object of JSON: operation, settings, seconds, channels, messages
    std::string results;  // an array of JSON, where it was asked for
};

struct ChainReport {
    PlannedFile planned{};
    Outcome outcome = Outcome::failed;
    bool wasDoneBefore = false;
    std::vector<ChainStep> steps{};
    RunMessages messages{};  // of all steps and of what is done around them
    std::optional<std::filesystem::path> output{};
    std::string sha256{};  // of the output
    double seconds = 0.0;
    std::set<std::string> importsUsed{};  // keys that the reader looked at
    std::exception_ptr error{};           // what ended it, where it was one

    bool IsDone() const { return outcome == Outcome::done; }
};

// The plan for the files of a list: a native file is changed in place, of a foreign one a native file is made
// beside it, and with m_bWriteNewFile all results are new files with "_tr" in their names.
RunPlan PlanChain(FileSystem& files, const CMultiBatch& list, std::vector<std::filesystem::path> names);

// The check sum of all that a result comes from beside the recording.
std::string WorkOf(const ChainSettings& settings);

// `isShown`: a window of the caller holds the file's lock, and nothing unsaved.
ChainReport RunChain(const ChainSettings& settings, const PlannedFile& planned, FileSystem& files,
                     ChainWatcher& watcher, bool isShown = false);

// Of a file whose turn did not come before the batch was cancelled.
ChainReport NotBegun(const PlannedFile& planned);

// Why a file was left out by the plan.
std::string LeftOutText(const PlannedFile& planned);
// The record of a file: an object in one line. A report holds it without what the operations have found.
std::string ChainRecord(const ChainReport& report, const std::string& listName, bool hasResults);
// What a user reads of a file that was not done, or not as expected. Lines end in CR LF.
std::string ProcessErrors(const ChainReport& report);

}  // namespace kymora
