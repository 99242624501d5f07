#include "display/windows/view_widget.h"
#include "display/axis_edits.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QKeyEvent>
#include <QMdiSubWindow>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QWheelEvent>
#include <cmath>

#include "display/commands/context_menu.h"
#include "display/overlays/overlay_fonts.h"
#include "display/picture.h"
#include "display/view_times.h"
#include "display/windows/hover_card.h"
#include "display/windows/reload_strip.h"
#include "drawing/windows/painter_device.h"

namespace kymora {

namespace {

constexpr int editTop = 22;  // below the plot
constexpr int editHeight = 20;
constexpr int editWidth = 96;  // or what the longest time needs
constexpr int aroundEditText = 16;
constexpr int unitGap = 4;
constexpr double wheelZoom = 1.25;

QColor FocusColour(uint32_t paper) {
    return ToQColor(IsDarkPaper(paper) ? Rgb(110, 180, 255) : Rgb(47, 111, 176));
}

// What stands on the paper has its colours, in dark themes too.
QString StyleOn(uint32_t paper) {
    const uint32_t ink = InkOn(paper);
    const QString focus = FocusColour(paper).name();
    return QString("QLineEdit { background: %1; color: %2; border: 1px solid %3; border-radius: 3px;"
                   " padding: 0 3px; selection-background-color: #2f6fb0; selection-color: white; }"
                   "QLineEdit:focus { border: 1px solid %4; }"
                   "QLabel { color: %5; background: transparent; }"
                   "#hoverCard { color: %2; background: %1; border: 1px solid %3; border-radius: 3px; }")
        .arg(ToQColor(paper).name(), ToQColor(ink).name(), ToQColor(Blend(paper, ink, 0.25)).name(), focus,
             ToQColor(Blend(paper, ink, 0.8)).name());
}

MouseEvent FromQt(const QMouseEvent& event) {
    MouseEvent mouse;
    mouse.x = event.pos().x();
    mouse.y = event.pos().y();
    const Qt::MouseButton button = event.button();
    mouse.button = button == Qt::LeftButton     ? MouseButton::left
                   : button == Qt::RightButton  ? MouseButton::right
                   : button == Qt::MiddleButton ? MouseButton::middle
                                                : MouseButton::none;
    mouse.ctrl = event.modifiers().testFlag(Qt::ControlModifier);
    mouse.shift = event.modifiers().testFlag(Qt::ShiftModifier);
    mouse.alt = event.modifiers().testFlag(Qt::AltModifier);
    return mouse;
}

}  // namespace

Key KeyFrom(const QKeyEvent& event) {
    Key key;
    key.ctrl = event.modifiers().testFlag(Qt::ControlModifier);
    key.alt = event.modifiers().testFlag(Qt::AltModifier);
    switch (event.key()) {
    case Qt::Key_Home:
        key.code = KeyCode::home;
        break;
    case Qt::Key_End:
        key.code = KeyCode::end;
        break;
    case Qt::Key_Left:
        key.code = KeyCode::left;
        break;
    case Qt::Key_Right:
        key.code = KeyCode::right;
        break;
    case Qt::Key_Up:
        key.code = KeyCode::up;
        break;
    case Qt::Key_Down:
        key.code = KeyCode::down;
        break;
    case Qt::Key_PageUp:
        key.code = KeyCode::pageUp;
        break;
    case Qt::Key_PageDown:
        key.code = KeyCode::pageDown;
        break;
    case Qt::Key_Delete:
        key.code = KeyCode::del;
        break;
    default:
        if (event.key() > Qt::Key_Space && event.key() <= Qt::Key_AsciiTilde) {
            key.code = KeyCode::character;
            key.character = static_cast<char>(std::tolower(event.key()));
            key.shift = event.modifiers().testFlag(Qt::ShiftModifier) && std::isalpha(event.key()) != 0;
        }
    }
    return key;
}

int WheelTurn::Take(QWheelEvent& event) {
    const QPoint turn = event.angleDelta();
    turn_ += std::abs(turn.x()) > std::abs(turn.y()) ? turn.x() : turn.y();
    const int steps = turn_ / QWheelEvent::DefaultDeltasPerStep;
    turn_ -= steps * QWheelEvent::DefaultDeltasPerStep;
    event.accept();
    return steps;
}

ViewWidget::ViewWidget(CKymoraView& view, QWidget* parent) : QWidget(parent), view_(view) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(160, 90);
    startEdit_ = MakeEdit("startEdit", tr("Start of the view"), Qt::AlignLeft);
    timebaseEdit_ = MakeEdit("timebaseEdit", tr("Time per division, or of the whole view"), Qt::AlignHCenter);
    endEdit_ = MakeEdit("endEdit", tr("End of the view"), Qt::AlignRight);
    timebaseUnit_ = new QLabel(this);
    timebaseUnit_->setFont(PainterDevice::TextFont());
    limitEdit_ = new LimitEdit(view, this);
    setAccessibleName(tr("Recording"));
    ApplyColours();
    view_.SetWindow(this);
    strip_ = new ReloadStrip(view, this);
    card_ = new HoverCard(view, this);
    connect(this, &ViewWidget::ViewChanged, card_, &HoverCard::Leave);
    connect(this, &ViewWidget::ViewChanged, strip_, &ReloadStrip::Watch);
}

ViewWidget::~ViewWidget() { Release(); }

void ViewWidget::Release() {
    if (std::exchange(isReleased_, true)) return;
    emit Released();
    view_.SetWindow(nullptr);
    // An edit that loses the focus when it goes has nothing left to tell.
    for (QLineEdit* edit : {startEdit_, timebaseEdit_, endEdit_}) {
        edit->removeEventFilter(this);
        edit->disconnect(this);
    }
    delete card_;
    delete strip_;
    delete limitEdit_;
}

bool ViewWidget::event(QEvent* event) {
    // The menu key is taken as a key, which knows where the menu belongs.
    const bool isByKey = event->type() == QEvent::ContextMenu &&
                         static_cast<QContextMenuEvent*>(event)->reason() == QContextMenuEvent::Keyboard;
    if (isByKey && !isReleased_) return event->accept(), true;
    if (!isReleased_) return QWidget::event(event);
    return event->type() == QEvent::DeferredDelete && QObject::event(event);
}

QLineEdit* ViewWidget::MakeEdit(const char* name, const QString& toolTip, Qt::Alignment alignment) {
    auto* edit = new QLineEdit(this);
    edit->setObjectName(name);
    edit->setToolTip(toolTip);
    edit->setAlignment(alignment);
    edit->setFont(PainterDevice::TextFont());
    edit->setAccessibleName(toolTip);
    edit->installEventFilter(this);
    connect(edit, &QLineEdit::editingFinished, this, [this, edit] { Accept(edit); });
    return edit;
}

// --- what the view asks ---

void ViewWidget::Invalidate() {
    pictureIsCurrent_ = false;
    ApplyColours();
    update();
    emit ViewChanged();
}

void ViewWidget::ApplyColours() {
    if (paper_ == view_.m_crBackground) return;
    paper_ = view_.m_crBackground;
    setStyleSheet(StyleOn(*paper_));
}

void ViewWidget::ShowTimes() {
    // A box that is being typed in keeps its text: the viewport may change under it when a long reading ends.
    const auto show = [](QLineEdit* edit, const std::string& text) {
        if (edit->isModified() && edit->hasFocus()) return;
        edit->setText(QString::fromStdString(text));
        edit->setCursorPosition(0);
    };
    show(startEdit_, StartText(view_.Plot()));
    show(endEdit_, EndText(view_.Plot()));
    show(timebaseEdit_, TimebaseText(view_.Plot()));
    timebaseUnit_->setText(QString::fromStdString(TimebaseUnitText(view_.Plot())));
    PlaceEdits();
}

void ViewWidget::LayoutChanged() {
    PlaceEdits();
    limitEdit_->Place();
}

void ViewWidget::EditLimit(int axis, bool isMax) { limitEdit_->Open(axis, isMax); }

void ViewWidget::SetSize(int width, int height) {
    QWidget* frame = this;
    while (frame->parentWidget() && !qobject_cast<QMdiSubWindow*>(frame) && !frame->isWindow())
        frame = frame->parentWidget();
    frame->showNormal();
    frame->resize(frame->size() + QSize(width, height) - size());
}

void ViewWidget::SetCursorShape(CursorShape shape) {
    static constexpr Qt::CursorShape shapes[] = {Qt::ArrowCursor,    Qt::CrossCursor,    Qt::SizeHorCursor,
                                                 Qt::SizeVerCursor,  Qt::OpenHandCursor, Qt::ClosedHandCursor,
                                                 Qt::ForbiddenCursor};
    setCursor(shapes[static_cast<size_t>(shape)]);
}

void ViewWidget::ShowStatus(std::string_view text) {
    modeStatus_ = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    emit StatusChanged(modeStatus_);
}

void ViewWidget::CopyText(std::string_view text) {
    QApplication::clipboard()->setText(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}

void ViewWidget::CopyPicture() {
    if (view_.FinishReload()) QApplication::clipboard()->setImage(PictureToKeep());
}

QImage ViewWidget::PictureToKeep() const {
    QImage picture(size() * devicePixelRatioF(), QImage::Format_RGB32);
    picture.setDevicePixelRatio(devicePixelRatioF());
    QPainter painter(&picture);
    PainterDevice device(painter);
    PaintRecording(view_.Plot(), device, PictureTarget::file);
    return picture;
}

void ViewWidget::Print() {
    if (!view_.FinishReload()) return;
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(QString::fromStdString(view_.GetDocument().filePath.filename().string()));
    printer.setPageOrientation(QPageLayout::Landscape);
    QPrintDialog dialog(&printer, window());
    if (dialog.exec() == QDialog::Accepted && !PrintOn(printer))
        view_.GetSession().host.Message("The view was not printed.");
}

// As large as the page allows, in the shape of the window.
bool ViewWidget::PrintOn(QPrinter& printer) {
    QPainter painter;
    if (!painter.begin(&printer)) return false;
    const QRectF page(QPointF(), printer.pageLayout().paintRectPixels(printer.resolution()).size());
    const double scale = std::min(page.width() / width(), page.height() / height());
    painter.scale(scale, scale);
    PainterDevice device(painter);
    PaintRecording(view_.Plot(), device, PictureTarget::file);
    return painter.end();
}

// --- edit boxes ---

void ViewWidget::Accept(QLineEdit* edit) {
    if (!edit->isModified() || accepting_) return;
    accepting_ = true;  // a message box takes the focus, which ends the editing a second time
    edit->setModified(false);
    const std::string text = edit->text().toStdString();
    if (edit == startEdit_) SetStartFromText(view_, text);
    if (edit == endEdit_) SetEndFromText(view_, text);
    if (edit == timebaseEdit_) SetTimebaseFromText(view_, text);
    accepting_ = false;
    ShowTimes();
}

bool ViewWidget::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        auto* edit = static_cast<QLineEdit*>(watched);
        if (key == Qt::Key_Escape) {
            edit->setModified(false);
            ShowTimes();
            setFocus();
            return true;
        }
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            Accept(edit);
            setFocus();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ViewWidget::PlaceEdits() {
    const PixelRect plot = view_.Plot().layout.plot;
    const bool fits = view_.m_bShowAxes && plot.Width() >= 60;
    const int unitWidth = timebaseUnit_->sizeHint().width();
    int widest = editWidth;
    for (const QLineEdit* box : {startEdit_, timebaseEdit_, endEdit_})
        widest = std::max(widest, box->fontMetrics().horizontalAdvance(box->text()) + aroundEditText);
    // The unit stands between the box in the middle and the last one.
    const int edit = std::min(widest, (plot.Width() - 4 * unitGap - 2 * unitWidth) / 3);
    const int top = plot.bottom + editTop;
    const int middle = (plot.left + plot.right) / 2;
    for (QWidget* widget :
         std::initializer_list<QWidget*>{startEdit_, timebaseEdit_, endEdit_, timebaseUnit_})
        widget->setVisible(fits);
    startEdit_->setGeometry(plot.left, top, edit, editHeight);
    endEdit_->setGeometry(plot.right - edit, top, edit, editHeight);
    timebaseEdit_->setGeometry(middle - edit / 2, top, edit, editHeight);
    timebaseUnit_->setGeometry(middle + edit / 2 + unitGap, top, unitWidth, editHeight);
}

// --- painting ---

void ViewWidget::resizeEvent(QResizeEvent*) {
    view_.OnSize(width(), height());
    pictureIsCurrent_ = false;
    PlaceEdits();
}

void ViewWidget::paintEvent(QPaintEvent* event) {
    const qreal ratio = devicePixelRatioF();
    const QSize pixels(static_cast<int>(std::ceil(width() * ratio)),
                       static_cast<int>(std::ceil(height() * ratio)));
    if (picture_.size() != pixels) {
        picture_ = QImage(pixels, QImage::Format_RGB32);
        picture_.setDevicePixelRatio(ratio);
        pictureIsCurrent_ = false;
    }
    if (!pictureIsCurrent_) PaintPicture();
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.drawImage(0, 0, picture_);
    if (!hasFocus() || !showsFocus_) return;
    painter.setPen(FocusColour(view_.m_crBackground));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void ViewWidget::PaintPicture() {
    QPainter painter(&picture_);
    PainterDevice device(painter);
    PaintRecording(view_.Plot(), device, PictureTarget::window);
    pictureIsCurrent_ = true;
}

// --- keys and mouse ---

void ViewWidget::keyPressEvent(QKeyEvent* event) {
    card_->Leave();
    if (event->key() == Qt::Key_Escape) return view_.Escape();
    const bool isMenuKey = event->key() == Qt::Key_Menu ||
                           (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier);
    if (isMenuKey) return AskForMenu();
    const Key key = KeyFrom(*event);
    const Command* command = FindCommand(view_, key);
    if (!command) return QWidget::keyPressEvent(event);
    RunCommand(*command, {view_, key.ctrl});
}

void ViewWidget::AskForMenu() {
    const Point at = MenuPlace(view_.Plot(), isMouseOver_ ? view_.m_mouse : std::nullopt);
    emit customContextMenuRequested({at.x, at.y});
}

// Scrolls by steps, with Shift by pages; zooms with Ctrl, and over an axis.
void ViewWidget::TurnWheel(int steps, const QPoint& at, Qt::KeyboardModifiers modifiers) {
    const double factor = std::pow(wheelZoom, -steps);
    const Layout layout = view_.Plot().layout;
    if (modifiers.testFlag(Qt::ControlModifier)) {
        view_.ChangeViewport(view_.GetNavigation().Around(view_.Plot().PixelToTime(at.x()), factor));
        return;
    }
    if (layout.axesShown && at.x() < layout.plot.left)
        return ScaleAxisAround(view_, view_.Plot().GetNearestAxis(at.y()), at.y(), factor);
    const bool byPages = modifiers.testFlag(Qt::ShiftModifier);
    const auto left = byPages ? &Navigation::LeftPage : &Navigation::LeftPercent;
    const auto right = byPages ? &Navigation::RightPage : &Navigation::RightPercent;
    for (int step = 0; step < std::abs(steps); ++step)
        if (steps > 0 || view_.GetNavigation().HasMoreBehind()) view_.Go(steps > 0 ? left : right);
}

void ViewWidget::wheelEvent(QWheelEvent* event) {
    card_->Leave();
    const int steps = wheel_.Take(*event);
    if (steps != 0) TurnWheel(steps, event->position().toPoint(), event->modifiers());
}

void ViewWidget::mousePressEvent(QMouseEvent* event) {
    setFocus();
    card_->Leave();
    view_.Mouse().Down(FromQt(*event));
}

void ViewWidget::mouseMoveEvent(QMouseEvent* event) {
    // A message that came up during the drag has swallowed the release.
    if (view_.Mouse().Drag() && !event->buttons().testFlag(Qt::LeftButton)) view_.Escape();
    view_.Mouse().Move(FromQt(*event));
    isMouseOver_ = true;
    card_->RestAt(event->pos());
    const PlotContext shown = view_.Plot();
    const int x = event->pos().x(), y = event->pos().y();
    QString place = QString::fromStdString(StatusText(shown, x, y));
    if (!place.isEmpty()) place += "  " + QString::fromStdString(StatusUnits(shown, x, y));
    emit StatusChanged(modeStatus_.isEmpty() ? place : modeStatus_ + "   " + place);
}

void ViewWidget::mouseReleaseEvent(QMouseEvent* event) { view_.Mouse().Up(FromQt(*event)); }

void ViewWidget::mouseDoubleClickEvent(QMouseEvent* event) { view_.Mouse().DoubleClick(FromQt(*event)); }

void ViewWidget::leaveEvent(QEvent*) {
    isMouseOver_ = false;
    card_->Leave();
    emit StatusChanged(modeStatus_);
}

}  // namespace kymora
