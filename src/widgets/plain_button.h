#pragma once
// A button that is pressed by its own key and by no Enter elsewhere in the window.

#include <QPushButton>

namespace kymora {

// `does` is a member of the window that the button stands in. `name` is what tests and the remote control
// find it by.
template <typename Window>
QPushButton* MakePlainButton(Window* window, const QString& label, const char* name, const QString& tip,
                             void (Window::*does)()) {
    auto* button = new QPushButton(label, window);
    button->setObjectName(name);
    button->setToolTip(tip);
    button->setAutoDefault(false);
    QObject::connect(button, &QPushButton::clicked, window, does);
    return button;
}

}  // namespace kymora
