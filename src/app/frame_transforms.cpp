// The main frame's part of transforms: what becomes of the windows when a recording gets a new file.

#include <fmt/format.h>

#include <QScopedValueRollback>
#include <QStatusBar>

#include "app/child_frame.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/transform_step.h"
#include "batch/batch_run.h"
#include "document/native_writer.h"
#include "document/new_file.h"
#include "import/open_document.h"
#include "transforms/transform_dlg.h"
#include "widgets/text.h"

namespace kymora {

namespace {

// Where the result goes; nothing when the user gives up.
std::optional<PlannedFile> AskTarget(CDataDoc& doc, const RunPlan& plan, std::span<CDataDoc* const> open) {
    Session& session = doc.GetSession();
    PlannedFile planned = plan.files.front();
    if (plan.keep == Keep::writeNew) {
        const auto name = AskNewFileName(session, "Save transformed file as ...", open, planned.target);
        if (!name) return {};
        planned.target = *name;
    } else if (planned.IsInPlace()) {
        if (!doc.MayOverwrite(doc.filePath)) return {};
        doc.RememberStamp(doc.filePath);  // that is the version that may be replaced
    } else if (session.files.Stamp(planned.target) &&
               !session.host.Confirm(
                   fmt::format("The result is saved in kymr-dat format. The file {} exists. Replace it?",
                               planned.target.string()))) {
        return {};
    }
    return planned;
}

constexpr int keptShownMs = 10000;
constexpr const char* followedText = " and what followed";
constexpr const char* leftTransformName = "Transform before the program ended";

// Says that undo will not bring the recording back, before it is replaced. False when the user gives up.
bool MayReplaceForGood(CDataDoc& doc, const std::filesystem::path& target, const std::string& why) {
    return doc.GetHost().Confirm(
        fmt::format("Undo will not be able to take this transform back: {} is replaced for good.\n{}\nTick "
                    "\"Write new file\" to leave it as it is.\nReplace it all the same?",
                    target.string(), why));
}

}  // namespace

bool CMainFrame::RunTransform(const Operation& operation, CTransformDlg& dialog) {
    if (isTransforming_) return false;
    const QScopedValueRollback working(isTransforming_, true);
    if (dialog.m_bBatch) return MayStartBatch() && StartBatch(OrderTransformBatch(batch_, operation, dialog));
    return WriteAndShow(dialog, dialog.m_bNewFile, dialog.QuestionBefore());
}

bool CMainFrame::RunWithTraces(CBatchBaseDlg& block) {
    if (isTransforming_) return false;
    const QScopedValueRollback working(isTransforming_, true);
    return WriteAndShow(block, block.WritesNewFile(), {});
}

bool CMainFrame::WriteAndShow(CBatchBaseDlg& dialog, bool isNewFile, const std::string& question) {
    if (!dialog.Document()) throw std::runtime_error(noViewText);
    CDataDoc& doc = *dialog.Document();
    if (doc.operationsAtWork > 0) throw std::runtime_error(operationAtWorkText);
    if (std::string fault = dialog.Validate(); !fault.empty()) throw std::runtime_error(fault);
    if (!question.empty() && !doc.GetHost().Confirm(question, dialog.Title())) return false;
    const Keep keep = isNewFile ? Keep::writeNew : Keep::inPlace;
    RunRequest request{Affects::traces, keep, {doc.filePath}};
    request.extension = dialog.ResultExtension();
    const RunPlan plan = PlanRun(session_.files, request);
    const auto planned = AskTarget(doc, plan, Documents());
    if (!planned) return false;
    const CChildFrame* atTarget = FindOpen(planned->target);
    if (atTarget && &atTarget->Document() != &doc)
        throw std::runtime_error(
            fmt::format("{} is open in a window. Close it first.", planned->target.filename().string()));
    if (const std::string fault = TargetFault(doc, *planned); !fault.empty()) throw std::runtime_error(fault);
    std::string why;  // undo will not bring back what is replaced
    auto kept = isNewFile ? nullptr : TryToKeep(session_, planned->target, why);
    if (!why.empty() && !MayReplaceForGood(doc, planned->target, why)) return false;
    try {
        if (!WriteAsPlanned(dialog, session_, *planned, plan.keep)) return false;
    } catch (const Cancelled&) {
        return false;
    }
    // The new file has what was changed in memory; where the source stays, it has not.
    if (isNewFile && !doc.SaveModified()) {
        OpenFile(planned->target);
        return true;
    }
    std::unique_ptr<TransformStep> step;
    if (kept) step = std::make_unique<TransformStep>(*this, dialog.Title(), std::move(kept));
    return ReplaceDocument(doc, planned->target, std::move(step));
}

std::shared_ptr<CDataDoc> CMainFrame::OpenVersion(const std::filesystem::path& path) {
    return OpenDocument(session_, path, {OpenFor::editing, OpenTalk::tells, opening_.settings});
}

void CMainFrame::ShowVersion(CDataDoc& present, std::shared_ptr<CDataDoc>& doc,
                             std::vector<std::unique_ptr<CKymoraView>>& views) {
    const std::vector<CChildFrame*> children = ChildrenOf(present);
    CChildFrame* const active = ActiveChild();
    std::shared_ptr<CDataDoc> before = children.front()->SharedDocument();
    std::vector<std::unique_ptr<CKymoraView>> viewsBefore;
    views.resize(children.size());
    for (size_t i = 0; i < children.size(); ++i) {
        CChildFrame& child = *children[i];
        operations_->LetGo(&child);
        viewsBefore.push_back(child.Exchange(doc, std::move(views[i])));
        Watch(child);
    }
    views = std::move(viewsBefore);
    std::swap(doc, before);
    statusBar()->clearMessage();
    if (active) {
        operations_->SetActive(active);
        active->Widget().setFocus();
    }
    NumberWindows();
    UpdateCommands();
}

bool CMainFrame::ReplaceDocument(CDataDoc& doc, const std::filesystem::path& path,
                                 std::unique_ptr<TransformStep> step) {
    std::shared_ptr<CDataDoc> made = OpenVersion(path);
    if (!made) {
        if (step) TakeBack(*step, doc);
        return false;
    }
    recent_.Add(path);
    emit SettingsChanged();
    CDataDoc& shown = *made;
    const bool isInPlace = IsSameFile(session_.files, doc.filePath, path);
    std::unique_ptr<OtherVersion> earlier = isInPlace && !step ? std::move(doc.Undo().Before()) : nullptr;
    std::vector<std::unique_ptr<CKymoraView>> views;
    ShowVersion(doc, made, views);
    if (step) {
        if (!step->File().Name().empty())
            statusBar()->showMessage(
                tr("Undo brings %1 back as it was, until it is closed").arg(FileName(path.filename())),
                keptShownMs);
        made->Undo().ForgetRedo();
        step->document = std::move(made);
        step->views = std::move(views);
        shown.Undo().Before() = std::move(step);
    } else {
        // What came before the last version that was kept is still there.
        if (earlier && !earlier->name.ends_with(followedText)) earlier->name += followedText;
        shown.Undo().Before() = std::move(earlier);
        views.clear();
    }
    UpdateCommands();
    return true;
}

// The new file does not open: nobody is left with it alone.
void CMainFrame::TakeBack(TransformStep& step, CDataDoc& doc) {
    try {
        step.File().Swap(session_.files.Stamp(step.File().Place()));
        session_.host.Failure("The transform was not done. The recording is as it was.");
    } catch (const FileError& error) {
        doc.GetHost().Failure(error.what());
    }
}

void CMainFrame::TakeLeftVersions(CDataDoc& doc) {
    if (doc.openedReadOnly || (doc.GetFileType() != typeFloat && doc.GetFileType() != typeRecording)) return;
    std::unique_ptr<TransformStep> newest;
    for (std::unique_ptr<KeptFile>& file : TakeLeftFiles(session_, doc.filePath)) {
        auto step = std::make_unique<TransformStep>(*this, leftTransformName, std::move(file));
        step->earlier = std::move(newest);
        newest = std::move(step);
    }
    if (!newest) return;
    const std::string text = fmt::format(
        "The program ended before {} was closed, and the recording as it was before the last transform is "
        "still there, as {}.\nEdit > Undo brings it back. It goes when the recording is closed.",
        doc.filePath.filename().string(), newest->File().Name().filename().string());
    doc.Undo().Before() = std::move(newest);
    if (doc.GetOpening().request.talk == OpenTalk::logs)
        session_.host.Log(text + "\n");
    else
        session_.host.Message(text);
    UpdateCommands();
}

// What a transform replaced goes with the recording, which is about to be closed for another name.
void CMainFrame::OfferToPutBack(CDataDoc& doc) {
    auto* oldest = dynamic_cast<TransformStep*>(doc.Undo().Before().get());
    while (oldest && oldest->document && oldest->document->Undo().Before())
        oldest = dynamic_cast<TransformStep*>(oldest->document->Undo().Before().get());
    if (!oldest || oldest->File().Name().empty()) return;
    const std::string name = doc.filePath.filename().string();
    if (session_.host.Confirm(fmt::format(
            "{} was changed by transforms, and is closed now: undo ends here.\nPut it back as it was before "
            "them?\nOK puts it back, Cancel leaves it transformed.",
            name)))
        oldest->SwapFiles(doc);
}

}  // namespace kymora
