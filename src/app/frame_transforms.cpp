// The main frame's part of transforms: what becomes of the windows when a recording gets a new file.

#include <fmt/format.h>

#include "app/child_frame.h"
#include "app/main_frame.h"
#include "batch/batch_run.h"
#include "document/native_writer.h"
#include "document/new_file.h"
#include "import/open_document.h"
#include "transforms/transform_dlg.h"

namespace kymora {

namespace {

constexpr const char* atWorkText =
    "An operation is still at work on this recording. Wait until it is done, or cancel it in its window.";

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

}  // namespace

bool CMainFrame::RunTransform(const Operation& operation, CTransformDlg& dialog) {
    if (dialog.m_bBatch) return RunTransformBatch(operation, dialog, batch_);
    if (!dialog.Document()) throw std::runtime_error(noViewText);
    CDataDoc& doc = *dialog.Document();
    if (doc.operationsAtWork > 0) throw std::runtime_error(atWorkText);
    if (std::string fault = dialog.Validate(); !fault.empty()) throw std::runtime_error(fault);
    const RunPlan plan = PlanBatch(session_, {operation, {}, {doc.filePath}, dialog.m_bNewFile});
    const auto planned = AskTarget(doc, plan, Documents());
    if (!planned) return false;
    const CChildFrame* atTarget = FindOpen(planned->target);
    if (atTarget && &atTarget->Document() != &doc)
        throw std::runtime_error(
            fmt::format("{} is open in a window. Close it first.", planned->target.filename().string()));
    if (const std::string fault = TargetFault(doc, *planned); !fault.empty()) throw std::runtime_error(fault);
    try {
        if (!WriteAsPlanned(dialog, session_, *planned, plan.keep)) return false;
    } catch (const Cancelled&) {
        return false;
    }
    // The new file has what was changed in memory; where the source stays, it has not.
    if (dialog.m_bNewFile && !doc.SaveModified())
        OpenFile(planned->target);
    else
        ReplaceDocument(doc, planned->target);
    return true;
}

void CMainFrame::ReplaceDocument(CDataDoc& doc, const std::filesystem::path& path) {
    // The new window comes before the old one goes, since windows of operations close with the last.
    std::shared_ptr<CDataDoc> made =
        OpenDocument(session_, path, {OpenFor::editing, OpenTalk::tells, opening_.settings});
    if (!made) return;
    recent_.Add(path);
    emit SettingsChanged();
    const CChildFrame* active = ActiveChild();
    CChildFrame* front = nullptr;
    for (CChildFrame* old : ChildrenOf(doc)) {
        const QRect place = old->geometry();
        CChildFrame* child = AddChild(made);
        child->View().ChangeViewport(old->View().GetViewport(), false);
        if (!child->isMaximized()) child->setGeometry(place);
        if (old == active || !front) front = child;
    }
    if (front) mdi_->setActiveSubWindow(front);
    RemoveDocument(doc);
}

}  // namespace kymora
