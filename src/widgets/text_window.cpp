#include "widgets/text_window.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSaveFile>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

namespace kymora {

namespace {

constexpr int shownLines = 30;
constexpr int shownColumns = 100;
constexpr int tabColumns = 4;

// The columns of a table stand under each other only where its lines are whole. Tabs at the beginning of
// lines only set paragraphs in. Other columns are set by blanks.
bool HasColumns(const QString& text) {
    if (text.contains(QRegularExpression("\\S {3,}\\S"))) return true;
    for (qsizetype i = 1; i < text.size(); ++i)
        if (text[i] == '\t' && text[i - 1] != '\t' && text[i - 1] != '\n') return true;
    return false;
}

}  // namespace

TextWindow::TextWindow(const QString& title, const QString& text, QWidget* parent)
    : QDialog(parent),
      buttons_(new QDialogButtonBox(QDialogButtonBox::Close, this)),
      text_(new QPlainTextEdit(this)),
      search_(new QLineEdit(this)),
      found_(new QLabel(this)) {
    setWindowTitle(title);
    text_->setObjectName("text");
    text_->setReadOnly(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    const bool hasColumns = HasColumns(text);
    text_->setLineWrapMode(hasColumns ? QPlainTextEdit::NoWrap : QPlainTextEdit::WidgetWidth);
    if (!hasColumns) text_->setTabStopDistance(text_->fontMetrics().horizontalAdvance(' ') * tabColumns);
    text_->setPlainText(text);
    search_->setObjectName("search");
    search_->setPlaceholderText(tr("Find"));
    search_->setToolTip(tr("Enter finds the next place, Shift+F3 the one before"));
    search_->setClearButtonEnabled(true);
    connect(search_, &QLineEdit::returnPressed, this, &TextWindow::FindNext);
    connect(search_, &QLineEdit::textChanged, found_, &QLabel::clear);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, this, [this] {
        search_->setFocus();
        search_->selectAll();
    });
    connect(new QShortcut(QKeySequence(Qt::Key_F3), this), &QShortcut::activated, this,
            &TextWindow::FindNext);
    connect(new QShortcut(QKeySequence(Qt::SHIFT | Qt::Key_F3), this), &QShortcut::activated, this,
            &TextWindow::FindPrevious);

    auto* copy = buttons_->addButton(tr("&Copy"), QDialogButtonBox::ActionRole);
    auto* save = buttons_->addButton(tr("&Save..."), QDialogButtonBox::ActionRole);
    copy->setObjectName("copy");
    copy->setToolTip(tr("Copies what is selected, or all of the text"));
    save->setToolTip(tr("Writes the text to a file"));
    // Enter in the search box searches.
    for (QAbstractButton* button : buttons_->buttons())
        static_cast<QPushButton*>(button)->setAutoDefault(false);
    connect(copy, &QPushButton::clicked, this, &TextWindow::Copy);
    connect(save, &QPushButton::clicked, this, &TextWindow::Save);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* top = new QHBoxLayout;
    top->addWidget(search_, 1);
    top->addWidget(found_);
    auto* column = new QVBoxLayout(this);
    column->addLayout(top);
    column->addWidget(text_, 1);
    column->addWidget(buttons_);
    text_->setFocus();
    const QSize wanted(text_->fontMetrics().averageCharWidth() * shownColumns,
                       text_->fontMetrics().lineSpacing() * shownLines);
    resize(wanted.boundedTo(screen()->availableSize() * 8 / 10));
}

void TextWindow::OfferJson(const QString& json) {
    auto* copy = buttons_->addButton(tr("Copy as &JSON"), QDialogButtonBox::ActionRole);
    copy->setObjectName("copyJson");
    copy->setToolTip(tr("Copies all of it as data for other programs"));
    copy->setAutoDefault(false);
    connect(copy, &QPushButton::clicked, this, [json] { QGuiApplication::clipboard()->setText(json); });
}

bool TextWindow::FindNext() { return Find(false); }
bool TextWindow::FindPrevious() { return Find(true); }

bool TextWindow::Find(bool backwards) {
    const QString wanted = search_->text();
    if (wanted.isEmpty()) return false;
    const auto flags = backwards ? QTextDocument::FindBackward : QTextDocument::FindFlags();
    bool found = text_->find(wanted, flags);
    if (!found) {  // once around the end
        const QTextCursor before = text_->textCursor();
        text_->moveCursor(backwards ? QTextCursor::End : QTextCursor::Start);
        found = text_->find(wanted, flags);
        if (!found) text_->setTextCursor(before);
    }
    found_->setText(found ? QString() : tr("Not found"));
    return found;
}

void TextWindow::Copy() {
    const QTextCursor cursor = text_->textCursor();
    QString copied = cursor.hasSelection() ? cursor.selectedText() : text_->toPlainText();
    copied.replace(QChar::ParagraphSeparator, '\n');
    QGuiApplication::clipboard()->setText(copied);
}

void TextWindow::Save() {
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Save text"), windowTitle() + ".txt", tr("Text (*.txt)"));
    if (!path.isEmpty()) SaveTo(path);
}

bool TextWindow::SaveTo(const QString& path) {
    QSaveFile file(path);
    const bool written =
        file.open(QIODevice::WriteOnly) && file.write(text_->toPlainText().toUtf8()) >= 0 && file.commit();
    if (!written)
        QMessageBox::warning(this, windowTitle(), tr("The text was not saved.\n%1").arg(file.errorString()));
    return written;
}

}  // namespace kymora
