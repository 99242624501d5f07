#include "widgets/results_pane.h"

#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextOption>
#include <QVBoxLayout>
#include <algorithm>

#include "widgets/flow_layout.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int resultLetters = 64, resultLines = 14;
constexpr size_t measuredBytes = size_t{1} << 16;  // the widths of later lines are like those before
constexpr int betweenColumns = 2;                  // letters
constexpr size_t widestColumn = 40;

// The widths of the columns of a text whose cells are parted by tabs, in letters. The last cell of a line
// needs no room.
struct Columns {
    std::vector<size_t> widths;
    size_t lastCell = 0;  // the longest one behind a tab
};

Columns ColumnsOf(std::string_view text) {
    Columns columns;
    std::vector<size_t>& widths = columns.widths;
    size_t column = 0, width = 0;
    for (const char c : text) {
        if (c == '\t') {
            if (widths.size() <= column) widths.resize(column + 1);
            widths[column] = std::max(widths[column], std::min(width, widestColumn));
            ++column;
            width = 0;
        } else if (c == '\n') {
            if (column > 0) columns.lastCell = std::max(columns.lastCell, width);
            column = width = 0;
        } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++width;
        }
    }
    return columns;
}

}  // namespace

ResultsPane::ResultsPane(Writer writer, QWidget* parent)
    : QWidget(parent),
      writer_(std::move(writer)),
      text_(new QPlainTextEdit(this)),
      notice_(new QLabel(tr(resultsCutText), this)),
      copy_(new QPushButton(tr("Cop&y"), this)),
      buttons_(new FlowLayout) {
    text_->setObjectName("results");
    text_->setAccessibleName(tr("Results"));
    text_->setReadOnly(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setTabChangesFocus(true);
    text_->setAcceptDrops(false);
    text_->setPlaceholderText(tr("Results appear here."));
    notice_->setObjectName("resultsNotice");
    notice_->setWordWrap(true);
    notice_->hide();
    copy_->setObjectName("copyResults");
    copy_->setToolTip(tr("Copies the whole text to the clipboard"));
    copy_->setAutoDefault(false);
    copy_->setEnabled(false);
    connect(copy_, &QPushButton::clicked, this, &ResultsPane::Copy);
    buttons_->addWidget(copy_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(text_, 1);
    column->addWidget(notice_);
    column->addLayout(buttons_);
}

QSize ResultsPane::sizeHint() const {
    const QFontMetrics metrics = text_->fontMetrics();
    return {metrics.averageCharWidth() * resultLetters, metrics.lineSpacing() * resultLines};
}

void ResultsPane::AddButton(QPushButton* button) { buttons_->addWidget(button); }

void ResultsPane::SetSave(std::function<void()> save) {
    save_ = new QPushButton(tr("Sa&ve results..."), this);
    save_->setObjectName("saveAllResults");
    save_->setToolTip(tr("Saves the whole text, or its table of values (.csv)"));
    save_->setAutoDefault(false);
    save_->setEnabled(copy_->isEnabled());
    connect(save_, &QPushButton::clicked, this, [save = std::move(save)] { save(); });
    AddButton(save_);
}

std::vector<QWidget*> ResultsPane::TabStops() const {
    std::vector<QWidget*> stops{text_, copy_};
    if (save_) stops.push_back(save_);
    return stops;
}

void ResultsPane::Show() {
    std::string text;
    isCut_ = false;
    writer_([&](std::string_view piece) {
        if (text.size() + piece.size() <= mostShownResults) {
            text += piece;
            return true;
        }
        // Whole lines only.
        text += piece.substr(0, mostShownResults - text.size());
        text.resize(text.rfind('\n') + 1);
        isCut_ = true;
        return false;
    });
    SetColumns(text);
    text_->setPlainText(ToQString(text));
    notice_->setVisible(isCut_);
    EnableButtons(!text.empty());
}

void ResultsPane::EnableButtons(bool hasText) {
    copy_->setEnabled(hasText);
    if (save_) save_->setEnabled(hasText);
}

bool ResultsPane::HasText() const { return !text_->document()->isEmpty(); }

void ResultsPane::Clear() {
    text_->clear();
    notice_->hide();
    EnableButtons(false);
}

void ResultsPane::SetColumns(const std::string& text) {
    QTextOption option = text_->document()->defaultTextOption();
    QList<QTextOption::Tab> tabs;
    const double letter = text_->fontMetrics().horizontalAdvance('0');
    double at = 0.0;
    const Columns columns = ColumnsOf(std::string_view(text).substr(0, measuredBytes));
    tableLetters_ = columns.lastCell;
    for (const size_t width : columns.widths) {
        tableLetters_ += width + betweenColumns;
        at += letter * static_cast<double>(width + betweenColumns);
        tabs.append(QTextOption::Tab(at, QTextOption::LeftTab));
    }
    option.setTabs(tabs);
    option.setTabStopDistance(letter * 12);
    text_->document()->setDefaultTextOption(option);
    FitLines();
}

// A long sentence goes on in the next line, unless that would break the lines of a table.
void ResultsPane::FitLines() {
    const double room =
        text_->viewport()->width() - 2.0 * text_->document()->documentMargin() - text_->cursorWidth();
    const double needed = text_->fontMetrics().horizontalAdvance('0') * static_cast<double>(tableLetters_);
    text_->setLineWrapMode(needed > room ? QPlainTextEdit::NoWrap : QPlainTextEdit::WidgetWidth);
}

void ResultsPane::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    FitLines();
}

void ResultsPane::Copy() {
    if (!isCut_)
        QGuiApplication::clipboard()->setText(text_->toPlainText());
    else if (!CopyText(writer_))
        notice_->setText(tr(tooLongToCopyText));
}

bool CopyText(const ResultsPane::Writer& writer) {
    std::string text;
    bool isTooLong = false;
    writer([&](std::string_view piece) {
        for (const char c : piece)
            if (c != '\r') text += c;
        isTooLong = text.size() > mostCopiedResults;
        return !isTooLong;
    });
    if (!isTooLong) QGuiApplication::clipboard()->setText(ToQString(text));
    return !isTooLong;
}

}  // namespace kymora
