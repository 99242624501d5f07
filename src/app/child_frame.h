#pragma once
// The window of one view of a document inside the main frame. Views of one document share it.

#include <QMdiSubWindow>
#include <memory>

#include "display/kymora_view.h"
#include "display/windows/view_widget.h"
#include "document/data_doc.h"

namespace kymora {

class CChildFrame : public QMdiSubWindow {
    Q_OBJECT

  public:
    // With `like`, a view of the same document, the new view takes over what that one shows.
    explicit CChildFrame(std::shared_ptr<CDataDoc> doc, const CKymoraView* like = nullptr);
    ~CChildFrame() override;

    CDataDoc& Document() const { return *doc_; }
    const std::shared_ptr<CDataDoc>& SharedDocument() const { return doc_; }
    CKymoraView& View() const { return *view_; }
    ViewWidget& Widget() const { return *widget_; }

    // Shows another document in this window: a view that showed it before, or with null a new one. Answers
    // the view that was shown, without a window.
    std::unique_ptr<CKymoraView> Exchange(std::shared_ptr<CDataDoc> doc, std::unique_ptr<CKymoraView> view);

    // Closes without asking about changes.
    void CloseAtOnce();
    // The document's name, with `number` when it has several views (0: the only one).
    void ShowTitle(int number);
    void ShowTitle() { ShowTitle(number_); }

  signals:
    // The view, and with its last view the document, are about to go.
    void Going();

  protected:
    // The last view of a changed document asks.
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void GiveKeysToView();
    void ShowView();

    std::shared_ptr<CDataDoc> doc_;
    std::unique_ptr<CKymoraView> view_;
    ViewWidget* widget_ = nullptr;
    int number_ = 0;
    bool mayClose_ = false;
};

}  // namespace kymora
