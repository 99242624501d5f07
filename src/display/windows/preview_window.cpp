#include "display/windows/preview_window.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <optional>

#include "display/commands/commands.h"
#include "drawing/windows/painter_device.h"
#include "widgets/form_editor.h"
#include "widgets/text.h"
#include "widgets/tool_icons.h"

namespace kymora {

namespace {

constexpr int iconSize = 20, groupGap = 10;
constexpr int besideGap = 8, titleRoom = 32;  // pixels; the title bar is not part of the size
constexpr int buttonsRoom = 90;               // of those of the transform, with the line of what is said
constexpr QSize usualSize{760, 520}, leastPicture{320, 160};

// While a kernel is at work that may take its time.
class WaitCursor {
  public:
    WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QApplication::restoreOverrideCursor(); }
};

}  // namespace

class PreviewWindow::Picture : public QWidget {
  public:
    Picture(const CTransformPreview& model, QWidget* parent) : QWidget(parent), model_(model) {
        setObjectName("picture");
        setFocusPolicy(Qt::StrongFocus);
        setMinimumSize(leastPicture);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        PainterDevice device(painter);
        model_.Draw(device, {width(), height()});
    }

  private:
    const CTransformPreview& model_;
};

PreviewWindow::PreviewWindow(CPreviewHost& host, CDataDoc& doc, const DocumentView* view, PreviewLook& look,
                             QWidget* parent)
    : QDialog(parent), model_(host, doc, view), look_(look) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setWindowFlag(Qt::WindowMaximizeButtonHint, true);
    setObjectName("preview");
    setWindowTitle(tr("Preview"));
    auto* column = new QVBoxLayout(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    MakeButtons(row);
    if (model_.ChoosesTrace()) MakeTraceChoice(row, doc);
    column->addLayout(row);
    picture_ = new Picture(model_, this);
    column->addWidget(picture_, 1);
    status_ = new QLabel(this);
    status_->setObjectName("previewStatus");
    message_ = new QLabel(this);
    message_->setObjectName("previewMessage");
    message_->setWordWrap(true);
    for (QLabel* label : {status_, message_}) {
        label->setTextFormat(Qt::PlainText);
        label->setMinimumHeight(label->fontMetrics().height());
        column->addWidget(label);
    }
    column->addWidget(
        MakeCheck(superimposeText, "superimpose", &CTransformPreview::m_bSuperimpose, look_.superimpose));
    column->addWidget(
        MakeCheck(equalScaleText, "equalScale", &CTransformPreview::m_bEqualScale, look_.equalScale));
    picture_->setFocus();
    PlaceAs(look_.place);
    ShowState();
}

PreviewWindow::~PreviewWindow() { look_.place = QRect(pos(), size()); }

// Without a place of its own it stands beside the window of the transform, where the screen has the room.
void PreviewWindow::PlaceAs(const QRect& place) {
    resize(place.isValid() ? place.size() : usualSize);
    const QRect room = screen()->availableGeometry();
    if (place.isValid() && room.intersects(place)) return move(place.topLeft());
    if (!parentWidget()) return;
    QRect beside = parentWidget()->frameGeometry();
    const QSize least = minimumSizeHint();
    const QSize left(room.width() - beside.width() - besideGap,
                     room.height() - beside.height() - besideGap - titleRoom);
    const auto top = [&] {
        return std::max(room.top(), std::min(beside.top(), room.bottom() - height() - titleRoom));
    };
    if (beside.right() + besideGap + width() <= room.right()) return move(beside.right() + besideGap, top());
    if (beside.left() - besideGap - width() >= room.left())
        return move(beside.left() - besideGap - width(), top());
    // The window of the transform makes room; a preview that is smaller is better than one that hides it.
    const bool isBelow =
        left.height() >= height() || (left.width() < least.width() && left.height() >= least.height());
    if (isBelow || left.width() >= least.width()) {
        isBelow ? beside.moveBottom(std::min(beside.bottom(), room.top() + beside.height() - 1 +
                                                                  std::max(0, left.height() - height())))
                : beside.moveLeft(std::min(beside.left(), room.left() + std::max(0, left.width() - width())));
        parentWidget()->move(beside.topLeft());
        resize(size().boundedTo(isBelow ? QSize(room.width(), left.height())
                                        : QSize(left.width(), room.height() - titleRoom)));
        return isBelow ? move(beside.left(), beside.bottom() + besideGap)
                       : move(beside.right() + besideGap, top());
    }
    // Over the results at the lower right, so that settings, graph and buttons can be seen.
    resize(least.expandedTo(QSize(beside.width() / 2, beside.height() / 2)).boundedTo(size()));
    move(beside.right() - width(), std::max(room.top(), beside.bottom() - buttonsRoom - height()));
}

void PreviewWindow::MakeButtons(QBoxLayout* row) {
    for (const std::string_view id : CTransformPreview::Commands()) {
        const Command* command = FindCommand(id);
        if (!command) {
            row->addSpacing(groupGap);
            continue;
        }
        auto* button = new QToolButton(this);
        button->setObjectName(ToQString(id));
        button->setIcon(ToolIcon(id));
        button->setIconSize({iconSize, iconSize});
        button->setAutoRaise(true);
        // The keyboard stays with the picture.
        button->setFocusPolicy(Qt::NoFocus);
        const size_t tab = command->label.find('\t');
        const QString key = tab == std::string_view::npos
                                ? QString()
                                : " (" + ToQString(command->label.substr(tab + 1)).trimmed() + ")";
        button->setToolTip(ToQString(PlainLabel(command->label)) + key);
        button->setAccessibleName(ToQString(PlainLabel(command->label)));
        button->setAutoRepeat(id.find("percent") != std::string_view::npos);
        connect(button, &QToolButton::clicked, this, [this, id] { Run(id); });
        row->addWidget(button);
    }
    row->addStretch(1);
}

// For a transform of all traces.
void PreviewWindow::MakeTraceChoice(QBoxLayout* row, const CDataDoc& doc) {
    auto* choice = new QComboBox(this);
    choice->setObjectName("previewTrace");
    for (int t = 0; t < doc.traceCount; ++t) {
        const QString name = ToQString(doc.traces[static_cast<size_t>(t)].traceLabel);
        choice->addItem(name.isEmpty() ? QString::number(t + 1) : QString("%1 %2").arg(t + 1).arg(name));
    }
    auto* label = new QLabel(tr("&Trace"), this);
    label->setBuddy(choice);
    connect(choice, &QComboBox::currentIndexChanged, this, [this](int trace) {
        const WaitCursor wait;
        model_.ChooseTrace(trace);
        ShowState();
    });
    row->addWidget(label);
    row->addWidget(choice);
}

QCheckBox* PreviewWindow::MakeCheck(const char* text, const char* name, bool CTransformPreview::*member,
                                    bool& look) {
    auto* check = new QCheckBox(tr(text), this);
    check->setObjectName(name);
    check->setChecked(look);
    model_.*member = look;
    connect(check, &QCheckBox::toggled, this, [this, member, &look](bool isOn) {
        look = model_.*member = isOn;
        ShowState();
    });
    return check;
}

void PreviewWindow::Refresh() {
    const WaitCursor wait;
    model_.Refresh();
    ShowState();
}

void PreviewWindow::Run(std::string_view command) {
    // One that asks for a name waits for the user.
    std::optional<WaitCursor> wait;
    if (command != "save-eps") wait.emplace();
    model_.RunCommand(command);
    ShowState();
}

void PreviewWindow::ShowState() {
    status_->setText(ToQString(model_.Status()));
    message_->setText(ToQString(model_.Message()));
    QPalette colours = palette();
    if (!model_.Data().isTransformed) colours.setColor(QPalette::WindowText, FaultColour(colours));
    message_->setPalette(colours);
    picture_->update();
}

void PreviewWindow::keyPressEvent(QKeyEvent* event) {
    const Command* command = FindCommand(KeyFrom(*event));
    const auto known = CTransformPreview::Commands();
    if (command && std::find(known.begin(), known.end(), command->id) != known.end()) return Run(command->id);
    QDialog::keyPressEvent(event);
}

// As in the view: steps, with Shift pages, with Ctrl zoom.
void PreviewWindow::wheelEvent(QWheelEvent* event) {
    int steps = wheel_.Take(*event);
    const bool zooms = event->modifiers().testFlag(Qt::ControlModifier);
    const bool byPages = event->modifiers().testFlag(Qt::ShiftModifier);
    for (; steps > 0; --steps) Run(zooms ? "expand" : byPages ? "left-page" : "left-percent");
    for (; steps < 0; ++steps) Run(zooms ? "compress" : byPages ? "right-page" : "right-percent");
}

}  // namespace kymora
