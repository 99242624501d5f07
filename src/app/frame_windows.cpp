// The commands of the Window and the Help menu.

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QMessageBox>
#include <QScreen>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

#include "app/main_frame.h"
#include "host/version.h"

namespace kymora {

namespace {

constexpr int helpColumns = 120;
constexpr int pageMargin = 16;
constexpr int helpLines = 38;

// What the mouse does, which no table of commands tells.
std::vector<ListedCommand> MouseUses() {
    const QString group = QObject::tr("Mouse on the view");
    const auto use = [&](const QString& what, const QString& how) {
        return ListedCommand{group, what, how, {}, true, {}};
    };
    return {
        use(QObject::tr("Scroll"), QObject::tr("wheel")),
        use(QObject::tr("Zoom around the pointer"), QObject::tr("Ctrl+wheel")),
        use(QObject::tr("Move through the recording"), QObject::tr("drag the plot, or the slider")),
        use(QObject::tr("Select an axis"), QObject::tr("click its numbers; with Ctrl one more")),
        use(QObject::tr("Menu of what is under the pointer"),
            QObject::tr("right click, the menu key or Shift+F10")),
        use(QObject::tr("End a mode or a drag"), QObject::tr("ESC")),
    };
}

}  // namespace

// --- Window ---

void CMainFrame::OnWindowTile() { mdi_->tileSubWindows(); }
void CMainFrame::OnWindowTileHorizontally() { TileInRows(true); }
void CMainFrame::OnWindowTileVertically() { TileInRows(false); }
void CMainFrame::OnWindowCascade() { mdi_->cascadeSubWindows(); }
void CMainFrame::OnWindowNext() { mdi_->activateNextSubWindow(); }
void CMainFrame::OnWindowPrevious() { mdi_->activatePreviousSubWindow(); }

void CMainFrame::TileInRows(bool horizontally) {
    const std::vector<CChildFrame*> children = Children();
    CChildFrame* active = ActiveChild();
    const QSize area = mdi_->viewport()->size();
    const int count = static_cast<int>(children.size());
    for (int i = 0; i < count; ++i) {
        CChildFrame* child = children[static_cast<size_t>(i)];
        child->showNormal();
        // Rounded so that the last one ends at the edge.
        if (horizontally) {
            const int top = area.height() * i / count, bottom = area.height() * (i + 1) / count;
            child->setGeometry(0, top, area.width(), bottom - top);
        } else {
            const int left = area.width() * i / count, right = area.width() * (i + 1) / count;
            child->setGeometry(left, 0, right - left, area.height());
        }
    }
    if (active) mdi_->setActiveSubWindow(active);
}

// --- Help ---

namespace {

// Shows a page of the program's own, its pictures as wide as they find room.
class PageBrowser : public QTextBrowser {
  public:
    PageBrowser(int pictureWidth, QWidget* parent) : QTextBrowser(parent), pictureWidth_(pictureWidth) {}

    QVariant loadResource(int type, const QUrl& name) override {
        if (type != QTextDocument::ImageResource) return QTextBrowser::loadResource(type, name);
        const QImage picture(":/docs/pictures/" + name.fileName());
        if (picture.width() <= pictureWidth_) return picture;
        return picture.scaledToWidth(pictureWidth_, Qt::SmoothTransformation);
    }

  private:
    int pictureWidth_;
};

}  // namespace

void CMainFrame::OnHelpFirstSteps() {
    QFile page(":/docs/first-steps.md");
    if (!page.open(QIODevice::ReadOnly)) return;
    auto* dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("First steps"));
    const int pageWidth = fontMetrics().averageCharWidth() * helpColumns;
    auto* text = new PageBrowser(pageWidth - 4 * pageMargin, dialog);
    text->setObjectName("firstSteps");
    text->setOpenLinks(false);
    text->document()->setDocumentMargin(pageMargin);
    text->setMarkdown(QString::fromUtf8(page.readAll()));
    auto* column = new QVBoxLayout(dialog);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(text);
    const QSize wanted(pageWidth, fontMetrics().lineSpacing() * helpLines);
    dialog->resize(wanted.boundedTo(screen()->availableSize() * 8 / 10));
    dialog->show();
}

void CMainFrame::OnHelpShortcuts() {
    std::vector<ListedCommand> keys;
    for (ListedCommand& command : ListCommands())
        if (!command.keys.isEmpty()) keys.push_back(std::move(command));
    for (ListedCommand& use : MouseUses()) keys.push_back(std::move(use));
    auto* sheet = new CommandFinder(tr("Keyboard shortcuts"), std::move(keys), false, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->show();
}

void CMainFrame::OnHelpFindCommand() {
    auto* finder = new CommandFinder(tr("Find a command"), ListCommands(), true, this);
    finder->setAttribute(Qt::WA_DeleteOnClose);
    finder->open();
}

void CMainFrame::OnAbout() {
    auto* box = new QMessageBox(QMessageBox::NoIcon, tr("About Kymora"), {}, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIconPixmap(QApplication::windowIcon().pixmap(64));
    box->setText(
        tr("<b>Kymora %1</b><p>Views electrophysiological recordings, and keeps what you add to them.</p>"
           "<p>Free software under the GNU General Public License, version 3 or later.</p>")
            .arg(ProgramVersion()));
    box->open();
}

}  // namespace kymora
