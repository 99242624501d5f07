#include "widgets/style_buttons.h"

#include <QColorDialog>
#include <QEvent>
#include <QFontDialog>
#include <QFontInfo>
#include <QPainter>

#include "widgets/text.h"

namespace kymora {

namespace {

QColor ToColour(uint32_t colour) {
    return {static_cast<int>(colour & 0xFF), static_cast<int>((colour >> 8) & 0xFF),
            static_cast<int>((colour >> 16) & 0xFF)};
}

uint32_t FromColour(const QColor& colour) {
    return static_cast<uint32_t>(colour.red()) | (static_cast<uint32_t>(colour.green()) << 8) |
           (static_cast<uint32_t>(colour.blue()) << 16);
}

// The eight colours of Okabe and Ito, offered beside those that the user mixes.
void OfferSafeColours() {
    constexpr QRgb safe[] = {0xFF000000, 0xFFE69F00, 0xFF56B4E9, 0xFF009E73,
                             0xFF0072B2, 0xFFD55E00, 0xFFCC79A7, 0xFFF0E442};
    for (int i = 0; i < static_cast<int>(std::size(safe)); ++i)
        QColorDialog::setCustomColor(i, QColor(safe[i]));
}

QFont ToFont(const FontSpec& spec) {
    QFont font(ToQString(spec.face));
    font.setPixelSize(std::max(1, spec.pixelHeight));
    font.setWeight(static_cast<QFont::Weight>(std::clamp(spec.weight, 1, 1000)));
    font.setItalic(spec.italic);
    font.setUnderline(spec.underline);
    font.setStrikeOut(spec.strikeOut);
    return font;
}

FontSpec FromFont(const QFont& font) {
    FontSpec spec;
    spec.face = font.family().toStdString();
    spec.pixelHeight = QFontInfo(font).pixelSize();
    spec.weight = font.weight();
    spec.italic = font.italic();
    spec.underline = font.underline();
    spec.strikeOut = font.strikeOut();
    return spec;
}

}  // namespace

// --- ColourButton ---

ColourButton::ColourButton(QWidget* parent) : QPushButton(parent) {
    setAutoDefault(false);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(this, &QPushButton::clicked, this, &ColourButton::Choose);
}

void ColourButton::Write(const Field& field) {
    colour_ = field.colour & 0xFFFFFF;
    Show();
}

void ColourButton::SetShort() {
    isShort_ = true;
    Show();
}

void ColourButton::Choose() {
    OfferSafeColours();
    const QColor chosen = QColorDialog::getColor(ToColour(colour_), this);
    if (!chosen.isValid() || FromColour(chosen) == colour_) return;
    colour_ = FromColour(chosen);
    Show();
    emit Changed();
}

void ColourButton::Show() {
    const int height = fontMetrics().ascent() + fontMetrics().descent();
    const int width = (isShort_ ? 1 : 3) * height;
    const qreal ratio = devicePixelRatioF();
    QPixmap swatch(QSize(width, height) * ratio);
    swatch.setDevicePixelRatio(ratio);
    swatch.fill(ToColour(colour_));
    QPainter painter(&swatch);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(QRectF(0.5, 0.5, width - 1, height - 1));
    painter.end();
    setIcon(swatch);
    setIconSize({width, height});
    const QString name = ToColour(colour_).name();
    setText(isShort_ ? QString() : name);
    if (isShort_) setToolTip(name);
}

void ColourButton::changeEvent(QEvent* event) {
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) Show();
}

// --- FontButton ---

FontButton::FontButton(QWidget* parent) : QPushButton(parent) {
    setAutoDefault(false);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(this, &QPushButton::clicked, this, &FontButton::Choose);
}

void FontButton::Write(const Field& field) {
    font_ = field.font;
    Show();
}

void FontButton::Choose() {
    bool accepted = false;
    const QFont chosen = QFontDialog::getFont(&accepted, ToFont(font_), this);
    if (!accepted || FromFont(chosen) == font_) return;
    font_ = FromFont(chosen);
    Show();
    emit Changed();
}

void FontButton::Show() {
    QString text = tr("%1, %2 px").arg(ToQString(font_.face)).arg(font_.pixelHeight);
    if (font_.weight >= 600) text += tr(", bold");
    if (font_.italic) text += tr(", italic");
    if (font_.underline) text += tr(", underlined");
    if (font_.strikeOut) text += tr(", struck out");
    setText(text);
}

}  // namespace kymora
