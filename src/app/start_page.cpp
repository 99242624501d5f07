#include "app/start_page.h"

#include <QApplication>
#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include "app/frame_commands.h"
#include "host/version.h"
#include "widgets/text.h"
#include "widgets/tool_icons.h"

namespace kymora {

namespace {

constexpr int widestPage = 760;
constexpr int pictureSize = 40;
constexpr int leastRows = 3;
constexpr int rowPadding = 6;
constexpr int greatestNameShare = 45;  // percent of a list's width

constexpr const char* helpCommands[] = {"help-first-steps", "help-shortcuts", "help-find-command"};

// What is of less weight than the rest.
QColor QuietColour(const QWidget& widget) {
    const QColor text = widget.palette().color(QPalette::WindowText);
    const QColor paper = widget.palette().color(QPalette::Window);
    const auto mix = [](int a, int b) { return (2 * a + b) / 3; };
    return {mix(text.red(), paper.red()), mix(text.green(), paper.green()), mix(text.blue(), paper.blue())};
}

QString KeyText(const FrameCommand& command) {
    const size_t tab = command.label.find('\t');
    if (tab == std::string_view::npos) return {};
    return QKeySequence(ToQString(command.label.substr(tab + 1))).toString(QKeySequence::NativeText);
}

}  // namespace

QString WhenText(std::time_t when, std::time_t now) {
    if (when <= 0) return {};
    const QDateTime then = QDateTime::fromSecsSinceEpoch(when);
    const qint64 days = then.date().daysTo(QDateTime::fromSecsSinceEpoch(now).date());
    const QString clock = then.toString("H:mm");
    if (days == 0) return QObject::tr("today %1").arg(clock);
    if (days == 1) return QObject::tr("yesterday %1").arg(clock);
    return then.toString("yyyy-MM-dd");
}

// --- the lists ---

StartList::StartList(int columns, QWidget* parent) : QTreeWidget(parent) {
    setColumnCount(columns);
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setFrameShape(QFrame::NoFrame);
    setEditTriggers(NoEditTriggers);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextElideMode(Qt::ElideMiddle);
    setTabKeyNavigation(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Maximum);
    // A list of ways, not a sheet: it lies on the page.
    viewport()->setAutoFillBackground(false);
    viewport()->setCursor(Qt::PointingHandCursor);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(0, QHeaderView::Fixed);
    header()->setSectionResizeMode(1, QHeaderView::Stretch);
    for (int column = 2; column < columns; ++column)
        header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    connect(this, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { emit Chosen(indexOfTopLevelItem(item)); });
}

int StartList::HeightOf(int rows) const {
    const int row = topLevelItemCount() > 0 ? sizeHintForRow(0) : fontMetrics().height() + rowPadding;
    return rows * row + 2 * frameWidth();
}

QSize StartList::sizeHint() const { return {widestPage, HeightOf(topLevelItemCount())}; }

QSize StartList::minimumSizeHint() const { return {200, HeightOf(std::min(topLevelItemCount(), leastRows))}; }

void StartList::keyPressEvent(QKeyEvent* event) {
    // Before a row was chosen the keys work on the first one.
    const int row = currentItem() ? indexOfTopLevelItem(currentItem()) : topLevelItemCount() > 0 ? 0 : -1;
    if (row >= 0 && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter))
        emit Chosen(row);
    else if (row >= 0 && event->key() == Qt::Key_Delete)
        emit RemovalWanted(row);
    else
        QTreeWidget::keyPressEvent(event);
}

// The row that the keys work on is marked while they come here.
void StartList::focusInEvent(QFocusEvent* event) {
    QTreeWidget::focusInEvent(event);
    if (!currentItem() && topLevelItemCount() > 0) setCurrentItem(topLevelItem(0));
    if (currentItem() && event->reason() != Qt::MouseFocusReason) currentItem()->setSelected(true);
}

void StartList::focusOutEvent(QFocusEvent* event) {
    QTreeWidget::focusOutEvent(event);
    clearSelection();
}

void StartList::resizeEvent(QResizeEvent* event) {
    QTreeWidget::resizeEvent(event);
    // The size hints of the rows tell their height only; the names tell the width.
    int names = 0;
    for (int row = 0; row < topLevelItemCount(); ++row)
        names = std::max(names, fontMetrics().horizontalAdvance(topLevelItem(row)->text(0)));
    const int most = viewport()->width() * greatestNameShare / 100;
    header()->resizeSection(0, std::min(names + 4 * rowPadding, most));
}

// --- the page ---

StartPage::StartPage(QWidget* parent) : QWidget(parent) {
    setObjectName("startPage");
    setAutoFillBackground(true);
    auto* column = new QVBoxLayout;
    column->addWidget(MakeHead());
    column->addWidget(MakeOpenRow());
    recentHeading_ = MakeHeading(tr("Recent recordings"));
    column->addWidget(recentHeading_);
    recentList_ = new StartList(3, this);
    recentList_->setObjectName("startRecent");
    recentList_->setAccessibleName(recentHeading_->text());
    column->addWidget(recentList_);
    column->addWidget(MakeHeading(tr("Demonstration recordings")));
    demoList_ = new StartList(2, this);
    demoList_->setObjectName("startDemos");
    demoList_->setAccessibleName(tr("Demonstration recordings"));
    demoList_->setTextElideMode(Qt::ElideRight);
    column->addWidget(demoList_);
    column->addWidget(MakeHeading(tr("Help")));
    column->addWidget(MakeHelpRow());
    auto* frame = new QVBoxLayout(this);
    frame->setContentsMargins(24, 12, 24, 12);
    auto* middle = new QHBoxLayout;
    auto* page = new QWidget(this);
    page->setMaximumWidth(widestPage);
    page->setLayout(column);
    column->setContentsMargins(0, 0, 0, 0);
    middle->addStretch(1);
    middle->addWidget(page, 1000);
    middle->addStretch(1);
    frame->addStretch(1);
    frame->addLayout(middle);
    frame->addStretch(2);
    connect(recentList_, &StartList::Chosen, this,
            [this](int row) { emit RecentChosen(recent_[static_cast<size_t>(row)].path); });
    connect(recentList_, &StartList::RemovalWanted, this,
            [this](int row) { emit RecentRemoved(recent_[static_cast<size_t>(row)].path); });
    connect(demoList_, &StartList::Chosen, this, [this](int row) {
        emit CommandWanted(demoList_->topLevelItem(row)->data(0, Qt::UserRole).toString());
    });
    FillDemos();
    FillRecent();
}

QWidget* StartPage::MakeHead() {
    auto* head = new QWidget(this);
    auto* row = new QHBoxLayout(head);
    row->setContentsMargins(0, 0, 0, 4);
    row->setSpacing(12);
    auto* picture = new QLabel(head);
    picture->setPixmap(ProgramIcon().pixmap(QSize(pictureSize, pictureSize), devicePixelRatioF()));
    auto* name = new QLabel("Kymora", head);
    QFont large = name->font();
    large.setPointSizeF(large.pointSizeF() * 2.0);
    large.setBold(true);
    name->setFont(large);
    auto* version = new QLabel(ProgramVersion(), head);
    version->setEnabled(false);
    row->addWidget(picture);
    row->addWidget(name);
    row->addWidget(version, 1, Qt::AlignBottom);
    return head;
}

QPushButton* StartPage::MakeButton(const char* commandId) {
    const FrameCommand* command = FindFrameCommand(commandId);
    auto* button = new QPushButton(this);
    button->setObjectName(QString("start-") + commandId);
    const QString keys = KeyText(*command);
    const QString text = ToQString(command->label.substr(0, command->label.find('\t')));
    button->setText(keys.isEmpty() ? text : text + "  (" + keys + ")");
    button->setToolTip(ToQString(command->toolTip));
    button->setAutoDefault(true);  // Enter presses it, too
    connect(button, &QPushButton::clicked, this, [this, id = QString(commandId)] { emit CommandWanted(id); });
    return button;
}

QWidget* StartPage::MakeOpenRow() {
    auto* line = new QWidget(this);
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    open_ = MakeButton("file-open");
    open_->setIcon(ToolIcon("file-open"));
    row->addWidget(open_);
    auto* drop = new QLabel(tr("or drop recordings anywhere on this window."), line);
    row->addWidget(drop, 1);
    return line;
}

QWidget* StartPage::MakeHelpRow() {
    auto* line = new QWidget(this);
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    for (const char* id : helpCommands) row->addWidget(MakeButton(id));
    row->addStretch(1);
    return line;
}

QLabel* StartPage::MakeHeading(const QString& text) {
    auto* heading = new QLabel(text, this);
    heading->setContentsMargins(0, 10, 0, 0);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    return heading;
}

void StartPage::FillDemos() {
    demoList_->clear();
    for (const FrameCommand& command : FrameCommands()) {
        if (!command.id.starts_with("demo-")) continue;
        auto* item = new QTreeWidgetItem(demoList_,
                                         {ToQString(PlainLabel(command.label)), ToQString(command.toolTip)});
        item->setData(0, Qt::UserRole, ToQString(command.id));
        item->setForeground(1, QuietColour(*this));
        item->setToolTip(1, item->text(1));
        item->setSizeHint(0, {0, fontMetrics().height() + rowPadding});
    }
    demoList_->updateGeometry();
}

void StartPage::ShowRecent(std::vector<Recent> recent, std::time_t now) {
    recent_ = std::move(recent);
    now_ = now;
    FillRecent();
}

void StartPage::FillRecent() {
    const QTreeWidgetItem* current = recentList_->currentItem();
    const int row = current ? recentList_->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(current)) : 0;
    recentList_->clear();
    for (const Recent& recent : recent_) {
        const QString when = recent.isThere ? WhenText(recent.opened, now_) : tr("not there any more");
        auto* item = new QTreeWidgetItem(
            recentList_, {FileName(recent.path.filename()), FileName(recent.path.parent_path()), when});
        item->setForeground(1, QuietColour(*this));
        item->setForeground(2, QuietColour(*this));
        item->setSizeHint(0, {0, fontMetrics().height() + rowPadding});
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        const QString whole = FileName(recent.path);
        for (int column = 0; column < 3; ++column) {
            item->setToolTip(column,
                             recent.isThere
                                 ? tr("Opens %1 (Del takes it out of this list)").arg(whole)
                                 : tr("%1 was moved or deleted; Del takes it out of this list").arg(whole));
            if (!recent.isThere)
                item->setForeground(column, palette().brush(QPalette::Disabled, QPalette::WindowText));
        }
    }
    for (QWidget* part : std::initializer_list<QWidget*>{recentHeading_, recentList_})
        part->setVisible(!recent_.empty());
    const int last = static_cast<int>(recent_.size()) - 1;
    if (last >= 0 && recentList_->hasFocus())
        recentList_->setCurrentItem(recentList_->topLevelItem(std::min(row, last)));
    recentList_->updateGeometry();
}

void StartPage::TakeKeys() {
    if (recent_.empty())
        open_->setFocus(Qt::OtherFocusReason);
    else
        recentList_->setFocus(Qt::OtherFocusReason);
}

void StartPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    const bool isLook = event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange;
    if (!isLook || !recentList_) return;
    open_->setIcon(ToolIcon("file-open"));
    FillDemos();
    FillRecent();
}

}  // namespace kymora
