#include "widgets/fold_section.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyleOption>
#include <QVBoxLayout>

namespace kymora {

namespace {

constexpr int headingMargin = 3, arrowSize = 9, arrowRoom = 18;  // pixels

QFont Bold(QFont font) {
    font.setBold(true);
    return font;
}

QColor ShareOf(const QColor& colour, const QColor& other, double share) {
    const auto mix = [share](int a, int b) { return static_cast<int>(a + share * (b - a)); };
    return {mix(colour.red(), other.red()), mix(colour.green(), other.green()),
            mix(colour.blue(), other.blue())};
}

}  // namespace

FoldHeading::FoldHeading(const QString& text, QWidget* parent) : QPushButton(text, parent) {
    setObjectName("fold");
    setCheckable(true);
    setChecked(true);
    setAutoDefault(false);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setToolTip(tr("Folds this part away, and brings it back"));
}

QSize FoldHeading::sizeHint() const {
    const QFontMetrics metrics(Bold(font()));
    return {arrowRoom + metrics.horizontalAdvance(text()) + 2 * headingMargin,
            metrics.height() + 2 * headingMargin};
}

void FoldHeading::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QColor window = palette().color(QPalette::Window), ink = palette().color(QPalette::WindowText);
    painter.fillRect(rect(), ShareOf(window, ink, underMouse() ? 0.14 : 0.08));
    QStyleOption arrow;
    arrow.initFrom(this);
    arrow.rect = QRect(headingMargin + 2, (height() - arrowSize) / 2, arrowSize, arrowSize);
    style()->drawPrimitive(isChecked() ? QStyle::PE_IndicatorArrowDown : QStyle::PE_IndicatorArrowRight,
                           &arrow, &painter, this);
    painter.setFont(Bold(font()));
    painter.setPen(ink);
    painter.drawText(rect().adjusted(arrowRoom, 0, -headingMargin, 0), Qt::AlignVCenter | Qt::AlignLeft,
                     text());
    if (!hasFocus()) return;
    painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
    painter.drawRect(rect().adjusted(1, 1, -1, -1));
}

void FoldHeading::keyPressEvent(QKeyEvent* event) {
    const bool folds = event->key() == Qt::Key_Left, unfolds = event->key() == Qt::Key_Right;
    if (!folds && !unfolds) return QPushButton::keyPressEvent(event);
    setChecked(unfolds);
}

FoldSection::FoldSection(const QString& heading, QWidget* parent)
    : QWidget(parent), heading_(new FoldHeading(heading, this)), content_(new QWidget(this)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(heading_);
    column->addWidget(content_);
    connect(heading_, &QPushButton::toggled, this, [this](bool isShown) {
        content_->setVisible(isShown);
        emit Folded(!isShown);
    });
}

}  // namespace kymora
