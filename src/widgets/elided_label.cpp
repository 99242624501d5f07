#include "widgets/elided_label.h"

#include <QPainter>
#include <QStyle>

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

QSize ElidedLabel::sizeHint() const { return minimumSizeHint(); }

QSize ElidedLabel::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * leastLetters_, fontMetrics().height()};
}

// What is cut can be read in the tip.
void ElidedLabel::Fit() {
    const bool fits = fontMetrics().horizontalAdvance(text()) <= width();
    setToolTip(fits ? QString() : "<qt>" + text().toHtmlEscaped() + "</qt>");
}

void ElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    Fit();
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, width());
    style()->drawItemText(&painter, rect(), static_cast<int>(alignment()), palette(), isEnabled(), shown,
                          foregroundRole());
}

}  // namespace kymora
