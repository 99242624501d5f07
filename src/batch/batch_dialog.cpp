// What the Batch button asks before and shows after.

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "batch/batch_run.h"
#include "catalogue/operations.h"
#include "document/native_writer.h"
#include "host/form.h"
#include "import/formats.h"
#include "import/open_document.h"
#include "operations/save_result.h"
#include "transforms/transform_dlg.h"

namespace kymora {

namespace {

// A text of this size still opens in a window.
constexpr size_t mostShownBytes = size_t{16} << 20;
constexpr size_t mostNamed = 10;

struct BatchAnswers {
    bool writeNew = false;
    bool toFile = false;
};

std::optional<BatchAnswers> AskHow(Session& session, bool changes) {
    Form form("Batch process");
    form.okLabel = "Choose files...";
    const std::string notice = batchFilesText;
    form.AddNote("notice", changes ? notice + "\n\n" + batchWriteText : notice);
    if (changes)
        form.AddFlag("writeNew", "Write new file", false,
                     "Saves each result beside its recording, with _tr in its name");
    else
        form.AddRadio("results", "Results", {"Show in a window", "Save to a file"}, 0,
                      "Where the results of all files go, one behind the other");
    if (!session.host.AskForm(form)) return {};
    return BatchAnswers{changes && form.Flag("writeNew"), !changes && form.Choice("results") == 1};
}

bool MayReplace(Session& session, const BatchJob& job) {
    std::vector<std::filesystem::path> replaced;
    for (const PlannedFile& planned : PlanBatch(session, job).files)
        if (planned.IsRun() && !planned.IsInPlace() && session.files.Stamp(planned.target))
            replaced.push_back(planned.target);
    if (job.writeNew || replaced.empty()) return true;
    std::string names;
    for (size_t i = 0; i < replaced.size() && i < mostNamed; ++i) names += "\n" + replaced[i].string();
    if (replaced.size() > mostNamed) names += fmt::format("\nand {} others", replaced.size() - mostNamed);
    return session.host.Confirm(
        fmt::format("Foreign files are saved in kymr-dat format. These files exist and will be replaced:{}\n"
                    "Continue?",
                    names));
}

// These answer the process errors.
std::string RunAndShow(Session& session, const BatchJob& job, BatchDocuments& documents,
                       const std::string& title) {
    std::string text;
    bool isCut = false;
    std::string errors = ProcessErrors(RunBatchJob(job, documents, [&](std::string_view piece) {
        isCut = isCut || text.size() + piece.size() > mostShownBytes;
        if (!isCut) text += piece;
        return !isCut;
    }));
    if (!text.empty()) session.host.ShowText(title, text);
    if (isCut)
        errors +=
            "The results are too long to be shown whole. Run the batch again and save them to a file.\r\n";
    return errors;
}

std::string RunIntoFile(Session& session, const BatchJob& job, BatchDocuments& documents,
                        const std::filesystem::path& path) {
    std::string errors;
    try {
        WriteFileAtomically(session.files, path, [&](CArchive& archive) {
            const RunReport report = RunBatchJob(job, documents, [&](std::string_view piece) {
                archive.WriteRaw(std::as_bytes(std::span(piece)));
                return true;
            });
            errors = ProcessErrors(report);
            if (report.CountDone() == 0) throw Cancelled();
        });
    } catch (const Cancelled&) {
        errors += "Nothing was saved.\r\n";
    } catch (const FileError& error) {
        errors += fmt::format("The results were not saved.\r\n{}\r\n", error.what());
    }
    return errors;
}

std::vector<std::filesystem::path> ChooseFiles(Session& session) {
    return session.host.ChooseOpenFiles({"Choose the files to process", OpenFilter(), {}, {}});
}

std::string DoneText(size_t files, const std::optional<std::filesystem::path>& results) {
    std::string text =
        fmt::format("The batch is done: {} {} processed.", files, files == 1 ? "file" : "files");
    if (results) text += "\nThe results are in " + results->string() + ".";
    return text;
}

void ShowProcessErrors(Session& session, const std::string& errors) {
    if (!errors.empty()) session.host.ShowText("Process errors", errors);
}

}  // namespace

bool RunTransformBatch(const Operation& operation, CTransformDlg& dialog, BatchDocuments& documents) {
    Session& session = documents.GetSession();
    const BatchJob job{operation, dialog.Settings(), ChooseFiles(session), dialog.m_bNewFile};
    if (job.files.empty()) return false;
    if (!MayReplace(session, job)) return false;
    ShowProcessErrors(session, ProcessErrors(RunBatchJob(job, documents, {})));
    return true;
}

bool RunBatch(const Operation& operation, CBatchBaseDlg& dialog, BatchDocuments& documents) {
    Session& session = documents.GetSession();
    if (!dialog.View() || !dialog.Document()) {
        session.host.Failure(noViewText);
        return false;
    }
    const bool changes = dialog.WhatItAffects() != Affects::nothing;
    const auto answers = AskHow(session, changes);
    if (!answers) return false;
    BatchJob job{operation, dialog.Settings(), {}, answers->writeNew};
    job.files = ChooseFiles(session);
    if (job.files.empty()) return false;
    std::optional<std::filesystem::path> results;
    if (answers->toFile) {
        results = session.host.ChooseSaveFile({"Save the results as", "text (*.txt)|*.txt||", "txt", {}});
        if (!results) return false;
    }
    if (!MayReplace(session, job)) return false;
    const std::string errors = results ? RunIntoFile(session, job, documents, *results)
                                       : RunAndShow(session, job, documents, dialog.Title());
    ShowProcessErrors(session, errors);
    // What shows a text of results, or of errors, has told enough.
    if (errors.empty() && (changes || results)) session.host.Inform(DoneText(job.files.size(), results));
    return true;
}

}  // namespace kymora
