#include "widgets/elided_label.h"

#include <QPainter>
#include <QStyle>
#include <algorithm>

namespace kymora {

ElidedLabel::ElidedLabel(int leastLetters, QWidget* parent) : QLabel(parent), leastLetters_(leastLetters) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void ElidedLabel::SetText(const QString& text) {
    if (text == this->text()) return;
    setText(text);
    Fit();
}

void ElidedLabel::SetSeveralLines() {
    setWordWrap(true);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    QSizePolicy policy = sizePolicy();
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int ElidedLabel::heightForWidth(int width) const {
    const int height = fontMetrics().height();
    return wordWrap() ? std::max(height, QLabel::heightForWidth(width)) : height;
}

QSize ElidedLabel::sizeHint() const { return minimumSizeHint(); }

QSize ElidedLabel::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * leastLetters_, fontMetrics().height()};
}

// What is cut can be read in the tip.
void ElidedLabel::Fit() {
    if (wordWrap()) return;
    const bool fits = fontMetrics().horizontalAdvance(text()) <= width();
    setToolTip(fits ? QString() : "<qt>" + text().toHtmlEscaped() + "</qt>");
}

void ElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    Fit();
}

void ElidedLabel::paintEvent(QPaintEvent* event) {
    if (wordWrap()) return QLabel::paintEvent(event);
    QPainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, width());
    style()->drawItemText(&painter, rect(), static_cast<int>(alignment()), palette(), isEnabled(), shown,
                          foregroundRole());
}

}  // namespace kymora
