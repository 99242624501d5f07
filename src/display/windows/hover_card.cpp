#include "display/windows/hover_card.h"

#include "display/view_objects.h"

namespace kymora {

namespace {

constexpr int restMs = 600;
constexpr int besidePointer = 18, belowPointer = 22;  // pixels; the pointer's own picture is about as large
constexpr int longestLine = 80;                       // characters

}  // namespace

HoverCard::HoverCard(CKymoraView& view, QWidget* parent) : QLabel(parent), view_(view) {
    setObjectName("hoverCard");
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setTextFormat(Qt::PlainText);
    setMargin(5);
    hide();
    rest_.setSingleShot(true);
    rest_.setInterval(restMs);
    connect(&rest_, &QTimer::timeout, this, &HoverCard::Open);
}

void HoverCard::RestAt(const QPoint& at) {
    if (at == at_ && isVisible()) return;
    Leave();
    at_ = at;
    if (view_.GetSession().options.hoverCard != 0 && view_.m_nMouseMode == mouseNormal &&
        !view_.Mouse().Drag())
        rest_.start();
}

void HoverCard::Leave() {
    rest_.stop();
    hide();
}

void HoverCard::Open() {
    if (view_.Mouse().Drag() || !parentWidget()->isVisible()) return;
    QStringList lines = QString::fromStdString(HoverText(view_, {at_.x(), at_.y()})).split('\n');
    for (QString& line : lines)
        if (line.size() > longestLine) line = line.left(longestLine - 1) + QChar(0x2026);
    if (lines.join("").isEmpty()) return;
    setText(lines.join('\n'));
    adjustSize();
    Place();
    show();
    raise();
}

// To the right of the pointer and below it; on the other side where the window ends.
void HoverCard::Place() {
    const QSize room = parentWidget()->size();
    int x = at_.x() + besidePointer, y = at_.y() + belowPointer;
    if (x + width() > room.width()) x = at_.x() - besidePointer - width();
    if (y + height() > room.height()) y = at_.y() - belowPointer - height();
    // In a window that is too small for either side it still leaves the pointer free.
    move(std::max(0, x), y < 0 ? std::max(0, room.height() - height()) : y);
}

}  // namespace kymora
