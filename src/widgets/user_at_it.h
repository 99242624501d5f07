#pragma once
// What the program changes by itself waits for the user.

#include <QApplication>

namespace kymora {

// A box, a menu or a drag is under way, which holds on to what must not change beneath it.
inline bool IsUserAtIt() {
    return QApplication::activeModalWidget() || QApplication::activePopupWidget() ||
           QGuiApplication::mouseButtons() != Qt::NoButton;
}

}  // namespace kymora
