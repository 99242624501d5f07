// What the Batch button asks before and shows after.

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "batch/batch_run.h"
#include "catalogue/operations.h"
#include "document/native_writer.h"
#include "host/form.h"
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

// The native files that foreign ones would replace.
std::vector<std::filesystem::path> ReplacedNativeFiles(Session& session,
                                                       const std::vector<std::filesystem::path>& files) {
    std::vector<std::filesystem::path> replaced;
    for (const auto& file : files) {
        const std::string extension = FoldedExtension(file);
        if (extension == ".kymr-dat" || extension == ".flt") continue;
        const auto target = NativeNameBeside(file, false);
        // One that is to be transformed itself is never replaced by another's result.
        const bool isNamed = std::ranges::any_of(
            files, [&](const auto& named) { return IsSameFile(session.files, named, target); });
        if (session.files.Stamp(target) && !isNamed) replaced.push_back(target);
    }
    return replaced;
}

bool MayReplace(Session& session, const BatchJob& job) {
    const auto replaced = ReplacedNativeFiles(session, job.files);
    if (replaced.empty()) return true;
    std::string names;
    for (size_t i = 0; i < replaced.size() && i < mostNamed; ++i) names += "\n" + replaced[i].string();
    if (replaced.size() > mostNamed) names += fmt::format("\nand {} others", replaced.size() - mostNamed);
    return session.host.Confirm(
        fmt::format("Foreign files are saved in kymr-dat format. These files exist and will be replaced:{}\n"
                    "Continue?",
                    names));
}

void RunAndShow(Session& session, const BatchJob& job, BatchDocuments& documents, const std::string& title) {
    std::string text;
    bool isCut = false;
    RunBatchJob(job, documents, [&](std::string_view piece) {
        isCut = isCut || text.size() + piece.size() > mostShownBytes;
        if (!isCut) text += piece;
        return !isCut;
    });
    if (!text.empty()) session.host.ShowText(title, text);
    if (isCut)
        session.processErrors +=
            "The results are too long to be shown whole. Run the batch again and save them to a file.\r\n";
}

void RunIntoFile(Session& session, const BatchJob& job, BatchDocuments& documents,
                 const std::filesystem::path& path) {
    try {
        WriteFileAtomically(session.files, path, [&](CArchive& archive) {
            const BatchOutcome outcome = RunBatchJob(job, documents, [&](std::string_view piece) {
                archive.WriteRaw(std::as_bytes(std::span(piece)));
                return true;
            });
            if (outcome.done == 0) throw Cancelled();
        });
    } catch (const Cancelled&) {
        session.processErrors += "Nothing was saved.\r\n";
    } catch (const FileError& error) {
        session.processErrors += fmt::format("The results were not saved.\r\n{}\r\n", error.what());
    }
}

std::vector<std::filesystem::path> ChooseFiles(Session& session) {
    return session.host.ChooseOpenFiles({"Choose the files to process", OpenFilter(), {}, {}});
}

void ShowProcessErrors(Session& session) {
    if (!session.processErrors.empty())
        session.host.ShowText("Process errors", std::exchange(session.processErrors, {}));
}

}  // namespace

bool RunTransformBatch(const Operation& operation, CTransformDlg& dialog, BatchDocuments& documents) {
    Session& session = documents.GetSession();
    const BatchJob job{operation, dialog.Settings(), ChooseFiles(session), dialog.m_bNewFile};
    if (job.files.empty()) return false;
    if (!job.writeNew && !MayReplace(session, job)) return false;
    session.processErrors.clear();
    RunBatchJob(job, documents, {});
    ShowProcessErrors(session);
    return true;
}

bool RunBatch(const Operation& operation, CBatchBaseDlg& dialog, BatchDocuments& documents) {
    Session& session = documents.GetSession();
    if (!dialog.View() || !dialog.Document()) {
        session.host.Failure(noViewText);
        return false;
    }
    const bool changes = dialog.ChangesDocument();
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
    if (changes && !job.writeNew && !MayReplace(session, job)) return false;

    session.processErrors.clear();
    if (results)
        RunIntoFile(session, job, documents, *results);
    else
        RunAndShow(session, job, documents, dialog.Title());
    ShowProcessErrors(session);
    return true;
}

}  // namespace kymora
