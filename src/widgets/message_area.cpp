#include "widgets/message_area.h"

#include <QEvent>
#include <QLabel>
#include <algorithm>

namespace kymora {

namespace {

constexpr int mostMessageLines = 3, messageMargin = 4;

}  // namespace

MessageArea::MessageArea(QWidget* parent) : QScrollArea(parent), label_(new QLabel(this)) {
    label_->setObjectName("message");
    label_->setTextFormat(Qt::PlainText);
    label_->setWordWrap(true);
    label_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    setWidget(label_);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    QSizePolicy policy = sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    setSizePolicy(policy);
    viewport()->setAutoFillBackground(false);
    label_->setAutoFillBackground(false);
    setAccessibleName(tr("Message"));
    FitHeight();
}

void MessageArea::Show(const QString& text, const QPalette& colours) {
    label_->setPalette(colours);
    if (label_->text() == text) return;
    label_->setText(text);
    FitHeight();
}

void MessageArea::FitHeight() {
    const int line = fontMetrics().lineSpacing();
    const int needed = label_->heightForWidth(width()) + messageMargin;
    const int most = mostMessageLines * line + messageMargin;
    // Read by the keyboard where it does not show all.
    setFocusPolicy(needed > most ? Qt::StrongFocus : Qt::NoFocus);
    setFixedHeight(std::clamp(needed, line + messageMargin, most));
}

void MessageArea::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    FitHeight();
}

void MessageArea::changeEvent(QEvent* event) {
    QScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange && label_) FitHeight();
}

}  // namespace kymora
