#include "app/remote_desktop.h"

#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMdiArea>
#include <QMouseEvent>
#include <QPixmap>
#include <QProgressDialog>
#include <QTimer>
#include <QWheelEvent>

#include "app/frame_commands.h"
#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/paint_waiter.h"
#include "app/widget_picture.h"
#include "catalogue/windows/transform_window.h"
#include "remote/remote_json.h"
#include "widgets/text.h"

namespace kymora {

namespace {

Qt::KeyboardModifiers Modifiers(const MouseEvent& event) {
    return (event.ctrl ? Qt::ControlModifier : Qt::NoModifier) |
           (event.shift ? Qt::ShiftModifier : Qt::NoModifier) |
           (event.alt ? Qt::AltModifier : Qt::NoModifier);
}

Qt::MouseButton Button(MouseButton button) {
    return button == MouseButton::right    ? Qt::RightButton
           : button == MouseButton::middle ? Qt::MiddleButton
                                           : Qt::LeftButton;
}

// The key of "Ctrl+Left arrow", "Escape" or "e"; nothing when there is no such key.
std::optional<QKeyCombination> KeyOfName(std::string_view name) {
    QString text = ToQString(name).trimmed();
    text.replace(" arrow", "", Qt::CaseInsensitive);
    for (const auto& [word, known] : {std::pair{"Escape", "Esc"}, {"Delete", "Del"}, {"Page ", "Pg"}})
        text.replace(word, known, Qt::CaseInsensitive);
    const QKeySequence keys = QKeySequence::fromString(text);
    if (keys.count() != 1 || keys[0].key() == Qt::Key_unknown) return std::nullopt;
    return keys[0];
}

void SendWheel(QWidget& widget, const RemoteMouse& mouse) {
    const QPointF place(mouse.event.x, mouse.event.y);
    QWheelEvent event(place, widget.mapToGlobal(place), {},
                      QPoint(0, mouse.turn * QWheelEvent::DefaultDeltasPerStep), Qt::NoButton,
                      Modifiers(mouse.event), Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &event);
}

}  // namespace

// --- recordings ---

CChildFrame& DesktopRemote::Child(int index) const { return *frame_.Children()[static_cast<size_t>(index)]; }

ViewWidget& DesktopRemote::Widget(int index) const { return Child(index).Widget(); }

std::vector<CKymoraView*> DesktopRemote::Views() {
    std::vector<CKymoraView*> views;
    for (const CChildFrame* child : frame_.Children()) views.push_back(&child->View());
    return views;
}

int DesktopRemote::Active() {
    const std::vector<CChildFrame*> children = frame_.Children();
    const auto found = std::find(children.begin(), children.end(), frame_.ActiveChild());
    return found == children.end() ? -1 : static_cast<int>(found - children.begin());
}

void DesktopRemote::Activate(int index) {
    CChildFrame& child = Child(index);
    child.mdiArea()->setActiveSubWindow(&child);
}

int DesktopRemote::Open(const std::filesystem::path& path, bool asks) {
    const CChildFrame* child = frame_.OpenFile(path, asks ? std::nullopt : std::optional(OpenTalk::shows));
    const std::vector<CChildFrame*> children = frame_.Children();
    const auto found = std::find(children.begin(), children.end(), child);
    return child == nullptr || found == children.end() ? -1 : static_cast<int>(found - children.begin());
}

bool DesktopRemote::Close(int index) {
    CChildFrame& child = Child(index);
    if (!child.close()) return false;
    // It goes at once, so that the numbers of the others are right in the next request.
    QCoreApplication::sendPostedEvents(&child, QEvent::DeferredDelete);
    return true;
}

bool DesktopRemote::Save(int index) {
    Activate(index);
    return frame_.OnFileSave();
}

bool DesktopRemote::SaveAs(int index) {
    Activate(index);
    return frame_.OnFileSaveAs();
}

std::vector<RemoteCommand> FrameCommandList() {
    std::vector<RemoteCommand> list;
    for (const FrameCommand& command : FrameCommands()) {
        const size_t tab = command.label.find('\t');
        const std::string_view key = tab == std::string_view::npos ? "" : command.label.substr(tab + 1);
        list.push_back({std::string(command.id), PlainLabel(command.menu), PlainLabel(command.label),
                        std::string(key), std::string(command.toolTip)});
    }
    for (const OperationEntry& entry : EntriesOf(Operations()))
        list.push_back({entry.Id(),
                        PlainLabel(entry.operation->menu),
                        PlainLabel(entry.Label()),
                        {},
                        std::string(entry.ToolTip())});
    return list;
}

bool DesktopRemote::CanOpen(const Operation& operation) {
    return Active() >= 0 || !operation.make()->NeedsRecording();
}

std::vector<RemoteCommand> DesktopRemote::FrameCommands() {
    std::vector<RemoteCommand> list = FrameCommandList();
    for (RemoteCommand& described : list) {
        const FrameCommand* command = FindFrameCommand(described.id);
        if (!command) {
            described.enabled = CanOpen(*FindOperationEntry(described.id).operation);
            continue;
        }
        described.enabled = !command->enabled || command->enabled(frame_);
        if (command->checked) described.checked = command->checked(frame_);
    }
    return list;
}

CommandResult DesktopRemote::RunFrameCommand(std::string_view id) {
    const FrameCommand* command = FindFrameCommand(id);
    if (command == nullptr) {
        const OperationEntry entry = FindOperationEntry(id);
        if (!entry.operation) return CommandResult::unknown;
        if (!CanOpen(*entry.operation)) return CommandResult::unavailable;
        frame_.OperationDialogs().Open(entry);
        return CommandResult::done;
    }
    if (command->enabled && !command->enabled(frame_)) return CommandResult::unavailable;
    command->run(frame_);
    return CommandResult::done;
}

bool DesktopRemote::Quit() { return frame_.close(); }

// --- the window ---

Extent DesktopRemote::WindowSize() { return {frame_.width(), frame_.height()}; }

void DesktopRemote::Resize(Extent size) {
    if (frame_.isMaximized() || frame_.isFullScreen()) frame_.showNormal();
    frame_.resize(size.width, size.height);
}

std::vector<std::byte> DesktopRemote::Picture(int index) {
    if (index < 0) return PngOf(frame_);
    ViewWidget& widget = Widget(index);
    widget.SetShowsFocus(false);
    std::vector<std::byte> picture = PngOf(widget);
    widget.SetShowsFocus(true);
    return picture;
}

CBatchBaseDlg& DesktopRemote::OpenOperation(const Operation& operation) {
    OperationWindow* window = frame_.OperationDialogs().Open({&operation});
    if (window->IsBusy()) throw RemoteError("The operation is at work.");
    return window->Block();
}

void DesktopRemote::OperationChanged(const Operation& operation) {
    if (OperationWindow* window = frame_.OperationDialogs().Find(operation.className)) window->Refresh();
}

bool DesktopRemote::RunOperation(const Operation& operation) {
    OperationWindow* window = frame_.OperationDialogs().Find(operation.className);
    if (!window) return false;
    if (window->Run()) return true;
    // Where it runs by itself, its words stand in the window, and no host was told.
    if (const QString& why = window->WhyNotDone(); !why.isEmpty()) throw RemoteError(why.toStdString());
    return false;
}

void DesktopRemote::CloseOperation(const Operation& operation) {
    if (OperationWindow* window = frame_.OperationDialogs().Find(operation.className)) window->close();
}

std::vector<std::byte> DesktopRemote::OperationPicture(const Operation& operation) {
    OperationWindow* window = frame_.OperationDialogs().Find(operation.className);
    return window ? PngOf(*window) : std::vector<std::byte>();
}

std::vector<std::byte> DesktopRemote::PreviewPicture(const Operation& operation) {
    auto* window = dynamic_cast<TransformWindow*>(frame_.OperationDialogs().Find(operation.className));
    PreviewWindow* preview = window ? window->OpenPreview() : nullptr;
    return preview ? PngOf(*preview) : std::vector<std::byte>();
}

bool DesktopRemote::PressKey(int index, std::string_view name) {
    const std::optional<QKeyCombination> key = KeyOfName(name);
    if (!key) return false;
    const QPointer<ViewWidget> widget = &Widget(index);
    QString text;
    if (key->key() >= Qt::Key_Space && key->key() <= Qt::Key_AsciiTilde)
        text = QChar(static_cast<char16_t>(key->key())).toLower();
    for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key->key(), key->keyboardModifiers(), text);
        if (widget) QApplication::sendEvent(widget, &event);
    }
    return true;
}

void DesktopRemote::MoveMouse(int index, const RemoteMouse& mouse) {
    ViewWidget& widget = Widget(index);
    using Type = RemoteMouse::Type;
    if (mouse.type == Type::wheel) return SendWheel(widget, mouse);
    static constexpr QEvent::Type types[] = {QEvent::MouseButtonPress, QEvent::MouseMove,
                                             QEvent::MouseButtonRelease, QEvent::MouseButtonDblClick};
    static_assert(static_cast<int>(Type::move) == 1);
    static constexpr Type order[] = {Type::press, Type::move, Type::release, Type::doubleClick};
    const auto which = std::find(std::begin(order), std::end(order), mouse.type) - std::begin(order);
    const Qt::MouseButton button = Button(mouse.event.button);
    const bool held = mouse.type == Type::press || mouse.type == Type::doubleClick ||
                      (mouse.type == Type::move && widget.View().Mouse().Drag());
    const QPointF place(mouse.event.x, mouse.event.y);
    QMouseEvent event(types[which], place, widget.mapToGlobal(place),
                      mouse.type == Type::move ? Qt::NoButton : button, held ? button : Qt::NoButton,
                      Modifiers(mouse.event));
    QApplication::sendEvent(&widget, &event);
}

RemoteRecorder* DesktopRemote::Recorder(bool makes) {
    if (makes) frame_.OpenRecorder();
    return frame_.Recorder() ? &recorder_ : nullptr;
}

std::string DesktopRemote::OpenDialog() {
    const QWidget* open = QApplication::activePopupWidget();
    if (open == nullptr) open = QApplication::activeModalWidget();
    // The window of a transform stops the user, but no code waits for it.
    const auto* operation = qobject_cast<const OperationWindow*>(open);
    if (open == nullptr || (operation && !operation->IsBusy())) return {};
    const QString title = open->windowTitle().remove("[*]");
    return title.isEmpty() ? std::string("a menu or dialog without a title") : title.toStdString();
}

void DesktopRemote::WhenPainted(int index, int timeoutMs, bool coarse, QObject* context,
                                std::function<void(bool)> done) {
    const std::vector<CChildFrame*> children = frame_.Children();
    QWidget* widget = &frame_;
    std::function<bool()> isWhole = [] { return true; };
    if (index >= static_cast<int>(children.size())) widget = nullptr;
    if (index >= 0 && widget != nullptr) {
        ViewWidget& shown = children[static_cast<size_t>(index)]->Widget();
        widget = &shown;
        if (!coarse) isWhole = [&shown] { return !shown.View().IsReloading(); };
    }
    new PaintWaiter(widget, timeoutMs, std::move(isWhole), context, std::move(done));
}

// --- dialogs ---

DialogGuard::DialogGuard(Host& host) : host_(host) { QCoreApplication::instance()->installEventFilter(this); }

DialogGuard::~DialogGuard() { QCoreApplication::instance()->removeEventFilter(this); }

bool DialogGuard::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::Show || !watched->isWidgetType()) return false;
    auto* window = static_cast<QWidget*>(watched);
    const bool waits = window->isWindow() && (window->isModal() || window->windowType() == Qt::Popup);
    if (!waits || qobject_cast<QProgressDialog*>(window) || qobject_cast<OperationWindow*>(window))
        return false;
    host_.Message("The window \"" + window->windowTitle().toStdString() +
                      "\" was closed: nobody could have answered it.",
                  "Kymora");
    QTimer::singleShot(0, window, [window] {
        if (auto* dialog = qobject_cast<QDialog*>(window))
            dialog->reject();
        else
            window->close();
    });
    return false;
}

}  // namespace kymora
