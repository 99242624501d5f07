// Menus, tool bar and lists of commands, made from the two tables.

#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>

#include "app/cursor_pane.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "display/commands/context_menu.h"
#include "widgets/text.h"
#include "widgets/tool_icons.h"

namespace kymora {

namespace {

constexpr size_t listedWithKey = 9;  // windows and files that have an access key
constexpr int toolIconSize = 22;

// In groups; a command that the tables do not have is left out.
constexpr std::string_view toolBarCommands[] = {
    "file-open",
    "file-save",
    "",
    "undo",
    "redo",
    "",
    "start",
    "left-page",
    "right-page",
    "end",
    "",
    "compress",
    "expand",
    "show-all",
    "",
    "increase-gain",
    "decrease-gain",
    "autoscale",
    "",
    "cursor-add-vert",
    "marker-add",
    "annotation-add",
};

// As it stands in the menu: three dots say that there is a question to come.
std::string ShownLabel(std::string_view label, unsigned marks) {
    std::string shown(label);
    if (marks & asksFirst) shown.insert(std::min(shown.find('\t'), shown.size()), "...");
    return shown;
}

QString WithoutAccessKey(std::string_view label) { return ToQString(PlainLabel(label)); }

QString KeysOf(std::string_view label) {
    const size_t tab = label.find('\t');
    return tab == std::string_view::npos ? QString() : ToQString(label.substr(tab + 1)).trimmed();
}

// "&View/Time unit" as "View > Time unit".
QString GroupName(std::string_view menu) {
    QString name = WithoutAccessKey(menu);
    return name.replace("/", " \u203A ");
}

QString MenuText(const std::filesystem::path& path, size_t number) {
    QString name = FileName(path);
    name.replace('&', "&&");
    return number <= listedWithKey ? QString("&%1  %2").arg(number).arg(name) : name;
}

}  // namespace

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
    menu->setToolTipsVisible(true);
    return menus_.emplace(path, menu).first->second;
}

QAction* CMainFrame::AddAction(std::string_view menuPath, std::string_view label, std::string_view toolTip,
                               bool isFirst) {
    QMenu* menu = MenuFor(menuPath);
    if (isFirst) menu->addSeparator();
    QAction* action = menu->addAction(ToQString(label));
    const QString tip = ToQString(toolTip);
    const QString keys = KeysOf(label);
    action->setStatusTip(tip);
    action->setToolTip(keys.isEmpty() ? tip : QString("%1 (%2)").arg(tip, keys));
    return action;
}

void CMainFrame::SetCheckMark(QAction* action, bool isRadio) {
    action->setCheckable(true);
    // A group makes the mark a round one. Each has a group of its own, since what is on is asked of the view.
    if (isRadio) (new QActionGroup(action))->addAction(action);
}

void CMainFrame::AddCommand(const Command& command) {
    // The key is shown, not set: the view takes it, so that an edit box can have it too.
    QAction* action = AddAction(command.menu, ShownLabel(command.label, command.marks), command.toolTip,
                                command.marks & startsGroup);
    action->setObjectName(ToQString(command.id));
    action->setIcon(ToolIcon(command.id));
    action->setIconVisibleInMenu(false);
    if (command.checked) SetCheckMark(action, command.checked.isRadio);
    connect(action, &QAction::triggered, this, [this, &command] {
        CChildFrame* child = ActiveChild();
        if (!child) return;
        const bool ctrl = QApplication::keyboardModifiers().testFlag(Qt::ControlModifier);
        RunCommand(command, {child->View(), ctrl, contextPoint_});
        UpdateCommands();
    });
    viewActions_.emplace_back(&command, action);
}

void CMainFrame::AddCommand(const FrameCommand& command) {
    const std::string label = ShownLabel(command.label.substr(0, command.label.find('\t')), command.marks);
    QAction* action = AddAction(command.menu, label, command.toolTip, command.marks & startsGroup);
    action->setObjectName(ToQString(command.id));
    const QString keys = KeysOf(command.label);
    if (!keys.isEmpty()) {
        action->setShortcut(QKeySequence(keys));
        action->setToolTip(QString("%1 (%2)").arg(action->statusTip(), keys));
    }
    action->setIcon(ToolIcon(command.id));
    action->setIconVisibleInMenu(false);
    if (command.checked) SetCheckMark(action, command.checked.isRadio);
    connect(action, &QAction::triggered, this, [this, &command] {
        command.run(*this);
        UpdateCommands();
    });
    frameActions_.emplace_back(&command, action);
}

void CMainFrame::AddCommand(const OperationEntry& entry) {
    QAction* action = AddAction(entry.operation->menu, entry.Label(), entry.ToolTip(), false);
    action->setObjectName(ToQString(entry.Id()));
    connect(action, &QAction::triggered, this, [this, entry] { operations_->Open(entry); });
    operationActions_.emplace_back(entry, action);
}

// File stands before the menus of the view, the others behind them.
void CMainFrame::MakeMenus() {
    const auto isFile = [](const FrameCommand& command) { return command.menu.starts_with("&File"); };
    for (const FrameCommand& command : FrameCommands()) {
        if (!isFile(command)) continue;
        if (command.id == "file-exit") {
            recentMenu_ = MenuFor("&File")->addMenu(tr("Recent &files"));
            recentMenu_->setObjectName("recentFiles");
            recentMenu_->setToolTipsVisible(true);
        }
        AddCommand(command);
    }
    for (const Command& command : ViewCommands()) AddCommand(command);
    for (const OperationEntry& entry : EntriesOf(Operations())) AddCommand(entry);
    for (const FrameCommand& command : FrameCommands())
        if (!isFile(command)) AddCommand(command);
    MenuFor("&Window")->addSeparator();
    connect(MenuFor("&Window"), &QMenu::aboutToShow, this, &CMainFrame::ListWindows);
    connect(MenuFor("&File"), &QMenu::aboutToShow, this, &CMainFrame::ListRecent);
}

void CMainFrame::MakeToolBar() {
    toolBar_ = addToolBar(tr("Tool bar"));
    toolBar_->setObjectName("toolBar");
    toolBar_->setMovable(false);
    toolBar_->setIconSize({toolIconSize, toolIconSize});
    toolBar_->setContextMenuPolicy(Qt::PreventContextMenu);
    bool separates = false;
    for (const std::string_view id : toolBarCommands) {
        QAction* action = id.empty() ? nullptr : findChild<QAction*>(ToQString(id));
        if (id.empty()) separates = true;
        if (!action) continue;
        if (separates) toolBar_->addSeparator();
        separates = false;
        toolBar_->addAction(action);
    }
    // The keyboard stays with the view.
    for (QWidget* button : toolBar_->findChildren<QWidget*>()) button->setFocusPolicy(Qt::NoFocus);
}

// The buttons of menus and tools that find no room have a picture of the style's, which is black in every
// theme. A text has the colour of all texts.
void CMainFrame::ShowWhatHasNoRoom() {
    for (const char* name : {"qt_menubar_ext_button", "qt_toolbar_ext_button"})
        if (auto* button = findChild<QToolButton*>(name)) {
            button->setIcon({});
            button->setText("\u00BB");
            button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        }
}

void CMainFrame::ToggleFullScreen() { setWindowState(windowState() ^ Qt::WindowFullScreen); }
void CMainFrame::ToggleToolBar() { toolBar_->setVisible(toolBar_->isHidden()); }
bool CMainFrame::IsToolBarShown() const { return toolBar_ && !toolBar_->isHidden(); }

// The name of the action that would be undone or redone.
void CMainFrame::NameUndo(QAction* action, const Command& command) const {
    if (command.id != "undo" && command.id != "redo") return;
    std::string name;
    if (const CChildFrame* child = ActiveChild()) {
        const UndoStack& undo = child->Document().Undo();
        name = command.id == "undo" ? undo.UndoName() : undo.RedoName();
    }
    QString text = ToQString(command.label);
    if (!name.empty()) text.insert(text.indexOf('\t'), ": " + ToQString(name).replace('&', "&&"));
    action->setText(text);
}

void CMainFrame::UpdateCommands() {
    const CChildFrame* child = ActiveChild();
    for (const auto& [command, action] : viewActions_) {
        action->setEnabled(child && (!command->enabled || command->enabled(child->View())));
        if (command->checked) action->setChecked(child && command->checked(child->View()));
        NameUndo(action, *command);
    }
    for (const auto& [command, action] : frameActions_) {
        action->setEnabled(!command->enabled || command->enabled(*this));
        if (command->checked) action->setChecked(command->checked(*this));
    }
    for (const auto& [entry, action] : operationActions_)
        action->setEnabled(child || !entry.operation->make()->NeedsRecording());
    if (recentMenu_) recentMenu_->setEnabled(!recent_.Paths().empty());
}

// --- lists that change ---

void CMainFrame::ListWindows() {
    for (QAction* action : windowListActions_) delete action;
    windowListActions_.clear();
    for (CChildFrame* child : Children()) {
        QString title = child->windowTitle();
        QAction* action = MenuFor("&Window")->addAction(
            MenuText(ToPath(title.remove("[*]")), windowListActions_.size() + 1), this,
            [this, child] { mdi_->setActiveSubWindow(child); });
        action->setStatusTip(FileName(child->Document().filePath));
        action->setToolTip(action->statusTip());
        action->setCheckable(true);
        action->setChecked(child == ActiveChild());
        windowListActions_.push_back(action);
    }
}

void CMainFrame::ListRecent() {
    recentMenu_->clear();
    size_t number = 0;
    for (const std::filesystem::path& path : recent_.Paths()) {
        QAction* action = recentMenu_->addAction(MenuText(path.filename(), ++number), this,
                                                 [this, path] { OpenRecent(path); });
        action->setStatusTip(FileName(path));
        action->setToolTip(FileName(path));
    }
    recentMenu_->addSeparator();
    QAction* clear = recentMenu_->addAction(tr("&Clear this list"), this, [this] {
        recent_.Clear();
        UpdateCommands();
        ShowStart();
        emit SettingsChanged();
    });
    clear->setStatusTip(tr("Forgets the recent files; the files themselves stay"));
}

// What can be done with the thing under the mouse and at its place; behind it all menus of the view.
void CMainFrame::ShowContextMenu(CChildFrame* child, const QPoint& at) {
    mdi_->setActiveSubWindow(child);
    UpdateCommands();
    QMenu menu(this);
    menu.setObjectName("contextMenu");
    menu.setToolTipsVisible(true);
    const PlaceMenu place = MenuAt(child->View(), {at.x(), at.y()});
    menu.addSection(ToQString(place.title));
    for (const MenuEntry& entry : place.entries) AddEntry(menu, entry, *child);
    menu.addSeparator();
    AddAllMenus(*menu.addMenu(tr("All &menus")));
    contextPoint_ = Point{at.x(), at.y()};
    menu.exec(child->Widget().mapToGlobal(at));
    contextPoint_.reset();
}

void CMainFrame::AddEntry(QMenu& menu, const MenuEntry& entry, CChildFrame& child) {
    if (entry.startsGroup) menu.addSeparator();
    const QAction* own = findChild<QAction*>(ToQString(entry.id));
    QAction* action = menu.addAction(ToQString(entry.label));
    action->setObjectName("place-" + ToQString(entry.id));
    action->setToolTip(ToQString(entry.toolTip));
    action->setStatusTip(action->toolTip());
    action->setEnabled(entry.enabled);
    if (entry.checked) {
        SetCheckMark(action, entry.isRadio);
        action->setChecked(*entry.checked);
    } else if (!entry.run && own && own->isCheckable()) {
        SetCheckMark(action, false);
        action->setChecked(own->isChecked());
    }
    // Its key is shown as that of the other entries, which the view takes.
    if (!entry.run && own && !own->shortcut().isEmpty())
        action->setText(action->text() + '\t' + own->shortcut().toString());
    // The window may go while its menu is open.
    connect(action, &QAction::triggered, &child, [this, &entry, &child] {
        RunEntry(entry, child);
        UpdateCommands();
    });
}

void CMainFrame::RunEntry(const MenuEntry& entry, CChildFrame& child) {
    if (entry.run) return entry.run(child.View());
    const OperationEntry operation = FindOperationEntry(entry.id);
    if (!operation.operation) {
        RunCommandById(entry.id);
        return;
    }
    OperationWindow* window = operations_->Open(operation);
    if (window->IsBusy()) return;
    for (const auto& [key, value] : entry.parameters) {
        ParamList params = window->Block().Params();
        if (Field* param = params.Find(key)) param->SetFromText(value);
    }
    window->Refresh();
}

void CMainFrame::AddAllMenus(QMenu& menu) {
    std::vector<const QMenu*> added;
    for (const auto& [command, action] : viewActions_) {
        QMenu* submenu = MenuFor(command->menu.substr(0, command->menu.find('/')));
        if (std::find(added.begin(), added.end(), submenu) == added.end()) menu.addMenu(submenu);
        added.push_back(submenu);
    }
}

// --- the table of cursors ---

void CMainFrame::MakeCursorTable() {
    cursorDock_ = new QDockWidget(tr("Table of cursors"), this);
    cursorDock_->setObjectName("cursorDock");
    cursorPane_ = new CursorPane(
        [this] {
            const CChildFrame* child = ActiveChild();
            return child ? &child->View() : nullptr;
        },
        [this](std::string_view id) { RunCommandById(id); }, cursorDock_);
    cursorDock_->setWidget(cursorPane_);
    addDockWidget(Qt::BottomDockWidgetArea, cursorDock_);
    cursorDock_->hide();
    connect(cursorDock_, &QDockWidget::visibilityChanged, this, [this] { UpdateCommands(); });
}

// The keyboard goes back to the recording with it.
void CMainFrame::ToggleCursorTable() {
    cursorDock_->setVisible(cursorDock_->isHidden());
    if (CChildFrame* child = ActiveChild()) child->Widget().setFocus();
    emit SettingsChanged();
}

bool CMainFrame::IsCursorTableShown() const { return cursorDock_ && !cursorDock_->isHidden(); }

// --- commands by name ---

bool CMainFrame::RunCommandById(std::string_view id) {
    UpdateCommands();
    QAction* action = findChild<QAction*>(ToQString(id));
    const bool isCommand = FindFrameCommand(id) || FindCommand(id) || FindOperationEntry(id).operation;
    if (!isCommand || !action || !action->isEnabled()) return false;
    action->trigger();
    return true;
}

std::vector<ListedCommand> CMainFrame::ListCommands() {
    UpdateCommands();
    std::vector<ListedCommand> list;
    const auto add = [&](std::string_view menu, std::string_view label, QAction* action, unsigned marks) {
        list.push_back({GroupName(menu), WithoutAccessKey(ShownLabel(label, marks)), KeysOf(label),
                        action->statusTip(), action->isEnabled(), [action] { action->trigger(); }});
    };
    const auto addFrame = [&](bool file) {
        for (const auto& [command, action] : frameActions_)
            if (command->menu.starts_with("&File") == file)
                add(command->menu, command->label, action, command->marks);
    };
    addFrame(true);
    for (const auto& [command, action] : viewActions_)
        add(command->menu, command->label, action, command->marks);
    for (const auto& [entry, action] : operationActions_) {
        add(entry.operation->menu, entry.Label(), action, 0);
        list.back().otherName = ToQString(entry.operation->className);
    }
    addFrame(false);
    return list;
}

}  // namespace kymora
