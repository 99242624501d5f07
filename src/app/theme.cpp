#include "app/theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

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

}  // namespace

void ApplyTheme(Theme theme) {
    if (theme == Theme::system) {
        QApplication::setPalette(QPalette());
        return;
    }
    // The one style whose colours are all taken from the palette.
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(PaletteOf(theme == Theme::dark ? dark : light));
}

}  // namespace kymora
