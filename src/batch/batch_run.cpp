#include "batch/batch_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "batch/batch_host.h"
#include "catalogue/operations.h"
#include "document/native_writer.h"
#include "import/open_document.h"
#include "operations/save_result.h"
#include "transforms/transform_file.h"

namespace kymora {

namespace {

bool IsNativeName(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    return extension == ".kymr-dat" || extension == ".flt";
}

bool IsCurrentName(const std::filesystem::path& path) { return FoldedExtension(path) == ".kymr-dat"; }

// A reason of a file in the process errors.
std::string ErrorLines(const std::filesystem::path& file, std::string_view text) {
    std::string lines = file.string() + "\r\n\t";
    for (const char c : text) {
        if (c == '\r') continue;
        lines += c == '\n' ? std::string("\r\n\t") : std::string(1, c);
    }
    while (lines.ends_with("\r\n\t")) lines.resize(lines.size() - 3);
    return lines + "\r\n";
}

class BatchRun {
  public:
    BatchRun(const BatchJob& job, BatchDocuments& documents, const TextSink& results)
        : job_(job),
          session_(documents.GetSession()),
          outer_(documents),
          results_(results),
          host_(session_.host, "Batch", job.files.size()),
          own_(host_, session_.files),
          documents_(own_, [&documents] { return documents.Shown(); }) {
        own_.options = session_.options;
        own_.importSettings = session_.importSettings;
        own_.textFile = session_.textFile;
        own_.binaryFile = session_.binaryFile;
        own_.decimalSeparator = session_.decimalSeparator;
        own_.seed = session_.seed;
        own_.random = session_.random;
        own_.now = session_.now;
    }

    BatchOutcome Run() {
        PlanTargets();
        BatchOutcome outcome{0, job_.files.size(), false};
        for (size_t i = 0; i < job_.files.size() && !outcome.wasCancelled; ++i) {
            own_.host.Log(fmt::format("{} file number = {}\n", isTransform_ ? "transforming" : "batch:", i));
            const bool done = host_.BeginFile(i) && last_[i] == i && RunGuarded(i);
            if (last_[i] != i) TellLeftOut(i);
            outcome.done += done ? 1 : 0;
            outcome.wasCancelled = host_.WasCancelled() || stopped_;
            documents_.CloseIfNotOpen(job_.files[i]);
        }
        session_.random = own_.random;
        if (outcome.wasCancelled)
            session_.processErrors += fmt::format(
                "The batch was cancelled. {} of {} files were processed.\r\n", outcome.done, outcome.total);
        return outcome;
    }

  private:
    void PlanTargets() {
        const auto block = job_.operation.make();
        block->TakeSettings(job_.settings);
        changes_ = block->ChangesDocument();
        isTransform_ = dynamic_cast<const CTransformTraceDlg*>(block.get()) != nullptr;
        for (const auto& file : job_.files) {
            const bool isInPlace =
                !changes_ || (!job_.writeNew && (isTransform_ ? IsCurrentName(file) : IsNativeName(file)));
            targets_.push_back(isInPlace ? file : NativeNameBeside(file, job_.writeNew));
        }
        last_ = LastWithTarget(targets_);
    }

    void Tell(const std::filesystem::path& file, std::string_view text) {
        session_.processErrors += ErrorLines(file, text);
    }

    void TellLeftOut(size_t i) {
        if (job_.files[i] == job_.files[last_[i]]) return;
        Tell(job_.files[i],
             fmt::format("Left out: {} goes to the same file {}.", job_.files[last_[i]].filename().string(),
                         targets_[i].filename().string()));
    }

    // All that can go wrong with a file is told and ends with the file.
    bool RunGuarded(size_t i) {
        const std::filesystem::path& file = job_.files[i];
        bool done = false;
        const size_t toldBefore = session_.processErrors.size();
        try {
            done = RunFile(file, targets_[i]);
        } catch (const Cancelled&) {
            stopped_ = true;
        } catch (const std::exception& error) {
            Tell(file, error.what());
        }
        TellCollected(file);
        const bool wasTold = session_.processErrors.size() > toldBefore;
        if (done || wasTold || stopped_ || host_.WasCancelled()) return done;
        // Only a cancelled operation ends without a word.
        stopped_ = true;
        return false;
    }

    // What the documents that the batch opens had to say.
    void TellCollected(const std::filesystem::path& file) {
        if (const std::string messages = host_.TakeMessages(); !messages.empty()) Tell(file, messages);
    }

    // What an operation had to say, which may have named its file already.
    void TellOfOperation(const std::filesystem::path& file, const std::string& errors) {
        if (errors.empty()) return;
        session_.processErrors += errors.starts_with(file.string()) ? errors : ErrorLines(file, errors);
        if (!session_.processErrors.ends_with("\r\n")) session_.processErrors += "\r\n";
    }

    bool RunFile(const std::filesystem::path& file, const std::filesystem::path& target) {
        if (!session_.files.Stamp(file)) {
            Tell(file, "There is no such file.");
            return false;
        }
        if (changes_ && job_.writeNew && IsNamed(target)) {
            Tell(file, fmt::format("Left out: its result would replace {}, which is to be processed itself.",
                                   target.filename().string()));
            return false;
        }
        if (isTransform_) return Transform(file, target);
        const bool inPlace = target == file;
        CDataDoc* shown = documents_.FindShown(file);
        if (!changes_ || inPlace) {
            if (!shown) return RunOnOwn(file, target, changes_ && inPlace);
            return changes_ ? ChangeShown(*shown) : RunOn(*shown, target);
        }
        if (shown && shown->IsModified()) TellUnsaved(file);
        return RunOnOwn(file, target, false);
    }

    bool RunOnOwn(const std::filesystem::path& file, const std::filesystem::path& target, bool inPlace) {
        CDataDoc* doc = inPlace ? documents_.OpenForBatch(file) : documents_.OpenCopyForBatch(file);
        if (!doc) return false;
        std::string fault;
        if (inPlace)
            fault = InPlaceFault(*doc);
        else if (changes_)
            fault = documents_.FindShown(target) ? fmt::format("{} is open in a window.", target.string())
                                                 : ReplaceFault(session_.files, target);
        if (!fault.empty()) {
            Tell(file, fault);
            return false;
        }
        if (!RunOn(*doc, target)) return false;
        if (inPlace) return SaveInPlace(*doc);
        if (changes_) WriteNativeFile(*doc, target);
        return true;
    }

    // Empty unless another program has changed the file that a window shows, and that is to be replaced.
    std::string ChangedOutside(const CDataDoc& doc) const {
        if (session_.files.Stamp(doc.filePath) == doc.RememberedStamp(doc.filePath)) return {};
        return "This file was changed by another program since it was opened. It was left as it is.";
    }

    void TellUnsaved(const std::filesystem::path& file) {
        Tell(file, "This file has unsaved changes in its window. They are not in the result, which was made "
                   "from the file as it is saved.");
    }

    // A new file never takes the place of one that is to be processed itself.
    bool IsNamed(const std::filesystem::path& path) const {
        return std::any_of(job_.files.begin(), job_.files.end(),
                           [&](const auto& file) { return IsSameFile(session_.files, file, path); });
    }

    // The document of a window: its view is what is seen, and its unsaved changes stay its user's.
    bool ChangeShown(CDataDoc& doc) {
        std::string fault = InPlaceFault(doc);
        if (fault.empty()) fault = ChangedOutside(doc);
        if (!fault.empty()) {
            Tell(doc.filePath, fault);
            return false;
        }
        const bool hadChanges = doc.IsModified();
        if (!RunOn(doc, doc.filePath)) return false;
        if (!hadChanges) {
            const bool saved = SaveInPlace(doc);
            if (!saved) Tell(doc.filePath, "The result stands in the window of this file and was not saved.");
            return saved;
        }
        Tell(doc.filePath, "This file had unsaved changes in its window. The operation was done there, and "
                           "nothing was saved.");
        return true;
    }

    // The result takes the place of a file, and of the window that shows it.
    bool Transform(const std::filesystem::path& file, const std::filesystem::path& target) {
        CDataDoc* shown = documents_.FindShown(file);
        CDataDoc* doc = shown;
        const bool isOwnFile = target == file;
        if (shown && !job_.writeNew) {
            if (shown->IsModified()) {
                Tell(file,
                     "This file has unsaved changes in its window. Save it or close it, and run it again; "
                     "it was left as it is.");
                return false;
            }
        } else {
            if (shown && shown->IsModified()) TellUnsaved(file);
            doc = isOwnFile ? documents_.OpenForBatch(file) : documents_.OpenCopyForBatch(file);
        }
        if (!doc) return false;
        const CDataDoc* atTarget = documents_.FindShown(target);
        std::string fault = atTarget && atTarget != doc
                                ? fmt::format("{} is open in a window.", target.string())
                                : TransformTargetFault(*doc, target);
        if (fault.empty() && doc == shown && isOwnFile) fault = ChangedOutside(*doc);
        if (!fault.empty()) {
            Tell(file, fault);
            return false;
        }
        const bool done = RunOn(*doc, target);
        if (done && doc == shown) outer_.ReplaceShown(*shown, target);
        return done;
    }

    bool RunOn(CDataDoc& doc, const std::filesystem::path& target) {
        Session& its = doc.GetSession();
        const bool isShown = &its == &session_;
        if (isShown) {
            doc.GetDisplaySettingsFromView();
            session_.random = own_.random;
        }
        const auto block = job_.operation.make();
        block->m_bInBatch = true;
        block->TakeSettings(job_.settings);
        block->CheckChangeDoc(&doc);
        const std::string before = std::exchange(its.processErrors, {});
        const bool done = RunBlock(*block, doc, target);
        const std::string said = std::exchange(its.processErrors, before);
        TellOfOperation(doc.filePath, said);
        if (isShown) own_.random = session_.random;
        if (done && !changes_ && block->HasResultText() && results_) WriteResult(*block, doc.filePath);
        return done;
    }

    bool RunBlock(CBatchBaseDlg& block, CDataDoc& doc, const std::filesystem::path& target) {
        auto* transform = dynamic_cast<CTransformTraceDlg*>(&block);
        if (!transform) return block.Run();
        transform->m_bNewFile = job_.writeNew;
        const TransformedFile result = TransformFile(doc, *transform, target);
        if (!result.note.empty()) Tell(doc.filePath, result.note);
        // It is for the load of this file, and the next one that the batch loads is another.
        if (&doc.GetSession() == &own_) own_.pendingReset.fill(false);
        return result.isDone;
    }

    void WriteResult(CBatchBaseDlg& block, const std::filesystem::path& file) {
        if (!results_((hasResults_ ? "\r\n" : "") + file.string() + "\r\n")) return;
        hasResults_ = true;
        block.WriteResult(results_);
    }

    const BatchJob& job_;
    Session& session_;
    BatchDocuments& outer_;
    const TextSink& results_;
    BatchHost host_;
    Session own_;  // of the documents that the batch opens
    BatchDocuments documents_;
    bool changes_ = false;
    bool isTransform_ = false;
    bool stopped_ = false;
    bool hasResults_ = false;
    std::vector<std::filesystem::path> targets_;
    std::vector<size_t> last_;
};

}  // namespace

BatchOutcome RunBatchJob(const BatchJob& job, BatchDocuments& documents, const TextSink& results) {
    return BatchRun(job, documents, results).Run();
}

}  // namespace kymora
