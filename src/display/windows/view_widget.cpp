#include "display/windows/view_widget.h"

#include <QInputDialog>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>

#include "display/picture.h"
#include "display/windows/painter_device.h"

namespace kymora {

namespace {

constexpr int editTop = 25;  // below the plot
constexpr int editHeight = 17;
constexpr int editWidth = 96;
constexpr int unitGap = 4;
constexpr int wheelStep = 120;  // eighths of a degree
constexpr double wheelZoom = 1.25;

// The paper is white in dark themes too, so what stands on it brings its own colours.
constexpr const char* editStyle = "QLineEdit { background: white; color: #202028; border: 1px solid #c4c4d0;"
                                  " border-radius: 3px; padding: 0 3px; selection-background-color: #2f6fb0;"
                                  " selection-color: white; }"
                                  "QLineEdit:focus { border-color: #2f6fb0; }";
constexpr const char* unitStyle = "QLabel { color: #505060; background: transparent; }";

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
    default:
        if (event.key() > Qt::Key_Space && event.key() <= Qt::Key_AsciiTilde) {
            key.code = KeyCode::character;
            key.character = static_cast<char>(std::tolower(event.key()));
        }
    }
    return key;
}

}  // namespace

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
    timebaseUnit_->setStyleSheet(unitStyle);
    view_.SetWindow(this);
}

ViewWidget::~ViewWidget() { view_.SetWindow(nullptr); }

QLineEdit* ViewWidget::MakeEdit(const char* name, const QString& toolTip, Qt::Alignment alignment) {
    auto* edit = new QLineEdit(this);
    edit->setObjectName(name);
    edit->setToolTip(toolTip);
    edit->setAlignment(alignment);
    edit->setFont(PainterDevice::TextFont());
    edit->setStyleSheet(editStyle);
    edit->installEventFilter(this);
    connect(edit, &QLineEdit::editingFinished, this, [this, edit] { Accept(edit); });
    return edit;
}

// --- what the view asks ---

void ViewWidget::Invalidate() {
    pictureIsCurrent_ = false;
    update();
    emit ViewChanged();
}

void ViewWidget::ShowTimes() {
    startEdit_->setText(QString::fromStdString(view_.StartText()));
    endEdit_->setText(QString::fromStdString(view_.EndText()));
    timebaseEdit_->setText(QString::fromStdString(view_.TimebaseText()));
    timebaseUnit_->setText(QString::fromStdString(view_.TimebaseUnitText()));
    for (QLineEdit* edit : {startEdit_, endEdit_, timebaseEdit_}) edit->setCursorPosition(0);
    PlaceEdits();
}

void ViewWidget::LayoutChanged() { PlaceEdits(); }

std::optional<double> ViewWidget::AskNumber(std::string_view title, std::string_view label, double value) {
    bool accepted = false;
    const auto text = [](std::string_view from) {
        return QString::fromUtf8(from.data(), static_cast<int>(from.size()));
    };
    const double answer =
        QInputDialog::getDouble(this, text(title), text(label), value, 0.0, 1e12, 6, &accepted);
    if (!accepted) return {};
    return answer;
}

// --- edit boxes ---

void ViewWidget::Accept(QLineEdit* edit) {
    if (!edit->isModified() || accepting_) return;
    accepting_ = true;  // a message box takes the focus, which ends the editing a second time
    edit->setModified(false);
    const std::string text = edit->text().toStdString();
    if (edit == startEdit_) view_.SetStartFromText(text);
    if (edit == endEdit_) view_.SetEndFromText(text);
    if (edit == timebaseEdit_) view_.SetTimebaseFromText(text);
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
    const PixelRect& plot = view_.GetLayout().plot;
    const bool fits = view_.m_bShowAxes && plot.Width() >= 60;
    const int unitWidth = timebaseUnit_->sizeHint().width();
    const int edit = std::min(editWidth, (plot.Width() - 2 * unitGap - unitWidth) / 3);
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
}

void ViewWidget::PaintPicture() {
    QPainter painter(&picture_);
    PainterDevice device(painter);
    PaintRecording(view_, device, PictureTarget::window);
    pictureIsCurrent_ = true;
}

// --- keys and mouse ---

void ViewWidget::keyPressEvent(QKeyEvent* event) {
    const Key key = KeyFrom(*event);
    const Command* command = FindCommand(key);
    if (!command) return QWidget::keyPressEvent(event);
    RunCommand(*command, {view_, key.ctrl});
}

void ViewWidget::ScrollBySteps(int steps) {
    for (; steps > 0; --steps) view_.RightPercent();
    for (; steps < 0; ++steps) view_.LeftPercent();
}

void ViewWidget::wheelEvent(QWheelEvent* event) {
    const QPoint turn = event->angleDelta();
    wheelTurn_ += std::abs(turn.x()) > std::abs(turn.y()) ? turn.x() : turn.y();
    const int steps = wheelTurn_ / wheelStep;  // away from the user, or to the left
    wheelTurn_ -= steps * wheelStep;
    event->accept();
    if (steps == 0) return;
    if (event->modifiers().testFlag(Qt::ControlModifier))
        view_.ZoomAround(static_cast<int>(event->position().x()), std::pow(wheelZoom, -steps));
    else
        ScrollBySteps(-steps);
}

bool ViewWidget::PressSlider(QPoint at) {
    const Slider slider = view_.GetSlider();
    if (!view_.m_bShowSlider || !slider.strip.Contains(at.x(), at.y())) return false;
    if (at.x() < slider.thumb.left)
        view_.LeftPage();
    else if (at.x() >= slider.thumb.right)
        view_.RightPage();
    else
        thumbGrip_ = at.x() - slider.thumb.left;
    return true;
}

void ViewWidget::mousePressEvent(QMouseEvent* event) {
    setFocus();
    if (event->button() != Qt::LeftButton || PressSlider(event->pos())) return;
    const Layout& layout = view_.GetLayout();
    if (layout.axesShown && event->pos().x() < layout.plot.left)
        view_.SelectAxis(view_.GetNearestAxis(event->pos().y()),
                         event->modifiers().testFlag(Qt::ControlModifier));
}

void ViewWidget::mouseMoveEvent(QMouseEvent* event) {
    if (thumbGrip_ >= 0) {
        const double start = view_.GetSlider().StartAt(event->pos().x() - thumbGrip_, view_.GetFileEnd());
        const double lastStart = std::max(0.0, view_.GetFileEnd() - view_.GetViewport().Duration());
        view_.SetStartTime(std::min(start, lastStart));
    }
    emit StatusChanged(QString::fromStdString(view_.StatusText(event->pos().x(), event->pos().y())));
}

void ViewWidget::mouseReleaseEvent(QMouseEvent*) { thumbGrip_ = -1; }

void ViewWidget::leaveEvent(QEvent*) { emit StatusChanged({}); }

}  // namespace kymora
