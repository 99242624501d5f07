#pragma once
// Runs an operation over the files of a plan, one after the other, and reports what became of each. Who asks
// for it opens the recordings, makes the operation with its settings, and makes texts of the reports: a
// list of operations, the terminal.

#include <exception>
#include <memory>

#include "batch/run_plan.h"

namespace kymora {

enum class Outcome { done, failed, leftOut, cancelled };

struct FileReport {
    struct Channel {
        int number = 0;
        int64_t count = 0;  // of events
    };

    PlannedFile planned;
    Outcome outcome = Outcome::failed;
    RunMessages messages{};
    std::vector<std::filesystem::path> outputs{};  // files that were written
    std::vector<Channel> channels{};               // written ones, ascending
    double seconds = 0.0;
    std::exception_ptr error{};  // what ended it, where it was one; its words are among the messages
    // What ran, with the settings that it used and the results, which can be long and are read from the
    // recording. Only while the report is handed over; null where the recording did not open.
    CBatchBaseDlg* block = nullptr;

    bool IsDone() const { return outcome == Outcome::done; }
};

struct RunReport {
    std::vector<FileReport> files{};
    size_t planned = 0;  // files, of which those behind a cancelled one have no report
    bool wasCancelled = false;

    size_t CountDone() const;
};

// Who asks for a run over files. What a member throws ends the file, and is told in its report.
class RunCaller {
  public:
    virtual ~RunCaller() = default;

    // The next file begins. False when the user has cancelled.
    virtual bool BeginFile(size_t index) = 0;
    virtual bool WasCancelled() const = 0;
    // What is wrong with a file or its target beyond what the plan and the runner see: before the recording
    // is opened, and before the operation runs. Both throw.
    virtual void CheckFile(const PlannedFile&) {}
    virtual void CheckTarget(const PlannedFile&) {}

    // A recording that stays until Close. Null where it does not open, which its host was told.
    virtual CDataDoc* Open(const PlannedFile& planned) = 0;
    virtual void Close(const std::filesystem::path& file) = 0;

    // The operation with its settings, on a recording, or on none where it needs none. Its messages go to
    // `messages` where nobody attends the run.
    virtual std::unique_ptr<CBatchBaseDlg> MakeBlock(CDataDoc* doc, RunMessages& messages) = 0;
    virtual Session& GetSession() = 0;
    // All is done and kept: takes a text that may be long.
    virtual void TakeResult(CBatchBaseDlg&, const PlannedFile&) {}
    // What the hosts of opened recordings were told since the last call.
    virtual std::vector<std::string> TakeMessages() = 0;

    // The file is done with. What this throws ends the run.
    virtual void Finished(FileReport& report) = 0;
};

// Files with a fault of the whole plan are not for this. Only what RunCaller::Finished throws gets out.
RunReport RunFiles(const RunPlan& plan, RunCaller& caller);

// Why the result may not be kept as planned, before any work is done; empty when it may.
std::string TargetFault(CDataDoc& doc, const PlannedFile& planned);
// Lets an operation that makes a file write it as planned. False where it was not done and the user was told.
// Throws std::runtime_error with the reason of a silent failure, FileError or Cancelled.
bool WriteAsPlanned(CBatchBaseDlg& block, Session& session, const PlannedFile& planned, Keep keep);

}  // namespace kymora
