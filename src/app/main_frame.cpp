#include "app/main_frame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QScreen>
#include <QStackedLayout>
#include <QStatusBar>
#include <QUrl>
#include <QVBoxLayout>

#include "acquisition/windows/recording_window.h"
#include "app/cursor_pane.h"
#include "app/desktop_host.h"
#include "app/operation_windows.h"
#include "app/start_page.h"
#include "app/transform_step.h"
#include "batch/windows/multi_batch_window.h"
#include "widgets/notice_bar.h"
#include "widgets/tool_icons.h"

namespace kymora {

CMainFrame::CMainFrame(Session& session, DesktopHost* host, OpenRequest opening)
    : session_(session),
      host_(host),
      opening_(std::move(opening)),
      mdi_(new QMdiArea(this)),
      status_(new QLabel(this)),
      batch_(
          session, [this] { return Documents(); }, opening_.settings) {
    batch_.replaceShown = [this](CDataDoc& doc, const std::filesystem::path& path) {
        ReplaceDocument(doc, path);
    };
    if (host) host->SetParentWindow(this);
    setWindowTitle("Kymora");
    QApplication::setWindowIcon(ProgramIcon());
    setAcceptDrops(true);
    mdi_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdi_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    // In the order of opening, whatever is in front: the list and the keys of the windows go by it.
    mdi_->setActivationOrder(QMdiArea::CreationOrder);
    auto* centre = new QWidget(this);
    auto* column = new QVBoxLayout(centre);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    notice_ = new NoticeBar(centre);
    column->addWidget(notice_);
    // The start page lies on the area of the recordings, which keeps its size beneath.
    auto* area = new QStackedLayout;
    area->setStackingMode(QStackedLayout::StackAll);
    area->addWidget(mdi_);
    MakeStart();
    // Hidden as well, it would hold the window at its own least width.
    start_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    area->addWidget(start_);
    area->setCurrentWidget(start_);
    column->addLayout(area, 1);
    setCentralWidget(centre);
    setTabPosition(Qt::AllDockWidgetAreas, QTabWidget::North);
    setAnimated(false);
    operations_ = new OperationWindows(*this);
    statusBar()->addWidget(status_, 1);
    TakeThemeColours();
    MakeCursorTable();
    MakeMenus();
    MakeToolBar();
    ShowWhatHasNoRoom();
    connect(mdi_, &QMdiArea::subWindowActivated, this, [this](QMdiSubWindow* window) {
        if (auto* child = qobject_cast<CChildFrame*>(window)) child->Widget().setFocus();
        status_->clear();
        cursorPane_->Update();
        operations_->SetActive(ActiveChild());
        UpdateCommands();
    });
    resize(QSize(1180, 760).boundedTo(screen()->availableSize() * 9 / 10));
    UpdateCommands();
    ShowStart();
}

// The ground beneath the windows of recordings: it knows of no other theme than that of its making.
void CMainFrame::TakeThemeColours() {
    constexpr int darker = 118;  // percent
    mdi_->setBackground(QApplication::palette().color(QPalette::Window).darker(darker));
}

CMainFrame::~CMainFrame() {
    // Children end while the frame still stands, so that nothing they say reaches a half-destroyed window.
    EndRecording();
    EndBatches();
    delete operations_;
    mdi_->disconnect(this);
    cursorDock_->disconnect(this);
    for (CChildFrame* child : Children()) {
        child->disconnect(this);
        child->Widget().disconnect(this);
        delete child;
    }
    if (host_) host_->SetParentWindow(nullptr);
}

void CMainFrame::ShowNotice(const QString& text) { notice_->Say(text); }

CChildFrame* CMainFrame::ActiveChild() const {
    // While the main window is not in front, the child that was active last still counts.
    if (auto* child = qobject_cast<CChildFrame*>(mdi_->currentSubWindow())) return child;
    return qobject_cast<CChildFrame*>(mdi_->activeSubWindow());
}

std::vector<CChildFrame*> CMainFrame::Children() const {
    std::vector<CChildFrame*> children;
    for (QMdiSubWindow* window : mdi_->subWindowList())
        if (auto* child = qobject_cast<CChildFrame*>(window)) children.push_back(child);
    return children;
}

std::vector<CDataDoc*> CMainFrame::Documents() const {
    std::vector<CDataDoc*> documents;
    for (const CChildFrame* child : Children())
        if (std::find(documents.begin(), documents.end(), &child->Document()) == documents.end())
            documents.push_back(&child->Document());
    return documents;
}

// --- what the window system sends ---

void CMainFrame::closeEvent(QCloseEvent* event) {
    // All are asked about before any is closed, so that a Cancel leaves everything as it was. A recording,
    // which stops for its question, comes last.
    if (!MayEndBatches() || !MayClose(session_.host, Documents()) || !MayEndRecording())
        return event->ignore();
    EndRecording();
    EndBatches();
    for (CChildFrame* child : Children()) child->CloseAtOnce();
    emit SettingsChanged();
    event->accept();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) return event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    std::vector<std::filesystem::path> paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths.push_back(ToPath(url.toLocalFile()));
    OpenEach(paths);
}

}  // namespace kymora
