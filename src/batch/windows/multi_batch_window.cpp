#include "batch/windows/multi_batch_window.h"

#include <fmt/format.h>

#include <QCheckBox>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "operations/config_file.h"
#include "widgets/plain_button.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr QSize listSize{820, 520};
constexpr int leafRole = Qt::UserRole;
constexpr const char* noRecordingText =
    "Open a recording first: the settings of an operation are chosen on the one in front.";

bool IsSettings(const std::filesystem::path& path) {
    return FoldedExtension(path) == std::string(".") + configExtension;
}

// The lines of the report that tell a value.
QString SettingsText(CBatchBaseDlg& item, const QString& between) {
    std::string text;
    item.GetParamText(text);
    QStringList lines;
    for (const QString& line : ToQString(text).split('\n'))
        if (const QString plain = line.simplified(); !plain.isEmpty() && !plain.endsWith(':')) lines << plain;
    return lines.join(between);
}

QTreeWidget* MakeView(QWidget* parent, const char* name, const QString& label, const QStringList& headings) {
    auto* view = new QTreeWidget(parent);
    view->setObjectName(name);
    view->setAccessibleName(label);
    view->setHeaderLabels(headings);
    view->setUniformRowHeights(true);
    view->setAcceptDrops(false);
    view->installEventFilter(parent);
    return view;
}

}  // namespace

MultiBatchWindow::MultiBatchWindow(Session& session, QWidget* parent)
    : QDialog(parent), session_(session), saved_(list_.Record()) {
    setObjectName("multiBatch");
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    auto* column = new QVBoxLayout(this);
    auto* sides = new QHBoxLayout;
    column->addLayout(sides, 1);
    auto* left = new QVBoxLayout;
    auto* right = new QVBoxLayout;
    sides->addLayout(left, 2);
    sides->addLayout(right, 3);
    MakeTree(*left);
    MakeList(*right);
    state_ = new QLabel(this);
    state_->setObjectName("state");
    state_->setWordWrap(true);
    state_->setMinimumHeight(2 * state_->fontMetrics().lineSpacing());
    state_->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    column->addWidget(state_);
    auto* row = new QHBoxLayout;
    column->addLayout(row);
    row->addWidget(MakePlainButton(this, tr("&Load..."), "load",
                                   tr("Load a list, or add the settings of an operation"),
                                   &MultiBatchWindow::Load));
    row->addWidget(
        MakePlainButton(this, tr("&Save..."), "save", tr(saveMultiBatchTitle), &MultiBatchWindow::SaveIt));
    row->addStretch(1);
    row->addWidget(MakePlainButton(this, tr("&Run..."), "run",
                                   tr("Choose files and do the operations over each of them"),
                                   &MultiBatchWindow::Run));
    row->addWidget(MakePlainButton(this, tr("&Close"), "close", {}, &MultiBatchWindow::reject));
    resize(listSize.boundedTo(screen()->availableSize() * 9 / 10));
    ShowList(-1);
    tree_->setFocus();
}

void MultiBatchWindow::MakeTree(QVBoxLayout& column) {
    tree_ = MakeView(this, "operations", tr("Operations"), {tr("Operations")});
    column.addWidget(tree_, 1);
    const OperationNode all = OperationTree();
    AddNodes(*tree_->invisibleRootItem(), all);
    tree_->expandAll();
    connect(tree_, &QTreeWidget::itemDoubleClicked, this, [this](const QTreeWidgetItem* item) {
        if (item->childCount() == 0) AddOperation();
    });
    column.addWidget(
        MakePlainButton(this, tr("&Add..."), "add",
                        tr("Choose the settings of the operation and put it into the list (Enter)"),
                        &MultiBatchWindow::AddOperation));
}

void MultiBatchWindow::AddNodes(QTreeWidgetItem& parent, const OperationNode& node) {
    for (const OperationNode& child : node.children) {
        auto* item = new QTreeWidgetItem(&parent, {ToQString(child.label)});
        item->setToolTip(0, ToQString(child.toolTip));
        if (child.operation) {
            item->setData(0, leafRole, static_cast<qulonglong>(leaves_.size()));
            leaves_.push_back(child);
        }
        AddNodes(*item, child);
    }
}

void MultiBatchWindow::MakeList(QVBoxLayout& column) {
    toDo_ = MakeView(this, "toDo", tr("To Do list"), {tr("To Do"), tr("Settings")});
    toDo_->setRootIsDecorated(false);
    toDo_->setAlternatingRowColors(true);
    column.addWidget(toDo_, 1);
    connect(toDo_, &QTreeWidget::itemDoubleClicked, this, &MultiBatchWindow::Configure);
    auto* row = new QHBoxLayout;
    column.addLayout(row);
    using Window = MultiBatchWindow;
    row->addWidget(MakePlainButton(this, tr("Re-confi&gure..."), "configure",
                                   tr("Change the settings of the operation (Enter)"), &Window::Configure));
    row->addWidget(MakePlainButton(this, tr("Move &up"), "up", tr("Do it before the one above (Alt+Up)"),
                                   &Window::MoveUp));
    row->addWidget(MakePlainButton(this, tr("Move &down"), "down",
                                   tr("Do it behind the one below (Alt+Down)"), &Window::MoveDown));
    row->addWidget(MakePlainButton(this, tr("R&emove"), "remove",
                                   tr("Take the operation out of the list (Del)"), &Window::Remove));
    row->addStretch(1);
    writeNew_ = new QCheckBox(tr("&Write new file"), this);
    writeNew_->setObjectName("writeNew");
    writeNew_->setToolTip(tr("Saves each result beside its recording, with _tr in its name"));
    connect(writeNew_, &QCheckBox::toggled, this, [this](bool isOn) {
        list_.m_bWriteNewFile = isOn ? 1 : 0;
        ShowState();
    });
    column.addWidget(writeNew_);
}

// --- the commands ---

int MultiBatchWindow::Current() const {
    const auto chosen = toDo_->selectedItems();
    return chosen.isEmpty() ? -1 : toDo_->indexOfTopLevelItem(chosen.front());
}

// When the window in which an operation was configured is gone.
void MultiBatchWindow::Return() {
    QTimer::singleShot(0, this, [this] {
        raise();
        activateWindow();
    });
}

void MultiBatchWindow::AddOperation() {
    const auto chosen = tree_->selectedItems();
    const QVariant leaf = chosen.isEmpty() ? QVariant() : chosen.front()->data(0, leafRole);
    if (!leaf.isValid()) return session_.host.Message(selectToAddText);
    const OperationNode& node = leaves_[leaf.toULongLong()];
    const auto take = [window = QPointer(this), operation = node.operation](CBatchBaseDlg& block) {
        if (!window) return;
        auto item = operation->make();
        item->TakeSettings(block.Settings());
        item->SettingsWereChosen();
        window->list_.Add(std::move(item));
        window->ShowList(static_cast<int>(window->list_.Count()) - 1);
        window->Return();
    };
    if (!onConfigure || !onConfigure(*node.operation, nullptr, node.key, node.value, take))
        session_.host.Message(noRecordingText);
}

void MultiBatchWindow::Configure() {
    if (list_.Count() == 0) return session_.host.Message(emptyToDoText);
    const int current = Current();
    if (current < 0) return session_.host.Message(selectToConfigureText);
    CBatchBaseDlg& item = list_.Item(static_cast<size_t>(current));
    const auto settings = item.Settings();
    // A list that was loaded meanwhile has other items.
    const auto take = [window = QPointer(this), current](CBatchBaseDlg& block) {
        if (!window || current >= static_cast<int>(window->list_.Count())) return;
        CBatchBaseDlg& changed = window->list_.Item(static_cast<size_t>(current));
        if (std::string_view(changed.ClassName()) != block.ClassName()) return;
        changed.TakeSettings(block.Settings());
        changed.SettingsWereChosen();
        window->ShowList(current);
        window->Return();
    };
    if (!onConfigure || !onConfigure(*FindOperation(item.ClassName()), &settings, {}, {}, take))
        session_.host.Message(noRecordingText);
}

void MultiBatchWindow::Remove() {
    const int current = Current();
    if (current < 0) return session_.host.Message(selectToRemoveText);
    list_.Take(static_cast<size_t>(current));
    ShowList(std::min(current, static_cast<int>(list_.Count()) - 1));
}

void MultiBatchWindow::Move(bool isUp) {
    const int current = Current();
    if (current < 0) return session_.host.Message(isUp ? selectToMoveUpText : selectToMoveDownText);
    const auto at = static_cast<size_t>(current);
    if (isUp ? list_.MoveUp(at) : list_.MoveDown(at)) ShowList(current + (isUp ? -1 : 1));
}

std::string MultiBatchWindow::Name() const {
    return path_.empty() ? std::string("To Do list") : path_.filename().string();
}

void MultiBatchWindow::Run() {
    if (list_.Count() == 0) return session_.host.Message(emptyToDoText);
    if (onRun) onRun(list_, Name());
}

// --- files ---

void MultiBatchWindow::Load() {
    const auto files = session_.host.ChooseOpenFiles({loadConfigTitle, multiBatchLoadFilter, {}, {}});
    if (!files.empty()) LoadFile(files.front());
}

bool MultiBatchWindow::LoadFile(const std::filesystem::path& path) {
    CMultiBatch loaded;
    if (!LoadMultiBatch(session_, loaded, path)) return false;
    if (IsSettings(path)) {
        while (loaded.Count() > 0) list_.Add(loaded.Take(0));
        ShowList(static_cast<int>(list_.Count()) - 1);
        return true;
    }
    if (!MayLose()) return false;
    loaded.m_bWriteNewFile = list_.m_bWriteNewFile;
    list_ = std::move(loaded);
    Saved(path);
    ShowList(list_.Count() > 0 ? 0 : -1);
    return true;
}

bool MultiBatchWindow::Save() {
    const auto path =
        session_.host.ChooseSaveFile({saveMultiBatchTitle, multiBatchFilter, multiBatchExtension, path_});
    if (!path || !SaveMultiBatch(session_, list_, *path)) return false;
    Saved(*path);
    ShowState();
    return true;
}

void MultiBatchWindow::Saved(const std::filesystem::path& path) {
    path_ = path;
    saved_ = list_.Record();
}

bool MultiBatchWindow::IsModified() const { return list_.Record() != saved_; }

bool MultiBatchWindow::MayLose() {
    return !IsModified() ||
           session_.host.Confirm(
               "You have made changes to this list which have not been saved.\nClick OK to continue without "
               "them, Cancel to return and have the opportunity to save.",
               Name());
}

// --- what is shown ---

void MultiBatchWindow::ShowList(int current) {
    toDo_->clear();
    for (size_t i = 0; i < list_.Count(); ++i) {
        auto* item = new QTreeWidgetItem(toDo_, {QString("%1. %2").arg(i + 1).arg(ToQString(list_.Name(i))),
                                                 SettingsText(list_.Item(i), "; ")});
        item->setToolTip(1, SettingsText(list_.Item(i), "\n"));
    }
    toDo_->resizeColumnToContents(0);
    if (current >= 0) toDo_->setCurrentItem(toDo_->topLevelItem(current));
    ShowState();
}

void MultiBatchWindow::ShowState() {
    const bool changes = list_.WhatItAffects() != Affects::nothing;
    writeNew_->setEnabled(changes || list_.Count() == 0);
    QString text;
    if (list_.Count() == 0)
        text = tr("The list is empty. Choose an operation on the left and press Add, or drop a list "
                  "(.kymr-batch) here.");
    else if (!changes)
        text = tr("These operations tell what they find, and change no file.");
    else if (list_.m_bWriteNewFile)
        text = tr("Each result is a new file beside its recording, with _tr in its name.");
    else
        text = tr("Native recordings are changed in place. Of others, a native file is made beside them.");
    state_->setText(text);
    setWindowTitle(tr("Multi-Batch") + (path_.empty() ? QString() : " - " + FileName(path_.filename())) +
                   (IsModified() ? " *" : ""));
}

// --- what the window system sends ---

bool MultiBatchWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QDialog::eventFilter(watched, event);
    const auto* key = static_cast<const QKeyEvent*>(event);
    const bool isEnter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    const bool isAlt = key->modifiers().testFlag(Qt::AltModifier);
    if (watched == tree_ && isEnter)
        AddOperation();
    else if (watched == toDo_ && isEnter)
        Configure();
    else if (watched == toDo_ && key->key() == Qt::Key_Delete)
        Remove();
    else if (watched == toDo_ && isAlt && (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down))
        Move(key->key() == Qt::Key_Up);
    else
        return QDialog::eventFilter(watched, event);
    return true;
}

// No button is meant by Enter where none has the keyboard.
void MultiBatchWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) QDialog::keyPressEvent(event);
}

void MultiBatchWindow::reject() {
    if (MayLose()) QDialog::reject();
}

void MultiBatchWindow::dragEnterEvent(QDragEnterEvent* event) {
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) return event->acceptProposedAction();
}

void MultiBatchWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile()) continue;
        const auto path = ToPath(url.toLocalFile());
        if (IsSettings(path) || FoldedExtension(path) == std::string(".") + multiBatchExtension)
            LoadFile(path);
        else
            session_.host.Message(
                "Only a list of operations (.kymr-batch) or the settings of one (.kymr-cfg) can be dropped "
                "here. The recordings are chosen with Run.");
    }
}

}  // namespace kymora
