#include "app/theme.h"

#include <QApplication>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>

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

// The style makes the frames of check boxes and buttons of choices from the colour of the window, darker: on
// a dark window they, and with them an empty box, could hardly be seen.
class VisibleBoxes : public QProxyStyle {
  public:
    VisibleBoxes() : QProxyStyle("Fusion") {}
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
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
};

}  // namespace

void ApplyTheme(Theme theme) {
    if (theme == Theme::system) {
        QApplication::setPalette(QPalette());
        return;
    }
    // The one style whose colours are all taken from the palette.
    QApplication::setStyle(new VisibleBoxes);
    QApplication::setPalette(PaletteOf(theme == Theme::dark ? dark : light));
}

uint32_t ThemePaper(Theme theme) {
    constexpr uint32_t lightPaper = 0xFFFFFF, darkPaper = 0x1E1B19;
    const bool isDark = theme == Theme::dark ||
                        (theme == Theme::system && QPalette().color(QPalette::Window).lightness() < 128);
    return isDark ? darkPaper : lightPaper;
}

}  // namespace kymora
