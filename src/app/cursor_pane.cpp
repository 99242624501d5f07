#include "app/cursor_pane.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include "display/overlays/cursor_table.h"

namespace kymora {

namespace {

constexpr int refreshMs = 30;
constexpr int margin = 4;

QToolButton* MakeButton(const QString& text, const QString& toolTip, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setToolTip(toolTip);
    return button;
}

}  // namespace

CursorPane::CursorPane(std::function<CKymoraView*()> view, std::function<void(std::string_view)> run,
                       QWidget* parent)
    : QWidget(parent), view_(std::move(view)), run_(std::move(run)) {
    setObjectName("cursorPane");
    pairs_ = new QComboBox(this);
    pairs_->setObjectName("cursorPairs");
    pairs_->setToolTip(tr("Between which cursors the differences are told"));
    pairs_->setAccessibleName(pairs_->toolTip());
    pairs_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    copy_ = MakeButton(tr("Copy"), tr("Copies the table for a spreadsheet (Ctrl+C)"), this);
    save_ = MakeButton(tr("Save..."), tr("Writes the table to a file of comma-separated values"), this);
    table_ = new QTableWidget(this);
    table_->setObjectName("cursorTable");
    table_->setAccessibleName(tr("Table of cursors"));
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setMinimumSectionSize(fontMetrics().height() + margin);
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + margin);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    hint_ = new QLabel(tr("No cursors yet. v adds a vertical one and h a horizontal one, Shift+v and Shift+h "
                          "at the mouse."),
                       this);
    hint_->setWordWrap(true);
    hint_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(tr("Differences"), this));
    row->addWidget(pairs_);
    row->addStretch(1);
    row->addWidget(copy_);
    row->addWidget(save_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, margin, margin, margin);
    column->addLayout(row);
    column->addWidget(hint_, 1);
    column->addWidget(table_, 1);
    connect(pairs_, &QComboBox::activated, this, &CursorPane::ChoosePair);
    connect(copy_, &QToolButton::clicked, this, [this] { run_("cursor-table-copy"); });
    connect(save_, &QToolButton::clicked, this, [this] { run_("cursor-table-save"); });
    refresh_.setSingleShot(true);
    refresh_.setInterval(refreshMs);
    connect(&refresh_, &QTimer::timeout, this, &CursorPane::Refresh);
}

void CursorPane::Update() {
    if (isVisible() && !refresh_.isActive()) refresh_.start();
}

void CursorPane::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    Refresh();
}

void CursorPane::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) return run_("cursor-table-copy");
    QWidget::keyPressEvent(event);
}

void CursorPane::Refresh() {
    const CKymoraView* view = view_();
    const bool any = view && view->DatumLines().VertCount() + view->DatumLines().HorzCount() > 0;
    for (QWidget* widget : std::initializer_list<QWidget*>{pairs_, copy_, save_}) widget->setEnabled(any);
    hint_->setVisible(!any);
    table_->setVisible(any);
    if (!any) return;
    ListPairs(view->DatumLines());
    Fill(TableOf(view->Plot(), MeasureCursors(*view)));
}

// The items have the line as their data, the horizontal ones below -1.
void CursorPane::ListPairs(const CDatumLines& lines) {
    std::vector<std::pair<QString, int>> items{{tr("between neighbours"), -1}};
    for (int line = 0; line < lines.VertCount(); ++line)
        items.emplace_back(tr("from %1").arg(QString::fromStdString(CursorName(true, line))), line);
    for (int line = 0; line < lines.HorzCount(); ++line)
        items.emplace_back(tr("from %1").arg(QString::fromStdString(CursorName(false, line))), -2 - line);
    if (pairs_->count() != static_cast<int>(items.size()) ||
        pairs_->findData(items.back().second) != pairs_->count() - 1) {
        pairs_->clear();
        for (const auto& [text, data] : items) pairs_->addItem(text, data);
    }
    const DatumPairs& chosen = lines.m_pairs;
    const int data = chosen.vertFrom >= 0   ? chosen.vertFrom
                     : chosen.horzFrom >= 0 ? -2 - chosen.horzFrom
                                            : -1;
    pairs_->setCurrentIndex(pairs_->findData(data));
}

void CursorPane::ChoosePair(int index) {
    const CKymoraView* view = view_();
    if (!view) return;
    const int data = pairs_->itemData(index).toInt();
    view->DatumLines().m_pairs = {data >= 0 ? data : -1, data <= -2 ? -2 - data : -1};
    Refresh();
}

void CursorPane::Fill(const CursorTable& table) {
    table_->setRowCount(static_cast<int>(table.rows.size()));
    table_->setColumnCount(static_cast<int>(table.headings.size()));
    QStringList headings;
    for (const std::string& heading : table.headings) headings += QString::fromStdString(heading);
    table_->setHorizontalHeaderLabels(headings);
    for (int row = 0; row < table_->rowCount(); ++row) {
        const CursorTable::Row& shown = table.rows[static_cast<size_t>(row)];
        for (int column = 0; column < table_->columnCount(); ++column) {
            QTableWidgetItem* item = table_->item(row, column);
            if (!item) table_->setItem(row, column, item = new QTableWidgetItem);
            item->setText(QString::fromStdString(shown.cells[static_cast<size_t>(column)]));
            item->setTextAlignment((column == 0 ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
            QFont font = table_->font();
            font.setItalic(shown.isDifference);
            item->setFont(font);
        }
    }
}

}  // namespace kymora
