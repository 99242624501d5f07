#pragma once
// A batch as a window runs it: what is asked before, the work on the files while the program goes on, and
// what becomes of the windows that show them. The window itself only draws it.

#include <optional>
#include <set>

#include "batch/batch_workers.h"

namespace kymora {

class CTransformDlg;

// Told before the files are chosen; what changes nothing tells the first part alone.
inline constexpr const char* batchFilesText =
    "Files to be batch-processed will be selected later.\n"
    "You must select ALL the files you want to process, including the currently-active file (if you want to "
    "process it).";
inline constexpr const char* batchWriteText =
    "If 'Write new file' is selected, files will be saved in kymr-dat format with '_tr' appended to their "
    "original names.\n"
    "Any existing files with the same extended name will be overwritten WITHOUT FURTHER WARNING.\n\n"
    "Any text in the File comment box of the transform dialog will be APPENDED to any existing comment for "
    "each file.";
inline constexpr const char* processErrorsTitle = "Process errors";

// What a batch is to do, when all is asked.
struct BatchOrder {
    CMultiBatch list;
    std::string name;  // of the list, for the records and the user
    RunPlan plan;
    // Where the texts of operations that list go; empty: they are shown.
    std::optional<std::filesystem::path> results{};
};

// Each tells and asks what there is before a batch: the files, where texts go, and what files would be left
// out or replaced. Nothing where the user gives up. The Batch button of a dialog,
std::optional<BatchOrder> OrderBatch(BatchDocuments& documents, const Operation& operation,
                                     CBatchBaseDlg& dialog);
// the same for a transform, whose dialog has told and asked what there is but for the files,
std::optional<BatchOrder> OrderTransformBatch(BatchDocuments& documents, const Operation& operation,
                                              CTransformDlg& dialog);
// and a To Do list.
std::optional<BatchOrder> OrderListBatch(BatchDocuments& documents, const CMultiBatch& list,
                                         const std::string& name);

// A file in the table of a batch.
struct BatchRow {
    enum class State { waiting, running, done, failed, leftOut, cancelled };
    std::filesystem::path file;
    State state = State::waiting;
    double share = 0.0;  // 0 to 1, of a running one
    std::string text{};  // what is done at present, or what was told of it
};
const char* StateName(BatchRow::State state);

class BatchRun : private BatchListener {
  public:
    BatchRun(BatchOrder order, BatchDocuments& documents);
    ~BatchRun() override;  // ends what is at work

    // Goes on with what there is to do. False when all is done or was given up.
    bool Step(int milliseconds);
    void Cancel() { isCancelled_ = workers_ != nullptr; }
    bool IsCancelled() const { return isCancelled_; }
    // Once, when all is done and no box, menu or drag is under way: windows show the new files, the results
    // and the process errors are shown, or saved where it was asked for.
    void Conclude();

    const BatchOrder& Order() const { return order_; }
    const std::vector<BatchRow>& Rows() const { return rows_; }
    // Rows that have changed since it was asked last, ascending.
    std::set<size_t> TakeChanged() { return std::exchange(changed_, {}); }
    double Share() const;  // 0 to 1, of all files
    size_t Count(BatchRow::State state) const;
    // "The batch is done: 3 files processed." and the like.
    std::string DoneText() const;
    // What the user reads of files that were not done, or not as expected; lines end in CR LF.
    std::string Errors() const;
    // What was listed, each behind the name of its file.
    std::string Results() const;
    std::string ResultsTitle() const;
    std::vector<std::string> Records() const;

  private:
    struct File {
        std::string note;  // what the user is told before the messages of its run
        std::string text;  // of operations that list
        std::string errors, record;
    };

    void Started(size_t index) override;
    void Moved(size_t index, double share, std::string_view part) override;
    void TakeText(size_t index, std::string_view text) override;
    void Finished(size_t index, const FileEnd& end) override;
    void Log(std::string_view text) override;
    bool WasCancelled() override { return isCancelled_; }

    BatchWork Work();
    void NoteShown();
    void ReplaceShown();
    void SaveResults();
    void Say(size_t index, const char* text);

    BatchOrder order_;
    BatchDocuments& documents_;
    std::vector<BatchRow> rows_;
    std::vector<File> files_;
    std::set<std::filesystem::path> shown_;  // files of windows when it began
    std::set<size_t> changed_;
    std::string more_;  // errors that are of no file
    size_t textBytes_ = 0;
    bool isCut_ = false, isCancelled_ = false;
    std::unique_ptr<BatchWorkers> workers_;
};

}  // namespace kymora
