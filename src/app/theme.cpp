#include "app/theme.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QPalette>
#include <QPolygonF>
#include <QProxyStyle>
#include <QStyleOption>
#include <vector>

namespace kymora {

namespace {

struct ThemeColours {
    QColor window, base, alternate, text, button, disabled, highlight, link;
};

const ThemeColours light{QColor(239, 240, 242), Qt::white,
                         QColor(246, 247, 249), QColor(28, 30, 36),
                         QColor(239, 240, 242), QColor(130, 132, 140),
                         QColor(47, 111, 176),  QColor(24, 92, 160)};
const ThemeColours dark{QColor(43, 45, 50),    QColor(32, 34, 38),   QColor(38, 40, 45),
                        QColor(226, 228, 233), QColor(54, 57, 63),   QColor(130, 133, 141),
                        QColor(58, 124, 193),  QColor(118, 178, 240)};

QPalette PaletteOf(const ThemeColours& colours) {
    QPalette palette(colours.button, colours.window);
    palette.setColor(QPalette::Base, colours.base);
    palette.setColor(QPalette::AlternateBase, colours.alternate);
    palette.setColor(QPalette::ToolTipBase, colours.base);
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, colours.text);
        palette.setColor(QPalette::Disabled, role, colours.disabled);
    }
    palette.setColor(QPalette::PlaceholderText, colours.disabled);
    palette.setColor(QPalette::Highlight, colours.highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, colours.link);
    return palette;
}

using Shape = std::vector<QPolygonF>;

// In a square of 10 units; empty for what is no such button.
Shape WindowButtonShape(QStyle::StandardPixmap which) {
    switch (which) {
    case QStyle::SP_TitleBarMinButton:
        return {QPolygonF({{2, 7.5}, {8, 7.5}})};
    case QStyle::SP_TitleBarNormalButton:
        return {QPolygonF({{2, 4}, {6, 4}, {6, 8}, {2, 8}, {2, 4}}),
                QPolygonF({{4, 4}, {4, 2}, {8, 2}, {8, 6}, {6, 6}})};
    case QStyle::SP_TitleBarCloseButton:
        return {QPolygonF({{2.5, 2.5}, {7.5, 7.5}}), QPolygonF({{7.5, 2.5}, {2.5, 7.5}})};
    default:
        return {};
    }
}

// In the colour of texts, in the sizes that the pixel ratios of screens ask for.
QIcon DrawnIcon(const Shape& shape) {
    QIcon icon;
    for (const int size : {10, 16, 20, 32, 48}) {
        QPixmap picture(size, size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 10.0, size / 10.0);
        painter.setPen(QPen(QApplication::palette().color(QPalette::WindowText), 1.1));
        for (const QPolygonF& line : shape) painter.drawPolyline(line);
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

// The style makes the frames of check boxes and buttons of choices from the colour of the window, darker: on
// a dark window they, and with them an empty box, could hardly be seen.
//
// What has the keyboard has a ring around it, however it came to it: the style's is pale, and is not drawn at
// all around what got the keyboard by the mouse or with its window.
class VisibleBoxes : public QProxyStyle {
  public:
    VisibleBoxes() : QProxyStyle("Fusion") {}
    // The buttons of a recording that fills the window, which stand in the menu bar: the style's are black.
    QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                       const QWidget* widget) const override {
        const auto shape = WindowButtonShape(which);
        return shape.empty() ? QProxyStyle::standardIcon(which, option, widget) : DrawnIcon(shape);
    }
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        QProxyStyle::drawControl(element, option, painter, widget);
        if (element == CE_PushButton) RingWhereKeysAre(option, painter);
    }
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        if (control == CC_ComboBox || control == CC_SpinBox) RingWhereKeysAre(option, painter);
    }
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        if (element == PE_FrameFocusRect) return DrawRing(option, painter);
        const bool isFrame = element == PE_Frame || element == PE_FrameLineEdit;
        if (isFrame) {
            QProxyStyle::drawPrimitive(element, option, painter, widget);
            return RingWhereKeysAre(option, painter);
        }
        const bool isBox = element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton;
        if (!isBox || !option) return QProxyStyle::drawPrimitive(element, option, painter, widget);
        QStyleOptionButton box;
        static_cast<QStyleOption&>(box) = *option;
        const bool dark = option->palette.color(QPalette::Window).lightness() < 128;
        const bool enabled = option->state & State_Enabled;
        // Lighter than the frame is to be by what the style takes away.
        constexpr int styleDarkens = 127;
        const QColor frame = dark ? (enabled ? QColor(158, 162, 171) : QColor(96, 99, 107))
                                  : (enabled ? QColor(120, 123, 131) : QColor(178, 180, 186));
        box.palette.setColor(QPalette::Window, frame.lighter(styleDarkens));
        QProxyStyle::drawPrimitive(element, &box, painter, widget);
    }

  private:
    static void RingWhereKeysAre(const QStyleOption* option, QPainter* painter) {
        if (option && option->state & State_HasFocus) DrawRing(option, painter);
    }
    static void DrawRing(const QStyleOption* option, QPainter* painter) {
        if (!option) return;
        constexpr double width = 2.0, corner = 2.5;
        const bool isChosen = option->state & State_Selected;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(FocusColour(option->palette, isChosen), width));
        const double inner = width / 2.0;
        painter->drawRoundedRect(QRectF(option->rect).adjusted(inner, inner, -inner, -inner), corner, corner);
        painter->restore();
    }
    // What is chosen has the highlight behind it already.
    static QColor FocusColour(const QPalette& colours, bool isChosen) {
        if (isChosen) return colours.color(QPalette::HighlightedText);
        return colours.color(QPalette::Highlight);
    }
};

// Where no desktop brings a style of its own, Qt takes this one.
bool IsPlainStyle() {
    const QStyle* style = QApplication::style();
    return style && style->name().compare("fusion", Qt::CaseInsensitive) == 0;
}

}  // namespace

void ApplyTheme(Theme theme) {
    if (theme == Theme::system) {
        if (IsPlainStyle()) QApplication::setStyle(new VisibleBoxes);
        QApplication::setPalette(QPalette());
        return;
    }
    const QPalette palette = PaletteOf(theme == Theme::dark ? dark : light);
    // Before the style, too, by which windows that are open draw their buttons anew.
    QApplication::setPalette(palette);
    // The one style whose colours are all taken from the palette.
    QApplication::setStyle(new VisibleBoxes);
    QApplication::setPalette(palette);
}

uint32_t ThemePaper(Theme theme) {
    constexpr uint32_t lightPaper = 0xFFFFFF, darkPaper = 0x1E1B19;
    const bool isDark = theme == Theme::dark ||
                        (theme == Theme::system && QPalette().color(QPalette::Window).lightness() < 128);
    return isDark ? darkPaper : lightPaper;
}

}  // namespace kymora
