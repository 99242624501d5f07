#include "app/child_frame.h"

#include <QCloseEvent>

#include "widgets/text.h"

namespace kymora {

CChildFrame::CChildFrame(std::shared_ptr<CDataDoc> doc, const CKymoraView* like)
    : doc_(std::move(doc)), view_(std::make_unique<CKymoraView>(*doc_)) {
    setAttribute(Qt::WA_DeleteOnClose);
    widget_ = new ViewWidget(*view_, this);
    setWidget(widget_);
    setFocusProxy(widget_);
    view_->OnSize(widget_->sizeHint().width(), widget_->sizeHint().height());
    if (like)
        view_->OnInitialUpdate(*like);
    else
        view_->OnInitialUpdate();
    connect(widget_, &ViewWidget::ViewChanged, this, [this] { ShowTitle(); });
    ShowTitle();
}

CChildFrame::~CChildFrame() {
    emit Going();
    delete widget_;  // before the view that it shows
}

void CChildFrame::ShowTitle(int number) {
    number_ = number;
    QString title = FileName(doc_->filePath.filename());
    if (number > 0) title += QString(":%1").arg(number);
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
    const bool isLast = doc_.use_count() == 1;
    if (mayClose_ || !isLast || doc_->SaveModified()) {
        mayClose_ = true;
        event->accept();
    } else {
        event->ignore();
    }
}

}  // namespace kymora
