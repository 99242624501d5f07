#include "widgets/form_viewers.h"

#include <QFontDatabase>
#include <QHeaderView>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTableWidget>
#include <algorithm>

#include "host/form.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int mostLines = 12, leastLines = 3;
constexpr int widestInLines = 50;  // of a table, in heights of a line
constexpr int textColumns = 64, textLines = 12;

class TableViewer : public FormEditor {
  public:
    TableViewer(const Field& field, QWidget* parent) : table_(new QTableWidget(parent)) {
        table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table_->setSelectionBehavior(QAbstractItemView::SelectRows);
        table_->setAlternatingRowColors(!field.dimmed);
        table_->setTabKeyNavigation(false);
        table_->verticalHeader()->hide();
        table_->horizontalHeader()->setStretchLastSection(true);
    }
    QWidget* Widget() const override { return table_; }
    void Write(const Field& field) override {
        const QPoint place(table_->horizontalScrollBar()->value(), table_->verticalScrollBar()->value());
        QStringList headings;
        for (const std::string& heading : field.choices) headings += ToQString(heading);
        table_->setColumnCount(static_cast<int>(headings.size()));
        table_->setHorizontalHeaderLabels(headings);
        table_->setRowCount(static_cast<int>(field.rows.size()));
        for (int row = 0; row < table_->rowCount(); ++row) WriteRow(field, row);
        table_->resizeColumnsToContents();
        table_->resizeRowsToContents();
        if (!isSized_) TakeRoom();
        table_->horizontalScrollBar()->setValue(place.x());
        table_->verticalScrollBar()->setValue(place.y());
    }
    bool IsWide() const override { return true; }

  private:
    // For what it shows first; what comes later has the scroll bars, and the window stays as it is.
    void TakeRoom() {
        isSized_ = true;
        const int lines = std::clamp(table_->rowCount(), leastLines, mostLines);
        const int line = table_->rowCount() > 0 ? table_->rowHeight(0) : LineHeight(*table_);
        table_->setMinimumHeight(lines * line + table_->horizontalHeader()->sizeHint().height() + 4);
        table_->setMinimumWidth(
            std::min(table_->horizontalHeader()->length() + 24, widestInLines * LineHeight(*table_)));
    }
    void WriteRow(const Field& field, int row) {
        const auto& cells = field.rows[static_cast<size_t>(row)];
        for (int column = 0; column < table_->columnCount(); ++column) {
            const auto at = static_cast<size_t>(column);
            auto* item = new QTableWidgetItem(at < cells.size() ? ToQString(cells[at]) : "");
            if (field.dimmed && field.dimmed(static_cast<size_t>(row), at)) Dim(*item);
            table_->setItem(row, column, item);
        }
    }
    void Dim(QTableWidgetItem& item) const {
        const QPalette& colours = table_->palette();
        item.setForeground(colours.brush(QPalette::Disabled, QPalette::Text));
        item.setBackground(colours.brush(QPalette::Window));
        QFont font = item.font();
        font.setStrikeOut(true);
        item.setFont(font);
    }

    QTableWidget* table_;
    bool isSized_ = false;
};

class TextViewer : public FormEditor {
  public:
    explicit TextViewer(QWidget* parent) : view_(new QPlainTextEdit(parent)) {
        view_->setReadOnly(true);
        view_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        view_->setTabChangesFocus(true);
        view_->setLineWrapMode(QPlainTextEdit::NoWrap);
        view_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        view_->setMinimumSize(textColumns * CharacterWidth(), textLines * LineHeight(*view_));
    }
    QWidget* Widget() const override { return view_; }
    void Write(const Field& field) override {
        view_->setTabStopDistance(std::max(1, field.tabWidth) * CharacterWidth());
        const QString text = ToQString(field.text);
        if (text != view_->toPlainText()) view_->setPlainText(text);
    }
    bool IsWide() const override { return true; }

  private:
    int CharacterWidth() const { return view_->fontMetrics().horizontalAdvance('0'); }

    QPlainTextEdit* view_;
};

}  // namespace

std::unique_ptr<FormEditor> MakeTableViewer(const Field& field, QWidget* parent) {
    return std::make_unique<TableViewer>(field, parent);
}

std::unique_ptr<FormEditor> MakeTextViewer(QWidget* parent) { return std::make_unique<TextViewer>(parent); }

}  // namespace kymora
