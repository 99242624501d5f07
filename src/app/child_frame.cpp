#include "app/child_frame.h"

#include <QAction>
#include <QCloseEvent>
#include <QMdiArea>
#include <QMenu>

#include "display/axis_pages.h"
#include "widgets/text.h"

namespace kymora {

namespace {

// The same stretch of time of another version of a recording; of the samples, where they have all got another
// interval.
Viewport SameStretch(Viewport shown, const CDataDoc& present, const CDataDoc& other) {
    if (other.GetLength() != present.GetLength()) return shown;
    const double scale = other.sampleInterval / present.sampleInterval;
    return {shown.start * scale, shown.end * scale};
}

}  // namespace

CChildFrame::CChildFrame(std::shared_ptr<CDataDoc> doc, const CKymoraView* like)
    : doc_(std::move(doc)), view_(std::make_unique<CKymoraView>(*doc_)) {
    setAttribute(Qt::WA_DeleteOnClose);
    // Ctrl+W is a command of the File menu; held twice it would do nothing.
    for (QAction* action : systemMenu()->actions()) action->setShortcuts(QList<QKeySequence>());
    ShowView();
    view_->OnSize(widget_->sizeHint().width(), widget_->sizeHint().height());
    if (like) {
        view_->OnInitialUpdate(*like);
    } else {
        view_->OnInitialUpdate();
        view_->LeaveEmptyPlace();
        LimitAxesAtOnce(*view_);
    }
    ShowTitle();
}

CChildFrame::~CChildFrame() {
    emit Going();
    delete widget_;  // before the view that it shows
}

void CChildFrame::ShowView() {
    widget_ = new ViewWidget(*view_, this);
    setWidget(widget_);
    setFocusProxy(widget_);
    connect(widget_, &ViewWidget::ViewChanged, this, [this] { ShowTitle(); });
}

std::unique_ptr<CKymoraView> CChildFrame::Exchange(std::shared_ptr<CDataDoc> doc,
                                                   std::unique_ptr<CKymoraView> view) {
    if (view_->Mouse().Drag()) view_->Escape();
    const Viewport viewport = SameStretch(view_->GetViewport(), *doc_, *doc);
    const QSize size = widget_->size();
    ViewWidget* const old = widget_;
    old->Release();
    old->disconnect();
    const bool isNew = !view;
    if (isNew) view = std::make_unique<CKymoraView>(*doc);
    std::swap(view_, view);
    doc_ = std::move(doc);
    ShowView();
    // The key that led here may still be under way in it.
    old->hide();
    old->deleteLater();
    view_->OnSize(size.width(), size.height());
    if (isNew) {
        view_->OnInitialUpdate();
        view_->ShowAxisPage(view->m_nFirstAxis, view->m_nAxesAtOnce);
    } else {
        view_->OnUpdate(UpdateHint::samples);
    }
    view_->ChangeViewport(viewport, false);
    if (isNew) view_->DatumLines().TakeLines(view->DatumLines());
    widget_->ShowTimes();
    ShowTitle();
    return view;
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

// A change of style or of state takes the frame apart and hands the keyboard to whatever comes first, which
// is the edit box of the start time.
void CChildFrame::changeEvent(QEvent* event) {
    QMdiSubWindow::changeEvent(event);
    const bool takesApart =
        event->type() == QEvent::StyleChange || event->type() == QEvent::WindowStateChange;
    if (takesApart) QMetaObject::invokeMethod(this, &CChildFrame::GiveKeysToView, Qt::QueuedConnection);
}

void CChildFrame::GiveKeysToView() {
    const bool isActive = mdiArea() && mdiArea()->currentSubWindow() == this;
    const QWidget* holder = window()->focusWidget();
    if (isActive && (!holder || isAncestorOf(holder))) widget_->setFocus();
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
