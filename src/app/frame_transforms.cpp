// The main frame's part of transforms: what becomes of the windows when a recording gets a new file.

#include <fmt/format.h>

#include "app/child_frame.h"
#include "app/main_frame.h"
#include "batch/batch_run.h"
#include "document/native_writer.h"
#include "document/new_file.h"
#include "import/open_document.h"
#include "operations/save_result.h"
#include "transforms/transform_file.h"

namespace kymora {

namespace {

// Recordings open without the details dialog and the notice about gaps, which the user knows.
class QuietOpen {
  public:
    explicit QuietOpen(Session& session)
        : session_(session),
          skipFileDetails_(std::exchange(session.skipFileDetails, true)),
          gapNoticeShown_(std::exchange(session.gapNoticeShown, true)) {}
    ~QuietOpen() {
        session_.skipFileDetails = skipFileDetails_;
        session_.gapNoticeShown = gapNoticeShown_;
    }
    QuietOpen(const QuietOpen&) = delete;
    QuietOpen& operator=(const QuietOpen&) = delete;

  private:
    Session& session_;
    bool skipFileDetails_, gapNoticeShown_;
};

// Where the result goes; nothing when the user gives up.
std::optional<std::filesystem::path> AskTarget(CDataDoc& doc, bool newFile, std::span<CDataDoc* const> open) {
    Session& session = doc.GetSession();
    if (newFile)
        return AskNewFileName(session, "Save transformed file as ...", open,
                              NativeNameBeside(doc.filePath, true));
    if (FoldedExtension(doc.filePath) == ".kymr-dat") {
        if (!doc.MayOverwrite(doc.filePath)) return {};
        doc.RememberStamp(doc.filePath);  // that is the version that may be replaced
        return doc.filePath;
    }
    const std::filesystem::path target = NativeNameBeside(doc.filePath, false);
    if (session.files.Stamp(target) &&
        !session.host.Confirm(fmt::format(
            "The result is saved in kymr-dat format. The file {} exists. Replace it?", target.string())))
        return {};
    return target;
}

}  // namespace

bool CMainFrame::RunTransform(const Operation& operation, CTransformDlg& dialog) {
    if (dialog.m_bBatch) return RunTransformBatch(operation, dialog, batch_);
    auto* transform = dynamic_cast<CTransformTraceDlg*>(&dialog);
    if (!transform || !dialog.Document()) throw std::runtime_error(noViewText);
    CDataDoc& doc = *dialog.Document();
    if (std::string fault = dialog.Validate(); !fault.empty()) throw std::runtime_error(fault);
    const auto target = AskTarget(doc, dialog.m_bNewFile, Documents());
    if (!target) return false;
    const CChildFrame* atTarget = FindOpen(*target);
    if (atTarget && &atTarget->Document() != &doc)
        throw std::runtime_error(
            fmt::format("{} is open in a window. Close it first.", target->filename().string()));
    if (const std::string fault = TransformTargetFault(doc, *target); !fault.empty())
        throw std::runtime_error(fault);
    TransformedFile made;
    try {
        made = TransformFile(doc, *transform, *target);
    } catch (const Cancelled&) {
        return false;
    }
    if (!made.note.empty()) throw std::runtime_error(made.note);
    if (!made.isDone) return false;
    // The new file has what was changed in memory; where the source stays, it has not.
    if (dialog.m_bNewFile && !doc.SaveModified()) {
        OpenFile(*target);
        session_.pendingReset.fill(false);
        return true;
    }
    ReplaceDocument(doc, *target);
    return true;
}

void CMainFrame::ReplaceDocument(CDataDoc& doc, const std::filesystem::path& path) {
    const QuietOpen quiet(session_);
    // The new window comes before the old one goes, since windows of operations close with the last.
    std::shared_ptr<CDataDoc> made = OpenDocument(session_, path);
    session_.pendingReset.fill(false);
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
