#pragma once
// The window of one document inside the main frame.

#include <QMdiSubWindow>
#include <memory>

#include "display/kymora_view.h"
#include "display/windows/view_widget.h"
#include "document/data_doc.h"

namespace kymora {

class CChildFrame : public QMdiSubWindow {
    Q_OBJECT

  public:
    explicit CChildFrame(std::unique_ptr<CDataDoc> doc);
    ~CChildFrame() override;

    CDataDoc& Document() const { return *doc_; }
    CKymoraView& View() const { return *view_; }
    ViewWidget& Widget() const { return *widget_; }

    // Closes without asking about changes.
    void CloseAtOnce();
    void ShowTitle();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    std::unique_ptr<CDataDoc> doc_;
    std::unique_ptr<CKymoraView> view_;
    ViewWidget* widget_ = nullptr;
    bool mayClose_ = false;
};

}  // namespace kymora
