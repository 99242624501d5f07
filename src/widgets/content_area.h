#pragma once
// A scroll area that asks for the size of its content, so that a dialog scrolls only when the screen is too
// small.

#include <QScrollArea>
#include <algorithm>

namespace kymora {

class ContentArea : public QScrollArea {
  public:
    using QScrollArea::QScrollArea;
    QSize sizeHint() const override {
        const QWidget* content = widget();
        const QSize wanted = content->sizeHint();
        const int width = std::max(wanted.width(), content->minimumSizeHint().width());
        const int height = content->hasHeightForWidth() ? content->heightForWidth(width) : wanted.height();
        return {width + 2 * frameWidth() + 2, std::max(height, wanted.height()) + 2 * frameWidth() + 2};
    }
};

}  // namespace kymora
