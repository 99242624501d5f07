#include "eventedit/windows/channel_table.h"

#include <QAbstractTableModel>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeyEvent>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

#include "document/data_doc.h"
#include "widgets/text.h"

namespace kymora {

namespace {

enum Column { numberColumn, labelColumn, eventsColumn, colourColumn, shownColumn, columnCount };
constexpr int shownRows = 10, shownLetters = 44;
constexpr int swatchSize = 14;  // pixels

// With a border, so that black is seen on a dark window, and the same in a selected row.
QIcon SwatchOf(uint32_t colour) {
    QPixmap swatch(swatchSize, swatchSize);
    QPainter painter(&swatch);
    painter.setPen(Qt::gray);
    painter.setBrush(QColor(static_cast<int>(colour & 0xFF), static_cast<int>(colour >> 8 & 0xFF),
                            static_cast<int>(colour >> 16 & 0xFF)));
    painter.drawRect(0, 0, swatchSize - 1, swatchSize - 1);
    painter.end();
    QIcon icon(swatch);
    icon.addPixmap(swatch, QIcon::Selected);
    return icon;
}

bool IsIn(const std::vector<int>& channels, int channel) {
    return std::find(channels.begin(), channels.end(), channel) != channels.end();
}

}  // namespace

class ChannelTableModel : public QAbstractTableModel {
  public:
    using QAbstractTableModel::QAbstractTableModel;

    std::function<void(int channel, bool isShown)> onShown;

    const std::vector<int>& Rows() const { return rows_; }
    void Take(const CDataDoc* doc, std::vector<int> rows) {
        doc_ = doc;
        if (rows != rows_) {
            beginResetModel();
            rows_ = std::move(rows);
            endResetModel();
        } else if (!rows_.empty()) {
            emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
        }
    }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() || !doc_ ? 0 : static_cast<int>(rows_.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(kymora::columnCount);
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (role != Qt::DisplayRole || orientation == Qt::Vertical) return {};
        const QString names[] = {tr("Channel"), tr("Label"), tr("Events"), tr("Colour"), tr("Visible")};
        return names[section];
    }
    Qt::ItemFlags flags(const QModelIndex& at) const override {
        const Qt::ItemFlags usual = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
        return at.column() == shownColumn ? usual | Qt::ItemIsUserCheckable : usual;
    }
    QVariant data(const QModelIndex& at, int role) const override {
        const int number = rows_[static_cast<size_t>(at.row())];
        const CEventChan& chan = doc_->eventChannels[static_cast<size_t>(number)];
        if (role == Qt::DisplayRole) return Text(at.column(), number, chan);
        if (role == Qt::TextAlignmentRole && at.column() == eventsColumn)
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role == Qt::DecorationRole && at.column() == colourColumn) return SwatchOf(chan.channelColour);
        if (role == Qt::CheckStateRole && at.column() == shownColumn)
            return chan.channelVisible != 0 ? Qt::Checked : Qt::Unchecked;
        if (role == Qt::ToolTipRole && at.column() == labelColumn) return ToQString(chan.channelComment);
        return {};
    }
    bool setData(const QModelIndex& at, const QVariant& value, int role) override {
        if (role != Qt::CheckStateRole || at.column() != shownColumn) return false;
        onShown(rows_[static_cast<size_t>(at.row())], value.toInt() == Qt::Checked);
        return true;
    }

  private:
    QString Text(int column, int number, const CEventChan& chan) const {
        switch (column) {
        case numberColumn:
            return ToQString(ChannelDisplayName(number) + (chan.channelLocked ? ", locked" : ""));
        case labelColumn:
            return ToQString(chan.channelLabel);
        case eventsColumn:
            return chan.GetNumEvents() == 0 ? QString() : QLocale::c().toString(chan.GetNumEvents());
        default:
            return {};
        }
    }

    const CDataDoc* doc_ = nullptr;
    std::vector<int> rows_;
};

ChannelTable::ChannelTable(bool isOrdered, QWidget* parent)
    : QWidget(parent),
      isOrdered_(isOrdered),
      model_(new ChannelTableModel(this)),
      table_(new QTableView(this)) {
    model_->onShown = [this](int channel, bool isShown) { emit ShownChanged({channel}, isShown); };
    table_->setObjectName("channelTable");
    table_->setAccessibleName(isOrdered ? tr("Channels in their order") : tr("All event channels"));
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    table_->setAlternatingRowColors(true);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setResizeContentsPrecision(50);
    table_->horizontalHeader()->setSectionResizeMode(labelColumn, QHeaderView::Stretch);
    table_->installEventFilter(this);
    auto* row = new QHBoxLayout;
    if (isOrdered) {
        MakeOrderButtons(row);
    } else {
        onlyUsed_ = new QCheckBox(tr("Only channels in &use"), this);
        onlyUsed_->setObjectName("onlyUsed");
        onlyUsed_->setToolTip(tr("Lists the channels that hold events or are chosen"));
        onlyUsed_->setChecked(true);
        connect(onlyUsed_, &QCheckBox::toggled, this, [this] { Show(doc_, channels_); });
        row->addWidget(onlyUsed_);
    }
    row->addStretch(1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(table_, 1);
    column->addLayout(row);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        ShowState();
        TakeSelection();
    });
    ShowState();
}

void ChannelTable::MakeOrderButtons(QHBoxLayout* row) {
    const auto button = [&](const QString& label, const char* name, const QString& tip, auto does) {
        auto* made = new QPushButton(label, this);
        made->setObjectName(name);
        made->setToolTip(tip);
        made->setAutoDefault(false);
        connect(made, &QPushButton::clicked, this, does);
        row->addWidget(made);
        return made;
    };
    up_ = button(tr("Move &up"), "moveUp", tr("Alt+Up in the list"), [this] { MoveSelected(-1); });
    down_ = button(tr("Move d&own"), "moveDown", tr("Alt+Down in the list"), [this] { MoveSelected(1); });
    remove_ = button(tr("Take &out"), "takeOut", tr("The channel is left where it is (Delete in the list)"),
                     [this] { RemoveSelected(); });
}

QSize ChannelTable::sizeHint() const {
    const int line = table_->verticalHeader()->defaultSectionSize();
    return {table_->fontMetrics().averageCharWidth() * shownLetters, line * (shownRows + 2)};
}

std::vector<QWidget*> ChannelTable::TabStops() const {
    if (isOrdered_) return {table_, up_, down_, remove_};
    return {table_, onlyUsed_};
}

// --- what it shows ---

std::vector<int> ChannelTable::RowsFor(const std::vector<int>& channels) const {
    if (isOrdered_) return channels;
    std::vector<int> rows;
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (!onlyUsed_->isChecked() || (doc_ && doc_->GetNumEvents(channel) > 0) || IsIn(channels, channel))
            rows.push_back(channel);
    return rows;
}

void ChannelTable::Show(const CDataDoc* doc, const std::vector<int>& channels) {
    isShowing_ = true;
    const std::vector<int> selected = isOrdered_ ? Selected() : channels;
    doc_ = doc;
    channels_ = channels;
    model_->Take(doc, doc ? RowsFor(channels) : std::vector<int>());
    if (Selected() != selected) Select(selected);
    isShowing_ = false;
    ShowState();
}

std::vector<int> ChannelTable::Selected() const {
    std::vector<int> rows, channels;
    for (const QModelIndex& at : table_->selectionModel()->selectedRows()) rows.push_back(at.row());
    std::sort(rows.begin(), rows.end());
    for (const int row : rows) channels.push_back(model_->Rows()[static_cast<size_t>(row)]);
    return channels;
}

void ChannelTable::Select(const std::vector<int>& channels) {
    QItemSelection selection;
    int first = -1;
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (!IsIn(channels, model_->Rows()[static_cast<size_t>(row)])) continue;
        selection.select(model_->index(row, 0), model_->index(row, columnCount - 1));
        if (first < 0) first = row;
    }
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const QModelIndex current = table_->currentIndex();
    if (first >= 0 && !table_->selectionModel()->isRowSelected(current.row()))
        table_->selectionModel()->setCurrentIndex(model_->index(first, 0), QItemSelectionModel::NoUpdate);
}

void ChannelTable::ShowState() {
    if (!isOrdered_) return;
    const bool hasSelection = table_->selectionModel()->hasSelection();
    for (QPushButton* button : {up_, down_, remove_}) button->setEnabled(hasSelection);
}

// --- what the user does ---

void ChannelTable::TakeSelection() {
    if (!isOrdered_ && !isShowing_) emit Chosen(Selected());
}

void ChannelTable::MoveSelected(int by) {
    const std::vector<int> selected = Selected();
    std::vector<int> order = channels_;
    // The one that goes ahead first, so that a block of rows stays together at either end.
    if (by > 0) std::reverse(order.begin(), order.end());
    for (size_t i = 1; i < order.size(); ++i)
        if (IsIn(selected, order[i]) && !IsIn(selected, order[i - 1])) std::swap(order[i], order[i - 1]);
    if (by > 0) std::reverse(order.begin(), order.end());
    if (order != channels_) emit Chosen(order);
}

void ChannelTable::RemoveSelected() {
    const std::vector<int> selected = Selected();
    std::vector<int> order = channels_;
    std::erase_if(order, [&](int channel) { return IsIn(selected, channel); });
    // No list is one of all channels.
    if (!order.empty() && order != channels_) emit Chosen(order);
}

void ChannelTable::ToggleShown() {
    const std::vector<int> selected = Selected();
    if (selected.empty() || !doc_) return;
    const auto isShown = [this](int channel) {
        return doc_->eventChannels[static_cast<size_t>(channel)].channelVisible != 0;
    };
    emit ShownChanged(selected, !std::all_of(selected.begin(), selected.end(), isShown));
}

bool ChannelTable::eventFilter(QObject* watched, QEvent* event) {
    if (watched != table_ || event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool isAlt = (key->modifiers() & Qt::AltModifier) != 0;
    if (isOrdered_ && isAlt && key->key() == Qt::Key_Up) return MoveSelected(-1), true;
    if (isOrdered_ && isAlt && key->key() == Qt::Key_Down) return MoveSelected(1), true;
    if (isOrdered_ && key->key() == Qt::Key_Delete) return RemoveSelected(), true;
    if (key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier) return ToggleShown(), true;
    return false;
}

}  // namespace kymora
