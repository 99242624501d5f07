#include "catalogue/windows/transform_window.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include "batch/batch_run.h"
#include "catalogue/windows/operation_panes.h"

namespace kymora {

void GuardedPreviewHost::OnNeedData(PreviewData& data) {
    const std::string fault = fault_();
    if (fault.empty()) return transform_.OnNeedData(data);
    data.raw.assign(static_cast<size_t>(data.count), 0.0f);
    data.isTransformed = false;
    data.message = fault;
    try {
        block_.Document()->ReadBlock(data.trace, data.start, data.raw);
    } catch (const std::exception& error) {
        data.message = error.what();
    }
    data.isRefused = true;
}

TransformWindow::TransformWindow(Session& session, const Operation& operation,
                                 std::unique_ptr<CTransformDlg> block, PreviewLook* look, QWidget* parent)
    : TransformWindow(session, operation, *block, std::move(block), look, parent) {}

// The reference is taken before the block goes to the base.
TransformWindow::TransformWindow(Session& session, const Operation& operation, CTransformDlg& transform,
                                 std::unique_ptr<CTransformDlg>&& block, PreviewLook* look, QWidget* parent)
    : OperationWindow(session, operation, std::move(block), {tr("OK"), tr("Cancel")}, parent),
      transform_(transform),
      look_(look ? *look : ownLook_) {
    setWindowModality(Qt::ApplicationModal);
    batch_ = new QCheckBox(tr("&Batch process"), this);
    batch_->setObjectName("batchProcess");
    batch_->setToolTip(tr("OK asks for files and transforms all of them"));
    connect(batch_, &QCheckBox::toggled, this, &TransformWindow::SetBatch);
    AddButton(batch_, save_);
    auto* previewed = dynamic_cast<CPreviewHost*>(&transform);
    if (!previewed) return;
    host_ =
        std::make_unique<GuardedPreviewHost>(*previewed, transform, [this] { return Fault().toStdString(); });
    previewButton_ =
        MakeButton(tr("&Preview"), "previewButton", tr("Show the traces before and after the transform"));
    previewButton_->setEnabled(false);
    connect(previewButton_, &QPushButton::clicked, this, &TransformWindow::OpenPreview);
    AddButton(previewButton_, run_);
}

TransformWindow::~TransformWindow() { ClosePreview(); }

// --- OK ---

void TransformWindow::SetBatch(bool isOn) {
    Transform().m_bBatch = isOn;
    if (isOn)
        session_.host.Notice("batchTransform", "Batch Processing",
                             std::string(batchFilesText) + "\n\n" + batchWriteText);
}

bool TransformWindow::Run() {
    if (IsBusy() || !onTransform) return false;
    if (!Block().Document() || !Fault().isEmpty()) {
        FocusFault();
        return false;
    }
    bool isDone = false;
    // The preview reads the recording, which may be on its way out.
    if (preview_) preview_->setEnabled(false);
    Work([&] { isDone = onTransform(Transform()); });
    if (preview_) preview_->setEnabled(true);
    if (!isDone) return false;
    emit Ran();
    accept();
    return true;
}

void TransformWindow::done(int result) {
    if (!IsBusy()) ClosePreview();
    OperationWindow::done(result);
}

// --- asking for settings alone ---

void TransformWindow::SetConfiguring(std::function<void(CBatchBaseDlg&)> taken) {
    OperationWindow::SetConfiguring(std::move(taken));
    // The list says for all of its operations whether new files are written.
    Transform().m_bAllowNewFile = Transform().m_bNewFile = false;
    batch_->hide();
    if (!previewButton_) return;
    previewButton_->hide();
    auto* note = new QLabel(tr(noPreviewText), this);
    note->setObjectName("noPreview");
    note->setWordWrap(true);
    AddRow(note);
}

// --- the preview ---

PreviewWindow* TransformWindow::OpenPreview() {
    if (IsConfiguring()) {
        session_.host.Message(noPreviewText);
        return nullptr;
    }
    CDataDoc* doc = Block().Document();
    if (!host_ || !doc || IsBusy()) return nullptr;
    if (!preview_) {
        if (doc->hasGaps || doc->episodic)
            session_.host.Notice("previewIgnoresGaps", "Preview", previewGapsText);
        preview_ = new PreviewWindow(*host_, *doc, Block().View(), look_, this);
        preview_->setWindowTitle(tr("Preview - %1").arg(windowTitle()));
        RefreshPreview();
    }
    preview_->show();
    preview_->raise();
    preview_->activateWindow();
    return preview_;
}

void TransformWindow::ClosePreview() { delete preview_; }

std::string TransformWindow::PreviewedSettings() {
    std::string text = Fault().toStdString();
    if (!text.empty()) return text;
    for (const Field& param : Block().Params())
        if (param.HasValue() && param.key != "comment" && param.key != "newFile" && param.key != "addMode")
            text += param.key + "=" + param.ValueText() + "\n";
    return text;
}

void TransformWindow::RefreshPreview() {
    previewed_ = PreviewedSettings();
    preview_->Refresh();
}

void TransformWindow::Drawn() {
    const bool hasDoc = Block().Document() != nullptr;
    // What is told of the settings follows them; it is short.
    if (hasDoc && panes_->HasResults())
        panes_->Form().Fault().empty() ? panes_->ShowResults() : panes_->ClearResults();
    if (previewButton_) previewButton_->setEnabled(hasDoc);
    if (!preview_ || !hasDoc || IsBusy()) return;
    if (PreviewedSettings() != previewed_) RefreshPreview();
}

void TransformWindow::SetActive(CDataDoc* doc, DocumentView* view) {
    if (doc != Block().Document() || view != Block().View()) ClosePreview();
    OperationWindow::SetActive(doc, view);
}

void TransformWindow::DocumentChanged(UpdateHint hint) {
    previewed_.clear();
    OperationWindow::DocumentChanged(hint);
}

}  // namespace kymora
