#include "app/main_frame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "host/version.h"
#include "import/open_document.h"

namespace kymora {

namespace {

constexpr const char* openTitle = "Select Files to Open";
constexpr int allWindowsInMenu = 9;  // the listed windows that have an access key

// A spike on paper.
QIcon ProgramIcon() {
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(47, 111, 176), 3));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(3, 3, 58, 58), 10, 10);
    painter.setPen(QPen(QColor(128, 0, 0), 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF{{10, 40}, {22, 40}, {27, 12}, {34, 54}, {40, 34}, {45, 40}, {54, 40}});
    return pixmap;
}

// "All recognised types" first, then each format.
std::string OpenFilter() {
    std::string all, single;
    for (const DocumentFormat& format : DocumentFormats()) {
        const std::string pattern = "*" + std::string(format.extension);
        all += (all.empty() ? "" : ";") + pattern;
        single += std::string(format.filterText) + "|" + pattern + "|";
    }
    return "All recognised types|" + all + "|" + single + "|";
}

}  // namespace

CMainFrame::CMainFrame(Session& session, DesktopHost* host)
    : session_(session), mdi_(new QMdiArea(this)), status_(new QLabel(this)) {
    if (host) host->SetParentWindow(this);
    setWindowTitle("Kymora");
    QApplication::setWindowIcon(ProgramIcon());
    mdi_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdi_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdi_);
    statusBar()->addWidget(status_, 1);
    MakeFileMenu();
    MakeCommandMenus();
    MakeWindowMenu();
    MakeHelpMenu();
    connect(mdi_, &QMdiArea::subWindowActivated, this, [this](QMdiSubWindow* window) {
        if (auto* child = qobject_cast<CChildFrame*>(window)) child->Widget().setFocus();
        status_->clear();
        UpdateCommands();
        UpdateFileMenu();
    });
    resize(QSize(1180, 760).boundedTo(screen()->availableSize() * 9 / 10));
    UpdateCommands();
    UpdateFileMenu();
}

CMainFrame::~CMainFrame() {
    // Children end while the frame still stands, so that nothing they say reaches a half-destroyed window.
    mdi_->disconnect(this);
    for (CChildFrame* child : Children()) delete child;
}

// --- menus ---

void CMainFrame::MakeFileMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&File"));
    menu->addAction(tr("&Open..."), QKeySequence(QKeySequence::Open), this, &CMainFrame::OnFileOpen);
    save_ = menu->addAction(tr("&Save"), QKeySequence(QKeySequence::Save), this, &CMainFrame::OnFileSave);
    saveAs_ =
        menu->addAction(tr("Save &As..."), QKeySequence(tr("Ctrl+Shift+S")), this, &CMainFrame::OnFileSaveAs);
    close_ = menu->addAction(tr("&Close"), QKeySequence(QKeySequence::Close), this, &CMainFrame::OnFileClose);
    menu->addSeparator();
    menu->addAction(tr("E&xit"), QKeySequence(tr("Ctrl+Q")), this, &QWidget::close);
    connect(menu, &QMenu::aboutToShow, this, &CMainFrame::UpdateFileMenu);
}

QMenu* CMainFrame::MenuFor(std::string_view path) {
    if (const auto found = menus_.find(path); found != menus_.end()) return found->second;
    const size_t slash = path.rfind('/');
    QMenu* menu = nullptr;
    if (slash == std::string_view::npos) {
        menu = menuBar()->addMenu(ToQString(path));
        connect(menu, &QMenu::aboutToShow, this, &CMainFrame::UpdateCommands);
    } else {
        menu = MenuFor(path.substr(0, slash))->addMenu(ToQString(path.substr(slash + 1)));
    }
    return menus_.emplace(path, menu).first->second;
}

void CMainFrame::AddCommand(const Command& command) {
    QMenu* menu = MenuFor(command.menu);
    if (command.startsGroup) menu->addSeparator();
    // The key is shown, not set: the view takes it, so that an edit box can have it too.
    QAction* action = menu->addAction(ToQString(command.label));
    action->setObjectName(ToQString(command.id));
    action->setCheckable(command.checked != nullptr);
    connect(action, &QAction::triggered, this, [this, &command] {
        CChildFrame* child = ActiveChild();
        if (!child) return;
        RunCommand(command, {child->View(), QApplication::keyboardModifiers().testFlag(Qt::ControlModifier)});
        UpdateCommands();
    });
    commandActions_.emplace_back(&command, action);
}

void CMainFrame::MakeCommandMenus() {
    for (const Command& command : ViewCommands()) AddCommand(command);
}

void CMainFrame::UpdateCommands() {
    const CChildFrame* child = ActiveChild();
    for (const auto& [command, action] : commandActions_) {
        action->setEnabled(child && (!command->enabled || command->enabled(child->View())));
        if (command->checked) action->setChecked(child && command->checked(child->View()));
    }
}

void CMainFrame::UpdateFileMenu() {
    save_->setEnabled(ActiveChild() != nullptr);
    saveAs_->setEnabled(ActiveChild() != nullptr);
    close_->setEnabled(ActiveChild() != nullptr);
}

void CMainFrame::MakeWindowMenu() {
    windowMenu_ = menuBar()->addMenu(tr("&Window"));
    QAction* tile = windowMenu_->addAction(tr("&Tile"), mdi_, &QMdiArea::tileSubWindows);
    QAction* cascade = windowMenu_->addAction(tr("&Cascade"), mdi_, &QMdiArea::cascadeSubWindows);
    windowMenu_->addSeparator();
    connect(windowMenu_, &QMenu::aboutToShow, this, [this, tile, cascade] {
        tile->setEnabled(!Children().empty());
        cascade->setEnabled(!Children().empty());
        ListWindows();
    });
}

void CMainFrame::ListWindows() {
    for (QAction* action : windowListActions_) delete action;
    windowListActions_.clear();
    int number = 0;
    for (CChildFrame* child : Children()) {
        ++number;
        QString name = FileName(child->Document().filePath.filename());
        name.replace('&', "&&");
        const QString text = number <= allWindowsInMenu ? QString("&%1 %2").arg(number).arg(name) : name;
        QAction* action =
            windowMenu_->addAction(text, this, [this, child] { mdi_->setActiveSubWindow(child); });
        action->setCheckable(true);
        action->setChecked(child == ActiveChild());
        windowListActions_.push_back(action);
    }
}

void CMainFrame::MakeHelpMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Help"));
    menu->addAction(tr("&About Kymora"), this, &CMainFrame::OnAbout);
}

void CMainFrame::OnAbout() {
    QMessageBox::about(
        this, tr("About Kymora"),
        tr("<b>Kymora %1</b><p>Views electrophysiological recordings, and keeps what you add to them.</p>"
           "<p>Free software under the GNU General Public License, version 3 or later.</p>")
            .arg(ProgramVersion()));
}

// --- documents ---

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

CChildFrame* CMainFrame::FindOpen(const std::filesystem::path& path) const {
    std::error_code ignored;
    const auto wanted = std::filesystem::weakly_canonical(path, ignored);
    for (CChildFrame* child : Children())
        if (std::filesystem::weakly_canonical(child->Document().filePath, ignored) == wanted) return child;
    return nullptr;
}

CChildFrame* CMainFrame::AddChild(std::unique_ptr<CDataDoc> doc) {
    const bool isFirst = Children().empty();
    auto* child = new CChildFrame(std::move(doc));
    mdi_->addSubWindow(child);
    connect(&child->Widget(), &ViewWidget::StatusChanged, status_, &QLabel::setText);
    connect(&child->Widget(), &ViewWidget::ViewChanged, this, &CMainFrame::UpdateCommands);
    if (isFirst)
        child->showMaximized();
    else
        child->show();
    child->Widget().setFocus();
    return child;
}

CChildFrame* CMainFrame::OpenFile(const std::filesystem::path& path) {
    if (CChildFrame* child = FindOpen(path)) {
        mdi_->setActiveSubWindow(child);
        return child;
    }
    std::unique_ptr<CDataDoc> doc = OpenDocument(session_, path);
    return doc ? AddChild(std::move(doc)) : nullptr;
}

void CMainFrame::OpenFiles(const std::vector<std::filesystem::path>& paths) {
    for (const auto& path : paths) OpenFile(path);
    if (Children().size() > 1) mdi_->tileSubWindows();
}

void CMainFrame::OnFileOpen() {
    const QStringList names =
        QFileDialog::getOpenFileNames(this, tr(openTitle), {}, ToQtFilter(OpenFilter()));
    for (const QString& name : names) OpenFile(ToPath(name));
}

bool CMainFrame::OnFileSave() {
    CChildFrame* child = ActiveChild();
    if (!child) return false;
    const bool saved = child->Document().OnSaveDocument();
    if (saved && !child->Document().pendingRewritePath.empty())
        FinishConversion(child);
    else
        child->ShowTitle();
    return saved;
}

bool CMainFrame::OnFileSaveAs() {
    CChildFrame* child = ActiveChild();
    if (!child) return false;
    CDataDoc& doc = child->Document();
    auto suggestion = doc.filePath;
    suggestion.replace_extension(".kymr-dat");
    const auto chosen =
        session_.host.ChooseSaveFile({"Save As", "Kymora (*.kymr-dat)|*.kymr-dat||", "kymr-dat", suggestion});
    if (!chosen) return false;
    if (FindOpen(*chosen)) {
        session_.host.Message("The file " + chosen->string() + " is open. Choose another name.");
        return false;
    }
    try {
        SaveAs(doc, *chosen);
    } catch (const Cancelled&) {
        return false;
    } catch (const FileError& error) {
        session_.host.Message(std::string("The file was not saved.\n") + error.what());
        return false;
    }
    if (!OpenFile(*chosen)) return false;
    delete child;
    return true;
}

void CMainFrame::FinishConversion(CChildFrame* child) {
    const std::filesystem::path oldPath = child->Document().filePath;
    const std::filesystem::path newPath = child->Document().pendingRewritePath;
    const std::optional<FileStamp> oldStamp = child->Document().RememberedStamp(oldPath);
    delete child;  // the old file must not be open any more
    std::filesystem::path result = oldPath;
    result.replace_extension(".kymr-dat");
    OpenFile(FinishRewrite(session_, oldPath, newPath, oldStamp) ? result : newPath);
}

void CMainFrame::OnFileClose() {
    if (CChildFrame* child = ActiveChild()) child->close();
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    // All are asked before any is closed, so that a Cancel leaves everything as it was.
    for (CChildFrame* child : Children())
        if (!child->Document().SaveModified()) {
            event->ignore();
            return;
        }
    for (CChildFrame* child : Children()) child->CloseAtOnce();
    event->accept();
}

}  // namespace kymora
