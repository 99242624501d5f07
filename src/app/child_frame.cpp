#include "app/child_frame.h"

#include <QCloseEvent>

#include "app/desktop_host.h"

namespace kymora {

CChildFrame::CChildFrame(std::unique_ptr<CDataDoc> doc)
    : doc_(std::move(doc)), view_(std::make_unique<CKymoraView>(*doc_)) {
    setAttribute(Qt::WA_DeleteOnClose);
    widget_ = new ViewWidget(*view_, this);
    setWidget(widget_);
    setFocusProxy(widget_);
    view_->OnSize(widget_->sizeHint().width(), widget_->sizeHint().height());
    view_->OnInitialUpdate();
    connect(widget_, &ViewWidget::ViewChanged, this, &CChildFrame::ShowTitle);
    ShowTitle();
}

CChildFrame::~CChildFrame() {
    delete widget_;  // before the view that it shows
}

void CChildFrame::ShowTitle() {
    QString title = FileName(doc_->filePath.filename());
    if (doc_->openedReadOnly) title += tr(" (read-only)");
    setWindowTitle(title + "[*]");
    setWindowModified(doc_->IsModified());
    setToolTip({});
}

void CChildFrame::CloseAtOnce() {
    mayClose_ = true;
    close();
}

void CChildFrame::closeEvent(QCloseEvent* event) {
    if (mayClose_ || doc_->SaveModified()) {
        mayClose_ = true;
        event->accept();
    } else {
        event->ignore();
    }
}

}  // namespace kymora
