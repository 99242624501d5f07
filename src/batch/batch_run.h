#pragma once
// The batch of one operation: its settings, run over a set of recordings without a person.

#include <filesystem>
#include <vector>

#include "batch/file_runner.h"

namespace kymora {

class BatchDocuments;
class CTransformDlg;
struct Operation;

// Told before the files are chosen; an operation that changes nothing tells the first part alone.
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

struct BatchJob {
    const Operation& operation;
    std::vector<std::byte> settings;  // CBatchBaseDlg::Settings
    std::vector<std::filesystem::path> files;
    bool writeNew = false;
};

// The plan of a batch. A native file is changed in place, and a foreign one becomes a native file beside it;
// with `writeNew` each result is a new file with "_tr" in its name. Files that stand there are replaced, but
// none that is named itself.
RunPlan PlanBatch(Session& session, const BatchJob& job);

// Runs the job without a person: what fails stands in the report, and the batch goes on. No file that is open
// is replaced. A native file that a window shows is worked on there, and saved unless it had unsaved changes
// before: nobody else's decision about those is taken. New files are made from what is on the disk.
//
// The results of operations that list go to `results`, each behind the name of its file.
RunReport RunBatchJob(const BatchJob& job, BatchDocuments& documents, const TextSink& results);

// What a user reads of files that were not done, or not as expected. Lines end in CR LF.
std::string ProcessErrors(const RunReport& report);

// The Batch button of a dialog: tells, asks for the files and where results go, runs the dialog's settings
// over them, and shows the process errors. False when nothing was run.
bool RunBatch(const Operation& operation, CBatchBaseDlg& dialog, BatchDocuments& documents);
// The same for a transform, whose dialog has told and asked what there is but for the files.
bool RunTransformBatch(const Operation& operation, CTransformDlg& dialog, BatchDocuments& documents);

}  // namespace kymora
