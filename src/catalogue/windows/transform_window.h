#pragma once
// The window of a transform, which stops the rest of the program while it is open: "OK", "Cancel", the check
// "Batch process" and a preview.

#include <QPointer>

#include "catalogue/windows/operation_window.h"
#include "display/windows/preview_window.h"
#include "transforms/transform_dlg.h"

class QCheckBox;

namespace kymora {

inline constexpr const char* noPreviewText = "Preview unavailable in multi-batch configuration mode.";
inline constexpr const char* previewGapsText =
    "Note: the preview window ignores episode boundaries and treats gaps as zero-filled data but the full "
    "transform treats episodes separately and ignores gaps";

// Passes on to the transform, but gives it no settings that are refused: there is no transformed trace then,
// and the fault is the message.
class GuardedPreviewHost : public CPreviewHost {
  public:
    // `fault` says why the settings may not be used; empty when they may.
    GuardedPreviewHost(CPreviewHost& transform, CTransformDlg& block, std::function<std::string()> fault)
        : transform_(transform), block_(block), fault_(std::move(fault)) {}
    void OnNeedData(PreviewData& data) override;
    int PreviewTrace() const override { return transform_.PreviewTrace(); }
    std::string ResultUnits(const std::string& units) const override { return transform_.ResultUnits(units); }

  private:
    CPreviewHost& transform_;  // the block, as what it is
    CTransformDlg& block_;
    std::function<std::string()> fault_;
};

class TransformWindow : public OperationWindow {
    Q_OBJECT

  public:
    // `block` was made by the operation. `look`, if given, outlives the window and keeps what its previews
    // look like.
    TransformWindow(Session& session, const Operation& operation, std::unique_ptr<CTransformDlg> block,
                    PreviewLook* look = nullptr, QWidget* parent = nullptr);
    ~TransformWindow() override;

    CTransformDlg& Transform() { return transform_; }

    // Does the transform that the window was set for; true closes the window. Set before it is shown.
    std::function<bool(CTransformDlg&)> onTransform;

    // The button "OK".
    bool Run() override;
    // The button "Preview". Null where the transform has none, or there is no recording.
    PreviewWindow* OpenPreview();
    PreviewWindow* Preview() const { return preview_; }

    // Without a preview, and a batch of its own.
    void SetConfiguring(std::function<void(CBatchBaseDlg&)> taken) override;
    void SetActive(CDataDoc* doc, DocumentView* view) override;
    void DocumentChanged(UpdateHint hint) override;
    void done(int result) override;

  protected:
    void Drawn() override;

  private:
    TransformWindow(Session& session, const Operation& operation, CTransformDlg& transform,
                    std::unique_ptr<CTransformDlg>&& block, PreviewLook* look, QWidget* parent);
    void SetBatch(bool isOn);
    void ClosePreview();
    // What the traces of a result depend on: the settings, or why they may not be used.
    std::string PreviewedSettings();
    void RefreshPreview();

    CTransformDlg& transform_;                  // the block, as what it is
    std::unique_ptr<GuardedPreviewHost> host_;  // null where the transform has no preview
    PreviewLook ownLook_;
    PreviewLook& look_;
    QPointer<PreviewWindow> preview_;
    QCheckBox* batch_ = nullptr;
    QPushButton* previewButton_ = nullptr;
    std::string previewed_;  // the settings that the preview shows
};

}  // namespace kymora
