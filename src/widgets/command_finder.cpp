#include "widgets/command_finder.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScreen>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <map>

namespace kymora {

namespace {

constexpr int indexRole = Qt::UserRole;
constexpr int finderLines = 36;
constexpr int shownColumns = 150;

bool HoldsEveryWord(const ListedCommand& command, const QStringList& words) {
    const QString text = command.group + ' ' + command.name + ' ' + command.keys + ' ' + command.toolTip +
                         ' ' + command.otherName;
    return std::all_of(words.begin(), words.end(), [&](const QString& word) {
        return word == ">" || text.contains(word, Qt::CaseInsensitive);
    });
}

}  // namespace

CommandFinder::CommandFinder(const QString& title, std::vector<ListedCommand> commands, bool runs,
                             QWidget* parent)
    : QDialog(parent),
      commands_(std::move(commands)),
      runs_(runs),
      search_(new QLineEdit(this)),
      list_(new QTreeWidget(this)) {
    setWindowTitle(title);
    search_->setObjectName("search");
    search_->setPlaceholderText(runs ? tr("Words of a command") : tr("Find a command or a key"));
    search_->setClearButtonEnabled(true);
    search_->installEventFilter(this);
    connect(search_, &QLineEdit::textChanged, this, &CommandFinder::Filter);
    list_->setObjectName("commands");
    list_->setColumnCount(3);
    list_->setHeaderLabels({tr("Command"), tr("Key"), tr("What it does")});
    list_->setAllColumnsShowFocus(true);
    list_->setUniformRowHeights(true);
    Fill();
    if (runs) connect(list_, &QTreeWidget::itemActivated, this, &CommandFinder::RunCurrent);

    auto* column = new QVBoxLayout(this);
    column->addWidget(search_);
    column->addWidget(list_, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
    search_->setFocus();
    const QSize wanted(fontMetrics().averageCharWidth() * shownColumns,
                       fontMetrics().lineSpacing() * finderLines);
    resize(wanted.boundedTo(screen()->availableSize() * 8 / 10));
}

void CommandFinder::Fill() {
    std::map<QString, QTreeWidgetItem*> groups;
    for (size_t i = 0; i < commands_.size(); ++i) {
        const ListedCommand& command = commands_[i];
        QTreeWidgetItem*& group = groups[command.group];
        if (!group) {
            group = new QTreeWidgetItem(list_, {command.group});
            group->setFlags(Qt::ItemIsEnabled);
            QFont bold = list_->font();
            bold.setBold(true);
            group->setFont(0, bold);
            group->setExpanded(true);
        }
        auto* item = new QTreeWidgetItem(group, {command.name, command.keys, command.toolTip});
        item->setData(0, indexRole, static_cast<int>(i));
        item->setToolTip(2, command.toolTip);
        if (runs_ && !command.isEnabled) item->setDisabled(true);
    }
    list_->expandAll();
    for (int column = 0; column < 2; ++column) list_->resizeColumnToContents(column);
    SelectBest({});
}

void CommandFinder::Filter(const QString& words) {
    const QStringList wanted = words.split(' ', Qt::SkipEmptyParts);
    for (int g = 0; g < list_->topLevelItemCount(); ++g) {
        QTreeWidgetItem* group = list_->topLevelItem(g);
        bool any = false;
        for (int i = 0; i < group->childCount(); ++i) {
            QTreeWidgetItem* item = group->child(i);
            const auto index = static_cast<size_t>(item->data(0, indexRole).toInt());
            const bool shown = HoldsEveryWord(commands_[index], wanted);
            item->setHidden(!shown);
            any = any || shown;
        }
        group->setHidden(!any);
    }
    SelectBest(words);
}

std::vector<QTreeWidgetItem*> CommandFinder::ShownItems() const {
    std::vector<QTreeWidgetItem*> items;
    for (int g = 0; g < list_->topLevelItemCount(); ++g)
        for (int i = 0; i < list_->topLevelItem(g)->childCount(); ++i)
            if (QTreeWidgetItem* item = list_->topLevelItem(g)->child(i); !item->isHidden())
                items.push_back(item);
    return items;
}

QStringList CommandFinder::Shown() const {
    QStringList names;
    for (const QTreeWidgetItem* item : ShownItems()) names += item->text(0);
    return names;
}

// The first whose name holds the words as they stand, or else the first of all.
void CommandFinder::SelectBest(const QString& words) {
    auto items = ShownItems();
    std::erase_if(items, [](const QTreeWidgetItem* item) { return item->isDisabled(); });
    const auto named = std::ranges::find_if(items, [typed = words.simplified()](auto* item) {
        return item->text(0).contains(typed, Qt::CaseInsensitive);
    });
    list_->setCurrentItem(named != items.end() ? *named : items.empty() ? nullptr : items.front());
}

void CommandFinder::Step(int by) {
    const auto items = ShownItems();
    const auto current = std::find(items.begin(), items.end(), list_->currentItem());
    auto at = current - items.begin();
    do {
        at += by;
        if (at < 0 || at >= static_cast<std::ptrdiff_t>(items.size())) return;
    } while (items[static_cast<size_t>(at)]->isDisabled());
    list_->setCurrentItem(items[static_cast<size_t>(at)]);
}

// The search box keeps the keyboard while the list is walked.
bool CommandFinder::eventFilter(QObject* watched, QEvent* event) {
    if (watched == search_ && event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Up:
            Step(-1);
            return true;
        case Qt::Key_Down:
            Step(1);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            RunCurrent();
            return true;
        default:
            break;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void CommandFinder::RunCurrent() {
    const QTreeWidgetItem* item = list_->currentItem();
    if (!runs_ || !item || item->isDisabled() || !item->data(0, indexRole).isValid()) return;
    const auto run = commands_[static_cast<size_t>(item->data(0, indexRole).toInt())].run;
    accept();
    if (run) run();
}

}  // namespace kymora
